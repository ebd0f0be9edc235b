"""The trace provider with a real LTTng session, and the library's trace without one.

usage: lttngTraceTest.py EMITTER PROVIDER [unittest arguments]

Each test copies the emitter, and mostly the provider, into the home of a session daemon of its own.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[4] / "test/support"))
from lttngSession import DEADLINE_SECONDS, SessionTest

EMITTER = PROVIDER = None
NAME = "com_zelva_zelvasw_qdxbe"
LEVELS = ["ERROR", "INFO", "TRACE5", "TRACE6", "TRACE7"]

# The fields of each event with their types, as the trace itself describes them.
STRING, UINT, SIZE = "string", "unsigned 32", "unsigned 64"
PLAIN = [("file", STRING), ("line", UINT), ("msg", STRING)]
OBJECT = [("file", STRING), ("line", UINT), ("obj", STRING), ("msg", STRING)]
TIMED = [("file", STRING), ("line", UINT), ("sec", UINT), ("usec", UINT), ("process", STRING), ("msg", STRING),
         ("data", STRING), ("datalen", SIZE)]
EVENTS = {
    "ERROR": PLAIN,
    "INFO": PLAIN,
    "STATE_CHANGE": OBJECT,
    **{f"TRACE{i}": OBJECT for i in range(1, 8)},
    "REC_SIG": [("file", STRING), ("line", UINT), ("obj", STRING), ("sig_no", UINT), ("msg", STRING)],
    "SEND_SIG": [("file", STRING), ("line", UINT), ("obj", STRING), ("sig_no", UINT), ("pid", UINT), ("msg", STRING)],
    "DATA": [("file", STRING), ("line", UINT), ("obj", STRING), ("msg", STRING), ("data", STRING), ("datalen", SIZE)],
    **{f"TRACE_UTS{i}": TIMED for i in range(1, 8)},
}


def statement_lines():
    """The numbers of the lines of the emitter's source that hold a trace statement."""
    with open(os.path.join(os.path.dirname(__file__), "traceEmitter.cpp")) as source:
        return [number for number, line in enumerate(source, 1) if "QDX_TRACE(" in line]


class TraceTest(SessionTest):
    def setUp(self):
        super().setUp()
        self.emitter = shutil.copy(EMITTER, self.home)

    def install_provider(self):
        return shutil.copy(PROVIDER, self.home)

    def emit(self):
        """Runs the emitter; gives the levels that were on."""
        result = subprocess.run([self.emitter], cwd=self.home, env=self.environment, input="go\n", text=True,
                                capture_output=True, timeout=DEADLINE_SECONDS, **self.identity)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr, "")
        ready, *levels = result.stdout.split()
        self.assertEqual(ready, "ready")
        return levels

    def record(self, pattern):
        """Records the events that match while the emitter runs; gives the levels that were on."""
        self.run_tool("lttng", "enable-event", "--userspace", pattern)
        self.run_tool("lttng", "start")
        levels = self.emit()
        self.run_tool("lttng", "destroy")
        return levels


class WithoutProvider(TraceTest):
    """Each test records everything, so that a provider which did work would show."""

    def replace_in_provider(self, old, new):
        provider = self.install_provider()
        with open(provider, "rb") as file:
            content = file.read()
        self.assertIn(old, content)
        with open(provider, "wb") as file:
            file.write(content.replace(old, new))

    def test_all_is_off_without_the_provider(self):
        self.assertEqual(self.record(f"{NAME}:*"), [])

    def test_all_is_off_with_a_provider_that_is_no_library(self):
        with open(os.path.join(self.home, os.path.basename(PROVIDER)), "w") as file:
            file.write("no library")
        self.assertEqual(self.record(f"{NAME}:*"), [])

    def test_all_is_off_without_lttng_on_the_machine(self):
        self.replace_in_provider(b"liblttng-ust.so.1", b"liblttng-xxx.so.1")
        self.assertEqual(self.record(f"{NAME}:*"), [])

    def test_all_is_off_with_a_provider_without_its_table(self):
        self.replace_in_provider(b"qdxbe_lttng_levels", b"qdxbe_lttng_xxxxxx")
        self.assertEqual(self.record(f"{NAME}:*"), [])


class WithProvider(TraceTest):
    def setUp(self):
        super().setUp()
        self.install_provider()

    def test_all_is_off_while_nobody_records(self):
        self.assertEqual(self.emit(), [])

    def test_each_level_arrives_with_its_fields(self):
        self.assertEqual(self.record(f"{NAME}:*"), LEVELS)
        text = self.run_tool("babeltrace2", "--names=payload", "trace")
        events = re.findall(NAME + r":(\w+): .*?\{ (file = .*) \}$", text, re.MULTILINE)
        error, info, trace5, trace6, trace7 = statement_lines()
        self.assertEqual(events, [
            ("ERROR", f'file = "traceEmitter.cpp", line = {error}, msg = "error 1"'),
            ("INFO", f'file = "traceEmitter.cpp", line = {info}, msg = "info 2"'),
            ("TRACE5", f'file = "traceEmitter.cpp", line = {trace5}, obj = "-", msg = "trace 5"'),
            ("TRACE6", f'file = "traceEmitter.cpp", line = {trace6}, obj = "-", msg = "trace 6"'),
            ("TRACE7", f'file = "traceEmitter.cpp", line = {trace7}, obj = "-", msg = "trace 7"'),
        ])

    def test_a_level_that_is_not_recorded_is_off(self):
        for level in LEVELS:
            with self.subTest(level):
                self.assertEqual(self.record(f"{NAME}:{level}"), [level])
                self.run_tool("lttng", "create", f"after{level}", "--output", os.path.join(self.home, f"after{level}"))

    def test_provider_declares_all_events_with_their_fields(self):
        self.record(f"{NAME}:*")
        described = self.run_tool("babeltrace2", "--output-format=ctf-metadata", self.metadata_directory())
        events = dict(re.findall(r'event \{\s*name = "' + NAME + r':(\w+)";.*?fields := struct \{(.*?)\n\t\};', described,
                                 re.DOTALL))
        self.assertEqual({name: self.fields(text) for name, text in events.items()}, EVENTS)

    def metadata_directory(self):
        for directory, _, files in os.walk(os.path.join(self.home, "trace")):
            if "metadata" in files:
                return directory
        self.fail("the session left no trace")

    @staticmethod
    def fields(text):
        found = []
        for kind, attributes, name in re.findall(r"(integer|string)\s*(\{.*?\})?\s*_(\w+);", text, re.DOTALL):
            if kind == "integer":
                size = re.search(r"size = (\d+);", attributes).group(1)
                signed = "signed" if "signed = 1;" in attributes else "unsigned"
                kind = f"{signed} {size}"
            found.append((name, kind))
        return found


if __name__ == "__main__":
    EMITTER, PROVIDER = (os.path.abspath(path) for path in sys.argv[1:3])
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:])
