"""A recorded start of the collector, and a command: what a session sees of a whole process.

usage: lttngCollectorTest.py QDXD LIBRARY PROVIDER DCH [unittest arguments]
"""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "support"))
from recordedCollector import Programs, RecordedCollectorTest


class RecordedCollector(RecordedCollectorTest):
    def commit_nothing(self):
        self.type("dch", "fs", "commit", "7")

    def test_shows_the_start_and_a_command_by_level_and_file(self):
        self.write_database("[qdx]\nenabled = 1\n")
        self.record(self.commit_nothing)
        for event in [
            ("INFO", "quardex.cpp", "Entering start"),
            ("INFO", "quardex.cpp", "Entering activeObjectStart"),
            ("TRACE5", "quardex.cpp", "QDX is enabled in database"),
            ("TRACE5", "quardex.cpp", "RODC is disabled in database"),
            ("INFO", "quardexShellCommands.cpp", "'dch' command is enabled"),
            ("INFO", "quardex.cpp", "Leaving activeObjectStart"),
            ("TRACE5", "quardexShellCommands.cpp", "Trying to commit transaction 7 which does not exist"),
        ]:
            self.assertIn(event, self.events)

    def test_shows_why_a_start_failed(self):
        self.write_database("[qdx]\nenabled = 1\nmaxFilterLimit = 0\n")
        self.record(self.commit_nothing)
        errors = [message for level, _, message in self.events if level == "ERROR"]
        self.assertEqual(errors, [
            "QDX max number of filters set to 0 in database. If you meant to disable QDX, use the /qdx/enabled "
            "parameter instead.",
            "Could not determine max number of filters. Disabling QDX.",
        ])


if __name__ == "__main__":
    Programs.set(sys.argv[1:5])
    unittest.main(argv=[sys.argv[0]] + sys.argv[5:])
