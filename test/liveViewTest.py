"""The live view of a collector, in a terminal.

usage: liveViewTest.py BUILD OBJECT_LIST [unittest arguments]
"""
import os
import pathlib
import re
import signal
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE / "support"), str(HERE / "endurance")]
from screen import Shell
from unit import Programs, Unit

DATABASE = """[qdx]
enabled = 1
radioObservabilityEnabled = 1
globalMemoryLimit = 2097152
infoObjectListFilePath = "{objects}"
[qdx.staticFilters]
enabledByDefault = ["overview", "quiet"]
disabledByDefault = ["spare", "evil\\u001b]0;title\\u0007\\u001b[31m"]
printable = ["overview"]
overview = ["dch", "limit 131072", "dch", "tags CPU max count 10 600"]
quiet = ["dch", "limit 65536", "dch", "tags MEMORY list count 10"]
spare = ["dch", "limit 65536", "dch", "tags MEMORY list count 10"]
"evil\\u001b]0;title\\u0007\\u001b[31m" = ["dch", "limit 0", "dch", "list count 1"]
"""
HOSTILE_OBJECTS = """<infoObjectList><objects>
<object id="{id}" name="bad&#x9B;31m:cpu:load" type="meas"><unit type="&#x9D;title&#x9C;" res="1"/></object>
</objects></infoObjectList>"""


class LiveView(unittest.TestCase):
    """Filters 11 to 14 are prescribed; 15 is an operator's."""

    @classmethod
    def setUpClass(cls):
        cls.unit = Unit(Programs(BUILD))
        cls.addClassCleanup(cls.unit.remove)
        cls.unit.write_database(DATABASE.format(objects=OBJECTS))
        cls.start_collector()
        cls.frontend = cls.unit.start("hostfe")

    @classmethod
    def start_collector(cls):
        cls.collector = cls.unit.start_collector()
        cls.unit.await_ready(cls.collector)
        cls.unit.create_filter("limit 0", "tags CPU list count 100", "tags NET list count 100")

    def setUp(self):
        self.environment = dict(self.unit.environment, LC_ALL="C.UTF-8")
        self.environment.pop("NO_COLOR", None)

    def open_shell(self, **environment):
        shell = Shell(dict(self.environment, **environment))
        self.addCleanup(shell.close)
        return shell

    def open_view(self, *options, **environment):
        shell = self.open_shell(**environment)
        shell.type(" ".join([self.unit.programs["qdxview"], "--top", "--every", "1", *options]) + "\r")
        shell.wait_for("q quit")
        return shell

    def open_view_of_values(self, *options, **environment):
        shell = self.open_view("--filter", "15", *options, **environment)
        shell.wait_until(lambda: re.search(r"host:cpu:load +deviceId=1 .* % +\d s  \S{4}", shell.text()), "plot")
        return shell

    def leave(self, shell):
        """Leaves the view; gives its status."""
        shell.type("q")
        return self.status(shell)

    def status(self, shell):
        shell.wait_until(lambda: shell.written.endswith(b"ready> "), "prompt")
        return int(shell.run("echo $?"))

    def test_shows_filters_and_the_values_of_the_selected_one(self):
        shell = self.open_view()
        shell.wait_for("> 11  overview")
        shell.wait_for("15  15")
        shell.wait_until(lambda: re.search(r"  15  15 +on +\d+ +\d+  ~\d+ KiB +CPU, NET", shell.text()), "filter 15")
        self.assertRegex(shell.text(), r"\d+ values, at least ~.* of 2 MiB")
        shell.type("jjjj")
        shell.wait_for("> 15  15")
        shell.wait_until(lambda: re.search(r"host:cpu:load +deviceId=0 +list count 100 +[\d.]+ % +\d s  [▁▂▃▄▅▆▇█]{8}",
                                           shell.text()), "value with its plot")
        self.assertEqual(self.leave(shell), 0)

    def test_values_renew_themselves_until_it_is_paused(self):
        shell = self.open_view_of_values()
        def values():
            return int(re.search(r"(\d+) values", shell.text()).group(1))
        first = values()
        shell.wait_until(lambda: values() > first, "more values")
        shell.type("p")
        shell.wait_for("paused")
        shell.wait_until(lambda: re.search(r"pulled [4-9] s ago", shell.text()), "pull of some time ago")
        shell.type("p")
        shell.wait_for("every 1 s")
        shell.wait_until(lambda: re.search(r"pulled [0-2] s ago", shell.text()), "pull of now")

    def test_keys_scroll_sort_search_and_help(self):
        shell = self.open_view_of_values()
        shell.type("\x1b[6~")  # page down
        shell.wait_for_no("host:cpu:load ")
        shell.type("\x1bOD")  # left, as terminals send it to programs that read keys
        shell.wait_for("host:cpu:load ")
        shell.type("s")
        shell.wait_for("by name")
        shell.type("/link\r")
        shell.wait_for('series with "link"')
        shell.wait_for_no("host:cpu")
        shell.type("\x1b")
        shell.wait_for("host:cpu")
        shell.type("?")
        shell.wait_for("Any key leaves this help.")
        shell.type("+")
        shell.wait_for_no("Any key")
        shell.type("+")
        shell.wait_for("every 2 s")

    def test_fills_the_terminal_when_it_is_resized(self):
        shell = self.open_view_of_values()
        for lines, columns in ((40, 132), (12, 60)):
            shell.resize(lines, columns)
            shell.wait_until(lambda: shell.screen.display[lines - 1].startswith("q quit") and
                             shell.screen.display[0].endswith(" UTC"), "screen of the new size")
            shell.wait_for("host:cpu:load" if columns > 100 else "cpu:load")
        self.assertEqual(self.leave(shell), 0)

    def test_does_not_wake_a_filter_that_nobody_pulled(self):
        shell = self.open_view()
        shell.wait_until(lambda: re.search(r"  12  quiet +asleep", shell.text()), "filter that is asleep")
        shell.type("j")
        shell.wait_for("> 12  quiet")
        shell.wait_for("none was seen")
        # Rounds in which it could have been pulled.
        for _ in range(3):
            clock = shell.text().split("\n", 1)[0]
            shell.wait_for_no(clock)
        self.leave(shell)
        answer = self.unit.run("dch", "filter", "pull", "keep", "quiet")
        self.assertEqual((answer.status, answer.output), (2, "Not enough data yet or not enough filter memory\n"))

    def test_wakes_one_when_asked(self):
        shell = self.open_view()
        shell.wait_until(lambda: re.search(r"> 11  overview +asleep", shell.text()), "filter that is asleep")
        self.assertNotIn("   ", self.unit.run("rodc", "list", expect=[0]).output)
        shell.type("\r")
        shell.wait_until(lambda: re.search(r"> 11  overview +on +\d+ +\d+  ~\S+ KiB of 128 KiB", shell.text()),
                         "use of the limit")

    def test_outlives_the_collector(self):
        shell = self.open_view_of_values()
        self.collector.kill()
        self.collector.wait()
        self.unit.forget(self.collector)
        shell.wait_until(lambda: re.search(r"\nno answer for [2-9]\d* s: no collector answers at ", shell.text()),
                         "word that the collector is gone")
        self.assertIn("host:cpu:load", shell.text())
        self.start_collector()
        shell.wait_for_no("no collector answers")
        shell.wait_for("host:cpu:load")
        self.assertEqual(self.leave(shell), 0)

    def test_keys_work_while_the_collector_is_stuck(self):
        shell = self.open_view()
        shell.wait_for("> 11")
        self.collector.send_signal(signal.SIGSTOP)
        try:
            shell.wait_for("waiting for an answer for")
            shell.type("j")
            shell.wait_for("> 12")
            self.assertEqual(self.leave(shell), 0)
        finally:
            self.collector.send_signal(signal.SIGCONT)

    def test_gives_the_terminal_back_however_it_ends(self):
        shell = self.open_shell()
        usual = shell.run("stty -g")
        for ending, status in (("q", 0), ("\x03", 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129)):
            with self.subTest(ending=ending):
                shell.written = b""
                shell.type(self.unit.programs["qdxview"] + " --top\r")
                shell.wait_for("q quit")
                if isinstance(ending, str):
                    shell.type(ending)
                else:
                    os.kill(os.tcgetpgrp(shell.master), ending)
                shell.wait_until(lambda: shell.written.endswith(b"ready> "), "prompt")
                self.assertIn(b"\x1b[?1049h", shell.written)  # the alternate screen
                self.assertGreater(shell.written.find(b"\x1b[?1049l"), 0)
                self.assertGreater(shell.written.rfind(b"\x1b[?25h"), shell.written.rfind(b"\x1b[?25l"))  # the cursor
                self.assertEqual(int(shell.run("echo $?")), status)
                self.assertEqual(shell.run("stty -g"), usual)
                shell.run("clear")

    def test_stops_and_goes_on(self):
        shell = self.open_shell()
        usual = shell.run("stty -g")
        shell.type(self.unit.programs["qdxview"] + " --top --filter 15\r")
        shell.wait_for("host:cpu:load")
        shell.type("\x1a")
        shell.wait_for("Stopped")
        self.assertEqual(shell.run("stty -g"), usual)
        shell.run("clear")
        shell.resize(30, 90)
        shell.type("fg\r")
        shell.wait_for("host:cpu:load")
        shell.wait_until(lambda: shell.screen.display[29].startswith("q quit"), "screen of the new size")
        shell.type("/net")
        shell.wait_for("Search: net_")
        shell.type("\r")
        self.assertEqual(self.leave(shell), 0)

    def test_names_cannot_steer_the_terminal(self):
        objects = pathlib.Path(OBJECTS).read_text()
        number = re.search(r'id="(\d+)" name="host:cpu:load"', objects).group(1)
        hostile = self.unit.root / "hostile.xml"
        hostile.write_text(HOSTILE_OBJECTS.format(id=number))
        shell = self.open_view("--filter", "15", "--filter", "14", "--catalogue", str(hostile))
        shell.wait_for("evil?]0;title??[31m")
        shell.type("j")
        shell.wait_for("bad?31m:cpu:load")
        self.assertNotIn(b"\x1b]", shell.written)
        self.assertNotIn(b"\x07", shell.written)
        self.assertNotRegex(shell.written, rb"\xc2[\x80-\x9f]")

    def test_colours_and_characters_are_those_that_are_wanted(self):
        cyan = b"\x1b[36m"
        self.assertIn(cyan, self.open_view_of_values().written)
        plain = self.open_view_of_values(NO_COLOR="1")
        self.assertNotRegex(plain.written, rb"\x1b\[[0-9;]*3[0-7]m")
        for options, environment in (((), {"LC_ALL": "C"}), (("--ascii",), {})):
            shell = self.open_view_of_values(*options, **environment)
            self.assertTrue(shell.written.isascii())
            self.assertRegex(shell.text(), r"host:cpu:load +deviceId=1 .* % +\d s  [_.\-~+*%#]{4}")

    def test_tells_what_it_needs(self):
        view = self.unit.programs["qdxview"] + " --top"
        shell = self.open_shell()
        self.assertEqual(shell.run(view + " | cat; echo ${PIPESTATUS[0]}"),
                         "qdxview: the live view needs a terminal; give --once to print it once\r\n64\r\n")
        # The library of terminals keeps what it took for one that it doesn't use.
        usual = shell.run("stty -g")
        for terminal in ("nonsense", "dumb"):
            with self.subTest(terminal=terminal):
                self.assertEqual(shell.run(f"ASAN_OPTIONS=detect_leaks=0 TERM={terminal} {view}; echo $?"),
                                 f"qdxview: no live view on a terminal of type {terminal}; set TERM, or give --once\r\n"
                                 "64\r\n")
                self.assertEqual(shell.run("stty -g"), usual)

    def test_prints_one_picture(self):
        self.leave(self.open_view_of_values())
        answer = self.unit.run("qdxview", "--top", "--once", "--filter", "15", "--width", "90", expect=[0])
        self.assertNotIn("\x1b", answer.output)
        self.assertRegex(answer.output, r"\n  15  15 +on +\d+ +\d+  ~\d+ KiB +CPU, NET\n")
        self.assertRegex(answer.output, r"\nhost:cpu:load +deviceId=0 +list count 100 +[\d.]+ % +\d s  [▁▂▃▄▅▆▇█]")
        self.assertLessEqual(max(map(len, answer.output.splitlines())), 90)
        absent = self.unit.run("qdxview", "--top", "--once", "--filter", "99")
        self.assertEqual((absent.status, absent.error),
                         (69, "qdxview: the collector has no filter of those that were named\n"))


if __name__ == "__main__":
    BUILD, OBJECTS = sys.argv[1:3]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
