"""The manual pages: that they render, tell the options that there are, and give examples that work.

usage: manualPagesTest.py BUILD [unittest arguments]
"""
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest

import manual
from unit import Unit


class Rendering(unittest.TestCase):
    def test_has_no_warnings_at_any_width(self):
        for page in manual.pages():
            for width in ("60", "80"):
                with self.subTest(page=page.name, width=width):
                    environment = dict(os.environ, MANWIDTH=width, LC_ALL="C.UTF-8", PAGER="cat", MANPAGER="cat")
                    result = subprocess.run(["man", "--warnings=w", "-l", page.path], env=environment, text=True,
                                            capture_output=True, timeout=manual.DEADLINE_SECONDS)
                    self.assertEqual((result.returncode, result.stderr), (0, ""))
                    self.assertIn("NAME", result.stdout)

    def test_of_a_faulty_page_has_warnings(self):
        with tempfile.NamedTemporaryFile("w", suffix=".1") as page:
            page.write(".TH PAGE 1\n.SH NAME\n.undefined macro\n")
            page.flush()
            result = subprocess.run(["man", "--warnings=w", "-l", page.name], text=True, capture_output=True,
                                    timeout=manual.DEADLINE_SECONDS)
            self.assertIn("undefined", result.stderr)


class Contents(unittest.TestCase):
    def test_options_are_those_of_help(self):
        for program in PROGRAMS.executables():
            with self.subTest(program=program):
                helps = [manual.help_of(PROGRAMS[program], command) for command in manual.commands_of(program)]
                self.assertEqual(manual.page_of(program).options(),
                                 set().union(*(manual.options_in_help(text) for text in helps)))

    def test_references_lead_to_pages(self):
        ours = re.compile(r"(dch|rodc|qdx|qfci|hostfe)")
        names = {tuple(page.name.rsplit(".", 1)) for page in manual.pages()} | {("rodc", "1")}
        for page in manual.pages():
            for reference in page.references():
                if ours.match(reference[0]):
                    with self.subTest(page=page.name):
                        self.assertIn(reference, names)

    def test_every_file_and_language_is_referred_to_by_a_program(self):
        referred = set().union(*(page.references() for page in manual.pages() if page.name[-1] in "18"))
        for page in manual.pages():
            if page.name[-1] not in "18":
                self.assertIn(tuple(page.name.rsplit(".", 1)), referred)


class Examples(unittest.TestCase):
    """Each page has a directory of its own, where sessions find its files and, if it needs one, a collector."""

    def check(self, words, text=""):
        return subprocess.run([PROGRAMS["dch-filter"], *words], input=text, text=True, cwd=self.directory,
                              capture_output=True, timeout=manual.DEADLINE_SECONDS)

    def expect_good_filter(self, text, *words):
        result = self.check([*words, "-"], text)
        self.assertEqual((result.returncode, re.sub(r"^.*warning.*\n(  .*\n)+", "", result.stderr, flags=re.M)), (0, ""))

    def check_filter(self, example):
        self.expect_good_filter(example.text, "--check")

    def check_faulty_filter(self, example):
        self.assertEqual(self.check(["--check", "-"], example.text).returncode, 65)

    def check_statements(self, example):
        for line in example.lines:
            result = self.check(["--check", "-"], "limit 0\n" + line + "\n")
            self.assertEqual((result.returncode, result.stderr), (0, ""), line)

    def check_faulty_statements(self, example):
        for line in example.lines:
            result = self.check(["--check", "-"], "limit 0\n" + line + "\n")
            self.assertEqual(result.returncode, 65, line)

    def check_list(self, example):
        schema = manual.TREE / "sw/infoObjectList/infoObjectList.xsd"
        subprocess.run(["xmllint", "--noout", "--schema", schema, "-"], input=example.text, text=True, check=True,
                       capture_output=True, timeout=manual.DEADLINE_SECONDS)
        result = self.check(["--catalogue", example.name, "-"], "limit 0\nlist count 1\n")
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def check_file(self, example):
        pass

    def check_database(self, example):
        self.assertNotIn("disabled", self.unit.run("dch", "filter", "status").output)

    def check_session(self, example):
        environment = dict(self.unit.environment, PATH=f"{self.tools}:{os.environ['PATH']}")
        for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", example.text, re.M):
            result = subprocess.run(["bash", "-c", command], env=environment, cwd=self.directory, text=True,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    timeout=manual.DEADLINE_SECONDS)
            self.assertEqual(result.stdout, expected, command)

    def start_collector(self, examples):
        host = manual.TREE / "examples/host"
        databases = [example.text for example in examples if example.kind == "database"]
        database = databases[0] if databases else (host / "swdb.cfg").read_text().replace(
            "@INFO_OBJECT_LIST@", str(host / "infoObjectList.xml"))
        self.unit.write_database(database)
        collector = self.unit.start_collector()
        deadline = time.monotonic() + manual.DEADLINE_SECONDS
        while b"qdxd: ready" not in collector.log.read_bytes():
            self.assertIsNone(collector.poll(), collector.log.read_text())
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.02)

    def try_page(self, page):
        examples = page.examples()
        self.unit = Unit(PROGRAMS)
        self.addCleanup(self.unit.remove)
        self.directory = self.unit.root / "here"
        self.directory.mkdir()
        self.tools = self.unit.root / "tools"
        self.tools.mkdir()
        for program in PROGRAMS.executables():
            (self.tools / program).symlink_to(PROGRAMS[program])
        for example in examples:
            if example.name:
                (self.directory / example.name).write_text(example.text)
        if any(example.kind in ("database", "session") for example in examples):
            self.start_collector(examples)
        for example in examples:
            getattr(self, "check_" + example.kind.replace(" ", "_"))(example)
        return len(examples)

    def test_work(self):
        count = 0
        for page in manual.pages():
            with self.subTest(page=page.name):
                count += self.try_page(page)
        self.assertGreater(count, 15)


if __name__ == "__main__":
    PROGRAMS = manual.Programs(sys.argv[1])
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:])
