"""What the shared library brings and what it leaves to its host process.

usage: qdxbeLibraryTest.py LIBRARY [unittest arguments]
"""
import re
import subprocess
import sys
import unittest

LIBRARY = None

# Functions of the four platform services; the first part of each name as the linker sees it.
PLATFORM = re.compile(r"(ozo_|_ZNK?6Tessel|_ZNK?5Bevel|_ZNK?6Corbel)")


def symbols(*options):
    lines = subprocess.run(["nm", "--dynamic", *options, LIBRARY], check=True, capture_output=True, text=True).stdout
    return [line.split()[-2:] for line in lines.splitlines()]


class LibraryTest(unittest.TestCase):
    def test_platform_services_are_left_to_the_host(self):
        undefined = {name for kind, name in symbols("--undefined-only") if kind == "U" and PLATFORM.match(name)}
        self.assertIn("ozo_send", undefined)
        for service in ("Tessel", "Bevel", "Corbel"):
            self.assertTrue(any(service in name for name in undefined), service)

    def test_no_function_of_the_platform_is_copied_in(self):
        defined = [name for kind, name in symbols("--defined-only") if kind in "TDB" and PLATFORM.match(name)]
        self.assertEqual(defined, [])

    def test_trace_library_is_not_needed(self):
        dynamic = subprocess.run(["readelf", "--dynamic", LIBRARY], check=True, capture_output=True, text=True).stdout
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)
        self.assertTrue(any("libxml2" in name for name in needed), needed)
        self.assertFalse(any("lttng" in name for name in needed), needed)


if __name__ == "__main__":
    LIBRARY = sys.argv[1]
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:])
