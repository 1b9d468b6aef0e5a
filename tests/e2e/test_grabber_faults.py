"""Grabs that go wrong on the network side: refused connections and their retries, an answer cut
short, an answer without a length, an answer that never comes."""

import socket
import threading
import unittest

from grabsite import run_grab
from korvel import free_port


class Faults(unittest.TestCase):
    def canned(self, answer):
        """A server for one connection: it reads the request, sends answer (raw bytes) and
        closes. Returns the list its request goes into, and its port."""
        listener = socket.create_server(("127.0.0.1", 0))
        listener.settimeout(30)
        self.addCleanup(listener.close)
        requests = []

        def serve():
            try:
                conn, _ = listener.accept()
                with conn:
                    conn.settimeout(5)
                    request = b""
                    while b"\r\n\r\n" not in request:
                        request += conn.recv(4096) or b"\r\n\r\n"
                    requests.append(request)
                    conn.sendall(answer)
            except OSError:
                pass

        threading.Thread(target=serve, daemon=True).start()
        return requests, listener.getsockname()[1]

    def grab(self, words, **kwargs):
        return run_grab(self, words, **kwargs)

    def test_refused_connections_are_retried_as_often_as_asked(self):
        port = free_port()  # nobody listens there
        g = self.grab(["-retry", "2", "-o", "1", "-u", "http://127.0.0.1:%d/x.htm" % port])
        self.assertEqual(g.out.count(b"\nConnecting Local Client <0> to 127.0.0.1:%d," % port), 3)
        self.assertEqual(g.out.count(b"WSAGETSELECTERROR 274D0010 !!!\n"), 3)
        retries = [line for line in g.out.split(b"\n") if line.startswith(b"URL Retry")]
        self.assertEqual(retries, [b"URL Retry n\xb01...", b"URL Retry n\xb02..."])
        self.assertIn(b"0 bytes received, 0 bytes sent\n", g.out)
        # Each attempt created the local file afresh; nothing came.
        self.assertEqual(g.file("01x.htm"), b"")
        self.assertIn(b"Order 1, 0 URL(s) detected\n", g.out)

    def test_a_document_cut_short_is_judged_uncomplete_and_never_retried(self):
        body = b"<html>" + b"x" * 894
        requests, port = self.canned(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: 1000\r\n\r\n" + body)
        g = self.grab(["-retry", "3", "-o", "0", "-u", "http://127.0.0.1:%d/cut.htm" % port])
        self.assertIn(b"Status = 200, Data Length to be received = 1000\nContent-Type: text/html\n", g.out)
        self.assertIn(b"Status 200 [OK->200], Header Length 66 bytes, Data Length 1000\nFILE IS UNCOMPLETE\n", g.out)
        self.assertNotIn(b"URL Retry", g.out)
        self.assertEqual(g.file("01cut.htm"), body)
        self.assertIn(b"(length 900 bytes) Status 200 Content text/html File_NOK", g.report())
        self.assertEqual(requests, [b"GET /cut.htm HTTP/1.0\r\nUser-Agent: Korvel/4.0 (Win32; I)\r\n"
                                    b"Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, */*\r\n\r\n"])

    def test_a_document_without_a_length_gets_no_verdict(self):
        requests, port = self.canned(b"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\nsome text\n")
        g = self.grab(["-o", "1", "-u", "http://127.0.0.1:%d/t.txt" % port])
        self.assertIn(b"Status = 200, Data Length to be received = ?\nContent-Type: text/plain\n", g.out)
        self.assertIn(b"Status 200 [OK->200], Header Length 45 bytes, Data Length -1\nNO FILELENGTH INFO\n", g.out)
        report = g.report()
        self.assertIn(b"(length 10 bytes) Status 200 Content text/plain", report)
        self.assertNotIn(b"File_OK", report)
        self.assertNotIn(b"File_NOK", report)
        # Served as text/plain, the page is never browsed.
        self.assertNotIn(b"Browsing", g.out)
        self.assertEqual(g.file("01t.txt"), b"some text\n")

    def test_an_error_status_is_shown_but_not_judged(self):
        requests, port = self.canned(b"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\ngone")
        g = self.grab(["-o", "1", "-u", "http://127.0.0.1:%d/gone.htm" % port])
        self.assertIn(b"Status 404 [OK->200], Header Length 45 bytes, Data Length 4\nFILE IS COMPLETE\n", g.out)
        self.assertIn(b" Status 404 File_OK", g.report())


if __name__ == "__main__":
    unittest.main()
