"""Which links a grab follows: the four link scopes, the page and image limits, and a grab through
korvel's own proxy."""

import unittest

from grabsite import OriginServer, PythonServer, port_text, run_grab
from korvel import start_server, temp_dir, write_files

# The start page lives in /a/; its links go to the same directory, below it, above it, and to
# another host name for the same server.
SCOPE_SITE = {
    "a/index.htm": '<a href="same.htm">same</a> <a href="sub/down.htm">down</a> <a href="/up.htm">up</a> '
                   '<a href="http://localhost:{port}/a/other.htm#k">other host</a>',
    "a/same.htm": "same",
    "a/sub/down.htm": "down",
    "up.htm": "up",
    "a/other.htm": "other",
}


class Scopes(unittest.TestCase):
    def test_each_scope_lists_its_links_and_rewrites_the_rest(self):
        cases = {
            # option: (pages fetched after the start page, the start page as saved)
            "-all": (["/a/same.htm", "/a/sub/down.htm", "/up.htm", "/a/other.htm"],
                     '<a href="02same.htm">same</a> <a href="03down.htm">down</a> <a href="04up.htm">up</a> '
                     '<a href="05other.htm#k">other host</a>'),
            "-local": (["/a/same.htm", "/a/sub/down.htm", "/up.htm"],
                       '<a href="02same.htm">same</a> <a href="03down.htm">down</a> <a href="04up.htm">up</a> '
                       '<a href="http://localhost:{port}/a/other.htm#k">other host</a>'),
            "-samepath": (["/a/same.htm"],
                          '<a href="02same.htm">same</a> <a href="http://127.0.0.1:{p}/a/sub/down.htm">down</a> '
                          '<a href="http://127.0.0.1:{p}/up.htm">up</a> '
                          '<a href="http://localhost:{port}/a/other.htm#k">other host</a>'),
            "-downpath": (["/a/same.htm", "/a/sub/down.htm"],
                          '<a href="02same.htm">same</a> <a href="03down.htm">down</a> '
                          '<a href="http://127.0.0.1:{p}/up.htm">up</a> '
                          '<a href="http://localhost:{port}/a/other.htm#k">other host</a>'),
        }
        for option, (fetched, saved) in cases.items():
            with self.subTest(scope=option):
                server = PythonServer(self, files=SCOPE_SITE)
                g = run_grab(self, [option, "-o", "1", "-u", server.url("/a/index.htm")])
                self.assertEqual([line.split()[1].decode() for line in server.requests()], ["/a/index.htm"] + fetched)
                expected = saved.replace("{port}", str(server.port)).replace("{p}", port_text(server.port))
                self.assertEqual(g.file("01index.htm").decode(), expected)


class Limits(unittest.TestCase):
    def test_maxurl_keeps_the_start_page_and_that_many_pages(self):
        links = "".join('<a href="p%d.htm">%d</a>' % (i, i) for i in range(5))
        server = PythonServer(self, files=dict({"index.htm": links}, **{"p%d.htm" % i: "page %d" % i for i in range(5)}))
        g = run_grab(self, ["-o", "1", "-u", server.url("/index.htm")], url_settings={"MaxURL": 2})
        p = port_text(server.port)
        self.assertEqual(g.file("01index.htm").decode(),
                         '<a href="02p0.htm">0</a><a href="03p1.htm">1</a>'
                         + "".join('<a href="http://127.0.0.1:%s/p%d.htm">%d</a>' % (p, i, i) for i in range(2, 5)))
        self.assertIn(b"Order 1, 2 URL(s) detected\n", g.out)
        self.assertEqual(len(server.requests()), 3)

    def test_maxurl_zero_grabs_the_start_page_alone(self):
        server = PythonServer(self, files={"index.htm": '<a href="p.htm">p</a>', "p.htm": "p"})
        g = run_grab(self, ["-o", "3", "-u", server.url("/index.htm")], url_settings={"MaxURL": 0})
        self.assertEqual(len(server.requests()), 1)
        self.assertIn(b"Order 1, 0 URL(s) detected\n", g.out)

    def test_maximg_cuts_the_page_after_the_last_image_it_allows(self):
        server = PythonServer(self, files={
            "index.htm": '<p><img src="a.gif"> <img src="a.gif"> <img src="b.gif"> <img src="c.gif"> the rest</p>',
            "a.gif": "A", "b.gif": "B", "c.gif": "C"})
        g = run_grab(self, ["-o", "0", "-u", server.url("/index.htm")], url_settings={"MaxIMG": 2})
        self.assertEqual(g.file("01index.htm"), b'<p><img src="02a.gif"> <img src="02a.gif"> <img src="03b.gif"')
        self.assertEqual(g.saved(), ["01index.htm", "02a.gif", "03b.gif", "kvdir.htm"])
        self.assertIn(b"Marking Reference Page ...\nBrowsing Image(s) ...\n2 image(s) detected\n", g.out)
        self.assertNotIn(b"Order", g.out)

    def test_a_start_page_that_is_not_html_is_never_browsed(self):
        server = PythonServer(self, files={"t.txt": '<a href="p.htm">p</a>'})
        g = run_grab(self, ["-o", "1", "-u", server.url("/t.txt")])
        self.assertIn(b"Status = 200, Data Length to be received = 21\nContent-Type: text/plain\n", g.out)
        self.assertNotIn(b"Browsing", g.out)
        self.assertEqual(g.file("01t.txt"), b'<a href="p.htm">p</a>')


    def test_past_the_image_limit_a_page_takes_what_the_work_file_last_held(self):
        server = PythonServer(self, files={"index.htm": '<a href=a.htm>a</a><img src=i.gif> tail',
                                           "a.htm": "<p>page a</p><img src=j.gif>", "i.gif": "GIF-i"})
        g = run_grab(self, ["-o", "1", "-u", server.url("/index.htm")], url_settings={"MaxIMG": 1})
        self.assertEqual(g.file("01index.htm"), b'<a href="02a.htm">a</a><img src="03i.gif"')
        # The image pass of a.htm wrote nothing, so a.htm took the start page's head from the work
        # file; the closing pass then found no page 02a.htm under a.htm's name: an absolute link.
        self.assertEqual(g.file("02a.htm").decode(),
                         '<a href="http://127.0.0.1:%s/02a.htm">a</a><img src="03i.gif"' % port_text(server.port))
        self.assertEqual(len(server.requests()), 3, "j.gif is never asked for")


class ThroughAProxy(unittest.TestCase):
    def origin(self, files):
        root = temp_dir(self, "kg-site-")
        write_files(root, files)
        return root, OriginServer(self, root)

    def test_a_grab_through_korvels_proxy_mode(self):
        root, origin = self.origin({"d/index.htm": '<a href="x.htm">x</a><img src="i.gif">', "d/x.htm": "x page",
                                    "d/i.gif": "GIF"})
        proxy, proxy_port = start_server(self, root, {"ServerDef": 1, "ServerProxy": 1, "ProxyHost": "127.0.0.1",
                                                      "ProxyPort": origin.port, "LeavingTimeout": 0})
        # The document's host is a name the proxy's side alone would have to know.
        g = run_grab(self, ["-o", "1", "-u", "http://www.example.invalid/d/index.htm"],
                     url_settings={"ProxyHost": "127.0.0.1", "Port": proxy_port})
        self.assertEqual(origin.lines, ["GET http://www.example.invalid/d/index.htm HTTP/1.0",
                                        "GET http://www.example.invalid/d/i.gif HTTP/1.0",
                                        "GET http://www.example.invalid/d/x.htm HTTP/1.0"])
        self.assertEqual(g.file("01index.htm"), b'<a href="02x.htm">x</a><img src="03i.gif">')
        self.assertEqual(g.file("02x.htm"), b"x page")
        self.assertEqual(g.file("03i.gif"), b"GIF")
        self.assertIn(b'<a href="http://www.example.invalid/d/x.htm">', g.report())
        self.assertEqual(g.out.count(b"\nConnecting Local Client <0> to 127.0.0.1:%d," % proxy_port), 3)

