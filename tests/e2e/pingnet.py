"""Private networks for the ping tests: network namespaces made by the test and removed after
it, joined by a veth pair, and raw ICMP sockets opened inside them (to capture what korvel
sends, to answer it, or to flood it). Nothing here touches the machine's own network.

Namespaces and raw sockets need root; NetTest skips its tests without them.
"""

import collections
import ctypes
import functools
import itertools
import os
import socket
import struct
import subprocess
import threading
import time
import unittest

from korvel import have, start, wait_until

CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)
_names = itertools.count()

HERE_ADDRESS = "10.201.0.1"
THERE_ADDRESS = "10.201.0.2"


def _ip(*args):
    result = subprocess.run(["ip"] + list(args), capture_output=True, timeout=20)
    if result.returncode != 0:
        raise RuntimeError("ip %s: %s" % (" ".join(args), result.stderr.decode(errors="replace").strip()))


@functools.lru_cache(None)
def skip_reason():
    """None when namespaces and raw sockets can be used, else why not."""
    if os.geteuid() != 0:
        return "needs root for raw ICMP sockets and network namespaces"
    if not have("ip"):
        return "needs the ip command (iproute2)"
    try:
        Namespace().close()
    except (OSError, RuntimeError) as e:
        return "cannot make a network namespace: %s" % e
    return None


class Namespace:
    """A network namespace with its loopback up."""

    def __init__(self):
        self.name = "korvel-ping-%d-%d" % (os.getpid(), next(_names))
        _ip("netns", "add", self.name)
        self.open = True
        self.command("ip", "link", "set", "lo", "up")

    def prefix(self):
        """The command that runs a program inside (it execs the program in its own place)."""
        return ["ip", "netns", "exec", self.name]

    def command(self, *args):
        _ip("netns", "exec", self.name, *args)

    def ignore_echoes(self):
        """The system of this namespace stops answering echo requests."""
        self.command("sh", "-c", "echo 1 > /proc/sys/net/ipv4/icmp_echo_ignore_all")

    def raw_socket(self, protocol=socket.IPPROTO_ICMP):
        """A raw socket that belongs to this namespace: ICMP by default (received datagrams
        carry the IP header), or IPPROTO_RAW to send whole IP packets. The calling thread enters
        the namespace just to make it."""
        own = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
        target = os.open("/run/netns/" + self.name, os.O_RDONLY)
        try:
            if _libc.setns(target, CLONE_NEWNET) != 0:
                raise OSError(ctypes.get_errno(), "setns into " + self.name)
            try:
                return socket.socket(socket.AF_INET, socket.SOCK_RAW, protocol)
            finally:
                if _libc.setns(own, CLONE_NEWNET) != 0:
                    raise OSError(ctypes.get_errno(), "setns back")
        finally:
            os.close(own)
            os.close(target)

    def close(self):
        if self.open:
            self.open = False
            subprocess.run(["ip", "netns", "del", self.name], capture_output=True, timeout=20)


# ---------------------------------------------------------------------------------------------
# ICMP packets.

def checksum(data):
    """The Internet checksum (RFC 1071)."""
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def with_checksum(packet):
    packet = bytearray(packet)
    packet[2:4] = b"\0\0"
    packet[2:4] = struct.pack("!H", checksum(bytes(packet)))
    return bytes(packet)


def echo(type_, tag, data):
    """An echo packet as korvel builds it: the tag low byte first, data padded to 4 bytes."""
    return with_checksum(struct.pack("<BBHI", type_, 0, 0, tag) + data + b"\0" * (-len(data) % 4))


def ip_packet(source, destination, icmp):
    """An IPv4 packet carrying icmp as it is, whatever its length; the system fills in the
    length and the header checksum."""
    return struct.pack("!BBHHHBBH4s4s", 0x45, 0, 0, 0, 0, 64, socket.IPPROTO_ICMP, 0, socket.inet_aton(source),
                       socket.inet_aton(destination)) + icmp


def tag_of(packet):
    return struct.unpack("<I", packet[4:8])[0]


Packet = collections.namedtuple("Packet", "when source destination icmp")


class Capture:
    """Records every ICMP datagram that reaches a namespace (and, on its loopback, leaves it),
    IP header removed, until closed."""

    def __init__(self, ns):
        self.sock = ns.raw_socket()
        self.sock.settimeout(0.1)
        self.packets = []
        self._lock = threading.Lock()
        self._running = True
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        while self._running:
            try:
                data, _ = self.sock.recvfrom(65535)
            except socket.timeout:
                continue
            except OSError:
                return
            packet = Packet(time.monotonic(), socket.inet_ntoa(data[12:16]), socket.inet_ntoa(data[16:20]),
                            data[(data[0] & 0x0F) * 4:])
            with self._lock:
                self.packets.append(packet)

    def matching(self, type_=None, source=None, destination=None):
        with self._lock:
            return [p for p in self.packets if (type_ is None or p.icmp[:1] == bytes([type_]))
                    and (source is None or p.source == source)
                    and (destination is None or p.destination == destination)]

    def wait_count(self, count, timeout=10.0, **criteria):
        """Waits until at least count packets match; returns them."""
        if not wait_until(lambda: len(self.matching(**criteria)) >= count, timeout):
            raise AssertionError("timed out waiting for %d packets %r; saw %d"
                                 % (count, criteria, len(self.matching(**criteria))))
        return self.matching(**criteria)

    def close(self):
        self._running = False
        self._thread.join(5)
        self.sock.close()


class NetTest(unittest.TestCase):
    """Skipped without root; every namespace, capture and korvel goes when the test ends."""

    def setUp(self):
        if skip_reason():
            self.skipTest(skip_reason())

    def hosts(self):
        """Two namespaces joined by a veth pair: (here, there) with HERE_ADDRESS and THERE_ADDRESS."""
        here, there = self.loopback(), self.loopback()
        _ip("link", "add", "korvel0", "netns", here.name, "type", "veth", "peer", "name", "korvel0", "netns",
            there.name)
        for ns, address in ((here, HERE_ADDRESS), (there, THERE_ADDRESS)):
            ns.command("ip", "addr", "add", address + "/24", "dev", "korvel0")
            ns.command("ip", "link", "set", "korvel0", "up")
        return here, there

    def loopback(self):
        ns = Namespace()
        self.addCleanup(ns.close)
        return ns

    def capture(self, ns):
        c = Capture(ns)
        self.addCleanup(c.close)
        return c

    def korvel(self, ns, words=(), script=None, page=False):
        return start(self, words, settings={"Ping": {"Page": "yes"}} if page else {}, script=script, prefix=ns.prefix())
