"""Hostile requests to the CGI gateway: its working files are never served. Also run against the
sanitizer build. (Over-long command lines and keys, and a map holding garbage, are rows of the
connection tests, which the sanitizer build runs too.)"""

import unittest

from korvel import header, http_get, write_files
from test_cgi import STDER, CgiTest


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

