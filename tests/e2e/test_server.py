"""The HTTP server end to end: the real binary serving a directory to real clients."""

import os
import threading
import unittest

from korvel import header, http_get, read_file, start_server, temp_dir, write_files

DOCS = header(10) + b"docs home\n"


class ServerTest(unittest.TestCase):
    """A site for the server tests of this and the hostile and soak files."""

    def setUp(self):
        self.site = temp_dir(self, "korvel-site-")
        write_files(self.site, {"home.htm": b"<h1>home</h1>\n", "stder.htm": b"<h1>not here</h1>\n",
                                "page.htm": b"<html><body>" + b"page " * 200 + b"</body></html>\n",
                                "stdack.htm": b"<h1>thanks</h1>\n", "docs/home.htm": b"docs home\n"})

    def serve(self, server=None, standard=1, extra=None):
        return start_server(self, self.site, server, standard, extra)


class Serving(ServerTest):
    def test_a_locked_file_is_waited_for_and_the_log_file_holds_what_the_console_shows(self):
        k, port = self.serve({"ServerLog": 1, "ServerLogFilename": "server.log"})
        # A locked file waits until its writer has finished.
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

        # The log file holds exactly what the console shows while it is open.
        http_get(port, b"GET /home.htm HTTP/1.0\r\n\r\n")
        http_get(port, b"GET /nothing HTTP/1.0\r\n\r\n")
        k.wait_for("GET /nothing")
        k.wait_for("Logout")
        self.assertEqual(k.stop(), 0)
        log = read_file(os.path.join(k.dir, "server.log"))
        self.assertTrue(log.startswith(b"Server is ready on port %d\n" % port))
        self.assertTrue(log.endswith(b"\nServer is closed\n"))
        self.assertEqual(k.out[k.out.index(b"Server is ready"):], log)

    def test_a_proxy_whose_host_cannot_be_reached_closes_the_client_at_once(self):
        proxy, port = self.serve({"ServerProxy": 1, "ProxyHost": "nowhere.invalid"}, standard=0)
        self.assertEqual(http_get(port, b"GET / HTTP/1.0\r\n\r\n"), b"")
        proxy.wait_for("OpenClient, Unable to Resolve nowhere.invalid\n")

