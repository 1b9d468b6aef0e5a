"""The URL dialog and the URL Browser driven through scripts: each kind of grab started from the
dialog, STOP during a grab, and the links of a saved page listed and bookmarked."""

import http.server
import os
import threading
import unittest

from grabsite import BANNER, PythonServer
from korvel import read_file, start, temp_dir, write_files

SITE = {
    "page.htm": '<html><body><a href="other.htm">o</a> <img src="pic.gif"></body></html>\n',
    "other.htm": "<html><body>other <a href=page.htm>back</a></body></html>\n",
    "pic.gif": b"GIF89a-picture",
}


class UrlDialog(unittest.TestCase):
    def setUp(self):
        self.home = temp_dir(self, "ku-home-")

    def korvel(self, script):
        return start(self, script=script, tags=True, settings={
            "Url": {"HomeDir": self.home, "LeavingTimeout": 0, "Retry": 0}, "Standard": {"Url": 1}})

    def test_each_kind_of_grab_starts_from_the_dialog(self):
        server = PythonServer(self, files=SITE)
        address = "127.0.0.1:%d/page.htm" % server.port
        start = ["menu 109", "set 121 " + address]
        configuration = ["menu 102", "dialog DIALOG_1", "dump", "click 2", "dialog"]
        script = "\n".join(
            configuration +
            start + ["click 1", "waitfor End Of URL"] +                                   # Text
            start + ["click 143", "click 1", "waitfor End Of URL"] +                      # Binary
            start + ["click 148", "waitfor End Of URL"] +                                 # OK+IMG
            start + ["set 129 -3", "click 149", "waitfor End Of URL"] +                   # LEVEL_N
            configuration + ["quit"])
        k = self.korvel(script)
        self.assertEqual(k.wait_exit(60), 0, k.err)
        out = k.out
        self.assertEqual(out.count(BANNER), 4)
        self.assertIn(b"url=http://%s\n" % address.encode(), out, "a Text grab shows its analysis")
        self.assertIn(b"<a href=\"other.htm\">o</a>", out, "and the document on the console")
        self.assertEqual(read_file(os.path.join(self.home, "no_name")), SITE["page.htm"].encode(), "the body alone")
        # The Configuration dialog before and after: the server's time limits are back, and its
        # mode is the one of the last grab (binary, with time limits).
        dumps = [line.split(" ", 4) for line in k.err.decode("latin-1").splitlines() if line.startswith("DIALOG_1 ")]
        before, after = dumps[:len(dumps) // 2], dumps[len(dumps) // 2:]
        self.assertEqual([d for d in before if d[2] == "edit"], [d for d in after if d[2] == "edit"])
        self.assertEqual("".join(d[4][0] for d in after if d[2] == "checkbox"), "001010011")
        self.assertEqual(read_file(os.path.join(self.home, "kvdir.htm")).count(b">Document http://127.0.0.1"), 3 + 1 + 1 + 1,
                         "Binary 1, OK+IMG 2 (page, image), LEVEL_N 3 (page, other, image); Text writes none")
        self.assertIn(b"Order 1, 1 URL(s) detected\n", out, "N= -3 was taken as 1")

    def test_stop_during_an_image_still_reports_it_and_ends_with_the_banner(self):
        # The page's image comes as a header and 100 of its 1000 bytes; then the server waits.
        release = threading.Event()
        self.addCleanup(release.set)

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                if self.path == "/p.htm":
                    body = b'<img src="big.gif">'
                    self.wfile.write(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: %d\r\n\r\n"
                                     % len(body) + body)
                else:
                    self.wfile.write(b"HTTP/1.0 200 OK\r\nContent-Type: image/gif\r\nContent-Length: 1000\r\n\r\n"
                                     + b"g" * 100)
                    self.wfile.flush()
                    release.wait(10)

            def log_message(self, *args):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        script = "\n".join([
            "menu 109", "set 121 127.0.0.1:%d/p.htm" % server.server_address[1], "click 143", "click 148",
            "waitfor Data Length to be received = 1000", "wait 0.5", "menu 109", "expect 141 STOP", "dump",
            "click 141", "waitfor End Of URL", "quit"])
        k = self.korvel(script)
        self.assertEqual(k.wait_exit(60), 0, k.err)
        err = k.err.decode("latin-1")
        self.assertIn("DIALOG_6 141 button 1 0 STOP\n", err, "STOP is usable while the grab runs")
        self.assertIn("DIALOG_6 1 button 0 0 OK\n", err, "the start buttons are not")
        out = k.out
        self.assertIn(b"Status 200 [OK->200], Header Length 66 bytes, Data Length 1000\nFILE IS UNCOMPLETE\n", out)
        self.assertIn(BANNER + b"01p.htm\n", out)
        self.assertNotIn(b"URL Retry", out)
        self.assertIn(b"(length 100 bytes) Status 200 Content image/gif File_NOK",
                      read_file(os.path.join(self.home, "kvdir.htm")))


class UrlBrowser(unittest.TestCase):
    def test_the_links_of_a_saved_page_are_listed_and_bookmarked(self):
        work = temp_dir(self, "ku-work-")
        write_files(work, {"saved.htm": '<html><a href="http://far.example/x.htm">x</a> <a href="rel/y.htm">y</a>'
                                        ' <img src="z.gif"></html>\n'})
        script = "\n".join([
            "menu 109", "click 158", "dialog load",
            "select 106 1",       # *.htm
            "select 103 0",       # saved.htm: analysed as a page of this PC's disk
            "expect 107 http://far.example/x.htm",
            "set 109 server1/dir/", "click 110",
            "set 114 book.htm", "select 107 1", "click 115", "click 115",
            "dump", "click 1", "dialog", "expect 121 server1/dir/rel/y.htm", "click 2", "quit"])
        k = start(self, script=script, workdir=work, settings={"Url": {"HomeDir": work}}, tags=True)
        self.assertEqual(k.wait_exit(30), 0, k.err)
        err = k.err.decode("latin-1")
        self.assertIn("load 107 list 1 0 http://server1/dir/rel/y.htm [http://far.example/x.htm|"
                      "http://server1/dir/rel/y.htm|http://server1/dir/z.gif]\n", err)
        self.assertEqual(read_file(os.path.join(work, "book.htm")),
                         b'<a href="http://server1/dir/rel/y.htm">http://server1/dir/rel/y.htm</a><br>\r\n' * 2)

