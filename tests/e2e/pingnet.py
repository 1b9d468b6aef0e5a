"""Private networks for the ping tests: network namespaces made by the test and removed after
it, joined by a veth pair, and raw ICMP sockets opened inside them (to capture what korvel
sends, to answer it, or to flood it). Nothing here touches the machine's own network.

Namespaces and raw sockets need root; skip_reason() says why a test cannot run.
"""

import ctypes
import itertools
import os
import socket
import struct
import subprocess
import threading
import time

from korvel import have

CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)
_names = itertools.count()
_reason = None
_probed = False

HERE_ADDRESS = "10.201.0.1"
THERE_ADDRESS = "10.201.0.2"


def _ip(*args):
    return subprocess.run(["ip"] + list(args), capture_output=True, timeout=20)


def skip_reason():
    """None when namespaces and raw sockets can be used, else why not."""
    global _reason, _probed
    if _probed:
        return _reason
    _probed = True
    if os.geteuid() != 0:
        _reason = "needs root for raw ICMP sockets and network namespaces"
    elif not have("ip"):
        _reason = "needs the ip command (iproute2)"
    else:
        try:
            probe = Namespace()
            probe.close()
        except (OSError, RuntimeError) as e:
            _reason = "cannot make a network namespace: %s" % e
    return _reason


class Namespace:
    """A network namespace with its loopback up."""

    def __init__(self):
        self.name = "korvel-ping-%d-%d" % (os.getpid(), next(_names))
        result = _ip("netns", "add", self.name)
        if result.returncode != 0:
            raise RuntimeError(result.stderr.decode(errors="replace").strip())
        self.open = True
        self.command("ip", "link", "set", "lo", "up")

    def prefix(self):
        """The command that runs a program inside (it execs the program in its own place)."""
        return ["ip", "netns", "exec", self.name]

    def command(self, *args):
        result = subprocess.run(self.prefix() + list(args), capture_output=True, timeout=20)
        if result.returncode != 0:
            raise RuntimeError("%s: %s" % (" ".join(args), result.stderr.decode(errors="replace").strip()))
        return result

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
            _ip("netns", "del", self.name)


def two_hosts():
    """Two namespaces joined by a veth pair: (here, there) with HERE_ADDRESS and THERE_ADDRESS."""
    here, there = Namespace(), Namespace()
    try:
        result = _ip("link", "add", "korvel0", "netns", here.name, "type", "veth", "peer", "name", "korvel0",
                     "netns", there.name)
        if result.returncode != 0:
            raise RuntimeError(result.stderr.decode(errors="replace").strip())
        for ns, address in ((here, HERE_ADDRESS), (there, THERE_ADDRESS)):
            ns.command("ip", "addr", "add", address + "/24", "dev", "korvel0")
            ns.command("ip", "link", "set", "korvel0", "up")
    except Exception:
        here.close()
        there.close()
        raise
    return here, there


# ---------------------------------------------------------------------------------------------
# ICMP packets.

def checksum(data):
    """The Internet checksum (RFC 1071)."""
    if len(data) % 2:
        data += b"\0"
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
    data = data + b"\0" * (-len(data) % 4)
    return with_checksum(struct.pack("<BBHI", type_, 0, 0, tag) + data)


def ip_packet(source, destination, icmp):
    """An IPv4 packet carrying icmp as it is, whatever its length; the system fills in the
    length and the header checksum."""
    return struct.pack("!BBHHHBBH4s4s", 0x45, 0, 0, 0, 0, 64, socket.IPPROTO_ICMP, 0, socket.inet_aton(source),
                       socket.inet_aton(destination)) + icmp


def tag_of(packet):
    return struct.unpack("<I", packet[4:8])[0]


class Packet:
    def __init__(self, when, source, destination, icmp):
        self.when, self.source, self.destination, self.icmp = when, source, destination, icmp

    @property
    def type(self):
        return self.icmp[0] if self.icmp else None


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
            header = (data[0] & 0x0F) * 4
            packet = Packet(time.monotonic(), socket.inet_ntoa(data[12:16]), socket.inet_ntoa(data[16:20]),
                            data[header:])
            with self._lock:
                self.packets.append(packet)

    def matching(self, type_=None, source=None, destination=None):
        with self._lock:
            return [p for p in self.packets if (type_ is None or p.type == type_)
                    and (source is None or p.source == source)
                    and (destination is None or p.destination == destination)]

    def wait_count(self, count, timeout=10.0, **criteria):
        """Waits until at least count packets match; returns them."""
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            found = self.matching(**criteria)
            if len(found) >= count:
                return found
            time.sleep(0.02)
        raise AssertionError("timed out waiting for %d packets %r; saw %d" % (count, criteria,
                                                                               len(self.matching(**criteria))))

    def close(self):
        self._running = False
        self._thread.join(5)
        self.sock.close()


def dumps(err, dialog="DIALOG_8"):
    """Every `dump` of a dialog on standard error, in order, each as dump_lines gives it."""
    blocks, current = [], None
    for line in err.decode("latin-1").splitlines():
        parts = line.split(" ", 5)
        if len(parts) >= 5 and parts[0] == dialog:
            if current is None:
                current = {}
            current[int(parts[1])] = (parts[3] == "1", parts[4] == "1", parts[5] if len(parts) > 5 else "")
        elif current is not None:
            blocks.append(current)
            current = None
    if current is not None:
        blocks.append(current)
    return blocks
