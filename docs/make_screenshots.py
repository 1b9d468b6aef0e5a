#!/usr/bin/env python3
"""Renders screenshots of korvel's terminal interface into docs/tui-*.png.

Each scene runs the real binary in a private tmux server (the session helper of the terminal
tests), drives it with keys, captures the pane with its colours (capture-pane -e), turns the
cells into an HTML page and lets headless Chromium photograph it.

    python3 docs/make_screenshots.py [--binary build/korvel] [--only NAME ...]

Needs tmux and chromium; run from anywhere, as any user (Chromium's sandbox is turned off,
which it needs when run as root).
"""

import argparse
import html
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "tests", "tui"))

import tui_session  # noqa: E402

WIDTH, HEIGHT = 110, 34
FONT_PX = 15
CHAR_PX = FONT_PX * 0.6021  # advance of DejaVu Sans Mono
LINE_PX = 18
PAD = 10

# A VGA-like palette: the dialogs' "white" is the classic light grey.
PALETTE = ["#000000", "#aa0000", "#00aa00", "#aa5500", "#0000aa", "#aa00aa", "#00aaaa", "#aaaaaa",
           "#555555", "#ff5555", "#55ff55", "#ffff55", "#5555ff", "#ff55ff", "#55ffff", "#ffffff"]
DEFAULT_FG, DEFAULT_BG = "#d0d0d0", "#141414"


class Cell:
    __slots__ = ("ch", "fg", "bg", "bold", "dim", "reverse", "underline")

    def __init__(self, ch=" ", fg=None, bg=None, bold=False, dim=False, reverse=False, underline=False):
        self.ch, self.fg, self.bg = ch, fg, bg
        self.bold, self.dim, self.reverse, self.underline = bold, dim, reverse, underline


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


def cells(session):
    """The screen of a session as rows of Cells with their colours and attributes."""
    out = session._tmux("capture-pane", "-p", "-e", "-N").stdout
    return parse_ansi(out, session.width)[:session.height]


def start(words=(), settings=None, width=WIDTH, height=HEIGHT, banner=True):
    """A session past the start-up notice (dismissed with Enter) when there is one, else showing
    its menu bar."""
    session = tui_session.TuiSession(words, settings, width, height)
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


def colour(index, default):
    if index is None:
        return default
    if index < 16:
        return PALETTE[index]
    if index < 232:  # the 6 x 6 x 6 cube
        index -= 16
        steps = [0, 95, 135, 175, 215, 255]
        return "#%02x%02x%02x" % (steps[index // 36], steps[index // 6 % 6], steps[index % 6])
    grey = 8 + (index - 232) * 10
    return "#%02x%02x%02x" % (grey, grey, grey)


def cell_css(cell, cursor):
    fg, bg = colour(cell.fg, DEFAULT_FG), colour(cell.bg, DEFAULT_BG)
    if cell.reverse or cursor:
        fg, bg = bg, fg
    if cell.dim:
        fg = "#777777"
    css = "color:%s;background:%s" % (fg, bg)
    if cell.bold:
        css += ";font-weight:bold"
    if cell.underline:
        css += ";text-decoration:underline"
    return css


def page(rows, cursor):
    lines = []
    for y, row in enumerate(rows):
        spans, current, text = [], None, ""
        for x, cell in enumerate(row):
            css = cell_css(cell, cursor is not None and (x, y) == cursor)
            if css != current and text:
                spans.append('<span style="%s">%s</span>' % (current, html.escape(text)))
                text = ""
            current = css
            text += cell.ch
        if text:
            spans.append('<span style="%s">%s</span>' % (current, html.escape(text)))
        lines.append("<div>%s</div>" % "".join(spans))
    return """<!DOCTYPE html><html><head><meta charset="utf-8"><style>
html, body { margin: 0; background: %s; }
body { padding: %dpx; font: %dpx/%dpx 'DejaVu Sans Mono', monospace; }
div { white-space: pre; height: %dpx; }
</style></head><body>%s</body></html>""" % (DEFAULT_BG, PAD, FONT_PX, LINE_PX, LINE_PX, "\n".join(lines))


def photograph(session, path):
    rows = cells(session)
    x, y, visible = session.cursor()
    work = tempfile.mkdtemp(prefix="korvel-shot-")
    try:
        page_path = os.path.join(work, "screen.html")
        with open(page_path, "w", encoding="utf-8") as f:
            f.write(page(rows, (x, y) if visible else None))
        size = "%d,%d" % (int(session.width * CHAR_PX) + 2 * PAD + 1, session.height * LINE_PX + 2 * PAD)
        subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
                        "--disable-component-update", "--disable-sync", "--no-first-run", "--hide-scrollbars",
                        "--user-data-dir=" + os.path.join(work, "profile"), "--window-size=" + size,
                        "--screenshot=" + path, "file://" + page_path],
                       check=True, capture_output=True, timeout=120)
    finally:
        shutil.rmtree(work, ignore_errors=True)
    print("wrote", os.path.relpath(path, ROOT))


def http_get(port, path):
    with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
        s.sendall(b"GET %s HTTP/1.0\r\nUser-Agent: screenshot\r\n\r\n" % path.encode())
        while s.recv(65536):
            pass


def server_session():
    port = tui_session.free_port()
    settings = {"Server": {"ServerPort": port, "HomeDir": os.path.join(ROOT, "examples", "site")}}
    s = start(["-server"], settings, WIDTH, HEIGHT, banner=False)
    s.wait_for("Server is ready on port %d" % port)
    return s, port


def plain_session(**settings):
    return start([], settings or {"Server": {"ServerPort": tui_session.free_port()}}, WIDTH, HEIGHT)


# ---- Scenes: each returns the session to photograph ----

def scene_main():
    s, port = server_session()
    for path in ("/", "/gallery.htm", "/nothing.htm"):
        http_get(port, path)
    s.wait_for("Logout")
    time.sleep(0.5)
    return s


def scene_menu():
    s, port = server_session()
    http_get(port, "/")
    s.keys("M-o")
    s.wait_for("│ Configuration")
    s.keys("Down")
    return s


def scene_dialog(letter, text, before=None):
    def scene():
        s = plain_session()
        if before:
            before(s)
        s.keys("M-o", letter)
        s.wait_for(text)
        return s
    return scene


def scene_server():
    s, _ = server_session()
    s.keys("M-o", "s")
    s.wait_for("Mailbox name")
    return s


def scene_client():
    s = plain_session(Client={"ClientHost": "127.0.0.1", "ClientPort": 7})
    s.keys("M-o", "l")
    s.wait_for("Connect to host")
    s.keys("Tab")
    return s


def scene_url_browser():
    work = tempfile.mkdtemp(prefix="korvel-tui-")
    for name in ("grab", "site", "www.example.org"):
        os.mkdir(os.path.join(work, name))
    for name in ("bookmarks.html", "index.html", "report.html"):
        open(os.path.join(work, name), "w").close()
    with open(os.path.join(work, "korvel.ini"), "w") as f:
        f.write("[Server]\nServerPort=%d\n" % tui_session.free_port())
    s = tui_session.TuiSession([], None, WIDTH, HEIGHT, workdir=work)
    s.own_dir = True
    s.wait_for("Winsock")
    s.keys("Enter")
    s.keys("M-o", "u")
    s.wait_for("http://")
    s.keys("Tab", "Tab", "Enter")  # from the URL field to "browse"
    s.wait_for("[www.example.org]")
    return s


def scene_edit():
    s = plain_session()
    s.keys("M-m", "e")
    s.wait_for("EDIT A COMMAND")
    s.type("GET / HTTP/1.0")
    return s


def scene_statistics():
    s, port = server_session()
    clients = [socket.create_connection(("127.0.0.1", port)) for _ in range(3)]
    clients[0].sendall(b"GET /missing.htm HTTP/1.0\r\n\r\n")
    s.keys("M-s", "Enter")
    s.wait_for("Channels are used")
    time.sleep(1.5)
    s.wait_for("2 Channels are used", timeout=10)
    s.keep = clients
    return s


def scene_ping():
    s = plain_session()
    s.keys("M-o", "p")
    deadline = time.monotonic() + 3
    while "PING" not in s.text().split("\n", 1)[1]:
        if time.monotonic() > deadline:
            s.close()
            raise RuntimeError("the ping window is not part of this build")
        time.sleep(0.1)
    s.type("127.0.0.1")
    x, y = s.find("< PING Auto >")
    s.raw(b"\x1b[<0;%d;%dM\x1b[<0;%d;%dm" % (x + 3, y + 1, x + 3, y + 1))
    time.sleep(3)
    return s


def scene_help():
    s = plain_session()
    s.keys("F1")
    s.wait_for("korvel help")
    return s


def scene_message_box():
    s = tui_session.TuiSession([], {"Server": {"ServerPort": tui_session.free_port()}}, WIDTH, HEIGHT)
    s.wait_for("Korvel v4.0")
    return s


SCENES = {
    "main": scene_main,
    "menu": scene_menu,
    "configuration": scene_dialog("c", "Max. Clients for server"),
    "server": scene_server,
    "client": scene_client,
    "url": scene_dialog("u", "http://"),
    "url-browser": scene_url_browser,
    "edit": scene_edit,
    "save": scene_dialog("a", "Save the settings"),
    "statistics": scene_statistics,
    "ping": scene_ping,
    "help": scene_help,
    "message-box": scene_message_box,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--binary", default=os.path.join(ROOT, "build", "korvel"))
    parser.add_argument("--only", nargs="*", choices=sorted(SCENES))
    args = parser.parse_args()
    tui_session.BINARY = os.path.abspath(args.binary)
    failed = []
    for name in args.only or SCENES:
        session = None
        try:
            session = SCENES[name]()
            photograph(session, os.path.join(HERE, "tui-%s.png" % name))
        except Exception as error:  # one scene failing must not stop the others
            failed.append(name)
            print("%s: %s" % (name, error), file=sys.stderr)
        finally:
            if session:
                session.close()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
