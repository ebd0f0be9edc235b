"""A page of the documentation as its checks see it: fenced blocks, directives and code in the text, with their lines.

What an author may write:

    ```language                  each block names its language; languages.py says what is checked about it
    <!-- examples/frontend/x -->  before a block: the file that its text is taken from
    <!-- repeat -->              before a console block: its commands are repeated until they show what is expected
    <!-- run: key=value ... -->  from here on the page has this unit, see pageUnit.py
"""
import dataclasses
import pathlib
import re


@dataclasses.dataclass
class Block:
    line: int  # of its first line of text
    language: str
    lines: list
    note: str  # the comment right before it, if there is one


@dataclasses.dataclass
class Run:
    line: int
    settings: dict


class FaultyPage(Exception):
    """What is wrong, and in which line of the page."""

    def __init__(self, line, text):
        super().__init__(text)
        self.line, self.text = line, text


FENCE = re.compile(r"( *)```(\S*)\s*$")
COMMENT = re.compile(r"\s*<!-- (.*?) -->$")
# Inline code; two backticks hold what contains one.
CODE = re.compile(r"(?<!`)(?:``(?!`) ?(.+?) ?``|`([^`]+)`)(?!`)", re.S)
SETTING = re.compile(r"([\w.-]+)(?:=(\S+))?")


class Page:
    def __init__(self, path, text=None):
        self.path = str(path)
        self.lines = (pathlib.Path(path).read_text() if text is None else text).split("\n")
        self.parts = []  # blocks and runs, in order
        self.prose = list(self.lines)  # with blank lines where blocks and comments are
        self._cut()

    def blocks(self):
        return [part for part in self.parts if isinstance(part, Block)]

    def spans(self):
        """Code in the text: (line, code)."""
        text = "\n".join(self.prose)
        for found in CODE.finditer(text):
            code = " ".join((found.group(1) or found.group(2)).split())
            yield text.count("\n", 0, found.start()) + 1, code

    def _cut(self):
        note, number = "", 0
        while number < len(self.lines):
            line = self.lines[number]
            fence, comment = FENCE.match(line), COMMENT.match(line)
            if fence:
                number = self._cut_block(number, fence, note)
                note = ""
            elif comment:
                note = comment.group(1)
                self.prose[number] = ""
                if note.startswith("run:"):
                    self.parts.append(Run(number + 1, dict(SETTING.findall(note.removeprefix("run:")))))
            elif line.startswith("    ") and not self._continues(number):
                raise FaultyPage(number + 1, "an indented block escapes the checks; fence it and name its language")
            elif line.strip():
                note = ""
            number += 1

    def _cut_block(self, first, fence, note):
        """Takes the block that begins in this line; gives its last line."""
        indent, language = fence.groups()
        if not language:
            raise FaultyPage(first + 1, "a block without a language escapes the checks; name it behind the ```")
        for last in range(first + 1, len(self.lines)):
            if self.lines[last].strip() == "```":
                break
        else:
            raise FaultyPage(first + 1, "the block does not end")
        lines = [line.removeprefix(indent) for line in self.lines[first + 1:last]]
        self.parts.append(Block(first + 2, language, lines, note))
        self.prose[first:last + 1] = [""] * (last + 1 - first)
        return last

    def _continues(self, number):
        """Whether an indented line goes on with a paragraph or a list above it."""
        return number > 0 and self.lines[number - 1].strip() != ""
