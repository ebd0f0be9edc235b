"""The trace provider of a library that a process loads and unloads again, as a session daemon sees it.

usage: lttngUnloadTest.py HOST LIBRARY PROVIDER [unittest arguments]
"""
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[4] / "test/support"))
from lttngSession import DEADLINE_SECONDS, SessionTest

HOST = LIBRARY = PROVIDER = None
EVENT = "com_zelva_zelvasw_qdxbe:ERROR"


class UnloadTest(SessionTest):
    def setUp(self):
        super().setUp()
        host, library, _ = (shutil.copy(file, self.home) for file in (HOST, LIBRARY, PROVIDER))
        self.host = subprocess.Popen([host, library], cwd=self.home, env=self.environment, text=True,
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, **self.identity)
        self.addCleanup(self.end_host)

    def end_host(self):
        self.host.kill()
        self.host.communicate()

    def await_line(self, line):
        self.assertEqual(self.host.stdout.readline(), line + "\n")

    def go_on(self):
        self.host.stdin.write("\n")
        self.host.stdin.flush()

    def events(self):
        return self.run_tool("lttng", "list", "--userspace")

    def test_provider_is_registered_exactly_while_its_library_is_loaded(self):
        self.await_line("loaded")
        self.assertIn(EVENT, self.events())
        self.go_on()
        self.await_line("unloaded")
        self.assertNotIn(EVENT, self.events())
        self.go_on()
        self.assertEqual(self.host.wait(timeout=DEADLINE_SECONDS), 0)


if __name__ == "__main__":
    HOST, LIBRARY, PROVIDER = (os.path.abspath(path) for path in sys.argv[1:4])
    unittest.main(argv=[sys.argv[0]] + sys.argv[4:])
