"""Hostile CGI calls: over-long command lines and keys, and a map holding garbage, neither
crash the server nor leak a slot. Also run against the sanitizer build."""

import unittest

from korvel import header, http_get, write_files
from test_cgi import CGIERR, STDER, CgiTest


class HostileCalls(CgiTest):
    def test_over_long_command_lines_end_the_call_and_free_the_slot(self):
        answer_sh = self.prog("answer.sh")
        k, port = self.serve("cgi-dosx y h %s\n" % answer_sh, server={"HowManyClients": 1, "LeavingTimeout": 0})
        head = len("%s %s/ch0_01 " % (answer_sh, self.site))

        # 505 bytes of request line arrive as an Extended Cmd; the command line passes 511.
        self.assertEqual(http_get(port, b"GET /cgi-dosx?" + b"a" * 480 + b" HTTP/1.0\r\n\r\n"), b"")
        k.wait_for("ProcessRead, CGI command line is greater than 512\n")
        self.assertEqual(http_get(port, b"GET /cgi-dosx?" + b"b" * 100 + b" HTTP/1.0\r\n\r\n"), b"")
        k.wait_for("Process read, size of cgi command line %d is greater than 128\n" % (head + 100))
        self.assertEqual(http_get(port, b"GET /cgi-dosx?" + b"%41" * 100 + b" HTTP/1.0\r\n\r\n"), b"")
        k.wait_for("Process read, size of cgi command line %d is greater than 128\n" % (head + 100))

        # The refused calls used up their pipe numbers; the one slot serves the next call.
        answer = http_get(port, b"GET /cgi-dosx?ok HTTP/1.0\r\n\r\n")
        self.assertEqual(answer, b"Answer of ch0_04\n[ok]\n")
        self.assertEqual(k.stop(), 0)

    def test_a_map_holding_garbage_and_long_keys(self):
        long_key = "cgi-dos" + "k" * 175
        lines = [b"\x00\x01garbage y h x\n", b"\xff\xfe\x80 y\n", (long_key + " n h nosuchprog-1\n").encode(),
                 b"*" + b"z" * 300 + b"\n", b"* n h catch-all\n"]
        self.assertEqual(len(lines[2]), 200, "the longest line a map may hold")
        k, port = self.serve("", server={"LeavingTimeout": 0})
        with open(k.dir + "/cgi-dos.map", "wb") as f:
            f.write(b"".join(lines))
        # The line over 200 characters ends the search before the catch-all.
        self.assertEqual(http_get(port, b"GET /cgi-dosq?x HTTP/1.0\r\n\r\n"), header(len(STDER)) + STDER)
        self.assertEqual(http_get(port, b"GET /" + long_key.encode() + b"?x HTTP/1.0\r\n\r\n"), CGIERR)
        k.wait_for("Executing <0> [nosuchprog-1 x] ...\nCGILauch, WinExec error [2]\n")
        key = b"cgi-dos" + b"q" * 400
        self.assertEqual(http_get(port, b"GET /" + key + b"?x HTTP/1.0\r\n\r\n"), header(len(STDER)) + STDER)
        self.assertEqual(k.stop(), 0)


class GatewayFiles(CgiTest):
    def test_the_gateways_working_files_are_answered_as_missing(self):
        k, port = self.serve("cgi-dosx y h %s\n" % self.prog("answer.sh"), server={"LeavingTimeout": 0})
        call = b"GET /cgi-dosx?a HTTP/1.0\r\nCookie: session=secret\r\n\r\n"
        self.assertEqual(http_get(port, call), b"Answer of ch0_01\n[a]\n")
        # Files of the same names that the gateway did not make this time are refused all the same;
        # a name that only looks alike is served.
        write_files(self.site, {"ch3.tok": b"x", "ext0.txt": b"x", "docs/ch1_02.url": b"x", "ch0_01.htm": b"page\n"})
        self.assertEqual(http_get(port, b"GET /ch0_01.htm HTTP/1.0\r\n\r\n"), header(5) + b"page\n")
        for target in ("/ch0_01.url", "/ch0_01", "/ch0_01.tok", "/ch3.tok", "/ext0.txt", "/docs/ch1_02.url",
                       "//ch0_01.url", "/./ch0_01.url", "/.../ch0_01.url"):
            with self.subTest(target=target):
                self.assertEqual(http_get(port, b"GET %s HTTP/1.0\r\n\r\n" % target.encode()), STDER)
                self.assertEqual(http_get(port, b"GET %s\r\n" % target.encode()), STDER)
        k.wait_for("\nHTTP/1.0 404 file requested %s/ch0_01.url was not found\n" % self.site, after=0)
        self.assertIn(b"session=secret", self.site_file("ch0_01.url"), "the file itself is still there")
        self.assertEqual(k.stop(), 0)


if __name__ == "__main__":
    unittest.main()
