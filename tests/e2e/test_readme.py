"""The README's commands, run as written against the real binary, so that they stay true.

Every ```sh block of README.md is run with bash, in the README's order, the way a reader types
it into a terminal, in a temporary directory laid out like the top of a clone: a copy of
examples/, build/korvel, and korvel itself on PATH. Two substitutions, made everywhere (in the
blocks, in what they are to print and in the copy of examples/korvel.ini), keep the run to
itself: each port number from 8000 to 8099 becomes a free port, and "/tmp/" becomes another
temporary directory.

The ```text block right after a ```sh block is what the block prints on its terminal (a
pseudo-terminal of its own; line ends are compared without their CR). In it a line "..." stands for any
lines, and "..." within a line for any text. A block that ends must print exactly that and
exit with 0 (without a ```text block only its status counts). A block still running once it
has printed its ```text block is a server: it goes on in the background, and a ```console
block is a run of lines that the newest of them must have printed. What runs in the background
gets SIGTERM at the end of its section, as a reader stops a server with Ctrl+C before moving
on. Blocks that ping run only as root (raw sockets). Indented blocks (the make commands,
settings-file excerpts) are not run.
"""

import os
import pty
import re
import shutil
import signal
import subprocess
import threading
import time
import unittest

from korvel import BINARY, SOURCE, free_port, have, temp_dir, wait_until

README = os.path.join(SOURCE, "README.md")
BLOCK_SECONDS = 20.0
SETTLE_SECONDS = 0.3
FENCE = re.compile(r"^```(\w*)\n(.*?)^```\n", re.M | re.S)
PORT = re.compile(r"\b80\d\d\b")


def sections(text):
    """[(title, [(kind, body)])] for every "## " section, its fenced blocks in order."""
    result = []
    for part in re.split(r"^## ", text, flags=re.M)[1:]:
        title = part.split("\n", 1)[0]
        result.append((title, [(m.group(1), m.group(2)) for m in FENCE.finditer(part)]))
    return result


def line_pattern(line):
    return re.compile(".*".join(re.escape(piece) for piece in line.split("...")) + r"\Z", re.S)


def matches(expected, lines):
    """Whether the lines are the expected ones, a "..." line standing for any lines."""
    if not expected:
        return not lines
    if expected[0] == "...":
        return any(matches(expected[1:], lines[i:]) for i in range(len(lines) + 1))
    return bool(lines) and bool(line_pattern(expected[0]).match(lines[0])) and matches(expected[1:], lines[1:])


def output_lines(data):
    """The lines a reader sees: without CRs and terminal attributes (curl -i bolds header names);
    a final line end ends the last line."""
    text = re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "", data.decode("latin-1"))
    lines = [line.rstrip("\r") for line in text.split("\n")]
    return lines[:-1] if lines[-1] == "" else lines


class Block:
    """One ```sh block running under bash in a process group of its own, on a terminal of its
    own as a reader's would be (so curl shows no progress meter)."""

    def __init__(self, script, cwd, env):
        self._master, slave = pty.openpty()
        self.process = subprocess.Popen(["bash", "-e", "-c", script], cwd=cwd, env=dict(env, TERM="dumb"), stdin=slave,
                                        stdout=slave, stderr=slave, start_new_session=True)
        os.close(slave)
        self._data = bytearray()
        self._lock = threading.Lock()
        self._reader = threading.Thread(target=self._pump, daemon=True)
        self._reader.start()

    def _pump(self):
        while True:
            try:
                chunk = os.read(self._master, 65536)
            except OSError:  # every writer has gone
                return
            if not chunk:
                return
            with self._lock:
                self._data.extend(chunk)

    @property
    def output(self):
        with self._lock:
            return bytes(self._data)

    def printed(self, expected):
        """Whether the output so far begins with the expected lines (a server goes on)."""
        lines = output_lines(self.output)
        return matches(expected + ["..."], lines)

    def finish(self, timeout):
        code = self.process.wait(timeout)
        self._reader.join(5)
        return code

    def stop(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGTERM)
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                os.killpg(self.process.pid, signal.SIGKILL)
                self.process.wait(5)
        self._reader.join(5)
        os.close(self._master)


class Readme(unittest.TestCase):
    def setUp(self):
        if not have("curl"):
            self.skipTest("needs curl, as the README does")
        self.root, self.tmp = temp_dir(self, "korvel-readme-"), temp_dir(self, "korvel-readme-tmp-")
        self.ports = {}
        shutil.copytree(os.path.join(SOURCE, "examples"), os.path.join(self.root, "examples"))
        self.rewrite(os.path.join(self.root, "examples", "korvel.ini"))
        os.makedirs(os.path.join(self.root, "build"))
        os.symlink(os.path.abspath(BINARY), os.path.join(self.root, "build", "korvel"))
        self.env = dict(os.environ, PATH=os.path.join(self.root, "build") + os.pathsep + os.environ["PATH"])
        self.running = []

    def substitute(self, text):
        text = PORT.sub(lambda m: str(self.ports.setdefault(m.group(0), free_port())), text)
        return text.replace("/tmp/", self.tmp + "/")

    def rewrite(self, path):
        with open(path) as f:
            text = f.read()
        with open(path, "w") as f:
            f.write(self.substitute(text))

    def stop_running(self):
        while self.running:
            self.running.pop().stop()

    def run_block(self, title, script, expected):
        block = Block(script, self.root, self.env)
        where = "%s:\n%s" % (title, script)
        deadline = time.monotonic() + BLOCK_SECONDS
        while block.process.poll() is None and time.monotonic() < deadline:
            # A block that has printed what it should and still runs a moment later is a server:
            # it serves the blocks that follow.
            if expected is not None and block.printed(expected) and not wait_until(
                    lambda: block.process.poll() is not None, SETTLE_SECONDS):
                self.running.append(block)
                return
            time.sleep(0.05)
        if block.process.poll() is None:
            block.stop()
            self.fail("%s\nstill running after %.0f s, having printed:\n%s"
                      % (where, BLOCK_SECONDS, block.output.decode("latin-1")))
        code = block.finish(5)
        block.stop()
        printed = block.output.decode("latin-1")
        self.assertEqual(code, 0, "%s\nexit status %d, having printed:\n%s" % (where, code, printed))
        if expected is not None:
            self.assertTrue(matches(expected, output_lines(block.output)),
                            "%s\nprinted:\n%s\ninstead of:\n%s" % (where, printed, "\n".join(expected)))

    def check_console(self, title, expected):
        self.assertTrue(self.running, "%s: a console block with no korvel running" % title)
        block = self.running[-1]
        pattern = ["..."] + expected + ["..."]
        if not wait_until(lambda: matches(pattern, output_lines(block.output)), 10):
            self.fail("%s: the console printed:\n%s\nwithout:\n%s"
                      % (title, block.output.decode("latin-1"), "\n".join(expected)))

    def test_every_command_block_does_what_the_readme_says(self):
        with open(README) as f:
            text = f.read()
        ran = 0
        for title, blocks in sections(text):
            try:
                for i, (kind, body) in enumerate(blocks):
                    following = blocks[i + 1] if i + 1 < len(blocks) else (None, None)
                    if kind == "sh":
                        if " -ping " in body and os.geteuid() != 0:
                            continue
                        expected = None
                        if following[0] == "text":
                            expected = self.substitute(following[1]).rstrip("\n").split("\n")
                        self.run_block(title, self.substitute(body), expected)
                        ran += 1
                    elif kind == "console":
                        self.check_console(title, self.substitute(body).rstrip("\n").split("\n"))
            finally:
                self.stop_running()
        self.assertGreaterEqual(ran, 10, "the README's command blocks were not found")

