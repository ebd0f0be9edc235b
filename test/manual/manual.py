"""The manual pages and the programs that they describe."""
import dataclasses
import os
import pathlib
import re
import subprocess
import sys

TREE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "test/endurance"))
import unit  # noqa: E402

PAGES = TREE / "packaging/man"
DEADLINE_SECONDS = 30
# The option of a row of help, or what a page lists, whole.
OPTION = re.compile(r"(?<![\w-])--?[a-zA-Z][a-z-]*")


class Programs(unit.Programs):
    PATHS = {**unit.Programs.PATHS, "qdx-replay": "sw/tools/replay/qdx-replay"}

    def executables(self):
        return [name for name in self.paths if not name.endswith(".so")]


def commands_of(program):
    """The words behind the program's name that have a help of their own."""
    return [[]] + ([["pull"], ["connect"], ["ping"]] if program == "qfci" else [])


def help_of(path, command, environment=None):
    result = subprocess.run([path, *command, "--help"], env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            text=True, check=True, timeout=DEADLINE_SECONDS)
    return result.stdout


def options_in_help(text):
    """The first column of each row that begins with an option."""
    columns = re.findall(r"^ {2,}(-.*?)(?: {2}|$)", text, re.M)
    return {option for column in columns for option in OPTION.findall(column)}


def unescaped(line):
    return line.replace(r"\&", "").replace(r"\e", "\\")


@dataclasses.dataclass
class Example:
    """A literal block that a comment above it tags: .\\" example: KIND [NAME]"""
    page: str
    kind: str
    name: str
    lines: list

    @property
    def text(self):
        return "".join(line + "\n" for line in self.lines)


class Page:
    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.name = self.path.name
        self.source = self.path.read_text()

    def options(self):
        """The options that the items of the page's lists begin with."""
        items = re.findall(r"^\.It (Fl .*)$", self.source, re.M)
        return {"-" + option for item in items for option in re.findall(r"\bFl (\S+)", item)}

    def references(self):
        return set(re.findall(r"^\.Xr (\S+) (\d)", self.source, re.M))

    def examples(self):
        block = re.compile(r'^\.\\" example: (file|session|database|list|filter|statements|faulty \w+)(?: (\S+))?\n'
                           r"\.Bd -literal.*?\n(.*?)^\.Ed$", re.M | re.S)
        found = [Example(self.name, kind, name, [unescaped(line) for line in text.splitlines()])
                 for kind, name, text in block.findall(self.source)]
        tags = len(re.findall(r'^\.\\" example:', self.source, re.M))
        assert len(found) == tags, f"{self.name}: {tags} tags of examples, {len(found)} examples"
        return found


def pages():
    return [Page(path) for path in sorted(PAGES.iterdir())]


def page_of(program):
    """Two names of one program share a page."""
    name = "dch" if program == "rodc" else program
    return next(page for page in pages() if page.name in (name + ".1", name + ".8"))
