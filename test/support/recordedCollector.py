"""A collector whose whole life an LTTng session of the test's own records."""
import os
import pathlib
import re
import shutil
import signal
import subprocess

from lttngSession import DEADLINE_SECONDS, SessionTest

NAME = "com_zelva_zelvasw_qdxbe"


class Programs:
    """The programs under test."""

    @classmethod
    def set(cls, paths):
        cls.qdxd, cls.library, cls.provider, cls.dch = (os.path.abspath(path) for path in paths)


class RecordedCollectorTest(SessionTest):
    def setUp(self):
        super().setUp()
        self.environment["UNIT_ROOT"] = self.home
        # What runs as nobody may not reach the build.
        self.qdxd, self.library, self.dch = (
            shutil.copy(path, self.home) for path in (Programs.qdxd, Programs.library, Programs.dch))
        shutil.copy(Programs.provider, self.home)
        self.rodc = os.path.join(self.home, "rodc")
        os.symlink("dch", self.rodc)

    def write_database(self, text):
        database = pathlib.Path(self.home, "opt/zelvasw/srv/database/qdx/swdb.cfg")
        database.parent.mkdir(parents=True, exist_ok=True)
        database.write_text(text)

    def type(self, command, *words):
        """Types a command; gives its status and output."""
        result = subprocess.run([os.path.join(self.home, command), *words], cwd=self.home, env=self.environment,
                                stdout=subprocess.PIPE, text=True, timeout=DEADLINE_SECONDS, **self.identity)
        return result.returncode, result.stdout

    def record(self, use):
        """Records a collector from its start to its stop, and what use() does to it in between.

        Leaves the events as (level, file, message) in self.events.
        """
        self.run_tool("lttng", "enable-event", "--userspace", f"{NAME}:*")
        self.run_tool("lttng", "start")
        collector = subprocess.Popen([self.qdxd, "--library", self.library], cwd=self.home, env=self.environment,
                                     stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, **self.identity)
        try:
            while "qdxd: ready" not in collector.stderr.readline():
                self.assertIsNone(collector.poll(), "the collector ended")
            use()
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
        self.events = [(level, file, message.replace("\\'", "'")) for level, file, message in events]
