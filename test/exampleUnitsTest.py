"""The example units: what their shell and their trace say after the start.

usage: exampleUnitsTest.py QDXD LIBRARY PROVIDER DCH EXAMPLES [unittest arguments]
"""
import os
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "support"))
from recordedCollector import Programs, RecordedCollectorTest

DISABLED = "Since data collection is disabled, the functionality for this command is disabled.\n"
RODC_DISABLED = ("Since radio observability data collection is disabled, the functionality for this command is "
                 "disabled.\n")


class ExampleUnit(RecordedCollectorTest):
    def start_unit(self, name):
        """Records the start of an example and what its shell answers to the two listings."""
        examples = pathlib.Path(EXAMPLES)
        objects = pathlib.Path(self.home, "objects.xml")
        objects.write_text((examples / "host/infoObjectList.xml").read_text())
        database = (examples / "units" / name / "swdb.cfg").read_text()
        self.write_database(database.replace("@INFO_OBJECT_LIST@", str(objects)))
        self.record(self.list_filters)

    def list_filters(self):
        self.status = self.type("dch", "filter", "status")
        self.listing = self.type("rodc", "list")
        self.creation = self.type("dch", "fs", "create", "limit", "0")

    def texts(self, level):
        return [text for event_level, _, text in self.events if event_level == level]

    def test_all_static(self):
        self.start_unit("allStatic")
        self.assertEqual(self.status, (0, "Current Filter(s):\n"
                                          " Filter traffic (12): Enabled: Yes, FilterTag(s): BYTES, NET, NET, PACKETS, "
                                          "ERROR, NET\n"))
        self.assertEqual(self.listing, (0, "Current Filter(s):\n"
                                           " Filter load (11): Enabled: Yes, FilterTag(s): CPU, LOAD\n"
                                           "  name (tags)\n\n"
                                           " Filter pressure (13): Enabled: No, FilterTag(s): PRESSURE\n"))
        self.assertEqual(self.creation, (2, "Reached maximum number of filters.\n"))
        self.assertEqual(self.texts("ERROR"), [])
        self.assertEqual(self.texts("TRACE5"), [
            "QDX is enabled in database",
            "RODC is enabled in database",
            "/qdx/staticFilters/enabledByDefault: {load, traffic}",
            "/qdx/staticFilters/disabledByDefault: {pressure}",
        ])

    def test_mixed(self):
        self.start_unit("mixed")
        self.assertEqual(self.status, (0, "No filters found\n"))
        self.assertEqual(self.listing, (0, "Current Filter(s):\n"
                                           " Filter overview (11): Enabled: Yes, FilterTag(s): CPU, MEMORY, NET, RATE\n"
                                           "  name (tags)\n\n"))
        self.assertEqual(self.creation, (0, "Created transaction: 1\n"))
        self.assertEqual(self.texts("ERROR"), [])
        self.assertIn("/qdx/staticFilters/enabledByDefault: {overview}", self.texts("TRACE5"))

    def test_faulty(self):
        self.start_unit("faulty")
        self.assertEqual(self.status, (1, DISABLED))
        self.assertEqual(self.listing, (1, RODC_DISABLED))
        self.assertEqual(self.creation, (1, DISABLED))
        self.assertEqual(self.texts("ERROR"), [
            "Expected valid 'fs add' statement in static filter 'broken' specification, got ' tags NET min count 10 25'",
            "Could not create static filters. Disabling QDX.",
        ])
        self.assertEqual(self.texts("TRACE5"), [
            "QDX is enabled in database",
            "RODC is enabled in database",
            "/qdx/staticFilters/enabledByDefault: {broken, sound}",
            "Could not parse capture statement ' tags NET min count 10 25' - stopped at ' min count 10 25'",
        ])
        self.assertIn("'dch' command is disabled", self.texts("INFO"))


if __name__ == "__main__":
    Programs.set(sys.argv[1:5])
    EXAMPLES = os.path.abspath(sys.argv[5])
    unittest.main(argv=[sys.argv[0]] + sys.argv[6:])
