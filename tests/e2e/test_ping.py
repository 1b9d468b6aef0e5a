"""Ping end to end: the real binary in network namespaces of its own, driven through the PING
dialog with --script or from its command line, watched with raw sockets on both hosts."""

import os
import re
import time
import unittest

import pingnet
from korvel import dumps, have, start
from pingnet import HERE_ADDRESS, THERE_ADDRESS, echo, tag_of, with_checksum

ABCDE = b"abcde"


def dialog_script(host, data="", timeout=None, retries=None, button=1, then=()):
    """Shows the PING dialog, fills it in, presses a start button, then runs the given lines."""
    lines = ["menu 111", "dialog DIALOG_8", "set 121 " + host, "set 122 " + data]
    if timeout is not None:
        lines.append("set 123 %s" % timeout)
    if retries is not None:
        lines.append("set 127 %s" % retries)
    lines.append("click %d" % button)
    return "\n".join(lines + list(then)) + "\n"


def milliseconds(reply_line):
    found = re.search(r" is alive \((\d{4,}) ms\)", reply_line)
    if not found:
        raise AssertionError("no round trip in %r" % reply_line)
    return int(found.group(1))


class PingTest(pingnet.NetTest):
    def finish(self, k):
        """Waits for the script to quit korvel and returns its dumps of the PING dialog."""
        self.assertEqual(k.wait_exit(20), 0, k.err.decode("latin-1"))
        return dumps(k.err, "DIALOG_8")

    def assert_look(self, controls, busy):
        self.assertEqual(controls[141][0], busy, "STOP")
        for control in (1, 143, 142, 121, 122, 123, 127):
            self.assertEqual(controls[control][0], not busy, control)


class OnTheWire(PingTest):
    def test_echoes_leave_with_the_exact_layout_and_replies_are_shown(self):
        ns = self.loopback()
        cap = self.capture(ns)
        k = self.korvel(ns, script=dialog_script("127.0.0.1", "abcde", then=[
            "wait 0.5", "click 1", "wait 0.5", "dump", "quit"]))
        (after,) = self.finish(k)
        requests = cap.wait_count(2, type_=8, destination="127.0.0.1")
        first = requests[0].icmp
        self.assertEqual(first[:2], b"\x08\x00")
        self.assertEqual(first[4:], b"\x00\x00\xC0\xC0abcde\0\0\0", "sequence 0 first")
        self.assertEqual(pingnet.checksum(first), 0)
        self.assertEqual(requests[1].icmp, bytes.fromhex("08000C780100C0C0616263646500 0000".replace(" ", "")),
                         "sequence 1: the worked packet")
        self.assertEqual(len(requests), 2)
        self.assertRegex(after[124][2], r", Pinging 127\.0\.0\.1, ICMP_length=16$")
        self.assertRegex(after[125][2], r"^127\.0\.0\.1 is alive \(\d{4,} ms\) Checksum= OK, Length=16, Seq=00001$")
        self.assertRegex(after[126][2], r"^Sent: 1, Received: 1, Lost: 00%, Time_Average \d{4,} ms$")
        self.assert_look(after, busy=False)


class Replies(PingTest):
    def test_only_the_reply_with_the_echos_tag_counts_and_its_time_is_measured(self):
        here, there = self.hosts()
        there.ignore_echoes()
        host = there.raw_socket()
        self.addCleanup(host.close)
        host.settimeout(10)
        cap = self.capture(there)
        k = self.korvel(here, script=dialog_script(THERE_ADDRESS, "abcde", then=["wait 2.5", "dump", "quit"]))
        data, _ = host.recvfrom(2048)
        request = data[(data[0] & 0x0F) * 4:]
        wrong = bytearray(request)
        wrong[4] ^= 0x40
        host.sendto(with_checksum(b"\0" + bytes(wrong[1:])), (HERE_ADDRESS, 0))
        time.sleep(0.3)
        reply = with_checksum(b"\0" + request[1:])
        host.sendto(reply, (HERE_ADDRESS, 0))
        host.sendto(reply, (HERE_ADDRESS, 0))  # a second answer to the same echo
        (after,) = self.finish(k)
        self.assertGreaterEqual(milliseconds(after[125][2]), 300, "timed by the right reply, not the wrong one")
        self.assertRegex(after[125][2], r"Checksum= OK, Length=16, Seq=00000$")
        self.assertRegex(after[126][2], r"^Sent: 1, Received: 1, Lost: 00%, Time_Average \d{4,} ms$")
        # A single ping ended at its reply: one echo only, and the dialog is idle again.
        self.assertEqual(len(cap.matching(type_=8, source=HERE_ADDRESS)), 1)
        self.assert_look(after, busy=False)

    def test_without_answers_a_single_ping_resends_until_its_retries_are_used(self):
        here, there = self.hosts()
        there.ignore_echoes()
        cap = self.capture(there)
        k = self.korvel(here, script=dialog_script(THERE_ADDRESS, "abcde", timeout=1, retries=3, then=[
            "wait 1.5", "dump", "wait 3.5", "dump", "quit"]))
        during, after = self.finish(k)
        self.assert_look(during, busy=True)
        requests = cap.matching(type_=8, source=HERE_ADDRESS)
        self.assertEqual([tag_of(p.icmp) for p in requests], [0xC0C00000, 0xC0C00001, 0xC0C00001],
                         "the resends carry the next sequence number")
        for p in requests:
            self.assertEqual(p.icmp[8:], b"abcde\0\0\0")
        self.assertEqual(after[125][2], "")
        self.assertEqual(after[126][2], "Timeout, Sent=4")
        self.assertEqual((after[123][2], after[127][2]), ("1", "3"), "the settings shown again")
        self.assert_look(after, busy=False)

    def test_an_automatic_run_goes_on_until_stop(self):
        here, there = self.hosts()
        cap = self.capture(there)
        k = self.korvel(here, script=dialog_script(THERE_ADDRESS, "", button=143, then=[
            "wait 3.5", "dump", "click 141", "dump", "wait 2.5", "dump", "quit"]))
        k.wait_err("DIALOG_8 141 button 0", timeout=15)  # the dump after STOP: idle
        time.sleep(0.3)
        at_stop = len(cap.matching(type_=8, source=HERE_ADDRESS))
        running, stopped, later = self.finish(k)
        self.assert_look(running, busy=True)
        self.assertRegex(running[126][2], r"^Sent: (\d+), Received: \1, Lost: 00%")
        self.assert_look(stopped, busy=False)
        tags = [tag_of(p.icmp) for p in cap.matching(type_=8, source=HERE_ADDRESS)]
        self.assertGreaterEqual(len(tags), 3)
        self.assertEqual(tags[:3], [0xC0C00000, 0xC0C00002, 0xC0C00003],
                         "each reply moves the sequence on once more")
        self.assertEqual(len(tags), at_stop, "nothing is sent after STOP")
        self.assertEqual(later, stopped)


class CommandLine(PingTest):
    def test_dash_ping_runs_automatically_with_the_dialog_hidden(self):
        here, there = self.hosts()
        cap = self.capture(there)
        k = self.korvel(here, ["-ping", THERE_ADDRESS], script="wait 2.5\ndump\nmenu 111\nwait 1.5\ndump\nquit\n")
        hidden, shown = self.finish(k)
        self.assert_look(hidden, busy=True)
        self.assertEqual(hidden[121][2], THERE_ADDRESS)
        # The first echo went out while the command line showed the run; later ones are not shown
        # until the dialog is.
        self.assertRegex(hidden[124][2], r", Pinging 10\.201\.0\.2, ICMP_length=08$")
        self.assertEqual(hidden[125][2], "")
        self.assertRegex(shown[124][2], r", Pinging 10\.201\.0\.2, ICMP_length=08$")
        self.assertNotEqual(shown[124][2], hidden[124][2], "a later time stamp")
        self.assertRegex(shown[125][2], r"^10\.201\.0\.2 is alive \(\d{4,} ms\) Checksum= OK, Length=08, Seq=000\d\d$")
        tags = [tag_of(p.icmp) for p in cap.matching(type_=8, source=HERE_ADDRESS)]
        self.assertEqual(tags[:3], [0xC0C00000, 0xC0C00002, 0xC0C00003])
        self.assertNotIn(b"ICMP Box, Unable", k.out)
        self.assertNotIn(b"PING, Unable", k.out)

    def test_headless_dash_ping_writes_the_windows_lines_on_standard_error_as_they_change(self):
        here, there = self.hosts()
        silent_here, silent_there = self.hosts()
        silent_there.ignore_echoes()
        answered = self.korvel(here, ["-ping", THERE_ADDRESS])
        unanswered = self.korvel(silent_here, ["-ping", THERE_ADDRESS])
        answered.wait_err("Sent: 3, Received: 3, Lost: 00%")
        unanswered.wait_err("Timeout, Sent=2\n", timeout=15)
        send = r"^ \w{3}  \d+/\d\d/\d\d - +\d+:\d\d:\d\d [AP]M  , Pinging 10\.201\.0\.2, ICMP_length=08$"
        for k in (answered, unanswered):
            self.assertEqual(k.stop(), 0)
            # Standard output is the console's alone, as without the lines.
            self.assertEqual(k.out, b"TAGinit, Unable to open tag.map\n\nServer is closed\n")
        lines = answered.err.decode("latin-1").splitlines()
        for n, seq in enumerate(("00000", "00002", "00003")):
            self.assertRegex(lines[3 * n], send)
            self.assertRegex(lines[3 * n + 1], r"^10\.201\.0\.2 is alive \(\d{4,} ms\) Checksum= OK, Length=08, Seq=%s$" % seq)
            self.assertRegex(lines[3 * n + 2], r"^Sent: %d, Received: %d, Lost: 00%%, Time_Average \d{4,} ms$" % (n + 1, n + 1))
        # Without replies: the send line, the timeout count (which counts the echo about to go; the
        # emptied reply line prints nothing), the next send line.
        lines = unanswered.err.decode("latin-1").splitlines()
        self.assertRegex(lines[0], send)
        self.assertEqual(lines[1], "Timeout, Sent=2")
        self.assertRegex(lines[2], send)

    @unittest.skipUnless(os.geteuid() == 0 and have("setpriv"), "needs root and setpriv to drop the privilege")
    def test_without_the_privilege_the_box_and_the_console_say_so_and_the_run_ends_with_1(self):
        k = start(self, ["-ping", "127.0.0.1"], prefix=["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"])
        self.assertEqual(k.wait_exit(10), 1)
        self.assertTrue(k.out.endswith(b"ICMP Box, Unable to open an ICMP socket...\n\nServer is closed\n"), k.out)
        self.assertEqual(k.err, b"Korvel: OpenICMP, Socket error 10013 !!!\n")


class Targets(PingTest):
    def test_names_and_dotted_addresses(self):
        ns = self.loopback()
        cap = self.capture(ns)
        k = self.korvel(ns, script="\n".join([
            "menu 111", "dialog DIALOG_8",
            "set 121 $x", "click 1", "waitfor PING, Unable to Resolve $x\\n",
            "set 121 127.0.1", "click 1", "waitfor PING, Unable to Resolve 127.0.1\\n",
            "set 121 0.0.0.0", "click 1", "wait 0.2",
            "set 121 127..0.0.1", "click 1", "wait 0.5",
            "set 121 127.0.0.1.7", "click 1", "wait 0.5",
            "dump", "quit"]) + "\n")
        (after,) = self.finish(k)
        self.assertIn(b"korvel: ConnectICMP, Nul address Error\n", k.err)
        self.assertEqual(len(cap.matching(type_=8, source="127.0.0.1", destination="127.0.0.1")), 2)
        self.assertRegex(after[125][2], r"^127\.0\.0\.1 is alive")
        self.assert_look(after, busy=False)

    def test_in_page_mode_a_dollar_host_is_sent_echo_replies(self):
        ns = self.loopback()
        cap = self.capture(ns)
        k = self.korvel(ns, page=True, script="\n".join([
            "menu 111", "dialog DIALOG_8",
            "set 121 $x", "click 1", "waitfor PING, Unable to Resolve x\\n",
            "set 121 $127.0.0.1", "set 122 hi", "click 1", "wait 0.5", "quit"]) + "\n")
        self.finish(k)
        (message,) = cap.wait_count(1, type_=0, destination="127.0.0.1")
        self.assertEqual(message.icmp, echo(0, (2 << 4) | 0xC, b"hi"))


class PageMode(PingTest):
    def test_a_listener_prints_and_acknowledges_what_a_sender_sends(self):
        here, there = self.hosts()
        at_sender = self.capture(here)
        listener = self.korvel(there, ["-ping", "0.0.0.0"], page=True)
        time.sleep(0.3)  # the listener binds its socket before the message comes
        sender = self.korvel(here, page=True, script=dialog_script("$" + THERE_ADDRESS, "hello there", then=[
            "wait 1.5", "dump", "set 121 " + THERE_ADDRESS, "set 122 by request", "click 1", "wait 1.5", "dump",
            "quit"]))
        listener.wait_for(", from  %s\nhello there\n" % HERE_ADDRESS)
        listener.wait_for(", from  %s\nby request\n" % HERE_ADDRESS)
        acknowledged, answered = self.finish(sender)

        self.assertEqual(acknowledged[126][2], "hello there")
        self.assertRegex(acknowledged[125][2], r"^10\.201\.0\.2 is alive \(\d{4,} ms\)check= OK length=20, seq=000000bd$")
        self.assert_look(acknowledged, busy=False)
        ack = [p for p in at_sender.matching(type_=0, source=THERE_ADDRESS) if tag_of(p.icmp) == 0x000000BD]
        self.assertEqual([p.icmp for p in ack], [echo(0, 0x000000BD, b"hello there")])

        # Sent as an echo request, a message is answered by the listener's system instead.
        self.assertEqual(answered[126][2], "by request")
        self.assertRegex(answered[125][2], r"check= OK length=20, seq=001000ac$")
        self.assertEqual(listener.stop(), 0)

