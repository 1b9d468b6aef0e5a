"""The CGI gateway end to end: the real binary running site programs through pipe files.

The programs are small POSIX shell scripts in a directory of their own. They get the query as
plain arguments and treat them as data; the server starts them without a shell.
"""

import os
import shutil
import socket
import stat
import threading
import time
import unittest

from korvel import (SOURCE, free_port, header, http_get, read_file, recv_exactly, start, temp_dir, wait_until,
                    write_files)

STDER = b"<h1>not here</h1>\n"
STDACK = b"<h1>thanks</h1>\n"
CGIERR = b"<h1>the program could not be started</h1>\n"

PROGRAMS = {
    # Answers through the pipe files: its page into the output file, then that path into the
    # ".tok" file.
    "answer.sh": """#!/bin/sh
out=$1
shift
{
  printf 'Answer of %s\\n' "${out##*/}"
  for word in "$@"; do printf '[%s]\\n' "$word"; done
} > "$out"
printf '%s' "$out" > "$out.tok"
""",
    # The same, after as many seconds as its second argument (a word of the map line) says.
    "later.sh": """#!/bin/sh
out=$1
delay=$2
shift 2
sleep "$delay"
exec "${0%/*}/answer.sh" "$out" "$@"
""",
    # Keeps the ".tok" file open for writing for three seconds before it names the answer.
    "slow.sh": """#!/bin/sh
out=$1
printf 'written slowly\\n' > "$out"
exec 3> "$out.tok"
sleep 3
printf '%s' "$out" >&3
""",
    "null.sh": """#!/bin/sh
printf 'NULL\\n' > "$1.tok"
""",
    # Not waited for: appends its arguments, one a line, and a "--" line to the list file
    # named by its first argument.
    "guest.sh": """#!/bin/sh
list=$1
shift
printf '%s\\n' "$@" -- >> "$list"
""",
}


class CgiTest(unittest.TestCase):
    def setUp(self):
        # Short paths: a command line may hold 126 characters.
        self.site, self.progs = temp_dir(self, "ks-"), temp_dir(self, "kp-")
        write_files(self.site, {"stder.htm": STDER, "stdack.htm": STDACK, "cgierr.htm": CGIERR, "home.htm": b"home\n"})
        write_files(self.progs, PROGRAMS)
        for name in PROGRAMS:
            os.chmod(self.prog(name), stat.S_IRWXU)
        self.guests = self.prog("guests")

    def prog(self, name):
        return os.path.join(self.progs, name)

    def serve(self, cgi_map, server=None, cgi=None):
        port = free_port()
        k = start(self, ["-server"], settings={"Server": dict({"ServerPort": port, "HomeDir": self.site}, **(server or {})),
                                              "Standard": {"Server": 1}, "CGI": cgi or {}})
        write_files(k.dir, {"cgi-dos.map": cgi_map})
        k.wait_for("Server is ready on port %d\n" % port)
        return k, port

    def site_file(self, name):
        return read_file(os.path.join(self.site, name))


class WaitedCalls(CgiTest):
    def test_a_mail_call_on_channel_2_after_six_waited_calls(self):
        # The program is named the DOS way: the drive is dropped and '\' is a separator.
        mail = self.prog("mail.bat")
        shutil.copy(self.prog("answer.sh"), mail)
        dos_mail = "c:" + mail.replace("/", "\\")
        k, port = self.serve("cgi-dosmail y h %s -q\n" % dos_mail, server={"LeavingTimeout": 0})
        idle = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(2)]
        for s in idle:
            self.addCleanup(s.close)
        for ch in range(2):
            k.wait_for("Remote Client <%d> Login 127.0.0.1:" % ch, after=0)

        for n in range(1, 7):
            answer = http_get(port, b"GET /cgi-dosmail?n=%d HTTP/1.0\r\n\r\n" % n)
            self.assertEqual(answer, b"Answer of ch2_%02d\n[-q]\n[n]\n[%d]\n" % (n, n))
            k.wait_for("Executing <2> [%s %s/ch2_%02d -q n %d] ...\n" % (dos_mail, self.site, n, n))

        request = b"GET /cgi-dosmail?to=bob&text=hi+there HTTP/1.0\r\nUser-Agent: e2e\r\nAccept: */*\r\n\r\n"
        answer = http_get(port, request)
        expected = b"Answer of ch2_07\n[-q]\n[to]\n[bob]\n[text]\n[hi]\n[there]\n"
        self.assertEqual(answer, expected, "the program's file, without a status header")
        k.wait_for("\nCGI-Call = cgi-dosmail to bob text hi there\n")
        k.wait_for("Executing <2> [%s %s/ch2_07 -q to bob text hi there] ...\n" % (dos_mail, self.site))
        k.wait_for("\nSending file <2> %s/ch2_07 ...\n" % self.site)
        self.assertEqual(self.site_file("ch2_07"), expected)
        self.assertEqual(self.site_file("ch2_07.tok"), (self.site + "/ch2_07").encode())
        self.assertEqual(self.site_file("ch2_07.url"), request)
        self.assertEqual(sorted(n for n in os.listdir(self.site) if n.startswith("ch2_07")),
                         ["ch2_07", "ch2_07.tok", "ch2_07.url"])
        for s in idle:
            s.close()

    def test_a_tok_file_still_being_written_is_waited_for(self):
        k, port = self.serve("cgi-dosslow y h %s\n" % self.prog("slow.sh"))
        answer = http_get(port, b"GET /cgi-dosslow?x HTTP/1.0\r\n\r\n", timeout=20)
        self.assertEqual(answer, b"written slowly\n")
        denied = "SendBlockOfData, pipefile %s/ch0_01.tok Permission Denied\n" % self.site
        out = k.wait_for("\nSending file <0> %s/ch0_01 ...\n" % self.site).decode("latin-1")
        self.assertGreaterEqual(out.count(denied), 1, out)
        self.assertLess(out.rindex(denied), out.index("Sending file <0>"))

    def test_a_null_answer_sends_nothing(self):
        k, port = self.serve("cgi-dosnull y h %s\n" % self.prog("null.sh"))
        self.assertEqual(http_get(port, b"GET /cgi-dosnull?x HTTP/1.0\r\n\r\n"), b"")
        k.wait_for("cgi-dos, no file to send\n")

    def test_a_null_answer_keeps_the_connection_without_send_and_close(self):
        k, port = self.serve("cgi-dosnull y h %s\n" % self.prog("null.sh"), server={"Mode": "1ca"})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            s.sendall(b"GET /cgi-dosnull?x HTTP/1.0\r\n\r\n")
            k.wait_for("cgi-dos, no file to send\n")
            s.settimeout(1.0)
            with self.assertRaises(socket.timeout, msg="nothing is sent, the connection stays"):
                s.recv(100)
            s.settimeout(10)
            s.sendall(b"GET /home.htm HTTP/1.0\r\n\r\n")
            self.assertEqual(recv_exactly(s, len(header(5)) + 5), header(5) + b"home\n")


class ImmediateAnswers(CgiTest):
    def test_a_call_not_waited_for_is_acknowledged_without_a_status_header(self):
        k, port = self.serve("cgi-dosguest n h %s %s\n" % (self.prog("guest.sh"), self.guests))
        answer = http_get(port, b"GET /cgi-dosguest?name=Jo+Ann&text=Hi%21 HTTP/1.0\r\n\r\n")
        self.assertEqual(answer, STDACK)
        k.wait_for("Executing <0> [%s %s name Jo Ann text Hi!] ...\n" % (self.prog("guest.sh"), self.guests))
        self.assertTrue(wait_until(lambda: os.path.exists(self.guests) and read_file(self.guests).endswith(b"--\n")))
        self.assertEqual(read_file(self.guests), b"name\nJo\nAnn\ntext\nHi!\n--\n")
        self.assertEqual(os.listdir(self.site).count("ch0_01"), 0, "no pipe files")

    def test_shell_characters_in_a_query_reach_the_program_as_plain_arguments(self):
        cgi_map = ("cgi-dosguest n h %s %s\ncgi-dosecho y h %s\n"
                   % (self.prog("guest.sh"), self.guests, self.prog("answer.sh")))
        k, port = self.serve(cgi_map, server={"LeavingTimeout": 0})
        # (The command line must stay within 126 characters.)
        query = b"a;touch%20pw1|touch%20pw2&b=$(touch%20pw3)&c=`touch%20pw4`>pw5&d=%3B%7C%24HOME"
        words = [b"a;touch", b"pw1|touch", b"pw2", b"b", b"$(touch", b"pw3)", b"c", b"`touch", b"pw4`>pw5", b"d",
                 b";|$HOME"]
        self.assertEqual(http_get(port, b"GET /cgi-dosguest?" + query + b" HTTP/1.0\r\n\r\n"), STDACK)
        self.assertTrue(wait_until(lambda: os.path.exists(self.guests) and read_file(self.guests).endswith(b"--\n")))
        self.assertEqual(read_file(self.guests), b"\n".join(words) + b"\n--\n")

        answer = http_get(port, b"GET /cgi-dosecho?" + query + b" HTTP/1.0\r\n\r\n")
        self.assertEqual(answer, b"Answer of ch0_01\n" + b"".join(b"[" + w + b"]\n" for w in words))
        time.sleep(0.5)
        for directory in (k.dir, self.site, self.progs, os.path.expanduser("~")):
            self.assertEqual([n for n in os.listdir(directory) if n.startswith("pw")], [], directory)


class ProgramLimit(CgiTest):
    MAP = "cgi-dosslow y h {0}/later.sh {1}\ncgi-dosquick y h {0}/answer.sh\n"

    def test_with_cgimax_1_a_second_call_is_delayed_until_the_first_answers(self):
        k, port = self.serve(self.MAP.format(self.progs, 3), cgi={"CGIMax": 1})
        results = {}

        def fetch(name, request):
            results[name] = http_get(port, request, timeout=20)

        first = threading.Thread(target=fetch, args=("first", b"GET /cgi-dosslow?a HTTP/1.0\r\n\r\n"))
        first.start()
        k.wait_for("Executing <0> [%s/later.sh %s/ch0_01 3 a] ...\n" % (self.progs, self.site))
        second = threading.Thread(target=fetch, args=("second", b"GET /cgi-dosquick?b HTTP/1.0\r\n\r\n"))
        second.start()
        out = k.wait_for("Executing <1> [%s/answer.sh %s/ch1_02 b] ...\n" % (self.progs, self.site),
                         timeout=15).decode("latin-1")
        first.join(20)
        second.join(20)
        self.assertEqual(results.get("first"), b"Answer of ch0_01\n[a]\n")
        self.assertEqual(results.get("second"), b"Answer of ch1_02\n[b]\n")
        delaying = "Delaying <1> [%s/answer.sh %s/ch1_02 b] ...\n" % (self.progs, self.site)
        self.assertGreaterEqual(out.count(delaying), 2, "printed again at every tick")
        self.assertLess(out.rindex(delaying), out.index("\nSending file <0> %s/ch0_01 ...\n" % self.site))
        self.assertLess(out.index("\nSending file <0>"), out.index("Executing <1>"))

    def test_with_cgimax_0_a_call_stays_delayed_until_its_channel_times_out(self):
        k, port = self.serve(self.MAP.format(self.progs, 0), server={"SendingTimeout": 2}, cgi={"CGIMax": 0})
        self.assertEqual(http_get(port, b"GET /cgi-dosquick?b HTTP/1.0\r\n\r\n", timeout=15), b"")
        out = k.wait_for("Remote Client <0> Logout").decode("latin-1")
        self.assertGreaterEqual(out.count("Delaying <0> [%s/answer.sh %s/ch0_01 b] ...\n" % (self.progs, self.site)), 2)
        self.assertNotIn("Executing", out)
        self.assertEqual(self.site_file("ch0_01.tok"), b"")

    def leave_during_a_slow_call(self, synchro, delay):
        """A client asks for the slow program and leaves while it runs."""
        k, port = self.serve(self.MAP.format(self.progs, delay), server={"SendingTimeout": 20, "LeavingTimeout": 1},
                             cgi={"CGIMax": 1, "CGISynchro": synchro})
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            s.sendall(b"GET /cgi-dosslow?a HTTP/1.0\r\n\r\n")
            k.wait_for("Executing <0> [%s/later.sh %s/ch0_01 %d a] ...\n" % (self.progs, self.site, delay))
        return k, port

    def test_with_cgisynchro_a_client_that_left_counts_until_its_program_answers(self):
        k, port = self.leave_during_a_slow_call(1, 3)
        k.wait_for("CGICheck <0>, State=Leaving, Waiting cgi response\n")
        answer = http_get(port, b"GET /cgi-dosquick?b HTTP/1.0\r\n\r\n", timeout=20)
        self.assertEqual(answer, b"Answer of ch1_02\n[b]\n", "the leaving channel 0 still holds its slot")
        out = k.wait_for("Remote Client <0> Logout", timeout=15).decode("latin-1")
        delaying = out.index("Delaying <1> [%s/answer.sh %s/ch1_02 b] ...\n" % (self.progs, self.site))
        self.assertLess(delaying, out.index("Executing <1>"))
        self.assertLess(out.index("Executing <1>"), out.index("Remote Client <0> Logout"))
        self.assertNotIn("Sending file <0>", out, "the answer of a client that left is not sent")
        self.assertEqual(self.site_file("ch0_01.tok"), (self.site + "/ch0_01").encode())


class ExampleSite(unittest.TestCase):
    """The example site of `make run`, in a copy of examples/, answers as the README shows."""

    def test_both_programs_and_the_gateway_page(self):
        examples = os.path.join(temp_dir(self, "kx-"), "examples")
        shutil.copytree(os.path.join(SOURCE, "examples"), examples)
        port = free_port()
        k = start(self, ["-server", "-sport", str(port)], workdir=examples)
        k.wait_for("Server is ready on port %d\n" % port)

        # The waited program answers with its own page.
        answer = http_get(port, b"GET /cgi-doshello?name=Jo+%3Cb%3E&words=one+$(id) HTTP/1.0\r\n\r\n")
        k.wait_for("Executing <0> [cgi/hello.sh site/ch0_01 name Jo <b> words one $(id)] ...\n")
        self.assertTrue(answer.startswith(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n<html>"), answer)
        self.assertIn(b"<p>The program received 6 words:</p>\n<ol>\n<li><tt>name</tt></li>\n<li><tt>Jo</tt></li>\n"
                      b"<li><tt>&lt;b&gt;</tt></li>\n<li><tt>words</tt></li>\n<li><tt>one</tt></li>\n"
                      b"<li><tt>$(id)</tt></li>\n</ol>\n", answer)
        self.assertIn(b"<pre>GET /cgi-doshello?name=Jo+%3Cb%3E&amp;words=one+$(id) HTTP/1.0\n\n</pre>", answer)
        self.assertTrue(answer.endswith(b"</body></html>\n"))

        # The guest list is signed without waiting.
        stdack = read_file(os.path.join(examples, "site", "stdack.htm"))
        self.assertEqual(http_get(port, b"GET /cgi-dosguest?name=Jo+Ann;`id` HTTP/1.0\r\n\r\n"), stdack)
        k.wait_for("> [cgi/guest.sh site/guests.txt name Jo Ann;`id`] ...\n")
        guests = os.path.join(examples, "site", "guests.txt")
        self.assertTrue(wait_until(lambda: os.path.exists(guests) and read_file(guests).endswith(b"\n")))
        self.assertRegex(read_file(guests), rb"^\d{4}-\d\d-\d\d \d\d:\d\d  name Jo Ann;`id`\n$")
        answer = http_get(port, b"GET /guests.txt HTTP/1.0\r\n\r\n")
        self.assertTrue(answer.startswith(b"HTTP/1.0 200 Document follows\r\n"))
        self.assertTrue(answer.endswith(b"  name Jo Ann;`id`\n"))

        # The gateway page links to both programs.
        answer = http_get(port, b"GET /cgi.htm HTTP/1.0\r\n\r\n")
        for target in (b'action="cgi-doshello"', b'action="cgi-dosguest"', b'href="cgi-doshello?'):
            self.assertIn(target, answer)
        self.assertIn(b'href="cgi.htm"', http_get(port, b"GET / HTTP/1.0\r\n\r\n"))
        stder = read_file(os.path.join(examples, "site", "stder.htm"))
        self.assertEqual(http_get(port, b"GET /cgi-dosnothing?x=1 HTTP/1.0\r\n\r\n"), header(len(stder)) + stder)

