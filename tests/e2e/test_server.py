"""The HTTP server end to end: the real binary serving a directory to real clients."""

import os
import socket
import threading
import unittest

from korvel import (have, header, http_get, read_file, read_until_closed, recv_exactly, run_tool, start_proxy,
                    start_server, temp_dir, write_files)

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
    def test_http10_answers_carry_the_exact_header_and_the_file(self):
        k, port = self.serve(extra={"Mime": {"txt": "text/plain"}})
        cases = [("/home.htm", header(len(HOME)) + HOME), ("/logo.gif", header(len(GIF), b"image/gif") + GIF),
                 ("/", header(len(HOME)) + HOME), ("/docs/", DOCS),
                 ("/notes.txt", header(11, b"text/plain") + b"plain text\n"), ("/odd.xyz", header(4, None) + b"odd\n"),
                 ("/empty.htm", header(0)), ("/UPPER.HTM", header(6, None) + b"upper\n")]
        for target, expected in cases:
            with self.subTest(target=target):
                self.assertEqual(http_get(port, b"GET %s HTTP/1.0\r\nHost: x\r\n\r\n" % target.encode()), expected)
        k.wait_for("\nSending file <0> %s/home.htm ...\n" % self.site)

    def test_a_missing_file_or_one_outside_the_home_directory_gets_the_error_page_without_a_status_line(self):
        k, port = self.serve()
        self.assertEqual(http_get(port, b"GET /nothing.htm HTTP/1.0\r\n\r\n"), STDER)
        k.wait_for("\nHTTP/1.0 404 file requested %s/nothing.htm was not found\n" % self.site)
        secret = os.path.join(os.path.dirname(self.site), "korvel-secret-%d.htm" % port)
        write_files("/", {secret: b"secret"})
        self.addCleanup(os.remove, secret)
        name = os.path.basename(secret).encode()
        for target in (b"/../" + name, b"/docs/../../" + name, b"/..\\" + name, b"/..", b"/docs/..\\..\\" + name):
            with self.subTest(target=target):
                self.assertEqual(http_get(port, b"GET " + target + b" HTTP/1.0\r\n\r\n"), STDER)

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

    @unittest.skipUnless(have("curl"), "curl is not installed")
    def test_curl_gets_every_byte(self):
        k, port = self.serve()
        result = run_tool(["curl", "-s", "-i", "--http1.0", "http://127.0.0.1:%d/logo.gif" % port])
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, header(len(GIF), b"image/gif") + GIF)

    @unittest.skipUnless(have("wget"), "wget is not installed")
    def test_wget_mirrors_a_page_and_its_image(self):
        k, port = self.serve()
        out = temp_dir(self, "korvel-wget-")
        result = run_tool(["wget", "-q", "-p", "-nH", "-P", out, "http://127.0.0.1:%d/home.htm" % port])
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(read_file(os.path.join(out, "home.htm")), HOME)
        self.assertEqual(read_file(os.path.join(out, "logo.gif")), GIF)


class Connections(ServerTest):
    def test_one_client_too_many_gets_exactly_the_502_line(self):
        k, port = self.serve(server={"HowManyClients": 3, "WaitingTimeout": 20})
        idle = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(3)]
        for ch in range(3):
            k.wait_for("Remote Client <%d> Login 127.0.0.1:" % ch, after=0)
        with socket.create_connection(("127.0.0.1", port), timeout=10) as extra:
            self.assertEqual(read_until_closed(extra, 10), b"HTTP/1.0 502 Service Temporaly Overloaded\r\n")
        k.wait_for("\nServerMsg, connection and all channels are busy ...\n")
        for s in idle:
            s.sendall(b"GET /docs/ HTTP/1.0\r\n\r\n")
            self.assertEqual(read_until_closed(s, 10), DOCS)
            s.close()

    def test_without_send_and_close_one_connection_carries_two_requests(self):
        k, port = self.serve(server={"Mode": "1ca"})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            for target, body, kind in ((b"/home.htm", HOME, b"text/html"), (b"/logo.gif", GIF, b"image/gif")):
                s.sendall(b"GET " + target + b" HTTP/1.0\r\n\r\n")
                expected = header(len(body), kind) + body
                self.assertEqual(recv_exactly(s, len(expected)), expected)

    def test_an_idle_client_is_closed_after_the_waiting_time(self):
        k, port = self.serve(server={"WaitingTimeout": 1, "LeavingTimeout": 0})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            self.assertEqual(read_until_closed(s, 10), b"")
        k.wait_for("Remote Client <0> Logout 127.0.0.1:")
        k.wait_for("0 bytes received, 0 bytes sent\n")

    def test_a_leaving_slot_is_taken_again_only_after_the_leaving_time(self):
        k, port = self.serve(server={"HowManyClients": 1, "LeavingTimeout": 2})
        self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"), DOCS)
        self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"),
                         b"HTTP/1.0 502 Service Temporaly Overloaded\r\n", "the one slot is still leaving")
        k.wait_for("Remote Client <0> Logout")
        self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"), DOCS)

    def test_with_no_leaving_time_a_slot_is_free_as_soon_as_it_closes(self):
        k, port = self.serve(server={"HowManyClients": 1, "LeavingTimeout": 0})
        for _ in range(5):
            self.assertEqual(http_get(port, b"GET /docs/ HTTP/1.0\r\n\r\n"), DOCS)

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

    def test_received_requests_are_shown_on_the_console_in_text_mode(self):
        k, port = self.serve()
        http_get(port, b"GET /docs/ HTTP/1.0\r\nX: \x01\xe9\x7f\r\n\r\n")
        k.wait_for(b"GET /docs/ HTTP/1.0[CR][LF]\nX:  x01  xE9  x7F [CR][LF]\n[CR][LF]\n", after=0)


class Proxy(ServerTest):
    def test_a_proxy_relays_a_request_and_its_answer_both_ways(self):
        origin, origin_port = self.serve()
        proxy, proxy_port = start_proxy(self, self.site, origin_port)
        self.assertEqual(http_get(proxy_port, b"GET /page.htm HTTP/1.0\r\n\r\n", timeout=20), header(len(PAGE)) + PAGE)
        for line in ("\nLocal Client <1> Login 127.0.0.1:%d," % origin_port,
                     "<1>GET /page.htm HTTP/1.0[CR][LF]\n[CR][LF]\n</1>", "<0>HTTP/1.0 200 Document follows[CR][LF]",
                     "Local Client <1> Logout"):
            proxy.wait_for(line, after=0)
        origin.wait_for("Sending file <0> %s/page.htm ...\n" % self.site, after=0)

    def test_a_proxy_whose_host_cannot_be_reached_closes_the_client_at_once(self):
        proxy, port = self.serve(server={"ServerProxy": 1, "ProxyHost": "nowhere.invalid"}, standard=0)
        self.assertEqual(http_get(port, b"GET / HTTP/1.0\r\n\r\n"), b"")
        proxy.wait_for("OpenClient, Unable to Resolve nowhere.invalid\n")


if __name__ == "__main__":
    unittest.main()
