"""Runs the examples of a page: pageTest.py BUILD PAGE [--show]

With --show, it also prints what the examples type and show, for authors. Each fault is a line "page:line: what"; the first
in a console block ends the run, because what follows builds on it.
"""
import functools
import pathlib
import sys

sys.dont_write_bytecode = True
from console import Mismatch, Shell
from languages import LANGUAGES
from page import FaultyPage, Page, Run
from pageUnit import NoUnit, PageUnit
from tree import Tree

SOURCE = pathlib.Path(__file__).resolve().parents[2]


class PageRun:
    """A page's unit, shell and tree, for as long as its examples run."""

    def __init__(self, build, source=SOURCE, shows=None):
        self.build, self.source, self.shows = build, source, shows
        self.tree = Tree(source, build)

    # Pages without examples to run have neither.
    @functools.cached_property
    def unit(self):
        return PageUnit(self.build, self.source)

    @functools.cached_property
    def shell(self):
        return Shell(self.unit.environment, self.unit.tree, self.shows, **self.unit.identity)

    def faults(self, page):
        """Yields (line, what) for all that is wrong with the examples of a page."""
        for part in page.parts:
            try:
                if isinstance(part, Run):
                    self.unit.change(part.settings)
                elif part.language not in LANGUAGES:
                    yield part.line, f"nothing checks the language {part.language}; see test/pages/languages.py"
                else:
                    LANGUAGES[part.language](part, self)
            except NoUnit as error:
                yield part.line, str(error)
            except Mismatch as error:
                yield error.line, error.text
                if part.language == "console":
                    return

    def close(self):
        made = vars(self)
        try:
            if "shell" in made:
                self.shell.close()
        finally:
            if "unit" in made:
                self.unit.remove()


def faults_of(build, path, shows):
    try:
        page = Page(path)
    except FaultyPage as fault:
        return [(fault.line, fault.text)]
    run = PageRun(build, shows=shows)
    try:
        return list(run.faults(page))
    finally:
        run.close()


def main(build, path, show=""):
    faults = faults_of(build, SOURCE / path, sys.stdout if show == "--show" else None)
    for line, text in faults:
        print(f"{path}:{line}: {text}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
