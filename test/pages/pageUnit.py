"""The surroundings in which a page's examples run: a copy of the tree, the programs of a build, and a unit.

A page says what it needs in a comment, at its head and wherever that changes:

    <!-- run: unit=examples/host frontend=hostfe globalMemoryLimit=20000 -->

    unit=FOLDER     a collector with swdb.cfg and infoObjectList.xml of this folder, what it lacks from examples/host;
                    none: no collector
    frontend=NAME   a program that reports to it
    lttng           a session daemon of the page's own, from the first such comment to the end of the page
    KEY=VALUE       another value for a key of [qdx]

Everything lies in one directory and, for root, belongs to nobody: a session daemon of root would be the machine's own.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import time

PATIENCE_SECONDS = 60
NOBODY = 65534
PROGRAMS = {
    "qdxd": "sw/platform/qdxd/qdxd",
    "libqdxbe.so": "sw/backend/libqdxbe.so",
    "libqdxbe_lttng.so": "sw/backend/libqdxbe_lttng.so",
    "dch": "sw/tools/dch/dch",
    "dch-filter": "sw/tools/dchFilter/dch-filter",
    "qfci": "sw/tools/qfci/qfci",
    "qdxview": "sw/tools/qdxview/qdxview",
    "hostfe": "sw/tools/hostfe/hostfe",
    "qdx-replay": "sw/tools/replay/qdx-replay",
    "pullFilter": "sw/controlClient/pullFilter",
    "tenLines": "test/example_tenLines",
    "radio": "test/example_radio",
    "radioInC": "test/example_radioInC",
}
DATABASE = "opt/zelvasw/srv/database/qdx/swdb.cfg"
HOST_LIST = "examples/host/infoObjectList.xml"


class NoUnit(Exception):
    """Why the unit that a page asks for does not run."""


class PageUnit:
    def __init__(self, build, source):
        self.top = pathlib.Path(tempfile.mkdtemp(prefix="page."))
        self.tree, self.bin, self.root, self.home = (self.top / name for name in ("tree", "bin", "unit", "home"))
        for folder in (self.bin, self.root, self.home):
            folder.mkdir()
        self.processes, self.daemon = [], None
        self._copy_tree(pathlib.Path(source))
        for name, path in PROGRAMS.items():
            shutil.copy(pathlib.Path(build, path), self.bin / name)
        (self.bin / "rodc").symlink_to("dch")
        self.identity = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.geteuid() == 0 else {}
        self._own(self.top)
        self.environment = dict(os.environ, PATH=f"{self.bin}:{os.environ['PATH']}", LD_LIBRARY_PATH=str(self.bin),
                                UNIT_ROOT=str(self.root), HOME=str(self.home), TMPDIR=str(self.home), TZ="UTC",
                                LC_ALL="C.UTF-8", LTTNG_HOME=str(self.home), LTTNG_UST_HOME=str(self.home),
                                COLUMNS="100")

    def change(self, settings):
        """Ends what runs and starts what the settings ask for."""
        settings = dict(settings)
        self.stop()
        if "lttng" in settings:
            del settings["lttng"]
            self._start_daemon()
        unit, frontend = settings.pop("unit", "none"), settings.pop("frontend", "")
        if unit != "none":
            self._write_database(self.root, self._with_values(unit, settings))
            self._start_collector(self.environment)
        for name in filter(None, frontend.split(",")):
            self._start(name, self.environment)

    def other_unit_answers(self, database, *command):
        """What a command says on another unit with this database, while the page's own goes on."""
        root = pathlib.Path(tempfile.mkdtemp(dir=self.top))
        environment = dict(self.environment, UNIT_ROOT=str(root))
        self._write_database(root, database)
        collector = self._start_collector(environment)
        answer = self.run(*command, env=environment)
        fault = self._end(collector)
        if fault:
            raise NoUnit(fault)
        return answer

    def run(self, *command, env=None):
        """Runs a program of the build or of the machine in the copy of the tree."""
        return subprocess.run(command, cwd=self.tree, env=env or self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_SECONDS,
                              **self.identity)

    def stop(self):
        """Ends collector and frontends; the daemon of LTTng stays."""
        faults = [self._end(process) for process in reversed(list(self.processes))]
        for fault in filter(None, faults):
            raise NoUnit(fault)

    def remove(self):
        try:
            self.stop()
        finally:
            if self.daemon:
                self._end_daemon()
            shutil.rmtree(self.top, ignore_errors=True)

    def _copy_tree(self, source):
        listed = subprocess.run(["git", "-C", source, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                                stdout=subprocess.PIPE, text=True, check=True).stdout
        for name in filter(None, listed.split("\0")):
            if (source / name).exists():
                (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source / name, self.tree / name)

    def _own(self, folder):
        if self.identity:
            subprocess.run(["chown", "-R", f"{NOBODY}:{NOBODY}", folder], check=True)
        return folder

    def _with_values(self, unit, values):
        """The database of a folder, with other values for some keys."""
        text = self._file_of(unit, "swdb.cfg").read_text()
        text = text.replace("@INFO_OBJECT_LIST@", str(self._file_of(unit, "infoObjectList.xml")))
        for key, value in values.items():
            text, changed = re.subn(rf"^{key} *=.*$", f"{key} = {value}", text, flags=re.M)
            if not changed:
                raise NoUnit(f"{unit}/swdb.cfg has no key {key}")
        return text

    def _file_of(self, unit, name):
        own = self.tree / unit / name
        return own if own.exists() else self.tree / "examples/host" / name

    def _write_database(self, root, text):
        database = root / DATABASE
        database.parent.mkdir(parents=True, exist_ok=True)
        database.write_text(text)
        self._own(root)

    def _start(self, name, environment):
        log = self.home / f"{name}.log"
        with open(log, "w") as file:
            process = subprocess.Popen([self.bin / name], cwd=self.tree, env=environment, stdin=subprocess.DEVNULL,
                                       stdout=file, stderr=file, **self.identity)
        process.log = log
        self.processes.append(process)
        return process

    def _start_collector(self, environment):
        if self.daemon:  # so that no event of the start is missed
            environment = dict(environment, LTTNG_UST_REGISTER_TIMEOUT=str(PATIENCE_SECONDS * 1000))
        collector = self._start("qdxd", environment)
        deadline = time.monotonic() + PATIENCE_SECONDS
        while "qdxd: ready" not in collector.log.read_text():
            if collector.poll() is not None or time.monotonic() > deadline:
                self._end(collector)
                raise NoUnit(f"the collector does not start: {collector.log.read_text().strip()}")
            time.sleep(0.02)
        return collector

    def _end(self, process):
        """Gives what was wrong with its end, or nothing."""
        self.processes.remove(process)
        process.send_signal(signal.SIGTERM)
        try:
            process.wait(PATIENCE_SECONDS)
        finally:
            process.kill()
            process.wait()
        name, status = process.args[0].name, process.returncode
        # What is asked to end before it listens to that, ends by the signal.
        fine = status in (0, -signal.SIGTERM)
        return None if fine else f"{name} ended with {status}: {process.log.read_text().strip()}"

    def _start_daemon(self):
        if self.daemon:
            return
        pid_file = self.home / "sessiond.pid"
        # Returns when the daemon is ready; without pipes, which the daemon would keep open.
        subprocess.run(["lttng-sessiond", "--background", "--no-kernel", "--pidfile", pid_file], cwd=self.home,
                       env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=PATIENCE_SECONDS, check=True, **self.identity)
        self.daemon = int(pid_file.read_text())

    def _end_daemon(self):
        descriptor = os.pidfd_open(self.daemon)
        signal.pidfd_send_signal(descriptor, signal.SIGTERM)
        os.close(descriptor)
        deadline = time.monotonic() + PATIENCE_SECONDS
        while pathlib.Path(f"/proc/{self.daemon}").exists() and time.monotonic() < deadline:
            time.sleep(0.02)
