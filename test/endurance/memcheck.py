"""Runs test programs, and a collector with its frontend and its clients, under valgrind's memcheck.

Every process must end as it should, without an error and without a block of memory that nothing points to.
"""
import argparse
import os
import pathlib
import re
import signal
import subprocess
import sys
import time

from unit import Fault, Programs, Unit

EX_USAGE = 64
ERRORS_FOUND = 99  # valgrind's status
TEST_SECONDS = 3600
SLOW_SECONDS = 300  # for anything that has to come true
SUPPRESSIONS = pathlib.Path(__file__).with_name("memcheck.supp")
# Valgrind takes descriptors and the allocation functions for itself, and these tests need them.
FILTER_OF_TESTS = "-OutOfDescriptors*:OutOfMemory*:*MemoryRefuses*:*llocat*:*Heap*"
TESTS = ["sw/platform/ozo/ozo_tests", "sw/frontend/frontend_tests", "sw/backend/qdxbe_clock_tests",
         "sw/tools/pull/test/pull_tests"]

DATABASE = """[qdx]
enabled = 1
radioObservabilityEnabled = 1
infoObjectListFilePath = "{objects}"
"""
FILTER = ["limit 500000", "tags CPU min count 2 10 max count 2 10 average duration 1 10", "tags NET sum count 2 10",
          "list count 20"]


class Memcheck:
    def __init__(self, logs):
        self.logs = pathlib.Path(logs)
        self.words = ["valgrind", f"--error-exitcode={ERRORS_FOUND}", "--leak-check=full", "--errors-for-leak-kinds=definite",
                      f"--suppressions={SUPPRESSIONS}", f"--log-file={self.logs}/memcheck.%p"]

    def forget(self):
        """Of earlier runs."""
        for log in self.logs.glob("memcheck.*"):
            log.unlink()

    def tell(self):
        """Prints each program's figures; gives whether all are clean."""
        figures = {}
        clean = True
        for log in sorted(self.logs.glob("memcheck.*")):
            text = log.read_text(errors="replace")
            name = os.path.basename(re.search(r"Command: (\S+)", text)[1])
            errors = re.search(r"ERROR SUMMARY: (\d+) errors", text)
            lost = re.search(r"definitely lost: ([\d,]+) bytes", text)
            sums = figures.setdefault(name, {"ended": 0, "killed": 0, "errors": 0, "bytes lost": 0})
            if not errors:  # a test killed it, so that not even valgrind could speak
                sums["killed"] += 1
                continue
            sums["ended"] += 1
            sums["errors"] += int(errors[1])
            sums["bytes lost"] += int(lost[1].replace(",", "")) if lost else 0
            if errors[1] != "0":
                clean = False
                print(f"see {log}")
        for name, sums in figures.items():
            print(f"{name}: " + ", ".join(f"{number} {what}" for what, number in sums.items()))
        return clean


def run_collector(programs, logs, host_objects):
    """A filter is made, fed by hostfe, pulled in every way, and deleted."""
    unit = Unit(programs, wrapper=Memcheck(logs).words, patience=SLOW_SECONDS)
    try:
        unit.write_database(DATABASE.format(objects=host_objects))
        collector = unit.start_collector()
        await_true(lambda: "qdxd: ready" in collector.log.read_text(), "the collector")
        number = unit.create_filter(*FILTER)
        host = unit.start("hostfe", "--rate", 5)
        await_true(lambda: unit.run("dch", "filter", "pull", "keep", number).status == 0, "data")
        for words in (["qfci", "ping"], ["qfci", "pull", number, "--format", "csv"], ["qfci", "pull", number, "--clear"],
                      ["dch", "filter", "status"], ["rodc", "list"], ["dch", "filter", "delete", number]):
            unit.run(*words, expect=[0])
        for process in (host, collector):
            process.send_signal(signal.SIGTERM)
            if process.wait(SLOW_SECONDS) != 0:
                raise Fault(f"{process.name} ended with {process.returncode}: {process.log.read_text().strip()}")
    finally:
        unit.remove()


def await_true(condition, what):
    deadline = time.monotonic() + SLOW_SECONDS
    while not condition():
        if time.monotonic() > deadline:
            raise Fault(f"{what}: not there within {SLOW_SECONDS} s")
        time.sleep(0.1)


def run_tests(program, words, logs):
    print(f"memcheck: {os.path.basename(program)}", file=sys.stderr, flush=True)
    result = subprocess.run([*Memcheck(logs).words, program, "--gtest_brief=1", *words], timeout=TEST_SECONDS)
    if result.returncode != 0:
        raise Fault(f"{os.path.basename(program)} ended with {result.returncode}")


def parse(arguments):
    parser = argparse.ArgumentParser(
        prog="valgrind", description="Runs tests and a collector with its clients under valgrind's memcheck.",
        epilog="Exit status: 0; 1 memcheck found something, or something failed; 64 wrong usage.")
    parser.error = lambda message: parser.exit(EX_USAGE, f"valgrind: {message}; see scripts/valgrind --help\n")
    parser.add_argument("--build", default="build/dev", help="the build whose programs run; build/dev if not given")
    parser.add_argument("--tests", nargs="*", default=TESTS, metavar="PROGRAM",
                        help=f"test programs in the build; {' '.join(TESTS)} if not given")
    parser.add_argument("--filter", default=FILTER_OF_TESTS,
                        help=f"of the tests, as --gtest_filter takes it; {FILTER_OF_TESTS} if not given")
    parser.add_argument("--logs", default="memcheck", help="folder for valgrind's reports; memcheck if not given")
    return parser.parse_args(arguments)


def main(arguments):
    options = parse(arguments)
    os.makedirs(options.logs, exist_ok=True)
    host_objects = pathlib.Path(__file__).resolve().parents[2] / "examples/host/infoObjectList.xml"
    status = 0
    Memcheck(options.logs).forget()
    try:
        programs = Programs(options.build)
        for program in options.tests:
            run_tests(os.path.join(options.build, program), [f"--gtest_filter={options.filter}"], options.logs)
        print("memcheck: a collector with hostfe, dch and qfci", file=sys.stderr, flush=True)
        run_collector(programs, options.logs, host_objects)
    except (Fault, OSError, subprocess.TimeoutExpired) as fault:
        print(f"valgrind: {fault}", file=sys.stderr)
        status = 1
    return status if Memcheck(options.logs).tell() else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
