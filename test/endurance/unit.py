"""A unit of a run's own: its directory, its configuration, its collector, and what is typed to it."""
import collections
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

PATIENCE_SECONDS = 30
EX_UNAVAILABLE = 69


class Fault(Exception):
    """What should not have happened, in one line."""


class Programs:
    """The programs of a build, by their names."""

    PATHS = {
        "qdxd": "sw/platform/qdxd/qdxd",
        "libqdxbe.so": "sw/backend/libqdxbe.so",
        "dch": "sw/tools/dch/dch",
        "rodc": "sw/tools/dch/rodc",
        "dch-filter": "sw/tools/dchFilter/dch-filter",
        "qfci": "sw/tools/qfci/qfci",
        "qdxview": "sw/tools/qdxview/qdxview",
        "hostfe": "sw/tools/hostfe/hostfe",
        "qdxload": "bench/load/qdxload",
    }

    def __init__(self, build):
        self.paths = {name: os.path.abspath(os.path.join(build, path)) for name, path in self.PATHS.items()}
        missing = [path for path in self.paths.values() if not os.path.exists(path)]
        if missing:
            raise Fault(f"{missing[0]} is not there; build it with: scripts/build PRESET {' '.join(self.targets())}")

    def __getitem__(self, name):
        return self.paths[name]

    @classmethod
    def targets(cls):
        return ["qdxd", "qdxbe", "dch", "dch-filter", "qfci", "qdxview", "hostfe", "qdxload"]


def first_line(text):
    return text.strip().partition("\n")[0]


Answer = collections.namedtuple("Answer", "status output error")


class Unit:
    """The directory is removed by remove(); processes started here are ended by stop(), in any state."""

    def __init__(self, programs, parent=None, wrapper=(), patience=PATIENCE_SECONDS):
        self.programs = programs
        self.wrapper = list(wrapper)  # words in front of each program's
        self.patience = patience
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="endurance.", dir=parent))
        self.environment = dict(os.environ, UNIT_ROOT=str(self.root), TZ="UTC", LC_ALL="C")
        self.processes = []
        self.logs = 0

    def write_database(self, text):
        database = self.root / "opt/zelvasw/srv/database/qdx/swdb.cfg"
        database.parent.mkdir(parents=True, exist_ok=True)
        database.write_text(text)

    def command(self, name, *words):
        return [*self.wrapper, self.programs[name], *map(str, words)]

    def start(self, name, *words, **options):
        """Starts a program whose standard error goes to a file: gives the process, with that file as .log."""
        self.logs += 1
        log = self.root / f"{name}.{self.logs}.log"
        options.setdefault("stdout", subprocess.DEVNULL)
        with open(log, "wb") as file:
            process = subprocess.Popen(self.command(name, *words), env=self.environment,
                                       stdin=options.pop("stdin", subprocess.DEVNULL), stderr=file, **options)
        process.log = log
        process.name = name
        self.processes.append(process)
        return process

    def start_collector(self, *words):
        return self.start("qdxd", "--library", self.programs["libqdxbe.so"], *words)

    def await_ready(self, collector):
        """Until it takes commands. If it doesn't, that is a fault."""
        deadline = time.monotonic() + self.patience
        while "qdxd: ready" not in collector.log.read_text():
            if collector.poll() is not None or time.monotonic() > deadline:
                raise Fault(f"qdxd: not ready: {first_line(collector.log.read_text())}")
            time.sleep(0.05)

    def run(self, name, *words, expect=None):
        """Runs a program to its end. If its status is not the expected one, or it doesn't end, that is a fault."""
        typed = " ".join([name, *map(str, words)])
        try:
            result = subprocess.run(self.command(name, *words), env=self.environment,
                                    stdin=subprocess.DEVNULL, capture_output=True, timeout=self.patience)
        except subprocess.TimeoutExpired:
            raise Fault(f"{typed}: no reply within {self.patience} s") from None
        answer = Answer(result.returncode, result.stdout.decode(errors="replace"),
                        result.stderr.decode(errors="replace"))
        if expect is not None and answer.status not in expect:
            raise Fault(f"{typed}: status {answer.status}: {first_line(answer.error or answer.output)}")
        return answer

    def create_filter(self, *lines):
        """Gives the number of a filter made of these lines of a filter file."""
        description = self.root / "made.filter"
        description.write_text("\n".join(lines) + "\n")
        answer = self.run("dch-filter", description, expect=[0]).output
        if not answer.startswith("Filter ID is: "):
            raise Fault(f"dch-filter: no filter: {answer.strip()!r}")
        return int(answer.split()[-1])

    def files(self):
        """Of mailboxes and sockets."""
        return sum(len(files) for _, _, files in os.walk(self.root / "run"))

    def stop(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.send_signal(signal.SIGCONT)
                process.terminate()
                try:
                    process.wait(self.patience)
                except subprocess.TimeoutExpired:
                    process.kill()
                    process.wait()
        self.processes.clear()

    def forget(self, process):
        """Of a process that ended as it should."""
        self.processes.remove(process)
        process.log.unlink()

    def remove(self):
        self.stop()
        shutil.rmtree(self.root, ignore_errors=True)
