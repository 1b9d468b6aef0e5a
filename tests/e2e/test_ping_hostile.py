"""Whatever arrives on the ICMP socket (short datagrams, other types, stray and forged replies,
oversized packets, floods) never crashes the ping engine of an automatic run nor stalls the
loop. Also run against the sanitizer build. (A listener meets each kind of datagram in the
unit tests.)"""

import random
import socket
import time
import unittest

import pingnet
from pingnet import HERE_ADDRESS, THERE_ADDRESS, echo

FLOOD = 10000
OVERSIZED = 4


def garbage(rng, i):
    """One hostile ICMP message; every kind comes up often."""
    kind = i % 8
    if kind == 0:
        # Shorter than a header: the system drops these before any raw socket sees them (the
        # unit tests hand such datagrams to the engine directly).
        return bytes(rng.randrange(256) for _ in range(rng.randrange(1, 8)))
    if kind == 1:
        return pingnet.with_checksum(bytes([rng.choice((3, 4, 5, 11, 12, 13, 17)), rng.randrange(16), 0, 0])
                                     + rng.randbytes(rng.randrange(4, 60)))
    if kind == 2:
        return echo(0, rng.getrandbits(32), rng.randbytes(rng.randrange(0, 80)))  # stray replies
    if kind == 3:
        return echo(0, 0xC0C00000 | rng.randrange(16), b"abcde")  # replies that look like ours
    if kind == OVERSIZED:
        return rng.randbytes(rng.randrange(251, 1400))  # more than one read takes
    if kind == 5:
        return echo(0, (rng.randrange(4096) << 20) | (0xFFF << 4) | 0xC, b"")  # lengths that lie
    if kind == 6:
        return echo(8, rng.getrandbits(32), rng.randbytes(rng.randrange(0, 40)))
    return b"\0" * 8


class Hostile(pingnet.NetTest):
    def setUp(self):
        super().setUp()
        self.here, self.there = self.hosts()
        self.flooder = self.there.raw_socket(socket.IPPROTO_RAW)
        self.addCleanup(self.flooder.close)

    def send(self, icmp):
        """Sends an ICMP message of any length inside an IP packet of the test's making."""
        try:
            self.flooder.sendto(pingnet.ip_packet(THERE_ADDRESS, HERE_ADDRESS, icmp), (HERE_ADDRESS, 0))
        except OSError:
            pass  # a full send buffer drops the datagram, as the wire would

    def flood(self, count, seed, skip=()):
        rng = random.Random(seed)
        for i in range(count):
            if i % 8 not in skip:
                self.send(garbage(rng, i))

    def assert_clean_exit(self, k, code):
        self.assertEqual(code, 0, k.err.decode("latin-1")[-2000:])
        for sign in (b"AddressSanitizer", b"runtime error", b"LeakSanitizer"):
            self.assertNotIn(sign, k.err)

    def test_an_automatic_run_survives_a_flood_and_keeps_pinging(self):
        cap = self.capture(self.there)
        k = self.korvel(self.here, script="\n".join([
            "menu 111", "dialog DIALOG_8", "set 121 " + THERE_ADDRESS, "set 122 abcde", "set 123 1",
            "click 143", "wait 60"]) + "\n")
        cap.wait_count(1, type_=8, source=HERE_ADDRESS)
        self.flood(FLOOD, seed=6, skip=(OVERSIZED,))
        self.assert_pinging_goes_on(cap)
        # A datagram longer than one read is a read error: the socket is closed, and the next
        # tick of the automatic run opens it again.
        self.flood(8 * 3, seed=6, skip=tuple(kind for kind in range(8) if kind != OVERSIZED))
        k.wait_for("\nICMPRead, socket error [WSA_10040]\n", after=0)
        self.assert_pinging_goes_on(cap)
        self.assert_clean_exit(k, k.stop())

    def assert_pinging_goes_on(self, cap):
        since = time.monotonic()
        deadline = since + 15
        while time.monotonic() < deadline:
            if len([p for p in cap.matching(type_=8, source=HERE_ADDRESS) if p.when > since]) >= 2:
                break
            time.sleep(0.05)
        after = [p for p in cap.matching(type_=8, source=HERE_ADDRESS) if p.when > since]
        self.assertGreaterEqual(len(after), 2, "echoes go on")
        for p in after:
            self.assertEqual(p.icmp[6:], b"\xC0\xC0abcde\0\0\0")

