"""What Tab gives in Bash and in zsh.

usage: completionTest.py BUILD [unittest arguments]
"""
import os
import pty
import re
import select
import signal
import subprocess
import sys
import time
import unittest

import manual
from unit import Unit

COMPLETIONS = manual.TREE / "packaging/completion"
HERE = manual.TREE / "test/manual"
# qdxload isn't installed.
INSTALLED = ["dch", "rodc", "dch-filter", "hostfe", "qdx-replay", "qdxd", "qdxview", "qfci"]


class Terminal:
    """A shell that somebody types at."""

    def __init__(self, words, environment, directory):
        self.id, self.fd = pty.fork()
        if self.id == 0:
            os.chdir(directory)
            os.execvpe(words[0], words, environment)
        self.shown = ""
        self.seen = 0

    def type(self, keys):
        os.write(self.fd, keys.encode())

    def wait_for(self, text):
        """Until the text shows behind all that was waited for before. How it is drawn doesn't count."""
        deadline = time.monotonic() + manual.DEADLINE_SECONDS
        while True:
            plain = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]|\x1b[=>]|\x07|\r", "", self.shown)
            found = plain.find(text, self.seen)
            if found >= 0:
                self.seen = found + len(text)
                return
            if not select.select([self.fd], [], [], max(0, deadline - time.monotonic()))[0]:
                raise AssertionError(f"{text!r} does not show behind {plain[:self.seen]!r}: {plain[self.seen:]!r}")
            self.shown += os.read(self.fd, 65536).decode(errors="replace")

    def close(self):
        os.kill(self.id, signal.SIGKILL)
        os.waitpid(self.id, 0)
        os.close(self.fd)


class CompletionTest(unittest.TestCase):
    """A unit whose collector has the filters 11 and 12 and an open transaction, in a directory with some files."""

    @classmethod
    def setUpClass(cls):
        cls.unit = Unit(PROGRAMS)
        cls.addClassCleanup(cls.unit.remove)
        cls.unit.write_database("[qdx]\nenabled = 1\n")
        collector = cls.unit.start_collector()
        deadline = time.monotonic() + manual.DEADLINE_SECONDS
        while b"qdxd: ready" not in collector.log.read_bytes():
            assert collector.poll() is None and time.monotonic() < deadline, collector.log.read_text()
            time.sleep(0.02)
        cls.unit.create_filter("limit 0", "tags CPU list count 1")
        cls.unit.create_filter("limit 0", "tags NET list count 1")
        cls.unit.run("dch", "fs", "create", "limit", "0", expect=[0])
        cls.directory = cls.unit.root / "here"
        tools = cls.unit.root / "tools"
        user = cls.unit.root / "completions"
        for folder in (cls.directory, cls.directory / "folder", tools, user):
            folder.mkdir()
        for name in ("list.xml", "one.filter", "pull.txt", "module.so"):
            (cls.directory / name).touch()
        for program in INSTALLED:
            (tools / program).symlink_to(PROGRAMS[program])
            source = "dch" if program == "rodc" else program
            (user / program).symlink_to(COMPLETIONS / f"{source}.bash")
        cls.environment = dict(cls.unit.environment, PATH=f"{tools}:{os.environ['PATH']}", HOME=str(cls.directory),
                               INPUTRC="/dev/null", TERM="xterm", PS1="$ ", BASH_COMPLETION_USER_DIR=str(cls.unit.root))

    def offers_of_bash(self, lines):
        environment = dict(self.environment, COMPLETIONS=str(self.unit.root))
        result = subprocess.run(["bash", "--norc", HERE / "offers.bash"], input="\n".join(lines) + "\n",
                                env=environment, cwd=self.directory, stdout=subprocess.PIPE, text=True, check=True,
                                timeout=manual.DEADLINE_SECONDS)
        return result.stdout

    def offers_of_zsh(self, lines):
        offers = self.unit.root / "offers"
        offers.write_text("")
        (self.unit.root / "lines").write_text("\n".join(lines) + "\n")
        environment = dict(self.environment, COMPLETIONS=str(COMPLETIONS), OFFERS_FILE=str(offers),
                           LINES_FILE=str(self.unit.root / "lines"))
        terminal = Terminal(["zsh", "-f", "-i"], environment, self.directory)
        self.addCleanup(terminal.close)
        terminal.type(f"source {HERE}/offers.zsh\r")
        terminal.wait_for("\nready")
        terminal.type("\x18o")
        deadline = time.monotonic() + manual.DEADLINE_SECONDS
        while not offers.read_text().endswith("done\n"):
            self.assertLess(time.monotonic(), deadline, offers.read_text())
            # What it shows must be read, or it waits.
            while select.select([terminal.fd], [], [], 0.05)[0]:
                os.read(terminal.fd, 65536)
        return offers.read_text().removesuffix("done\n")

    def offers(self, shell, lines):
        """For each line what the shell offers, in alphabetical order."""
        text = {"bash": self.offers_of_bash, "zsh": self.offers_of_zsh}[shell](lines)
        blocks = text.split("end\n")
        self.assertEqual((len(blocks), blocks[-1]), (len(lines) + 1, ""), text)
        return {line: sorted(set(block.split())) for line, block in zip(lines, blocks)}

    def expect_offers(self, expected):
        for shell in ("bash", "zsh"):
            offered = self.offers(shell, list(expected))
            for line, candidates in expected.items():
                with self.subTest(shell=shell, line=line):
                    self.assertEqual(offered[line], sorted(candidates))

    def test_options_are_those_of_help(self):
        expected = {}
        for program in INSTALLED:
            common = {"--timeout"} if program == "qfci" else set()
            for command in manual.commands_of(program):
                # What --complete stands for is no business of people who type, and -- leaves the short options out.
                options = manual.options_in_help(manual.help_of(PROGRAMS[program], command)) - {"--complete"}
                expected[" ".join([program, *command, "--"])] = {
                    option for option in options if option.startswith("--")} | common
        self.expect_offers(expected)

    def formats(self, program, *words):
        """The names that the program tells to whoever gives another."""
        answer = self.unit.run(program, *words, "--format", "none", expect=[64])
        return re.search("is none of (.*);", answer.error).group(1).split(", ")

    def test_values_are_those_that_the_program_takes(self):
        self.expect_offers({
            "qdxview --format ": self.formats("qdxview"),
            "qfci pull 11 --format ": self.formats("qfci", "pull", "11"),
            "qdxview --format j": ["json"],
            "qfci pull 11 --format t": ["table", "text"],
            "qfci ": ["connect", "ping", "pull"],
            "qfci --timeout 5 p": ["ping", "pull"],
        })

    def test_files_are_those_of_the_kind(self):
        def names(*files):
            return files
        expected = {
            "qdxview --catalogue ": names("folder", "list.xml"),
            "qfci pull 11 --catalogue l": names("list.xml"),
            "dch-filter ": names("folder", "one.filter"),
            "dch-filter --catalogue l": names("list.xml"),
            "qdxd --library ": names("folder", "module.so"),
            "qdxview pull": names("pull.txt"),
            "qdx-replay p": names("pull.txt"),
            "qdx-replay --expect p": names("pull.txt"),
            "hostfe --host-root ": names("folder"),
        }
        for shell in ("bash", "zsh"):
            for line, files in self.offers(shell, list(expected)).items():
                with self.subTest(shell=shell, line=line):
                    self.assertEqual([name.rstrip("/") for name in files], sorted(expected[line]))

    def test_filters_and_transactions_are_those_of_the_collector(self):
        self.expect_offers({
            "dch filter pull keep ": ["11", "12"],
            "dch filter d": ["delete", "deleteAll", "disable"],
            "dch fs commit ": ["2"],
            "rodc ": ["list", "print", "show"],
            "qfci pull ": ["11", "12"],
            "qfci pull 12": ["12"],
        })

    def test_tab_completes_in_bash(self):
        terminal = Terminal(["bash", "--norc", "-i"], self.environment, self.directory)
        self.addCleanup(terminal.close)
        terminal.type("source /usr/share/bash-completion/bash_completion; echo re''ady\r")
        terminal.wait_for("\nready")
        self.complete_by_tab(terminal)

    def test_tab_completes_in_zsh(self):
        terminal = Terminal(["zsh", "-f", "-i"], self.environment, self.directory)
        self.addCleanup(terminal.close)
        terminal.type(f"fpath=({COMPLETIONS} $fpath); autoload -Uz compinit; compinit -u -D; print re''ady\r")
        terminal.wait_for("\nready")
        self.complete_by_tab(terminal)

    def complete_by_tab(self, terminal):
        terminal.type("qdxview() { printf '<%s>' \"${@//=/><}\"; echo; }\r")
        terminal.type("qdxview --form\tj\t --cat\tl\tpull\t\r")
        terminal.wait_for("\n<--format><json><--catalogue><list.xml><pull.txt>\n")
        terminal.type("dch fil\tst\t\r")
        terminal.wait_for("\n Filter 11 (11): Enabled: Yes")
        terminal.type("dch filter disable 12\t; dch filter st\t\r")
        terminal.wait_for("\n Filter 12 (12): Enabled: No")
        self.unit.run("dch", "filter", "enable", "12", expect=[0])


if __name__ == "__main__":
    PROGRAMS = manual.Programs(sys.argv[1])
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:])
