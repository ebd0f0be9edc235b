"""What the text of a page mentions, in links and in code, and whether it exists.

    [text](page.md#heading)   the page and the heading
    `sw/backend/inc`          a path: in the tree, or in the sources as one of a unit or an installation
    `dch-filter --check`      an option that the program's help tells; `--check` alone: any program's
    `make soak`               a target; likewise scripts, presets, programs of the build
    `"No such filter"`        a message: in the sources; "..." stands for what varies
    `ERROR Could not ...`     a trace event, by its level: likewise
    `list count 10`           a capture statement: parsed as the collector does
    `globalMemoryLimit`       any other word: in the sources
"""
import pathlib
import re
import subprocess

from commandLine import MAKE_VARIABLES, OUTSIDE, fault_of_command
from tree import OPTION, PROGRAMS

LINK = re.compile(r"\]\(([^)\s]+)\)")
SUFFIX = re.compile(r"\.(cpp|hpp|c|h|md|py|xml|xsd|toml|cfg|proto|filter|sock|so|service|conf|cmake|txt|json|bats|rec)$")
STATEMENT = re.compile(r"(tags |context |(min|max|average|sum|list) (count|duration) )[\w ]*\d$")
EVENT = re.compile(r"(?:ERROR|INFO|TRACE\d) (.+)")
WORD = re.compile(r"[A-Za-z_]\w{2,}(?:\*|\.\.\.)?")


def anchors_of(lines):
    """The names by which links find the headings of a page."""
    headings = (line.lstrip("#").strip() for line in lines if line.startswith("#"))
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Mentions:
    def __init__(self, page, tree):
        self.page, self.tree = page, tree
        self.shown = "\n".join("\n".join(block.lines) for block in page.blocks())

    def faults(self):
        """Yields (line, what)."""
        for line, text in enumerate(self.page.prose, 1):
            for target in LINK.findall(text):
                fault = self._fault_of_link(target)
                if fault:
                    yield line, fault
        statements = []
        for line, code in self.page.spans():
            if STATEMENT.match(code):
                statements.append((line, code))
                continue
            fault = self._fault_of_code(code)
            if fault:
                yield line, fault
        yield from self._faults_of_statements(statements)

    def _fault_of_link(self, target):
        if target.startswith(("http:", "https:", "mailto:")):
            return None
        name, _, anchor = target.partition("#")
        path = pathlib.Path(self.page.path).parent / name if name else None
        if path and not path.exists():
            return f"there is no {name} to link to"
        if anchor and anchor not in anchors_of(path.read_text().split("\n") if path else self.page.prose):
            return f"{name or 'the page'} has no heading {anchor}"
        return None

    def _fault_of_code(self, code):
        first = code.split()[0]
        if first in {"ctest", *PROGRAMS} or first == "make" and " " in code or first.startswith(("scripts/", "build/")):
            return fault_of_command(code, self.tree)
        if code.startswith("--"):
            return self._fault_of_option(code)
        if len(code) > 2 and code[0] == code[-1] == '"':
            return self._fault_of_message(code[1:-1])
        if EVENT.match(code):
            return self._fault_of_message(EVENT.match(code).group(1))
        if " " not in code and ("/" in code or SUFFIX.search(code)):
            return self._fault_of_path(code)
        if first in OUTSIDE:
            return fault_of_command(code, self.tree)
        return self._fault_of_words(code)

    def _fault_of_option(self, code):
        programs = [*PROGRAMS, *(path for path in self.tree.files if re.fullmatch(r"scripts/[\w-]+", path))]
        for option in OPTION.findall(code):
            if not any(option in self.tree.options(program) for program in programs):
                return f"no program has an option {option}"
        return None

    def _fault_of_message(self, message):
        for piece in re.split(r"\.\.\.", message):
            if piece.strip() and piece.strip() not in self.tree.literals:
                return f'no program says "{piece.strip()}"'
        return None

    def _fault_of_path(self, code):
        path = code.removeprefix("$UNIT_ROOT").rstrip("/")
        if self.tree.has_path(path) or path in self.shown:
            return None
        if any(name.endswith("/" + path) for name in self.tree.files):
            return None
        if any(path in text for text in self.tree.sources.values()):
            return None
        return f"there is no {code}, neither here nor in the sources as a path of a unit"

    def _fault_of_words(self, code):
        for word in WORD.findall(code):
            stem = word.rstrip("*.")
            known = stem in self.tree.words | MAKE_VARIABLES or re.search(rf"\b{re.escape(stem)}\b", self.shown)
            if word != stem:
                known = any(other.startswith(stem) for other in self.tree.words)
            if not known:
                return f"no source knows {stem}"
        return None

    def _faults_of_statements(self, statements):
        """One run of dch-filter judges them all; each is one line of its file, behind the limit's."""
        text = "limit 0\n" + "".join(code + "\n" for _, code in statements)
        result = subprocess.run([self.tree.build / PROGRAMS["dch-filter"], "--check"], input=text, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60) if statements else None
        if result and result.returncode != 0:
            for number, what in re.findall(r":(\d+):\d+: (.*)", result.stdout):
                line, code = statements[int(number) - 2]
                yield line, f"{code}: {what}"
