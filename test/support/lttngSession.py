"""A session daemon of a test's own, whose home is a directory of the test's own.

As root it all runs as nobody: the daemon of root would be the machine's own.
"""
import os
import select
import shutil
import signal
import subprocess
import tempfile
import unittest

DEADLINE_SECONDS = 60
NOBODY = 65534


class PrivateHomeTest(unittest.TestCase):
    """Runs tools in a directory of the test's own."""

    def setUp(self):
        self.home = tempfile.mkdtemp(prefix="lttngTest.")
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.identity = {}
        if os.geteuid() == 0:
            os.chown(self.home, NOBODY, NOBODY)
            self.identity = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.environment = dict(os.environ, HOME=self.home, LTTNG_HOME=self.home, LTTNG_UST_HOME=self.home,
                                LTTNG_UST_REGISTER_TIMEOUT=str(DEADLINE_SECONDS * 1000), TZ="UTC", LC_ALL="C")
        self.environment.pop("LD_LIBRARY_PATH", None)

    def run_tool(self, *command):
        result = subprocess.run(command, cwd=self.home, env=self.environment, stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=DEADLINE_SECONDS, **self.identity)
        self.assertEqual(result.returncode, 0, f"{command}: {result.stdout}{result.stderr}")
        return result.stdout


class SessionTest(PrivateHomeTest):
    """Has a session that writes to trace/ in the home."""

    def setUp(self):
        super().setUp()
        pid_file = os.path.join(self.home, "sessiond.pid")
        # Returns when the daemon is ready; without pipes, which the daemon would keep open.
        subprocess.run(["lttng-sessiond", "--background", "--no-kernel", "--pidfile", pid_file], cwd=self.home,
                       env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=DEADLINE_SECONDS, check=True, **self.identity)
        with open(pid_file) as file:
            self.addCleanup(self.end_daemon, int(file.read()))
        self.run_tool("lttng", "create", "collector", "--output", os.path.join(self.home, "trace"))

    def end_daemon(self, pid):
        descriptor = os.pidfd_open(pid)
        try:
            signal.pidfd_send_signal(descriptor, signal.SIGTERM)
            ended, _, _ = select.select([descriptor], [], [], DEADLINE_SECONDS)
            self.assertTrue(ended, "the session daemon did not end")
        finally:
            os.close(descriptor)
