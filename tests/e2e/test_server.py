"""The HTTP server end to end: the real binary serving a directory to real clients."""

import os
import threading
import unittest

from korvel import header, http_get, read_file, start_server, temp_dir, write_files

HOME = b"<html><body><h1>home</h1><img src=\"logo.gif\"></body></html>\n"
PAGE = b"<html><body>" + b"page " * 200 + b"</body></html>\n"
GIF = bytes(range(256)) * 9 + b"GIF-end"
STDER = b"<h1>not here</h1>\n"
DOCS = header(10) + b"docs home\n"


class ServerTest(unittest.TestCase):
    def setUp(self):
        self.site = temp_dir(self, "korvel-site-")
        write_files(self.site, {"home.htm": HOME, "page.htm": PAGE, "logo.gif": GIF, "stder.htm": STDER,
                                "stdack.htm": b"<h1>thanks</h1>\n", "notes.txt": b"plain text\n", "empty.htm": b"",
                                "UPPER.HTM": b"upper\n", "odd.xyz": b"odd\n", "docs/home.htm": b"docs home\n"})

    def serve(self, server=None, standard=1, extra=None):
        return start_server(self, self.site, server, standard, extra)


class Serving(ServerTest):
    def test_a_locked_file_waits_until_its_writer_has_finished(self):
        k, port = self.serve()
        writer = open(os.path.join(self.site, "slow.htm"), "wb")
        writer.write(b"first half ")
        writer.flush()
        result = {}
        thread = threading.Thread(target=lambda: result.update(
            answer=http_get(port, b"GET /slow.htm HTTP/1.0\r\n\r\n", timeout=20)))
        thread.start()
        k.wait_for("SendaFile, file %s/slow.htm Permission Denied\n" % self.site)
        writer.write(b"second half")
        writer.close()
        thread.join(20)
        self.assertEqual(result.get("answer"), header(22) + b"first half second half")
        self.assertEqual(read_file(os.path.join(self.site, "ch0.tok")), (self.site + "/slow.htm").encode())

    def test_the_log_file_holds_exactly_what_the_console_shows_while_it_is_open(self):
        k, port = self.serve(server={"ServerLog": 1, "ServerLogFilename": "server.log"})
        http_get(port, b"GET /home.htm HTTP/1.0\r\n\r\n")
        http_get(port, b"GET /nothing HTTP/1.0\r\n\r\n")
        k.wait_for("Logout", after=0)
        self.assertEqual(k.stop(), 0)
        log = read_file(os.path.join(k.dir, "server.log"))
        self.assertTrue(log.startswith(b"Server is ready on port %d\n" % port))
        self.assertTrue(log.endswith(b"\nServer is closed\n"))
        self.assertEqual(k.out[k.out.index(b"Server is ready"):], log)


class Proxy(ServerTest):
    def test_a_proxy_whose_host_cannot_be_reached_closes_the_client_at_once(self):
        proxy, port = self.serve(server={"ServerProxy": 1, "ProxyHost": "nowhere.invalid"}, standard=0)
        self.assertEqual(http_get(port, b"GET / HTTP/1.0\r\n\r\n"), b"")
        proxy.wait_for("OpenClient, Unable to Resolve nowhere.invalid\n")


if __name__ == "__main__":
    unittest.main()
