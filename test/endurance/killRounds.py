"""Kills the collector, its frontends and its clients at random moments, and watches how the others fare.

Each round kills one process in the middle of something, and measures how long it takes until all is well again: the
collector answers commands and pulls, and every frontend's samples arrive. What survived must not have grown.
"""
import argparse
import csv
import io
import random
import re
import signal
import statistics
import subprocess
import sys
import time

from processUse import read_use
from unit import PATIENCE_SECONDS, Fault, Programs, Unit

EX_USAGE = 64
EX_UNAVAILABLE = 69
EX_SOFTWARE = 70
EX_TEMPFAIL = 75
SETTLE_SECONDS = 2
MOST_CONNECTIONS = 10  # of control clients
MOST_FILES_LEFT = 60  # of dead mailboxes: those that nobody has swept yet
OBJECTS, CONTEXTS, FRONTENDS, RECORD_BYTES = 3, 4, 2, 2000
HOST_OBJECT = 1000
FRONTEND_MARKS = [("load 0", lambda row: "clientId=0" in row["context"]),
                  ("load 1", lambda row: "clientId=1" in row["context"]),
                  ("hostfe", lambda row: row["id"] == str(HOST_OBJECT))]
BIG = ["limit 0", "tags RECORD list count 100"]
WATCHED = ["limit 0", "tags MEASUREMENT list count 5"]

DATABASE = """[qdx]
enabled = 1
globalMemoryLimit = 30000000
infoObjectListFilePath = "{objects}"
"""


class Arena:
    """A unit with a collector, two frontends of qdxload and hostfe; its filters are pulled by number."""

    def __init__(self, unit, dice):
        self.unit = unit
        self.dice = dice
        self.write_configuration()
        self.collector = self.load = self.host = None
        self.big = self.watched = None
        self.pull_seconds = 0.1  # that a pull of the big filter takes
        self.pull_bytes = 0

    def write_configuration(self):
        objects = self.unit.root / "objects.xml"
        self.unit.run("qdxload", "--objects", OBJECTS, "--list", objects, expect=[0])
        host = f'    <object id="{HOST_OBJECT}" name="host:cpu:load" type="meas"><tags>MEASUREMENT</tags></object>\n'
        objects.write_text(objects.read_text().replace("  </objects>", host + "  </objects>"))
        self.unit.write_database(DATABASE.format(objects=objects))

    # ---- Processes

    def start_all(self):
        self.start_collector()
        self.start_load()
        self.start_host()

    def start_collector(self):
        """Gives the time when it was ready."""
        self.collector = self.unit.start_collector()
        self.await_log(self.collector, "qdxd: ready")
        return time.monotonic()

    def start_load(self):
        self.load = self.unit.start(
            "qdxload", "--frontends", FRONTENDS, "--objects", OBJECTS, "--contexts", CONTEXTS, "--record-size", RECORD_BYTES,
            "--rate", 1500, "--seconds", 3600)

    def start_host(self):
        self.host = self.unit.start("hostfe", "--rate", 20)

    def await_log(self, process, text):
        deadline = time.monotonic() + PATIENCE_SECONDS
        while text not in process.log.read_text():
            if process.poll() is not None or time.monotonic() > deadline:
                raise Fault(f"{process.name}: no '{text}': {process.log.read_text().strip()}")
            time.sleep(0.002)

    def kill(self, process):
        process.kill()
        process.wait()
        self.unit.forget(process)

    def settle(self, client, statuses):
        """Waits for a client whose collector was killed, or that was not killed: it must end, and say how."""
        try:
            if client.stdout:
                client.communicate(timeout=PATIENCE_SECONDS)
            status = client.wait(PATIENCE_SECONDS)
        except subprocess.TimeoutExpired:
            raise Fault(f"{client.name} hangs") from None
        if status not in statuses:
            raise Fault(f"{client.name} ended with {status}: {client.log.read_text().strip()}")
        self.unit.forget(client)

    def start_client(self, kind, reader="fast"):
        """A pull of much data, by the shell or as a control client; a slow reader reads nothing till it's settled."""
        output = subprocess.PIPE if reader == "slow" else subprocess.DEVNULL
        words = ["filter", "pull", "keep", self.big] if kind == "dch" else ["pull", self.big, "--format", "raw"]
        return self.unit.start(kind, *words, stdout=output)

    # ---- Waiting

    def wait_randomly(self, most):
        time.sleep(self.dice.uniform(0, most))

    def create_filters(self):
        self.watched = self.unit.create_filter(*WATCHED)
        self.big = self.unit.create_filter(*BIG)

    def await_frontends(self, since):
        """Gives the seconds from then until the first sample of each frontend was there to pull."""
        seen = {}
        while len(seen) < len(FRONTEND_MARKS):
            if time.monotonic() - since > PATIENCE_SECONDS:
                ended = [f"{process.name} ended with {process.returncode}: {process.log.read_text().strip()}"
                         for process in (self.load, self.host) if process.poll() is not None]
                raise Fault(f"only {', '.join(seen) or 'no frontend'} came back within {PATIENCE_SECONDS} s; "
                            f"{', '.join(ended) or 'all run'}")
            answer = self.unit.run("qfci", "pull", self.watched, "--format", "csv", expect=[0, EX_TEMPFAIL])
            now = time.monotonic() - since
            rows = list(csv.DictReader(io.StringIO(answer.output)))
            for name, marks in FRONTEND_MARKS:
                if name not in seen and any(map(marks, rows)):
                    seen[name] = now
        return seen

    def await_big_data(self):
        """Until a pull is large enough to be killed in its middle; measures how long one takes."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        self.pull_bytes = 0
        while self.pull_bytes < 1_000_000:
            if time.monotonic() > deadline:
                raise Fault(f"a pull still has {self.pull_bytes} bytes")
            began = time.monotonic()
            self.pull_bytes = len(self.unit.run("dch", "filter", "pull", "keep", self.big, expect=[0, 2]).output)
            self.pull_seconds = time.monotonic() - began


class Scenario:
    """Rounds of one kind of victim. MOMENTS names its methods that kill, each in the middle of something."""

    MOMENTS = []

    def __init__(self, arena):
        self.arena = arena
        self.dice = arena.dice
        self.unit = arena.unit
        self.moments = {}

    def begin(self):
        arena = self.arena
        arena.start_all()
        arena.create_filters()
        arena.await_frontends(time.monotonic())
        arena.await_big_data()

    def survivors(self):
        raise NotImplementedError

    def expected_growth_kib(self):
        """Of the collector, where growth is its duty."""
        return 0

    def round(self):
        """Gives the seconds of each recovery by name."""
        moment = self.dice.choice(self.MOMENTS)
        self.moments[moment] = self.moments.get(moment, 0) + 1
        return getattr(self, moment)()

    def check_end(self):
        """After all rounds."""

    def timed(self, *words, statuses=(0,)):
        began = time.monotonic()
        self.unit.run(*words, expect=statuses)
        return time.monotonic() - began


class KilledCollector(Scenario):
    NAME = "collector"
    MOMENTS = ["during_start", "mid_batch", "mid_shell_pull", "mid_control_pull", "slow_reader"]
    CLIENT_STATUSES = (0, EX_UNAVAILABLE, EX_SOFTWARE)

    def survivors(self):
        return {"qdxload": self.arena.load, "hostfe": self.arena.host}

    def during_start(self):
        self.arena.kill(self.arena.collector)
        self.arena.collector = self.unit.start_collector()
        self.arena.wait_randomly(0.1)
        return self.recover()

    def mid_batch(self):
        self.arena.wait_randomly(0.2)
        return self.recover()

    def mid_shell_pull(self):
        return self.mid_pull("dch", "fast")

    def mid_control_pull(self):
        return self.mid_pull("qfci", "fast")

    def slow_reader(self):
        return self.mid_pull(self.dice.choice(["dch", "qfci"]), "slow")

    def mid_pull(self, kind, reader):
        client = self.arena.start_client(kind, reader)
        self.arena.wait_randomly(self.arena.pull_seconds)
        self.arena.kill(self.arena.collector)
        self.arena.settle(client, self.CLIENT_STATUSES)
        return self.recover()

    def recover(self):
        arena = self.arena
        if arena.collector in self.unit.processes:
            arena.kill(arena.collector)
        ready = arena.start_collector()
        self.unit.run("dch", "filter", "status", expect=[0])
        recovery = {"a command": time.monotonic() - ready}
        arena.create_filters()
        self.unit.run("qfci", "ping", expect=[0])
        recovery["a control client"] = time.monotonic() - ready
        recovery.update(arena.await_frontends(ready))
        arena.await_big_data()
        return recovery


class KilledFrontend(Scenario):
    NAME = "frontend"
    MOMENTS = ["load_during_start", "load_mid_batch", "host_during_start", "host_mid_batch"]

    def survivors(self):
        return {"qdxd": self.arena.collector}

    def load_during_start(self):
        self.arena.kill(self.arena.load)
        self.arena.start_load()
        self.arena.wait_randomly(0.05)
        return self.recover_load()

    def load_mid_batch(self):
        self.arena.wait_randomly(0.2)
        return self.recover_load()

    def host_during_start(self):
        self.arena.kill(self.arena.host)
        self.arena.start_host()
        self.arena.wait_randomly(0.05)
        return self.recover_host()

    def host_mid_batch(self):
        self.arena.wait_randomly(0.2)
        return self.recover_host()

    def recover_load(self):
        self.arena.kill(self.arena.load)
        return self.recover(self.arena.start_load)

    def recover_host(self):
        self.arena.kill(self.arena.host)
        return self.recover(self.arena.start_host)

    def recover(self, start):
        self.unit.run("dch", "filter", "clearAll", expect=[0])
        since = time.monotonic()
        start()
        return self.arena.await_frontends(since)


class KilledClient(Scenario):
    """What shell and control client have in common."""

    KIND = None

    def survivors(self):
        return {"qdxd": self.arena.collector, "qdxload": self.arena.load, "hostfe": self.arena.host}

    def during_start(self):
        return self.kill_pull("fast", 0.02)

    def mid_pull(self):
        return self.kill_pull("fast", self.arena.pull_seconds)

    def slow_reader(self):
        return self.kill_pull("slow", 2 * self.arena.pull_seconds)

    def kill_pull(self, reader, most):
        client = self.arena.start_client(self.KIND, reader)
        self.arena.wait_randomly(most)
        return self.recover(client)

    def recover(self, client):
        self.arena.kill(client)
        if client.stdout:
            client.stdout.close()
        return {"a command": self.timed("dch", "filter", "status"),
                "a pull": self.timed("qfci", "pull", self.arena.watched)}


class KilledControlClient(KilledClient):
    NAME = "control-client"
    KIND = "qfci"
    MOMENTS = ["during_start", "mid_pull", "slow_reader", "held_connection"]

    def expected_growth_kib(self):
        """Of a stream whose client vanished the collector keeps what wasn't acknowledged."""
        streams = sum(count for moment, count in self.moments.items() if moment != "held_connection")
        return streams * self.arena.pull_bytes // 1024

    def held_connection(self):
        client = self.hold()
        return self.recover(client)

    def hold(self):
        client = self.unit.start("qfci", "connect", "--hold", stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        if not client.stdout.readline().startswith(b"connection "):
            raise Fault(f"no connection: {client.log.read_text().strip()}")
        return client

    def check_end(self):
        """Nobody holds a connection any more: all can be had at once."""
        for client in [self.hold() for _ in range(MOST_CONNECTIONS)]:
            self.arena.settle(client, (0,))


class KilledShell(KilledClient):
    NAME = "shell"
    KIND = "dch"
    MOMENTS = ["during_start", "mid_pull", "slow_reader", "mid_session"]

    def mid_session(self):
        session = self.unit.root / "session"
        session.write_text(f"filter status\nfilter pull keep {self.arena.watched}\n" * 200)
        with open(session, "rb") as lines:
            client = self.unit.start("dch", "-i", stdin=lines)
        self.arena.wait_randomly(0.3)
        return self.recover(client)


SCENARIOS = {scenario.NAME: scenario for scenario in (KilledCollector, KilledFrontend, KilledControlClient, KilledShell)}


def first_and_last(uses, column):
    """The least in the second quarter, behind the warm-up, and in the last: what comes and goes is in neither."""
    values = [getattr(use, column) for use in uses]
    part = max(1, len(values) // 4)
    return min(values[part:2 * part] or values[:1]), min(values[-part:])


class Watch:
    """What the survivors of a scenario take, from the first rounds to the last."""

    def __init__(self, scenario):
        self.scenario = scenario
        self.uses = {name: [] for name in scenario.survivors()}

    def look(self):
        for name, process in self.scenario.survivors().items():
            if process.poll() is not None:
                raise Fault(f"{name} ended with {process.returncode}")
            self.uses[name].append(self.settled_use(name, process.pid))

    def settled_use(self, name, pid):
        """What the dead held takes a moment to go."""
        least = min((use.descriptors for use in self.uses[name]), default=None)
        deadline = time.monotonic() + SETTLE_SECONDS
        use = read_use(pid)
        while least is not None and use.descriptors > least and time.monotonic() < deadline:
            time.sleep(0.05)
            use = read_use(pid)
        return use


class Rounds:
    def __init__(self, options):
        self.options = options
        self.faults = []

    def run(self, name):
        unit = Unit(Programs(self.options.build), parent=self.options.build)
        try:
            scenario = SCENARIOS[name](Arena(unit, random.Random(f"{self.options.seed} {name}")))
            self.play(scenario, unit)
        except Fault as fault:
            self.fault(name, str(fault))
        finally:
            unit.remove()

    def play(self, scenario, unit):
        scenario.begin()
        files_before = unit.files()
        watch = Watch(scenario)
        recoveries = {}
        for number in range(1, self.options.rounds + 1):
            for what, seconds in scenario.round().items():
                recoveries.setdefault(what, []).append(seconds)
            watch.look()
            if sys.stderr.isatty():
                print(f"\rendure: {scenario.NAME}, round {number} of {self.options.rounds} ", end="", file=sys.stderr)
        scenario.check_end()
        self.tell_recoveries(scenario, recoveries)
        self.judge_survivors(scenario, watch)
        self.judge_files(scenario.NAME, files_before, unit.files())
        self.stop_collector(scenario)

    def tell_recoveries(self, scenario, recoveries):
        moments = ", ".join(f"{count} {moment.replace('_', ' ')}" for moment, count in sorted(scenario.moments.items()))
        print(f"{scenario.NAME} killed {self.options.rounds} times: {moments}")
        for what, seconds in recoveries.items():
            print(f"  {what} is back after {statistics.median(seconds):.3f} s (median), {max(seconds):.3f} s at most")
            late = sum(value > self.options.recovery for value in seconds)
            if late:
                self.fault(scenario.NAME, f"{what} took more than {self.options.recovery:g} s {late} times")

    def judge_survivors(self, scenario, watch):
        for survivor, uses in watch.uses.items():
            descriptors = first_and_last(uses, "descriptors")
            resident = first_and_last(uses, "resident_kib")
            print(f"  {survivor}: {descriptors[0]} descriptors, {descriptors[1]} at the end; {resident[0]} KiB resident, "
                  f"{resident[1]} at the end")
            expected = scenario.expected_growth_kib() if survivor == "qdxd" else 0
            if descriptors[1] > descriptors[0]:
                self.fault(scenario.NAME, f"{survivor} had {descriptors[0]} descriptors, then {descriptors[1]}")
            if resident[1] - resident[0] > expected + self.options.growth:
                self.fault(scenario.NAME, f"{survivor} grew from {resident[0]} to {resident[1]} KiB")

    def judge_files(self, name, before, after):
        print(f"  files in the run directory: {before}, {after} at the end")
        if after > before + MOST_FILES_LEFT:
            self.fault(name, f"{after - before} files pile up in the run directory")

    def stop_collector(self, scenario):
        collector = scenario.arena.collector
        collector.send_signal(signal.SIGTERM)
        try:
            status = collector.wait(PATIENCE_SECONDS)
        except subprocess.TimeoutExpired:
            raise Fault("the collector doesn't stop") from None
        if status != 0:
            raise Fault(f"the collector ended with {status}: {collector.log.read_text().strip()[-500:]}")

    def fault(self, name, text):
        self.faults.append(f"{name}: {text}")
        print(f"fault: {name}: {text}", flush=True)


def parse(arguments):
    parser = argparse.ArgumentParser(
        prog="endure", description="Kills the collector, frontends and clients at random moments, and watches the others.",
        epilog="Exit status: 0; 1 something did not recover, or grew, or could not be run; 64 wrong usage.")
    parser.error = lambda message: parser.exit(EX_USAGE, f"endure: {message}; see scripts/endure --help\n")
    parser.add_argument("victims", nargs="*", metavar="VICTIM", default=[],
                        help=f"who is killed: {', '.join(SCENARIOS)}; all in turn if not given")
    parser.add_argument("--rounds", type=int, default=100, help="of each victim; 100 if not given")
    parser.add_argument("--seed", type=int, default=random.randrange(1_000_000), help="of the moments; random if not given")
    parser.add_argument("--recovery", type=float, default=1, metavar="SECONDS",
                        help="the longest that anything may take to be back; 1 if not given")
    parser.add_argument("--growth", type=int, default=4096, metavar="KIB",
                        help="what a survivor's resident memory may grow by; 4096 if not given")
    parser.add_argument("--build", default="build/bench", help="the build whose programs run; build/bench if not given")
    options = parser.parse_args(arguments)
    unknown = [victim for victim in options.victims if victim not in SCENARIOS]
    if unknown:
        parser.error(f"nobody is called '{unknown[0]}'")
    if options.rounds < 1:
        parser.error("--rounds must be positive")
    return options


def main(arguments):
    options = parse(arguments)
    print(f"seed {options.seed}", flush=True)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    rounds = Rounds(options)
    try:
        for name in options.victims or SCENARIOS:
            rounds.run(name)
    except (Fault, OSError) as fault:
        print(f"endure: {fault}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    return 1 if rounds.faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
