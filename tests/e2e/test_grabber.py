"""The web grabber end to end: the real binary grabbing a site served on loopback by
python3 -m http.server and by korvel's own server, over HTTP 1.0 and 0.9, from the command line
and from a start page on the local disk."""

import os
import unittest

from grabsite import BANNER, Grab, PythonServer, port_text, report_documents, run_grab
from korvel import start_server, temp_dir, write_files

LOGO = bytes(range(256)) * 3
SITE = {
    "index.html": '<html><body><h1>Home</h1>\n<a href="a.htm">A</a> <A HREF = "sub/b.htm#part">B</A>\n'
                  '<a href="http://elsewhere.invalid/x.htm">away</a> <a href="#top">top</a>\n'
                  '<a href="mailto:me@example.org">mail</a> <img src="img/logo.gif" alt="logo">\n</body></html>\n',
    "a.htm": '<html><body>A <a href="index.html">home</a> <a href=sub/b.htm>b</a> <a href="deep/c.htm">c</a>\n'
             '<img src="img/logo.gif"> <img src=img/a.gif></body></html>\n',
    "sub/b.htm": '<html><body background="../img/bg.gif">B <a href="../a.htm">a</a> <a href="b2.htm">b2</a>'
                 '</body></html>\n',
    "sub/b2.htm": '<html><body>B2 <a href="../index.html">home</a></body></html>\n',
    "deep/c.htm": '<html><body>C <a href="d.htm">d</a> <img src="../img/c.gif"></body></html>\n',
    "deep/d.htm": "<html><body>D, never reached at two levels</body></html>\n",
    "img/logo.gif": LOGO,
    "img/a.gif": b"GIF89a-a",
    "img/bg.gif": b"GIF89a-bg",
    "img/c.gif": b"GIF89a-c",
}


class GrabTest(unittest.TestCase):
    def setUp(self):
        self.site = temp_dir(self, "kg-site-")
        write_files(self.site, SITE)

    def python_server(self):
        return PythonServer(self, self.site)

    def grab(self, words, **kwargs):
        g = run_grab(self, words, **kwargs)
        self.assertTrue(g.out.endswith(b"*************\n\nServer is closed\n"), g.out[-300:])
        return g


class Levels(GrabTest):
    def test_two_levels_from_python_http_server_over_http10(self):
        server = self.python_server()
        g = self.grab(["-o", "2", "-u", server.url("/index.html")])
        p = port_text(server.port)
        # Pages are named when a level is browsed, images when their page has arrived.
        self.assertEqual(g.saved(), ["01index.htm", "02a.htm", "03b.htm", "04logo.gif", "05a.gif", "06bg.gif",
                                     "07c.htm", "08b2.htm", "09c.gif", "kvdir.htm"])
        self.assertEqual(g.file("01index.htm"),
                         b'<html><body><h1>Home</h1>\n<a href="02a.htm">A</a> <A HREF ="03b.htm#part">B</A>\n'
                         b'<a href="http://elsewhere.invalid/x.htm">away</a> <a href="#top">top</a>\n'
                         b'<a href="mailto:me@example.org">mail</a> <img src="04logo.gif" alt="logo">\n'
                         b'</body></html>\n')
        self.assertEqual(g.file("02a.htm"),
                         b'<html><body>A <a href="01index.htm">home</a> <a href="03b.htm">b</a> '
                         b'<a href="07c.htm">c</a>\n<img src="04logo.gif"> <img src="05a.gif"></body></html>\n')
        # The last level is closed, not browsed: d.htm was never listed, so its link is absolute.
        self.assertEqual(g.file("07c.htm"),
                         b'<html><body>C <a href="http://127.0.0.1:%s/deep/d.htm">d</a> <img src="09c.gif">'
                         b'</body></html>\n' % p.encode())
        self.assertEqual(g.file("08b2.htm"), b'<html><body>B2 <a href="01index.htm">home</a></body></html>\n')
        self.assertEqual(g.file("04logo.gif"), LOGO)
        self.assertEqual(g.file("06bg.gif"), b"GIF89a-bg")

        self.assertEqual(server.requests(), [b"GET /index.html HTTP/1.0", b"GET /img/logo.gif HTTP/1.0",
                                             b"GET /a.htm HTTP/1.0", b"GET /img/a.gif HTTP/1.0",
                                             b"GET /sub/b.htm HTTP/1.0", b"GET /img/bg.gif HTTP/1.0",
                                             b"GET /deep/c.htm HTTP/1.0", b"GET /img/c.gif HTTP/1.0",
                                             b"GET /sub/b2.htm HTTP/1.0"])
        documents = report_documents(g.report())
        self.assertEqual(len(documents), 9)
        self.assertEqual(documents[0], (server.url("/index.html").replace(str(server.port), p).encode(),
                                        os.path.join(g.home, "01index.htm").encode()))
        self.assertEqual(g.report().count(b" File_OK"), 9)
        for line in (b"Order 1, 2 URL(s) detected\n", b"Order n\xb02, 2 URL(s) detected\n",
                     b"\nasking for document /deep/c.htm [4/5], save as %s/07c.htm\n" % g.home.encode(),
                     b"Closing Http Pages ...", BANNER + b"01index.htm\n"):
            self.assertIn(line, g.out)

    def test_korvels_own_server_over_http09(self):
        server, port = start_server(self, self.site, {"LeavingTimeout": 0}, standard=0)
        g = self.grab(["-o", "1", "-u", "http://127.0.0.1:%d/sub/b.htm" % port], standard=0)
        self.assertEqual(g.saved(), ["01b.htm", "02a.htm", "03b2.htm", "04bg.gif", "05logo.gif", "06a.gif", "kvdir.htm"])
        self.assertEqual(g.file("04bg.gif"), b"GIF89a-bg")
        self.assertEqual(g.file("05logo.gif"), LOGO)
        self.assertEqual(g.file("03b2.htm"), b'<html><body>B2 <a href="http://127.0.0.1:%s/index.html">home</a></body></html>\n'
                         % port_text(port).encode())
        self.assertEqual(g.out.count(b"FILE IS COMPLETE\n"), 0)
        server.wait_for("%s/img/logo.gif ...\n" % self.site, after=0)
        server.wait_for(b"GET /sub/b.htm[CR][LF]\n\n", after=0)  # the request: one line


class StartPages(GrabTest):
    def test_a_start_page_on_the_local_disk(self):
        server = self.python_server()
        pages = temp_dir(self, "kg-pages-")
        write_files(pages, {"links.htm": '<a href="%s">A</a> <a href="notes.htm">notes</a> <img src="me.gif">'
                                         % server.url("/a.htm")})
        g = self.grab(["-o", "1", "-u", "http://2mypc%s/links.htm" % pages], url_settings={"file:": "file://", "Retry": 3})
        self.assertEqual(g.file("01links.htm"),
                         b'<a href="02a.htm">A</a> <a href="file://%s/notes.htm">notes</a> '
                         b'<img src="file://%s/me.gif">' % (pages.encode(), pages.encode()))
        self.assertEqual(server.requests()[0], b"GET /a.htm HTTP/1.0")
        self.assertNotIn(b"URL Retry", g.out)
        self.assertIn(b"Order 1, 1 URL(s) detected\n", g.out)

    def test_a_grab_that_cannot_start_ends_the_program(self):
        for url, message, home in (("http://2mypc/no/such/page.htm", b"Unable to find file /no/such/page.htm\n", None),
                                   ("ftp://host/dir/", b"URL format error ...\n", None),
                                   ("http://127.0.0.1:1/x.htm", b"Unable to open file http.tmp\n", "/nonexistent-kg")):
            g = Grab(self, ["-u", url], url_settings={"HomeDir": home} if home else None)
            self.assertEqual(g.code, 1, "a command-line grab that cannot start ends with status 1")
            self.assertIn(message, g.out)
            self.assertNotIn(BANNER, g.out)

    def test_ud_grabs_and_keeps_running(self):
        server = self.python_server()
        g = Grab(self, ["-o", "0", "-ud", server.url("/deep/c.htm")], wait=False)
        g.korvel.wait_for(BANNER + b"01c.htm\n", timeout=30)
        self.assertIsNone(g.korvel.process.poll(), "-ud does not quit at the end of the grab")
        self.assertEqual(g.korvel.stop(), 0)
        self.assertEqual(g.file("02c.gif"), b"GIF89a-c")

