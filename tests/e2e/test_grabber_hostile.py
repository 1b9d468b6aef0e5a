"""Hostile sites never crash the grabber nor make it write outside its grab directory: huge
values, unterminated tags, binary files served as HTML, links that climb beyond the root, a
header line that never ends. Also run against the sanitizer build."""

import os
import socket
import threading
import time
import unittest

from grabsite import PythonServer, run_grab
from korvel import temp_dir, write_files

NOISE = bytes((i * 131 + 7) % 256 for i in range(20000))

HOSTILE = {
    "index.htm": (b'<html><body>\n'
                  b'<a href="' + b"v" * 600 + b'">long</a>\n'
                  b'<a href=' + b"w" * 3000 + b'>long unquoted</a>\n'
                  b'<img src="' + b"i" * 520 + b'.gif">\n'
                  b'<a href="../../../../../../../../etc/passwd">up</a>\n'
                  b'<a href="/../../../../x.htm">root</a> <img src="../../../../../../up.gif">\n'
                  b'<a href="sub/../../../../../y.htm">inner</a> <a href="....htm">dots</a>\n'
                  b'<a href="http://' + b"h" * 200 + b'/x.htm">host</a> <a href="http://127.0.0.1:99999/p.htm">port</a>\n'
                  b'<a href="http:">empty</a> <a href="http://2mypc/etc/passwd">disk</a>\n'
                  b'<a href="' + b"\x80" * 40000 + b'x.htm">spread</a>\n'
                  b'<a' + b"\xb0" * 5000 + b' href="bin.htm">\n'
                  + b'<a href="bin.htm"> <a href="noise.htm"> <a href="deep/more.htm">\n'
                  + b'<' * 3000 + b'a href=x.htm>\n'
                  + b'<a href="unterminated.htm'),
    "bin.htm": NOISE,
    "noise.htm": b"<a href=" + NOISE[:5000] + b"<img src=" + NOISE[5000:] + b"<a href=\"",
    "deep/more.htm": b'<a href="../../../../../../../tmp/escape.htm"><img src=\'../../../../z.gif',
    "x.htm": b"<a",
    "y.htm": b"<img src=",
}


def snapshot(root):
    found = set()
    for directory, _, names in os.walk(root):
        for name in names:
            found.add(os.path.relpath(os.path.join(directory, name), root))
    return found


class EndlessHeader:
    """A server whose answer is a status line and then one header line that does not end: 8 MB
    of it, and then the connection stays open, the line unfinished, until the client goes away
    (or 20 s have passed)."""

    def __init__(self, status_line=b"HTTP/1.0 200 OK\r\nX-Endless: "):
        self.status_line = status_line
        self.listener = socket.socket()
        self.listener.bind(("127.0.0.1", 0))
        self.listener.listen(2)
        self.listener.settimeout(10)
        self.port = self.listener.getsockname()[1]
        self.sent = 0
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        try:
            conn, _ = self.listener.accept()
        except OSError:
            return
        with conn:
            conn.settimeout(5)
            try:
                conn.recv(4096)
                conn.sendall(self.status_line)
                deadline = time.monotonic() + 20
                while time.monotonic() < deadline and self.sent < 8 << 20:
                    conn.sendall(b"a" * 4096)
                    self.sent += 4096
                conn.settimeout(0.2)
                while time.monotonic() < deadline:
                    try:
                        if not conn.recv(4096):
                            break
                    except socket.timeout:
                        continue
            except OSError:
                pass

    def close(self):
        self.thread.join(25)
        self.listener.close()


class Hostile(unittest.TestCase):
    def setUp(self):
        # The grab directory sits four levels down in a tree of its own, so that a file written
        # anywhere above it would be seen.
        self.tree = temp_dir(self, "kg-tree-")
        self.home = os.path.join(self.tree, "a", "b", "c", "home")
        self.work = os.path.join(self.tree, "work")
        os.makedirs(self.home)
        os.makedirs(self.work)

    def grab(self, words, **kwargs):
        g = run_grab(self, words, home=self.home, workdir=self.work, **kwargs)
        self.assertNotIn(b"Sanitizer", g.korvel.err)
        self.assertNotIn(b"runtime error", g.korvel.err)
        outside = {name for name in snapshot(self.tree) if not name.startswith("a/b/c/home/")}
        self.assertEqual(outside, {"work/korvel.ini", "work/tag.map"})
        for name in os.listdir(self.home):
            self.assertTrue(os.path.isfile(os.path.join(self.home, name)), name)
        return g

    def test_a_hostile_site_three_levels_deep(self):
        server = PythonServer(self, files=HOSTILE)
        for scope in ("-local", "-all"):
            with self.subTest(scope=scope):
                for name in os.listdir(self.home):
                    os.remove(os.path.join(self.home, name))
                g = self.grab([scope, "-o", "3", "-u", server.url("/index.htm")], url_settings={"Retry": 1})
                self.assertIn(b"Detect, Url size greater than 496 !!!\n", g.out)
                self.assertIn(b"URL_Analyser, host name is too large ...\n", g.out)
                self.assertIn(b"BaseCheck, Url Error (../)\n", g.out)
                saved = g.file("01index.htm")
                self.assertIn(b'<a href="' + b"v" * 600 + b'">long</a>', saved, "too large: left as it was")
                self.assertRegex(saved, rb'<a href="\d\dbin\.htm"> <a href="\d\dnoise\.htm">')
                self.assertFalse(any(b"root:" in g.file(n) for n in os.listdir(self.home)),
                                 "a link to this PC's disk never copies a local file")

    def test_documents_on_this_pcs_disk_do_not_deepen_the_stack(self):
        # Each document read from the disk ends within the opening of its channel; 400 images,
        # each tried 100 times, once nested that deep enough to overrun an 8 MB stack.
        site = temp_dir(self, "kg-disk-")
        write_files(site, {"p.htm": "".join('<img src="http://2mypc%s/i%d.gif">' % (site, i) for i in range(400))})
        g = self.grab(["-o", "0", "-retry", "100", "-u", "http://2mypc%s/p.htm" % site],
                      url_settings={"MaxIMG": 1000}, prefix=["prlimit", "--stack=8388608", "--"])
        self.assertEqual(g.out.count(b"URL Retry n\xb0100...\n"), 400)

    def test_an_endless_header_line_is_cut_by_the_time_limit(self):
        server = EndlessHeader()
        self.addCleanup(server.close)
        g = self.grab(["-t", "2", "-o", "1", "-u", "http://127.0.0.1:%d/x.htm" % server.port])
        self.assertIn(b"bytes received", g.out)
        self.assertIn(b"NO FILELENGTH INFO\n", g.out)
        self.assertGreater(server.sent, 0)

    def test_an_endless_first_line_is_taken_as_a_body_without_header(self):
        server = EndlessHeader(status_line=b"")
        self.addCleanup(server.close)
        g = self.grab(["-t", "2", "-o", "1", "-u", "http://127.0.0.1:%d/x.htm" % server.port])
        self.assertNotIn(b"Status", g.out)
        self.assertTrue(g.file("01x.htm").startswith(b"a" * 4096))

