"""A recorded start of the collector, and a command: what a session sees of a whole process.

usage: lttngCollectorTest.py QDXD LIBRARY PROVIDER DCH [unittest arguments]
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "support"))
from lttngSession import DEADLINE_SECONDS, SessionTest

QDXD = LIBRARY = PROVIDER = DCH = None
NAME = "com_zelva_zelvasw_qdxbe"


class RecordedCollector(SessionTest):
    def setUp(self):
        super().setUp()
        self.environment["UNIT_ROOT"] = self.home
        # What runs as nobody may not reach the build.
        self.qdxd, self.library, self.dch = (shutil.copy(path, self.home) for path in (QDXD, LIBRARY, DCH))
        shutil.copy(PROVIDER, self.home)
        self.write_database("enabled = 1\n")

    def write_database(self, text):
        database = pathlib.Path(self.home, "opt/zelvasw/srv/database/qdx/swdb.cfg")
        database.parent.mkdir(parents=True, exist_ok=True)
        database.write_text("[qdx]\n" + text)

    def record(self):
        """Runs the collector under a session with one failing command; gives the lines of the trace."""
        self.run_tool("lttng", "enable-event", "--userspace", f"{NAME}:*")
        self.run_tool("lttng", "start")
        collector = subprocess.Popen([self.qdxd, "--library", self.library], cwd=self.home, env=self.environment,
                                     stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, **self.identity)
        try:
            while "qdxd: ready" not in collector.stderr.readline():
                self.assertIsNone(collector.poll(), "the collector ended")
            subprocess.run([self.dch, "fs", "commit", "7"], cwd=self.home, env=self.environment,
                           stdout=subprocess.DEVNULL, timeout=DEADLINE_SECONDS, **self.identity)
            collector.send_signal(signal.SIGTERM)
            collector.stderr.read()
            self.assertEqual(collector.wait(DEADLINE_SECONDS), 0)
        finally:
            collector.stderr.close()
            collector.kill()
            collector.wait()
        self.run_tool("lttng", "destroy")
        text = self.run_tool("babeltrace2", "--names=payload", "trace")
        events = re.findall(NAME + r':(\w+): .*?\{ file = "(.*?)", line = \d+, (?:obj = "-", )?msg = "(.*)" \}$', text,
                            re.MULTILINE)
        return [(level, file, message.replace("\\'", "'")) for level, file, message in events]

    def test_shows_the_start_and_a_command_by_level_and_file(self):
        events = self.record()
        for event in [
            ("INFO", "quardex.cpp", "Entering start"),
            ("INFO", "quardex.cpp", "Entering activeObjectStart"),
            ("TRACE5", "quardex.cpp", "QDX is enabled in database"),
            ("TRACE5", "quardex.cpp", "RODC is disabled in database"),
            ("INFO", "quardexShellCommands.cpp", "'dch' command is enabled"),
            ("INFO", "quardex.cpp", "Leaving activeObjectStart"),
            ("TRACE5", "quardexShellCommands.cpp", "Trying to commit transaction 7 which does not exist"),
        ]:
            self.assertIn(event, events)

    def test_shows_why_a_start_failed(self):
        self.write_database("enabled = 1\nmaxFilterLimit = 0\n")
        errors = [message for level, _, message in self.record() if level == "ERROR"]
        self.assertEqual(errors, [
            "QDX max number of filters set to 0 in database. If you meant to disable QDX, use the /qdx/enabled "
            "parameter instead.",
            "Could not determine max number of filters. Disabling QDX.",
        ])


if __name__ == "__main__":
    QDXD, LIBRARY, PROVIDER, DCH = (os.path.abspath(path) for path in sys.argv[1:5])
    unittest.main(argv=[sys.argv[0]] + sys.argv[5:])
