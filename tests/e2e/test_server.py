"""The HTTP server end to end: the real binary serving a directory to real clients."""

import os
import shutil
import socket
import tempfile
import threading
import time
import unittest

from korvel import Korvel, free_port, have, http_get, read_until_closed, run_tool

HOME = b"<html><body><h1>home</h1><img src=\"logo.gif\"></body></html>\n"
PAGE = b"<html><body>" + b"page " * 200 + b"</body></html>\n"
GIF = bytes(range(256)) * 9 + b"GIF-end"
TAGS = "U <a href=\nI <img src=\n"


def make_site():
    site = tempfile.mkdtemp(prefix="korvel-site-")
    files = {"home.htm": HOME, "page.htm": PAGE, "logo.gif": GIF, "stder.htm": b"<h1>not here</h1>\n",
             "stdack.htm": b"<h1>thanks</h1>\n", "notes.txt": b"plain text\n", "empty.htm": b"",
             "UPPER.HTM": b"upper\n", "odd.xyz": b"odd\n", "docs/home.htm": b"docs home\n"}
    for name, content in files.items():
        path = os.path.join(site, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(content)
    return site


def header(length, content_type=None):
    text = b"HTTP/1.0 200 Document follows\r\nServer: Korvel/4.0\r\n"
    if content_type:
        text += b"MIME-Version: 1.0\r\nContent-Type: " + content_type + b"\r\n"
    return text + b"Content-Length: %d\r\n\r\n" % length


class ServerTest(unittest.TestCase):
    def setUp(self):
        self.site = make_site()
        self.addCleanup(shutil.rmtree, self.site, True)

    def serve(self, server=None, standard=1, extra=None, mime=None):
        port = free_port()
        settings = {"Server": dict({"ServerPort": port, "HomeDir": self.site}, **(server or {})),
                    "Standard": {"Server": standard}}
        if mime:
            settings["Mime"] = mime
        settings.update(extra or {})
        k = Korvel(["-server"], settings=settings)
        self.addCleanup(k.close)
        with open(os.path.join(k.dir, "tag.map"), "w") as f:
            f.write(TAGS)
        k.wait_for("Server is ready on port %d\n" % port)
        return k, port


class Serving(ServerTest):
    def test_http10_answers_carry_the_exact_header_and_the_file(self):
        k, port = self.serve(mime={"txt": "text/plain"})
        cases = [("/home.htm", header(len(HOME), b"text/html") + HOME),
                 ("/logo.gif", header(len(GIF), b"image/gif") + GIF),
                 ("/", header(len(HOME), b"text/html") + HOME),
                 ("/docs/", header(10, b"text/html") + b"docs home\n"),
                 ("/notes.txt", header(11, b"text/plain") + b"plain text\n"),
                 ("/odd.xyz", header(4) + b"odd\n"),
                 ("/empty.htm", header(0, b"text/html")),
                 ("/UPPER.HTM", header(6) + b"upper\n")]
        for target, expected in cases:
            with self.subTest(target=target):
                answer = http_get(port, b"GET %s HTTP/1.0\r\nHost: x\r\n\r\n" % target.encode())
                self.assertEqual(answer, expected)
        k.wait_for("\nSending file <0> %s/home.htm ...\n" % self.site)

    def test_a_missing_file_gets_the_error_page_without_any_status_line(self):
        k, port = self.serve()
        answer = http_get(port, b"GET /nothing.htm HTTP/1.0\r\n\r\n")
        self.assertEqual(answer, b"<h1>not here</h1>\n")
        k.wait_for("\nHTTP/1.0 404 file requested %s/nothing.htm was not found\n" % self.site)

    def test_no_target_can_leave_the_home_directory(self):
        k, port = self.serve()
        secret = os.path.join(os.path.dirname(self.site), "korvel-secret-%d.htm" % port)
        with open(secret, "w") as f:
            f.write("secret")
        self.addCleanup(os.remove, secret)
        name = os.path.basename(secret).encode()
        for target in (b"/../" + name, b"/docs/../../" + name, b"/..\\" + name, b"/..",
                       b"/docs/..\\..\\" + name):
            with self.subTest(target=target):
                answer = http_get(port, b"GET " + target + b" HTTP/1.0\r\n\r\n")
                self.assertEqual(answer, b"<h1>not here</h1>\n")

    def test_http09_requests_are_answered_at_once_without_a_header(self):
        k, port = self.serve()
        self.assertEqual(http_get(port, b"GET /page.htm\r\n"), PAGE)

    def test_with_http09_answers_no_header_is_ever_sent(self):
        k, port = self.serve(standard=0)
        self.assertEqual(http_get(port, b"GET /home.htm HTTP/1.0\r\n\r\n"), HOME)

    def test_other_methods_get_no_answer(self):
        k, port = self.serve(server={"WaitingTimeout": 2})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            s.sendall(b"HEAD / HTTP/1.0\r\n\r\nPOST / HTTP/1.0\r\n\r\n")
            self.assertEqual(read_until_closed(s, 10), b"", "closed by the waiting time limit, nothing sent")

    def test_a_locked_file_waits_until_its_writer_has_finished(self):
        k, port = self.serve()
        path = os.path.join(self.site, "slow.htm")
        writer = open(path, "wb")
        writer.write(b"first half ")
        writer.flush()
        result = {}

        def fetch():
            result["answer"] = http_get(port, b"GET /slow.htm HTTP/1.0\r\n\r\n", timeout=20)

        thread = threading.Thread(target=fetch)
        thread.start()
        k.wait_for("SendaFile, file %s/slow.htm Permission Denied\n" % self.site)
        writer.write(b"second half")
        writer.close()
        thread.join(20)
        self.assertEqual(result.get("answer"), header(22, b"text/html") + b"first half second half")
        with open(os.path.join(self.site, "ch0.tok")) as f:
            self.assertEqual(f.read(), self.site + "/slow.htm")

    @unittest.skipUnless(have("curl"), "curl is not installed")
    def test_curl_gets_every_byte(self):
        k, port = self.serve()
        result = run_tool(["curl", "-s", "-i", "--http1.0", "http://127.0.0.1:%d/logo.gif" % port])
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, header(len(GIF), b"image/gif") + GIF)

    @unittest.skipUnless(have("wget"), "wget is not installed")
    def test_wget_mirrors_a_page_and_its_image(self):
        k, port = self.serve()
        out = tempfile.mkdtemp(prefix="korvel-wget-")
        self.addCleanup(shutil.rmtree, out, True)
        result = run_tool(["wget", "-q", "-p", "-nH", "-P", out, "http://127.0.0.1:%d/home.htm" % port])
        self.assertEqual(result.returncode, 0, result.stderr)
        with open(os.path.join(out, "home.htm"), "rb") as f:
            self.assertEqual(f.read(), HOME)
        with open(os.path.join(out, "logo.gif"), "rb") as f:
            self.assertEqual(f.read(), GIF)


class Connections(ServerTest):
    def test_one_client_too_many_gets_exactly_the_502_line(self):
        k, port = self.serve(server={"HowManyClients": 3, "WaitingTimeout": 20})
        idle = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(3)]
        for ch in range(3):
            k.wait_for("Remote Client <%d> Login 127.0.0.1:" % ch, after=0)
        extra = socket.create_connection(("127.0.0.1", port), timeout=10)
        self.assertEqual(read_until_closed(extra, 10), b"HTTP/1.0 502 Service Temporaly Overloaded\r\n")
        extra.close()
        k.wait_for("\nServerMsg, connection and all channels are busy ...\n")
        for s in idle:
            s.sendall(b"GET /docs/ HTTP/1.0\r\n\r\n")
            self.assertEqual(read_until_closed(s, 10), header(10, b"text/html") + b"docs home\n")
            s.close()

    def test_without_send_and_close_one_connection_carries_two_requests(self):
        k, port = self.serve(server={"Mode": "1ca"})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            for target, body, kind in ((b"/home.htm", HOME, b"text/html"), (b"/logo.gif", GIF, b"image/gif")):
                s.sendall(b"GET " + target + b" HTTP/1.0\r\n\r\n")
                expected = header(len(body), kind) + body
                got = b""
                while len(got) < len(expected):
                    chunk = s.recv(65536)
                    self.assertTrue(chunk, "closed early")
                    got += chunk
                self.assertEqual(got, expected)

    def test_an_idle_client_is_closed_after_the_waiting_time(self):
        k, port = self.serve(server={"WaitingTimeout": 1, "LeavingTimeout": 0})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            self.assertEqual(read_until_closed(s, 10), b"")
        k.wait_for("Remote Client <0> Logout 127.0.0.1:")
        k.wait_for("0 bytes received, 0 bytes sent\n")

    def test_a_leaving_slot_is_taken_again_only_after_the_leaving_time(self):
        k, port = self.serve(server={"HowManyClients": 1, "LeavingTimeout": 2})
        self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"), header(10, b"text/html") + b"docs home\n")
        self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"),
                         b"HTTP/1.0 502 Service Temporaly Overloaded\r\n", "the one slot is still leaving")
        k.wait_for("Remote Client <0> Logout")
        self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"), header(10, b"text/html") + b"docs home\n")

    def test_with_no_leaving_time_a_slot_is_free_as_soon_as_it_closes(self):
        k, port = self.serve(server={"HowManyClients": 1, "LeavingTimeout": 0})
        for _ in range(5):
            self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"),
                             header(10, b"text/html") + b"docs home\n")

    def test_the_log_file_holds_exactly_what_the_console_shows_while_it_is_open(self):
        k, port = self.serve(server={"ServerLog": 1, "ServerLogFilename": "server.log"})
        http_get(port, b"GET /home.htm HTTP/1.0\r\n\r\n")
        http_get(port, b"GET /nothing HTTP/1.0\r\n\r\n")
        k.wait_for("Logout", after=0)
        self.assertEqual(k.stop(), 0)
        with open(os.path.join(k.dir, "server.log"), "rb") as f:
            log = f.read()
        out = k.out
        self.assertTrue(log.startswith(b"Server is ready on port %d\n" % port))
        self.assertTrue(log.endswith(b"\nServer is closed\n"))
        self.assertEqual(out[out.index(b"Server is ready"):], log)

    def test_received_requests_are_shown_on_the_console_in_text_mode(self):
        k, port = self.serve()
        http_get(port, b"GET /docs/ HTTP/1.0\r\nX: \x01\xe9\x7f\r\n\r\n")
        k.wait_for(b"GET /docs/ HTTP/1.0[CR][LF]\nX:  x01  xE9  x7F [CR][LF]\n[CR][LF]\n", after=0)


class Proxy(ServerTest):
    def test_a_proxy_relays_a_request_and_its_answer_both_ways(self):
        origin, origin_port = self.serve()
        proxy_port = free_port()
        proxy = Korvel(["-server"], settings={
            "Server": {"ServerPort": proxy_port, "ServerDef": 1, "ServerProxy": 1, "ProxyHost": "127.0.0.1",
                       "ProxyPort": origin_port, "HomeDir": self.site}, "Standard": {"Server": 1}})
        self.addCleanup(proxy.close)
        proxy.wait_for("Server is ready on port %d\n" % proxy_port)
        answer = http_get(proxy_port, b"GET /page.htm HTTP/1.0\r\n\r\n", timeout=20)
        self.assertEqual(answer, header(len(PAGE), b"text/html") + PAGE)
        proxy.wait_for("\nLocal Client <1> Login 127.0.0.1:%d," % origin_port, after=0)
        proxy.wait_for("<1>GET /page.htm HTTP/1.0[CR][LF]\n[CR][LF]\n</1>", after=0)
        proxy.wait_for("<0>HTTP/1.0 200 Document follows[CR][LF]", after=0)
        proxy.wait_for("Local Client <1> Logout", after=0)
        origin.wait_for("Sending file <0> %s/page.htm ...\n" % self.site, after=0)

    def test_a_proxy_whose_host_cannot_be_reached_closes_the_client_at_once(self):
        proxy_port = free_port()
        proxy = Korvel(["-server"], settings={
            "Server": {"ServerPort": proxy_port, "ServerProxy": 1, "ProxyHost": "nowhere.invalid",
                       "HomeDir": self.site}})
        self.addCleanup(proxy.close)
        proxy.wait_for("Server is ready on port %d\n" % proxy_port)
        self.assertEqual(http_get(proxy_port, b"GET / HTTP/1.0\r\n\r\n"), b"")
        proxy.wait_for("OpenClient, Unable to Resolve nowhere.invalid\n")



if __name__ == "__main__":
    unittest.main()
