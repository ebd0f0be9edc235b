"""What is checked about a block of each language: a table from the language to a function of the block and its page.

The function raises Mismatch with the line and what is wrong. The page is a PageRun (pageTest.py): its unit runs programs in
a copy of the tree, its shell has the console, its tree tells what exists. A language that is not there fails its page.
"""
import pathlib
import re
import tempfile

from commandLine import fault_of_command
from console import Mismatch, run_block
from pageUnit import HOST_LIST, NoUnit
from tree import PROGRAMS

ELLIPSIS = re.compile(r"\s*(//|/\*|#|--|<!--)? ?\.\.\.( ?(\*/|-->))?\s*")


def check_console(block, page):
    run_block(block, page.shell)


def check_excerpt(block, page):
    """The lines stand in the file named before the block, which is built; a line "// ..." stands for any lines."""
    path = page.tree.source / block.note
    if not block.note or not path.is_file():
        raise Mismatch(block.line, f"name the file that this {block.language} text is of in a comment before the block")
    if not is_built(block.note, page.tree):
        raise Mismatch(block.line, f"{block.note} is compiled by nothing")
    expect_lines(block, lines_of(path))


def lines_of(path):
    return [line.strip() for line in path.read_text().split("\n")]


def is_built(path, tree):
    """Whether a list of targets names the file, or a source includes it; lists of targets are built themselves."""
    name = re.escape(pathlib.Path(path).name)
    use = re.compile(rf'#\s*include\s*[<"]([^">]*/)?{name}[">]')
    listed = re.compile(rf"[\s/(]{name}\b")
    return name == r"CMakeLists\.txt" or any(
        (listed if user.endswith("CMakeLists.txt") else use).search(text) for user, text in tree.sources.items())


def expect_lines(block, lines):
    start, wanted = 0, []
    for number, line in enumerate(block.lines + ["..."], block.line):
        if not ELLIPSIS.fullmatch(line):
            wanted.append(line.strip())
            continue
        found = next((at for at in range(start, len(lines) - len(wanted) + 1) if lines[at:at + len(wanted)] == wanted),
                     None)
        if found is None:
            raise Mismatch(number - len(wanted), f"these lines are not in {block.note}: {wanted[0]} ...")
        start, wanted = found + len(wanted), []


def check_filter(block, page):
    """A filter file, or only statements, each of which captures something.

    The comment before may name the file that it is of, or the list of objects instead of that of examples/host.
    """
    if block.note.endswith(".filter"):
        expect_lines(block, lines_of(page.tree.source / block.note))
    text = "\n".join(block.lines) + "\n"
    if not re.search(r"^limit\b", text, re.M):
        text = "limit 0\n" + text
    expect_success(block, page, text, ".filter", "dch-filter", "--catalogue",
                   block.note if block.note.endswith(".xml") else HOST_LIST)


def check_list(block, page):
    """A list of objects, or elements of one."""
    text = "\n".join(block.lines) + "\n"
    if block.note:
        return expect_lines(block, lines_of(page.tree.source / block.note))
    if "<infoObjectList" not in text:
        text = text if "<objects>" in text else f"<objects>\n{text}</objects>\n"
        text = f"<infoObjectList>\n{text}</infoObjectList>\n"
    expect_success(block, page, text, ".xml", "xmllint", "--noout", "--schema", "sw/infoObjectList/infoObjectList.xsd")


def expect_success(block, page, text, suffix, *command):
    with tempfile.NamedTemporaryFile("w", suffix=suffix, dir=page.unit.tree, delete=False) as file:
        file.write(text)
    pathlib.Path(file.name).chmod(0o644)
    result = page.unit.run(*command, pathlib.Path(file.name).name)
    if result.returncode != 0 or "warning:" in result.stdout:
        raise Mismatch(block.line, f"{command[0]} does not take this:\n{result.stdout}")


def check_database(block, page):
    """A collector starts with this configuration, and is not disabled by it."""
    text = "\n".join(block.lines) + "\n"
    if not re.search(r"^\[qdx\]", text, re.M):
        text = f'[qdx]\nenabled = 1\ninfoObjectListFilePath = "{HOST_LIST}"\n' + text
    try:
        answer = page.unit.other_unit_answers(text, "dch", "filter", "status")
    except NoUnit as error:
        raise Mismatch(block.line, str(error)) from None
    if answer.returncode != 0:
        raise Mismatch(block.line, f"a collector with this configuration answers: {answer.stdout}")


def check_bytes(block, page):
    """A test of the sources compares them: the comment before names its file, and the example if the test has several."""
    test, _, example = block.note.partition(" ")
    if not test.endswith("Test.cpp") or test not in page.tree.sources:
        raise Mismatch(block.line, "name the test that compares these bytes in a comment before the block")
    if example and f'"{example}"' not in page.tree.sources[test]:
        raise Mismatch(block.line, f"{test} knows no example {example}")


def check_long(block, page):
    """Commands that would take too long, or change the machine: all that they name exists."""
    line, command = block.line, ""
    for number, text in enumerate(block.lines, block.line):
        line = line if command else number
        command += text.removesuffix("\\")
        if text.endswith("\\"):
            continue
        fault = fault_of_command(command, page.tree)
        if fault:
            raise Mismatch(line, fault)
        command = ""


def check_text(block, page):
    """A picture. What can be typed belongs into a console block."""
    for number, line in enumerate(block.lines, block.line):
        first, second, *_ = line.split() + ["", ""]
        if first == "$" or first in {"make", "lttng", *PROGRAMS} and re.match(r"[a-z-]", second):
            raise Mismatch(number, "a command in a picture escapes the checks; show it in a console block")


LANGUAGES = {
    "c": check_excerpt,
    "cmake": check_excerpt,
    "console": check_console,
    "cpp": check_excerpt,
    "filter": check_filter,
    "hex": check_bytes,
    "proto": check_excerpt,
    "sh-long": check_long,
    "text": check_text,
    "toml": check_database,
    "xml": check_list,
}
