"""The collector under what its service unit leaves it, recorded by the session daemon of root, as on a unit.

usage: confinedServiceTest.py QDXD LIBRARY PROVIDER DCH PACKAGING [unittest arguments]

For root. It all runs in mounts of its own: /run, /opt and the shared memory of the machine are not touched.
"""
import ctypes
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
CLONE_NEWNS = 0x00020000
OPEN_TO_ALL = ["/opt/qdx", "/run/open"]
DEADLINE_SECONDS = 60
NAME = "com_zelva_zelvasw_qdxbe"


def run(*command, **options):
    return subprocess.run(command, check=True, stdin=subprocess.DEVNULL, timeout=DEADLINE_SECONDS, **options)


def text_of(*command, **options):
    return run(*command, stdout=subprocess.PIPE, text=True, **options).stdout


class ConfinedService(unittest.TestCase):
    def setUp(self):
        self.assertEqual(os.geteuid(), 0, "only root can start a service; run this test as root")
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="confinedService."))
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.assertEqual(ctypes.CDLL(None).unshare(CLONE_NEWNS), 0)
        run("mount", "--make-rprivate", "/")
        for folder in ("/run", "/opt", "/dev/shm"):
            run("mount", "-t", "tmpfs", "-o", "mode=755" if folder != "/dev/shm" else "mode=1777", "none", folder)
        self.add_users()
        run("systemd-tmpfiles", "--create", str(PACKAGING / "tmpfiles.d/qdx.conf"))
        self.install()
        self.environment = dict(os.environ, HOME=str(self.home), LTTNG_HOME=str(self.home), TZ="UTC", LC_ALL="C",
                                LTTNG_UST_REGISTER_TIMEOUT=str(DEADLINE_SECONDS * 1000))
        for name in ("UNIT_ROOT", "LD_LIBRARY_PATH", "NOTIFY_SOCKET"):
            self.environment.pop(name, None)

    def add_users(self):
        """Puts the service's user and groups in front of the machine's for this process and its children."""
        root = self.home / "root"
        (root / "etc").mkdir(parents=True)
        for file in ("passwd", "group"):
            shutil.copy(f"/etc/{file}", root / "etc")
        run("systemd-sysusers", f"--root={root}", str(PACKAGING / "sysusers.d/qdx.conf"), stderr=subprocess.DEVNULL)
        for file in ("passwd", "group"):
            run("mount", "--bind", str(root / "etc" / file), f"/etc/{file}")

    def install(self):
        """Where users other than root reach it, and no private folder hides it."""
        self.programs = pathlib.Path("/opt/qdx")
        self.programs.mkdir()
        # Places that only the confinement keeps the service's user from writing.
        for place in OPEN_TO_ALL:
            pathlib.Path(place).mkdir(exist_ok=True)
            os.chmod(place, 0o777)
        for program in (QDXD, LIBRARY, PROVIDER):
            shutil.copy(program, self.programs)
        database = pathlib.Path("/opt/zelvasw/srv/database/qdx/swdb.cfg")
        database.parent.mkdir(parents=True)
        database.write_text("[qdx]\nenabled = 1\n")

    def start_session(self):
        pid_file = self.home / "sessiond.pid"
        run("lttng-sessiond", "--background", "--no-kernel", "--pidfile", str(pid_file), env=self.environment,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        pid = int(pid_file.read_text())
        self.addCleanup(os.kill, pid, signal.SIGTERM)
        for command in (["create", "collector", "--output", str(self.home / "trace")],
                        ["enable-event", "--userspace", f"{NAME}:*"], ["start"]):
            run("lttng", *command, env=self.environment, stdout=subprocess.DEVNULL)

    def confined(self, *program):
        return [sys.executable, str(HERE / "confinedService.py"), str(PACKAGING / "systemd/qdxd.service.in"), *program]

    def start_collector(self):
        notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(notify.close)
        notify.bind("/run/notify")
        os.chmod("/run/notify", 0o666)
        notify.settimeout(DEADLINE_SECONDS)
        log = open(self.home / "log", "w")
        self.addCleanup(log.close)
        collector = subprocess.Popen(
            self.confined(str(self.programs / "qdxd"), "--library", str(self.programs / "libqdxbe.so")),
            env=dict(self.environment, NOTIFY_SOCKET="/run/notify"), stdin=subprocess.DEVNULL, stderr=log)
        self.addCleanup(collector.wait)
        self.addCleanup(collector.kill)
        try:
            self.assertEqual(notify.recv(100), b"READY=1")
        except TimeoutError:
            self.fail("the collector does not get ready: " + (self.home / "log").read_text())
        return collector

    def test_collector_is_recorded_takes_commands_and_stops(self):
        self.start_session()
        collector = self.start_collector()
        status = pathlib.Path(f"/proc/{collector.pid}/status").read_text()
        for line in (r"NoNewPrivs:\s1", r"Seccomp:\s2", r"CapEff:\s0+", r"CapBnd:\s0+", r"Uid:\s[1-9]"):
            self.assertRegex(status, line)
        self.assertEqual(text_of(DCH, "filter", "status", env=self.environment), "No filters found\n")
        collector.send_signal(signal.SIGTERM)
        self.assertEqual(collector.wait(DEADLINE_SECONDS), 0)
        run("lttng", "destroy", env=self.environment, stdout=subprocess.DEVNULL)
        events = re.findall(r'msg = "(.*)" \}', text_of("babeltrace2", "--names=payload", str(self.home / "trace")))
        for event in ("Entering start", "QDX is enabled in database", "'dch' command is enabled"):
            self.assertIn(event.replace("'", "\\'"), events)

    def test_what_the_unit_forbids_is_refused(self):
        deeds = {
            "writes beside programs": "open('/opt/qdx/mark', 'w')",
            "writes beside the command socket's folder": "open('/run/open/mark', 'w')",
            "reads homes": "os.listdir('/home')",
            "has an Internet socket": "socket.socket(socket.AF_INET)",
            "has a netlink socket": "socket.socket(socket.AF_NETLINK, socket.SOCK_RAW)",
            "makes memory that is written and executed": "mmap.mmap(-1, 4096, prot=7)",
            "makes a namespace": "check(libc.unshare(0x10000000))",
            "debugs": "check(libc.ptrace(0, 0, 0, 0))",
            "has a program run with its user's rights": "os.chmod('/run/ozo/mbox/mark', 0o4755)",
            "takes a processor": "os.sched_setaffinity(0, {0})",
        }
        allowed = {
            "writes a mailbox": "open('/run/ozo/mbox/mark', 'w')",
            "has a local socket": "socket.socket(socket.AF_UNIX)",
            "sees shared memory": "os.listdir('/dev/shm')",
            "is itself in /proc": "os.listdir('/proc/self/fd')",
        }
        results = self.attempt({**allowed, **deeds})
        self.assertEqual(results, {**{deed: "done" for deed in allowed}, **{deed: "refused" for deed in deeds}})

    def attempt(self, deeds):
        script = ("import ctypes, mmap, os, socket\n"
                  "libc = ctypes.CDLL(None)\n"
                  "def check(result):\n    if result: raise OSError\n"
                  f"for name, deed in {deeds!r}.items():\n"
                  "    try:\n        exec(deed)\n        print(name, 'done', sep=': ')\n"
                  "    except OSError:\n        print(name, 'refused', sep=': ')\n")
        lines = text_of(*self.confined("/usr/bin/python3", "-c", script), env=self.environment).splitlines()
        return dict(line.split(": ") for line in lines)


if __name__ == "__main__":
    QDXD, LIBRARY, PROVIDER, DCH = (os.path.abspath(path) for path in sys.argv[1:5])
    PACKAGING = pathlib.Path(sys.argv[5])
    unittest.main(argv=[sys.argv[0]] + sys.argv[6:])
