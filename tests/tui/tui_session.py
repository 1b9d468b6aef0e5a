"""Runs the real korvel binary in its terminal interface inside a private tmux server.

A TuiSession starts korvel in a directory of its own (with a korvel.ini), sends keys with
send-keys and reads the screen with capture-pane: as text, or as cells with their colours
(parse_ansi). Every wait is bounded; close() kills the private tmux server and removes the
directory.

After korvel ends, the pane's shell writes korvel's exit status and the terminal modes
("stty -a") into the directory, so a test can check that the terminal was given back.
"""

import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time

BINARY = os.path.abspath(os.environ.get("KORVEL_BIN", os.path.join(os.path.dirname(__file__), "../../build/korvel")))

_counter = [0]


def free_port():
    """An ephemeral TCP port on 127.0.0.1 that nobody listens on right now."""
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def ini(sections):
    lines = []
    for section, keys in sections.items():
        lines.append("[%s]" % section)
        lines.extend("%s=%s" % (k, v) for k, v in keys.items())
        lines.append("")
    return "\n".join(lines)


def have_tmux():
    return shutil.which("tmux") is not None


def _terminal_type():
    for name in ("tmux-256color", "screen-256color", "xterm-256color"):
        if subprocess.run(["infocmp", name], capture_output=True).returncode == 0:
            return name
    return "screen"


# ---- Cells with colours, from capture-pane -e ----

class Cell:
    __slots__ = ("ch", "fg", "bg", "bold", "dim", "reverse", "underline")

    def __init__(self, ch=" ", fg=None, bg=None, bold=False, dim=False, reverse=False, underline=False):
        self.ch, self.fg, self.bg = ch, fg, bg
        self.bold, self.dim, self.reverse, self.underline = bold, dim, reverse, underline

    def style(self):
        return (self.fg, self.bg, self.bold, self.dim, self.reverse, self.underline)


_SGR = re.compile(r"\x1b\[([0-9;:]*)m")


def parse_ansi(text, width):
    """Rows of Cells from capture-pane -e output. Colours are palette numbers (0-255), None for
    the terminal's default."""
    rows = []
    state = Cell()
    for line in text.split("\n"):
        row = []
        i = 0
        while i < len(line):
            m = _SGR.match(line, i)
            if m:
                _apply_sgr(state, m.group(1))
                i = m.end()
                continue
            if line[i] == "\x1b":  # some other escape: skip it
                i += 1
                continue
            row.append(Cell(line[i], state.fg, state.bg, state.bold, state.dim, state.reverse, state.underline))
            i += 1
        while len(row) < width:
            row.append(Cell())
        rows.append(row[:width])
    return rows


def _apply_sgr(state, params):
    codes = [int(p) if p else 0 for p in re.split("[;:]", params)] if params else [0]
    i = 0
    while i < len(codes):
        c = codes[i]
        if c == 0:
            state.fg = state.bg = None
            state.bold = state.dim = state.reverse = state.underline = False
        elif c == 1:
            state.bold = True
        elif c == 2:
            state.dim = True
        elif c == 4:
            state.underline = True
        elif c == 7:
            state.reverse = True
        elif c == 22:
            state.bold = state.dim = False
        elif c == 24:
            state.underline = False
        elif c == 27:
            state.reverse = False
        elif 30 <= c <= 37:
            state.fg = c - 30
        elif c == 39:
            state.fg = None
        elif 40 <= c <= 47:
            state.bg = c - 40
        elif c == 49:
            state.bg = None
        elif 90 <= c <= 97:
            state.fg = c - 90 + 8
        elif 100 <= c <= 107:
            state.bg = c - 100 + 8
        elif c in (38, 48) and i + 2 < len(codes) and codes[i + 1] == 5:
            if c == 38:
                state.fg = codes[i + 2]
            else:
                state.bg = codes[i + 2]
            i += 2
        i += 1


class TuiSession:
    def __init__(self, words=(), settings=None, width=120, height=40, workdir=None):
        _counter[0] += 1
        self.socket = "korvel-tui-%d-%d" % (os.getpid(), _counter[0])
        self.dir = workdir or tempfile.mkdtemp(prefix="korvel-tui-")
        self.own_dir = workdir is None
        self.width, self.height = width, height
        if settings is not None:
            with open(os.path.join(self.dir, "korvel.ini"), "w") as f:
                f.write(ini(settings) if isinstance(settings, dict) else settings)
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

    # ---- Input ----

    def keys(self, *keys):
        """tmux key names: Enter, Escape, Tab, BTab, F10, S-Up, C-Left, M-o, ..."""
        self._tmux("send-keys", *keys)

    def type(self, text):
        self._tmux("send-keys", "-l", text)

    def raw(self, data):
        """Bytes as the terminal would send them (escape sequences, mouse reports)."""
        self._tmux("send-keys", "-H", *["%02x" % b for b in data])

    # ---- Output ----

    def screen(self):
        out = self._tmux("capture-pane", "-p").stdout
        lines = out.split("\n")[:self.height]
        return lines + [""] * (self.height - len(lines))

    def text(self):
        return "\n".join(self.screen())

    def cells(self):
        out = self._tmux("capture-pane", "-p", "-e", "-N").stdout
        return parse_ansi(out, self.width)[:self.height]

    def cursor(self):
        """(x, y, visible) of the terminal cursor."""
        out = self._tmux("display", "-p", "#{cursor_x} #{cursor_y} #{cursor_flag}").stdout.split()
        return int(out[0]), int(out[1]), out[2] == "1"

    def title(self):
        return self._tmux("display", "-p", "#{pane_title}").stdout.rstrip("\n")

    def wait_for(self, predicate, timeout=10.0, what=None):
        """Waits until predicate(screen text) is true (a str predicate: the text appears)."""
        test = (lambda s: predicate in s) if isinstance(predicate, str) else predicate
        deadline = time.monotonic() + timeout
        while True:
            screen = self.text()
            if test(screen):
                return screen
            if time.monotonic() > deadline:
                raise AssertionError("timed out waiting for %s; screen:\n%s" % (what or repr(predicate), screen))
            time.sleep(0.05)

    def find(self, text):
        """(x, y) of the first occurrence of text on the screen, or None."""
        for y, line in enumerate(self.screen()):
            x = line.find(text)
            if x >= 0:
                return x, y
        return None

    def resize(self, width, height):
        self.width, self.height = width, height
        self._tmux("resize-window", "-x", str(width), "-y", str(height))

    # ---- The process ----

    def korvel_pid(self):
        """The pid of korvel, the child of the pane's shell (None once it ended)."""
        shell = self._tmux("display", "-p", "#{pane_pid}").stdout.strip()
        for entry in os.listdir("/proc"):
            if not entry.isdigit():
                continue
            try:
                with open("/proc/%s/stat" % entry) as f:
                    fields = f.read().rsplit(")", 1)[1].split()
                with open("/proc/%s/comm" % entry) as f:
                    name = f.read().strip()
            except OSError:
                continue
            if fields[1] == shell and name == "korvel":
                return int(entry)
        return None

    def send_signal(self, signum):
        pid = self.korvel_pid()
        if pid:
            os.kill(pid, signum)

    def wait_exit(self, timeout=10.0):
        """korvel's exit status (as the shell reports it: 128 + signal when a signal ended it)."""
        path = os.path.join(self.dir, "exit-status")
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if os.path.exists(path) and os.path.exists(os.path.join(self.dir, "stty-after")):
                time.sleep(0.1)
                with open(path) as f:
                    return int(f.read().strip() or "-1")
            time.sleep(0.05)
        raise AssertionError("korvel did not end; screen:\n%s" % self.text())

    def terminal_modes(self):
        with open(os.path.join(self.dir, "stty-after")) as f:
            return f.read().split()

    def close(self):
        socket_path = self._tmux("display", "-p", "#{socket_path}", check=False).stdout.strip()
        self._tmux("kill-server", check=False)
        if socket_path.endswith(self.socket) and os.path.exists(socket_path):
            os.unlink(socket_path)
        if self.own_dir:
            shutil.rmtree(self.dir, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def start(words=(), settings=None, width=120, height=40, banner=True):
    """A session already past the start-up notice (dismissed with Enter) when there is one."""
    session = TuiSession(words, settings, width, height)
    try:
        if banner:
            session.wait_for("Winsock", what="the start-up notice")
            session.keys("Enter")
            session.wait_for(lambda s: "Winsock" not in s, what="the notice to go")
        else:
            session.wait_for("Cursor  Options", what="the menu bar")
    except Exception:
        session.close()
        raise
    return session
