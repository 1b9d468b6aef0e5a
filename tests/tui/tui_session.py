"""Runs the real korvel binary in its terminal interface inside a private tmux server.

A TuiSession starts korvel in a directory of its own (with a korvel.ini), sends keys with
send-keys and reads the screen with capture-pane, as text or as the foreground colours of its
cells. Every wait is bounded; close() kills the private tmux server and removes the directory.

After korvel ends, the pane's shell writes korvel's exit status and the terminal modes
("stty -a") into the directory, so a test can check that the terminal was given back.
"""

import itertools
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "e2e"))
from korvel import BINARY, free_port, ini, read_file, wait_until  # noqa: E402  (shared with the end-to-end tests)

BINARY = os.path.abspath(BINARY)
_sessions = itertools.count()
_SGR = re.compile(r"\x1b\[([0-9;:]*)m")


def have_tmux():
    return shutil.which("tmux") is not None


@unittest.skipUnless(have_tmux(), "tmux is not installed")
class TuiTest(unittest.TestCase):
    """A test of the terminal interface, skipped where tmux is missing."""


def _terminal_type():
    for name in ("tmux-256color", "screen-256color", "xterm-256color"):
        if subprocess.run(["infocmp", name], capture_output=True).returncode == 0:
            return name
    return "screen"


def foreground_colours(line):
    """The foreground colour of each character of a capture-pane -e line: a palette number
    (0-255), or None for the terminal's default."""
    colours, fg, i = [], None, 0
    while i < len(line):
        m = _SGR.match(line, i)
        if m:
            codes = [int(p) if p else 0 for p in re.split("[;:]", m.group(1))] if m.group(1) else [0]
            for j, c in enumerate(codes):
                if c in (0, 39):
                    fg = None
                elif 30 <= c <= 37 or 90 <= c <= 97:
                    fg = c - 30 if c < 90 else c - 82
                elif c in (38, 48) and codes[j + 1:j + 2] == [5]:
                    fg = codes[j + 2] if c == 38 else fg
                    codes[j + 1:j + 3] = [-1, -1]  # the colour's own numbers are no codes
            i = m.end()
        elif line[i] == "\x1b":  # some other escape: skipped
            i += 1
        else:
            colours.append(fg)
            i += 1
    return colours


def dialog_rows(screen, title):
    """The rows inside the frame whose top line carries title ("─ title ─"), without the frame's
    sides; [] when no such frame is on the screen (a list of lines, as TuiSession.screen)."""
    for top, line in enumerate(screen):
        at = line.find("─ %s ─" % title)
        if at < 0:
            continue
        left = line.rfind("┌", 0, at)
        right = line.find("┐", at)
        rows = []
        for row in screen[top + 1:]:
            if row[left:left + 1] == "└":
                return rows
            rows.append(row[left + 1:right])
    return []


def cut_buttons(rows):
    """Every button face "< label >" of these rows that is not whole: its "< " has no " >"
    before the next face or the end of the row."""
    return [face for row in rows for face in re.findall(r"<( [^<]*)", row) if not re.match(r" [^<>]* >", face)]


class TuiSession:
    def __init__(self, words=(), settings=None, width=120, height=40, workdir=None):
        self.socket = "korvel-tui-%d-%d" % (os.getpid(), next(_sessions))
        self.own_dir = workdir is None
        self.dir = workdir or tempfile.mkdtemp(prefix="korvel-tui-")
        self.width, self.height = width, height
        if settings is not None:
            with open(os.path.join(self.dir, "korvel.ini"), "w") as f:
                f.write(ini(settings))
        conf = os.path.join(self.dir, "tmux.conf")
        with open(conf, "w") as f:
            f.write("set -g default-terminal %s\nset -g status off\nset -g remain-on-exit on\n" % _terminal_type())
        args = " ".join("'%s'" % w.replace("'", "'\\''") for w in words)
        # The shell outlives a Ctrl+C meant for korvel (its trap is reset to the default in
        # korvel itself) to report how korvel ended.
        script = ("trap : INT; cd '%s' && '%s' %s; echo $? > exit-status; stty -a > stty-after; sleep 600"
                  % (self.dir, BINARY, args))
        self._tmux("-f", conf, "new-session", "-d", "-x", str(width), "-y", str(height),
                   "-e", "LANG=C.UTF-8", "-e", "LC_ALL=C.UTF-8", "sh", "-c", script)

    def _tmux(self, *args, check=True):
        return subprocess.run(["tmux", "-L", self.socket] + list(args), capture_output=True, text=True,
                              timeout=10, check=check)

    def keys(self, *keys):
        """tmux key names: Enter, Escape, Tab, BTab, F10, S-Up, C-Left, M-o, ..."""
        self._tmux("send-keys", *keys)

    def type(self, text):
        self._tmux("send-keys", "-l", text)

    def raw(self, data):
        """Bytes as the terminal would send them (escape sequences, mouse reports)."""
        self._tmux("send-keys", "-H", *["%02x" % b for b in data])

    def screen(self):
        lines = self._tmux("capture-pane", "-p").stdout.split("\n")[:self.height]
        return lines + [""] * (self.height - len(lines))

    def text(self):
        return "\n".join(self.screen())

    def fg(self, x, y):
        """The foreground colour of the cell at (x, y)."""
        return foreground_colours(self._tmux("capture-pane", "-p", "-e", "-N").stdout.split("\n")[y])[x]

    def cursor(self):
        """(x, y, visible) of the terminal cursor."""
        x, y, flag = self._tmux("display", "-p", "#{cursor_x} #{cursor_y} #{cursor_flag}").stdout.split()
        return int(x), int(y), flag == "1"

    def title(self):
        return self._tmux("display", "-p", "#{pane_title}").stdout.rstrip("\n")

    def wait_for(self, predicate, timeout=10.0, what=None):
        """Waits until predicate(screen text) is true (a str predicate: the text appears)."""
        test = (lambda s: predicate in s) if isinstance(predicate, str) else predicate
        if not wait_until(lambda: test(self.text()), timeout):
            raise AssertionError("timed out waiting for %s; screen:\n%s" % (what or repr(predicate), self.text()))
        return self.text()

    def find(self, text):
        """(x, y) of the first occurrence of text on the screen, or None."""
        return next(((line.find(text), y) for y, line in enumerate(self.screen()) if text in line), None)

    def resize(self, width, height):
        self.width, self.height = width, height
        self._tmux("resize-window", "-x", str(width), "-y", str(height))

    def send_signal(self, signum):
        """Sends a signal to korvel, the child of the pane's shell."""
        shell = self._tmux("display", "-p", "#{pane_pid}").stdout.strip()
        for pid in subprocess.run(["pgrep", "-P", shell, "-x", "korvel"], capture_output=True, timeout=10).stdout.split():
            os.kill(int(pid), signum)

    def wait_exit(self, timeout=10.0):
        """korvel's exit status (as the shell reports it: 128 + signal when a signal ended it)."""
        if not wait_until(lambda: os.path.exists(os.path.join(self.dir, "stty-after")), timeout):
            raise AssertionError("korvel did not end; screen:\n%s" % self.text())
        time.sleep(0.1)
        return int(read_file(os.path.join(self.dir, "exit-status")).strip() or b"-1")

    def terminal_modes(self):
        return read_file(os.path.join(self.dir, "stty-after")).decode().split()

    def close(self):
        socket_path = self._tmux("display", "-p", "#{socket_path}", check=False).stdout.strip()
        self._tmux("kill-server", check=False)
        if socket_path.endswith(self.socket) and os.path.exists(socket_path):
            os.unlink(socket_path)
        if self.own_dir:
            shutil.rmtree(self.dir, ignore_errors=True)


def start(test, words=(), settings=None, width=120, height=40, banner=True):
    """A session closed when the test ends, already past the start-up notice (dismissed with
    Enter) when there is one (banner), else showing its menu bar."""
    session = TuiSession(words, settings, width, height)
    test.addCleanup(session.close)
    if banner:
        session.wait_for("Winsock", what="the start-up notice")
        session.keys("Enter")
        session.wait_for(lambda s: "Winsock" not in s, what="the notice to go")
    else:
        session.wait_for("Cursor  Options", what="the menu bar")
    return session
