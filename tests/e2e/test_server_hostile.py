"""Hostile clients never crash the server nor leak a slot. Also run against the sanitizer build."""

import socket
import struct
import subprocess
import sys
import unittest

from korvel import header, http_get, read_file, read_until_closed
from test_server import DOCS, ServerTest

MAILBOX_HEAD = (b"<html><head><TITLE>Mailbox</TITLE></head>\n<body><H1><IMG ALIGN=top SRC =\"korvel.gif\"> "
                b"<A HREF=\"home.htm\">Korvel</A>Mailbox</H1>\n<HR>")


# Sends short lines to 127.0.0.1:PORT at full speed until the server ends the connection.
STREAMER = """
import socket, sys
s = socket.create_connection(("127.0.0.1", int(sys.argv[1])))
try:
    while True:
        s.sendall(b"x\\r\\n" * 1000)
except OSError:
    pass
"""


class Hostile(ServerTest):
    def assert_all_slots_serve(self, k, port, count):
        k.wait_for("Logout", after=0)
        clients = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(count)]
        for s in clients:
            s.sendall(b"GET /docs/ HTTP/1.0\r\n\r\n")
        for s in clients:
            self.assertEqual(read_until_closed(s, 20), DOCS)
            s.close()

    def test_garbage_binary_long_lines_half_closes_and_resets(self):
        k, port = self.serve(server={"HowManyClients": 4, "LeavingTimeout": 0, "WaitingTimeout": 3})
        payloads = [bytes(range(256)) * 4, b"\r\n" * 500, b"GET " + b"A" * 100000 + b" HTTP/1.0\r\n\r\n",
                    b"GET /" + b"x" * 300 + b"?" + b"%" * 300 + b" HTTP/1.0\r\n\r\n", b"\x00" * 5000,
                    b"GET /%%%\r\n", b"GET\r\n\r\n", b"GET /a?b=%0" + b"\r\n"]
        for payload in payloads:
            with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
                try:
                    s.sendall(payload)
                    read_until_closed(s, 10)
                except (ConnectionResetError, BrokenPipeError):
                    pass
        for _ in range(3):
            s = socket.create_connection(("127.0.0.1", port), timeout=10)
            s.sendall(b"GET /page.htm HTTP/1.0\r\nHost")
            s.shutdown(socket.SHUT_WR)
            read_until_closed(s, 10)
            s.close()
            s = socket.create_connection(("127.0.0.1", port), timeout=10)
            s.sendall(b"GET /page.htm HTTP/1.0\r\n\r\n")
            s.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            s.close()
        k.wait_for("ProcessRead, Cmd size greater than 512\n", after=0)
        self.assert_all_slots_serve(k, port, 4)
        self.assertEqual(k.stop(), 0)

    def test_a_client_that_never_stops_sending_holds_no_one_up(self):
        # The streamer's socket is readable all the time: the server still serves the others,
        # and the tick's time limits still end the streamer.
        # The HTTP model without ShowReceivedData, so the console does not echo the stream.
        k, port = self.serve(server={"Mode": "1C9", "LeavingTimeout": 0, "WaitingTimeout": 5, "connectionTimeout": 8})
        # The streamer runs in a process of its own, so that it cannot hold up this one.
        streamer = subprocess.Popen([sys.executable, "-c", STREAMER, str(port)], stdin=subprocess.DEVNULL)
        self.addCleanup(streamer.kill)
        k.wait_for("Remote Client <0> Login")
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            s.sendall(b"GET /docs/ HTTP/1.0\r\n\r\n")
            self.assertEqual(read_until_closed(s, 10), DOCS)
        streamer.wait(30)
        out = k.wait_for("Remote Client <0> Logout", after=0)
        self.assertLess(out.index(b"\nSending file <"), out.index(b"Remote Client <0> Logout"),
                        "served while the streamer was still connected")
        self.assert_all_slots_serve(k, port, 2)


class MailboxVisitors(ServerTest):
    def test_markup_in_a_post_reaches_the_mailbox_page_as_text(self):
        k, port = self.serve()
        posts = [(b"/post?name=Jo+Ann&text=Hi%21", b"\\post<br>name= Jo Ann<br>text= Hi!"),
                 (b"/post?name=x&text=%3Cscript%3Ealert(1)%3C%2Fscript%3E",
                  b"\\post<br>name= x<br>text= &lt;script&gt;alert(1)&lt;/script&gt;"),
                 (b'/post?a="<b>"%26%22%3Cimg%20src=x%3E', b"\\post<br>a= &quot;&lt;b&gt;&quot;&amp;&quot;&lt;img src= x&gt;"),
                 (b"/post?line=one%0Atwo", b"\\post<br>line= one<br>two")]
        for target, _ in posts:
            self.assertEqual(http_get(port, b"GET %s HTTP/1.0\r\n\r\n" % target), header(16) + b"<h1>thanks</h1>\n")
        stored = b"".join(form + b"\n<HR>" for _, form in posts)
        self.assertEqual(read_file(self.site + "/mailbox.tmp"), stored)
        page = MAILBOX_HEAD + stored + b"</body></html>\n"
        self.assertEqual(http_get(port, b"GET /mailbox.htm HTTP/1.0\r\n\r\n"), header(len(page)) + page)
        self.assertEqual(k.stop(), 0)

