"""A collector under a steady load for a long time, with everything that clients do, watched and judged.

Each turn of a minute makes two filters, has qdxload send, pulls from one filter every second, in turns with dch and qfci, to
keep and to clear, and checks the other with qdxload when all is sent. A third filter, whose memory never suffices, comes and
goes every ten seconds. Between them commands are typed that succeed and commands that fail.
"""
import argparse
import collections
import csv
import pathlib
import re
import signal
import sys
import time

from judge import MOST_GROWTH_KIB, after_warm_up, floors, judge, trend
from processUse import read_use
from seriesCheck import Plan, SeriesCheck
from trafficRecording import TrafficRecording
from unit import PATIENCE_SECONDS, Fault, Programs, Unit, first_line

EX_USAGE = 64
EX_TEMPFAIL = 75
NOT_ENOUGH_DATA = 2  # dch's status of an empty filter
MOST_FAULTS = 20
TURN_SECONDS = 60
FILTER_SECONDS = 10
PLAN = Plan(frontends=3, objects=30, contexts=10)
LIST_SIZE = 2000

DATABASE = """[qdx]
enabled = 1
radioObservabilityEnabled = 1
globalMemoryLimit = 134217728
infoObjectListFilePath = "{objects}"
[qdx.staticFilters]
enabledByDefault = ["newest"]
printable = ["newest"]
newest = ["dch", "limit 262144", "dch", "tags MEASUREMENT context deviceId 0 list count 5"]
"""
CHECKED_AT_THE_END = [
    "limit 0", "tags MEASUREMENT list count 500", "tags COUNTER list count 500", "tags RECORD list count 50",
    "tags MEASUREMENT min count 10 1000 max count 10 1000 average count 100 10000", "tags COUNTER sum count 10 1000 10000"]
PULLED = ["limit 0", f"tags MEASUREMENT context deviceId 0 list count {LIST_SIZE}",
          f"tags COUNTER context deviceId 1 list count {LIST_SIZE}"]
# Has no memory for its lists to double, but always for a record on its way: without that the collector gives up the rest of
# the batch, for all filters.
PASSING = ["limit 110000", "tags MEASUREMENT context clientId 0 deviceId 0 list count 1000000"]

Row = collections.namedtuple(
    "Row", "seconds resident_kib anonymous_kib descriptors threads files cpu_seconds pulls values commands faults")


class Soak:
    def __init__(self, options, unit):
        self.options = options
        self.unit = unit
        self.begin = time.monotonic()
        self.rows = []
        self.faults = []
        self.counts = collections.Counter()
        self.table = None
        self.recording = TrafficRecording(unit.root, options.recording)

    # ---- The course

    def run(self):
        unit = self.unit
        unit.write_database(DATABASE.format(objects=unit.root / "objects.xml"))
        unit.run("qdxload", *self.shape(), "--list", unit.root / "objects.xml", expect=[0])
        self.collector = unit.start_collector(*self.recording.options())
        self.await_log(self.collector, "qdxd: ready")
        end = time.monotonic() + self.options.minutes * 60
        with open(self.options.csv, "w", newline="", buffering=1) as file:
            self.table = csv.writer(file)
            self.table.writerow(Row._fields)
            while time.monotonic() < end and not self.is_hopeless():
                self.guard(self.turn, min(TURN_SECONDS, max(2, end - time.monotonic())))
        if self.collector.poll() is None:
            self.collector.send_signal(signal.SIGTERM)
        if self.collector.wait(PATIENCE_SECONDS) != 0:
            self.note(f"the collector ended with {self.collector.returncode}")

    def is_hopeless(self):
        return self.collector.poll() is not None or len(self.faults) >= MOST_FAULTS

    def turn(self, seconds):
        filters = []
        try:
            for lines in (CHECKED_AT_THE_END, PULLED):
                filters.append(self.unit.create_filter(*lines))
            self.load_filters(seconds, *filters)
        finally:
            for number in filters:
                self.type("dch", "filter", "delete", number)

    def load_filters(self, seconds, whole, pulled):
        unit = self.unit
        ledger = unit.root / "ledger"
        with open(unit.root / "load.txt", "wb") as report:
            load = unit.start("qdxload", *self.shape(), "--rate", self.options.rate, "--seconds", f"{seconds:.1f}", "--wait",
                              "--ledger", ledger, stdout=report)
        try:
            self.await_log(load, "qdxload: sending")
            self.tick_until_end(load, pulled)
        finally:
            self.end(load)
        self.check_load(load)
        self.check_whole(whole, ledger)
        self.counts["turns"] += 1

    def tick_until_end(self, load, pulled):
        series = SeriesCheck(PLAN, LIST_SIZE)
        passing = None
        due = time.monotonic() + 1
        for tick in range(10 ** 9):
            if self.await_end(load, due) or "waiting for the collector" in load.log.read_text():
                break
            if self.is_hopeless():
                break
            self.measure()
            self.guard(self.pull, pulled, tick, series)
            if tick % FILTER_SECONDS == 0:
                passing = self.guard(self.renew_passing, passing)
            self.guard(self.type_something, tick)
            due = max(due + 1, time.monotonic() + 0.1)
        if passing is not None:
            self.guard(self.type, "dch", "filter", "delete", passing)
        self.await_end(load, time.monotonic() + PATIENCE_SECONDS)

    def shape(self):
        return ["--frontends", PLAN.frontends, "--objects", PLAN.objects, "--contexts", PLAN.contexts]

    # ---- What is typed

    def pull(self, number, tick, series):
        clear = tick % 4 >= 2
        if tick % 2 == 0:
            text, empty = self.pull_by_shell(number, clear)
        else:
            answer = self.unit.run("qfci", "pull", number, *(["--clear"] if clear else []), "--format", "csv",
                                   expect=[0, EX_TEMPFAIL])
            text, empty = answer.output, answer.status == EX_TEMPFAIL
            if empty and "not enough data yet" not in answer.error:
                raise Fault(f"qfci pull: {answer.error.strip()}")
        self.counts["empty pulls" if empty else "pulls"] += 1
        if not empty:
            before = series.values
            for fault in series.check(text, clear)[:3]:
                self.note(f"pull of filter {number}: {fault}")
            self.counts["values"] += series.values - before

    def pull_by_shell(self, number, clear):
        answer = self.unit.run("dch", "filter", "pull", "clear" if clear else "keep", number, expect=[0, NOT_ENOUGH_DATA])
        if answer.status == NOT_ENOUGH_DATA:
            if not answer.output.startswith("Not enough data yet"):
                raise Fault(f"dch filter pull: {answer.output.strip()}")
            return "", True
        return self.decode(answer.output), False

    def decode(self, output):
        pull = self.unit.root / "pull.txt"
        pull.write_text(output)
        return self.unit.run("qdxview", "--format", "csv", pull, expect=[0]).output

    def renew_passing(self, passing):
        if passing is not None:
            self.decode(self.unit.run("dch", "filter", "pull", "keep", passing, expect=[0]).output)
            self.type("dch", "filter", "disable", passing)
            self.type("dch", "filter", "enable", passing)
            self.type("dch", "filter", "delete", passing)
        self.counts["passing filters"] += 1
        return self.unit.create_filter(*PASSING)

    def type_something(self, tick):
        choices = [
            (["dch", "filter", "status"], 0, "Current Filter(s):\n"),
            (["rodc", "list"], 0, "Current Filter(s):\n"),
            (["dch", "fs", "add", 999999, "list", "count", 1], 2, "Failed to execute command\n"),
            (["dch", "filter", "delete", "nobody"], 1, "No entry with this filterID\n"),
            (["rodc", "show", 3], None, ""),
        ]
        words, status, begin = choices[tick % len(choices)]
        self.type(*words, status=status, begin=begin)

    def type(self, *words, status=0, begin=""):
        answer = self.unit.run(*words)
        self.counts["commands"] += 1
        # The first rodc show of a filter opens it, and has nothing to show yet.
        statuses = [0, NOT_ENOUGH_DATA] if status is None else [status]
        if answer.status not in statuses or not answer.output.startswith(begin):
            raise Fault(f"{' '.join(map(str, words))}: status {answer.status}: {first_line(answer.output + answer.error)}")

    # ---- What is checked at the end of a turn

    def check_load(self, load):
        report = (self.unit.root / "load.txt").read_text()
        if load.returncode != 0:
            raise Fault(f"qdxload ended with {load.returncode}: {load.log.read_text().strip()}")
        self.counts["samples"] += int(re.search(r"\nsamples sent +(\d+)", report)[1])
        dropped = sum(int(number) for number in re.findall(r" (\d+) dropped, in", report))
        self.counts["dropped"] += dropped
        if dropped:
            self.note(f"{dropped} samples were dropped")
        self.unit.forget(load)

    def check_whole(self, number, ledger):
        pull = self.unit.root / "whole.txt"
        pull.write_text(self.unit.run("dch", "filter", "pull", "keep", number, expect=[0]).output)
        checked = self.unit.run("qdxload", "--check", pull, "--ledger", ledger, "--from-start")
        if checked.status != 0:
            raise Fault(f"qdxload --check: {first_line(checked.output + checked.error)}")
        self.counts["values checked with the ledger"] += int(re.match(r"OK: (\d+) values", checked.output)[1])

    # ---- Watching

    def measure(self):
        use = read_use(self.collector.pid)
        row = Row(round(time.monotonic() - self.begin, 1), use.resident_kib, use.anonymous_kib, use.descriptors, use.threads,
                  self.unit.files(), use.cpu_seconds, self.counts["pulls"], self.counts["values"], self.counts["commands"],
                  len(self.faults))
        self.rows.append(row)
        self.table.writerow(row)
        if sys.stderr.isatty():
            print(f"\rsoak: {row.seconds / 60:.1f} of {self.options.minutes:g} minutes, {row.resident_kib} KiB, "
                  f"{row.descriptors} descriptors, {row.faults} faults ", end="", file=sys.stderr, flush=True)

    def guard(self, action, *arguments):
        try:
            return action(*arguments)
        except Fault as fault:
            self.note(str(fault))
            return None

    def note(self, fault):
        self.faults.append(fault)
        print(f"soak: after {time.monotonic() - self.begin:.0f} s: {fault}", file=sys.stderr, flush=True)

    def await_log(self, process, text):
        deadline = time.monotonic() + PATIENCE_SECONDS
        while text not in process.log.read_text():
            if process.poll() is not None or time.monotonic() > deadline:
                raise Fault(f"{process.name}: no '{text}': {process.log.read_text().strip()}")
            time.sleep(0.02)

    def await_end(self, process, until):
        while process.poll() is None and time.monotonic() < until:
            time.sleep(min(0.05, max(0, until - time.monotonic())))
        return process.poll() is not None

    def end(self, process):
        if process.poll() is None:
            process.kill()
            process.wait()

    # ---- Telling

    def summary(self):
        counts = self.counts
        lines = [f"{self.rows[-1].seconds / 60:.1f} minutes, {counts['turns']} turns: {counts['samples']} samples sent "
                 f"({counts['samples'] / self.rows[-1].seconds:.0f}/s), {counts['dropped']} dropped",
                 f"{counts['pulls']} pulls with {counts['values']} values ({counts['empty pulls']} more were empty), "
                 f"{counts['values checked with the ledger']} values checked with the ledger, "
                 f"{counts['commands']} commands, {counts['passing filters']} passing filters"]
        judged = after_warm_up(self.rows)
        for column in ("resident_kib", "anonymous_kib"):
            seen = trend(judged, column)
            lines.append(f"{column}: {seen.lowest} to {seen.highest}, {seen.kib_per_hour:+.0f} KiB/h by least squares from "
                         f"{judged[0].seconds:.0f} s on")
        for column in ("descriptors", "threads", "files"):
            before, after = floors(judged, column)
            lines.append(f"{column}: at least {before} at the beginning and {after} at the end; "
                         f"{max(getattr(row, column) for row in judged)} at most")
        return lines


def parse(arguments):
    parser = argparse.ArgumentParser(
        prog="soak", description="Soaks a collector in a steady load with all that clients do, and judges it.",
        epilog="Exit status: 0; 1 something was lost, wrong or grew, or could not be run; 64 wrong usage.")
    parser.error = lambda message: parser.exit(EX_USAGE, f"soak: {message}; see scripts/soak --help\n")
    parser.add_argument("--minutes", type=float, default=10, help="how long; 10 if not given")
    parser.add_argument("--rate", type=int, default=50_000, help="samples a second; 50000 if not given")
    parser.add_argument("--growth", type=int, default=MOST_GROWTH_KIB, metavar="KIB",
                        help=f"what resident memory may grow by after the warm-up; {MOST_GROWTH_KIB} if not given")
    parser.add_argument("--build", default="build/bench", help="the build whose programs run; build/bench if not given")
    parser.add_argument("--csv", default="soak.csv", help="where each second's measurements go; soak.csv if not given")
    parser.add_argument("--recording", default="soak.rec.zst", metavar="FILE",
                        help="where a run that failed leaves all that reached the collector, for qdx-replay; soak.rec.zst if "
                        "not given")
    options = parser.parse_args(arguments)
    if not 0 < options.minutes <= 100_000 or not 0 < options.rate <= 10_000_000:
        parser.error("--minutes and --rate must be positive")
    return options


def main(arguments):
    options = parse(arguments)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    unit = None
    soak = None
    try:
        unit = Unit(Programs(options.build), parent=options.build)
        soak = Soak(options, unit)
        soak.run()
    except (Fault, OSError) as fault:
        print(f"soak: {fault}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    finally:
        if unit:
            unit.stop()
        faults = soak.faults + judge(soak.rows, options.growth) if soak else ["it did not begin"]
        kept = soak.recording.finish(bool(faults)) if soak else None
        if unit:
            unit.remove()
    for line in soak.summary() if soak.rows else []:
        print(line)
    for fault in faults[:MOST_FAULTS]:
        print(f"fault: {fault}")
    if kept:
        print(f"what reached the collector: zstd -dc {kept} | qdx-replay -")
    print("verdict:", f"{len(faults)} faults" if faults else "passed")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
