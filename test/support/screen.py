"""A shell in a terminal whose screen can be read."""
import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
import time

import pyte

DEADLINE_SECONDS = 30
PROMPT = "ready> "


class Shell:
    """What is typed reaches an interactive bash; `written` is all that came back, `screen` what it looks like."""

    def __init__(self, environment, lines=24, columns=100):
        # Of the kinds of terminals that every system knows, one that the emulator understands whole.
        self.environment = dict(environment, TERM="screen", PS1=PROMPT, HISTFILE="")
        self.written = b""
        self.screen = pyte.Screen(columns, lines)
        self.stream = pyte.ByteStream(self.screen)
        self.master, slave = pty.openpty()
        self.resize(lines, columns)
        self.process = subprocess.Popen(["bash", "--norc", "--noprofile", "--noediting", "-i"], env=self.environment,
                                        stdin=slave, stdout=slave, stderr=slave, start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(slave)
        self.wait_for(PROMPT.strip())

    def close(self):
        """Hangs up, which ends the shell and what runs in it."""
        os.close(self.master)
        try:
            self.process.wait(DEADLINE_SECONDS)
        finally:
            self.process.kill()
            self.process.wait()

    def resize(self, lines, columns):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))
        self.screen.resize(lines, columns)

    def type(self, keys):
        os.write(self.master, keys.encode())

    def read(self, seconds=0.05):
        """What comes within this time; false if nothing does."""
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        data = os.read(self.master, 65536)
        self.written += data
        self.stream.feed(data)
        return True

    def text(self):
        return "\n".join(line.rstrip() for line in self.screen.display)

    def wait_until(self, condition, what):
        deadline = time.monotonic() + DEADLINE_SECONDS
        while not condition():
            if time.monotonic() > deadline:
                raise AssertionError(f"no {what} on the screen:\n{self.text()}")
            self.read()

    def wait_for(self, text):
        self.wait_until(lambda: text in self.text(), repr(text))

    def wait_for_no(self, text):
        self.wait_until(lambda: text not in self.text(), f"screen without {text!r}")

    def run(self, command):
        """Types a command, and gives what it prints."""
        before = len(self.written)
        # The words of the mark are apart, so that the echo of the line isn't it.
        self.type(f"{command}; echo end-of''-command\r")
        self.wait_until(lambda: b"end-of-command\r\n" + PROMPT.encode() in self.written[before:], "end of the command")
        return self.written[before:].split(b"\r\n", 1)[1].split(b"end-of-command")[0].decode()
