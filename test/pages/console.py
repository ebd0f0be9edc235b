"""Examples of a shell: what is typed, and what it shows.

    $ command            goes on in the next line behind a trailing backslash
    what it shows        "..." inside a line stands for any text, a line "..." for any lines, two blanks for two or more

All commands of a page run in one bash. One that fails must show why: its text, or its status with echo $? next.
"""
import dataclasses
import itertools
import os
import re
import select
import signal
import subprocess
import time

COMMAND_SECONDS = 60
REPEAT_SECONDS = 60
# Runs what comes on descriptor 3 up to each NUL, and marks the end of what it showed with a NUL and its status.
LOOP = r"""
status=0
while IFS= read -r -d '' command <&3; do
    (exit "$status")
    eval "$command" </dev/null 2>&1 3<&-
    status=$?
    printf '\0%d\0' "$status"
done
"""


@dataclasses.dataclass
class Example:
    line: int
    command: str
    shown: list


class Mismatch(Exception):
    def __init__(self, line, text):
        super().__init__(text)
        self.line, self.text = line, text


def examples_of(block):
    """The examples of a block, in order."""
    examples, goes_on = [], False
    for line, text in enumerate(block.lines, block.line):
        if goes_on:
            examples[-1].command += "\n" + text
        elif text.startswith("$ "):
            examples.append(Example(line, text[2:], []))
        elif not examples:
            raise Mismatch(line, "a console block begins with a command: $ command")
        else:
            examples[-1].shown.append(text)
            continue
        goes_on = text.endswith("\\")
    for example in examples:
        while example.shown and not example.shown[-1]:
            example.shown.pop()
    return examples


def pattern_of(shown):
    """A regular expression for the text that the lines stand for."""
    pattern = ""
    for line in shown:
        if line.strip() == "...":
            pattern += r"(?:[^\n]*\n)*?"
        else:
            pieces = (re.sub(r"(\\ ){2,}", " {2,}", re.escape(piece)) for piece in line.rstrip().split("..."))
            pattern += ".*?".join(pieces) + r"[ \t]*\n"
    return re.compile(pattern)


def matches(shown, text):
    lines = text.rstrip("\n") + "\n" if text.strip("\n") else ""
    return pattern_of(shown).fullmatch(lines) is not None


class Shell:
    """One bash for the examples of a page."""

    def __init__(self, environment, folder, shows=None, **identity):
        """With shows, what is typed and what it shows is written to that file too."""
        self.shows = shows
        reader, self.writer = os.pipe()
        # The loop reads its commands from descriptor 3, which a duplicate of another number leads to.
        self.bash = subprocess.Popen(["bash", "--norc", "--noprofile", "-c", f"exec 3<&{reader}\n{LOOP}"],
                                     env=environment, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, pass_fds=[reader], start_new_session=True, **identity)
        os.close(reader)
        self.buffer = b""

    def run(self, command):
        """Status and text of a command."""
        os.write(self.writer, command.encode() + b"\0")
        deadline = time.monotonic() + COMMAND_SECONDS
        text = self._read_to_nul(deadline)
        if self.shows:
            print(f"$ {command}\n{text}", end="", file=self.shows)
        return int(self._read_to_nul(deadline)), text

    def close(self):
        """Ends the shell, and what it left running or waits for."""
        os.close(self.writer)
        os.killpg(self.bash.pid, signal.SIGKILL)
        self.bash.wait(COMMAND_SECONDS)
        self.bash.stdout.close()

    def _read_to_nul(self, deadline):
        while b"\0" not in self.buffer:
            ready, _, _ = select.select([self.bash.stdout], [], [], max(0, deadline - time.monotonic()))
            if not ready:
                raise TimeoutError(f"no end within {COMMAND_SECONDS} s; so far it showed:\n{self.buffer.decode()}")
            chunk = os.read(self.bash.stdout.fileno(), 65536)
            if not chunk:
                raise EOFError(f"the shell ended; at last it showed:\n{self.buffer.decode()}")
            self.buffer += chunk
        text, _, self.buffer = self.buffer.partition(b"\0")
        return text.decode(errors="replace")


def fault_of(example, status, text, following):
    """What is wrong with what an example showed, or nothing."""
    if not matches(example.shown, text):
        expected = "\n".join(example.shown) or "(nothing)"
        return f"$ {example.command}\n-- is expected to show\n{expected}\n-- but shows\n{text.rstrip() or '(nothing)'}"
    is_told = any(line.strip() != "..." for line in example.shown) or (following and "$?" in following.command)
    if status != 0 and not is_told:
        return f"$ {example.command}\n-- fails with {status}, and the page doesn't say why:\n{text.rstrip()}"
    return None


def run_block(block, shell):
    """Runs the examples of a block; raises Mismatch for the first that shows something else."""
    examples = examples_of(block)
    for example, following in zip(examples, examples[1:] + [None]):
        deadline = time.monotonic() + (REPEAT_SECONDS if block.note == "repeat" else 0)
        for attempt in itertools.count(1):
            try:
                fault = fault_of(example, *shell.run(example.command), following)
            except (TimeoutError, EOFError) as error:
                raise Mismatch(example.line, f"$ {example.command}\n-- {error}") from None
            if fault is None:
                break
            if time.monotonic() >= deadline:
                raise Mismatch(example.line, fault)
            time.sleep(min(0.1 * attempt, 0.5))
