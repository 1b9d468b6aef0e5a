#!/usr/bin/env python3
"""Soaks korvel's HTTP server on loopback and watches it for leaks. Not a test: it prints what
it measured and asserts nothing, but it says plainly when something looks wrong.

    python3 bench/soak.py [--binary build/korvel] [--requests 1000000] [--clients 24]

For a 1 KiB and a 100 KiB file, once with every connection closed after its answer (the HTTP
model's SendAndClose) and once with kept connections (the same model without it), wrk sends
--requests requests from --clients connections. Meanwhile and afterwards the server's open
descriptors and resident memory are sampled. Then hostile load: 25 slow clients holding every
slot (how long a new client waits), garbage, resets in the middle of requests and answers, and
100 KB request lines; after it the server must still answer correctly. Needs wrk (Debian's
package of that name; installed when run as root).
"""
import argparse
import os
import socket
import sys
import threading
import time

import benchlib

SLOTS = 25
ONE_KIB = b"k" * 1024
HUNDRED_KIB = bytes(range(256)) * 400
EXPECTED_1K = (b"HTTP/1.0 200 Document follows\r\nServer: Korvel/4.0\r\nContent-Length: 1024\r\n\r\n" + ONE_KIB)

SOAK_SETTINGS = "Mode=%s\nHowManyClients=25\nLeavingTimeout=0\nWaitingTimeout=5\nconnectionTimeout=60"
SOAK_FILES = {"1k.bin": ONE_KIB, "100k.bin": HUNDRED_KIB, "stder.htm": b"missing\n"}


def Server(binary, mode):
    return benchlib.KorvelServer(binary, SOAK_FILES, SOAK_SETTINGS % mode)


def get(port, path, timeout=10):
    with socket.create_connection(("127.0.0.1", port), timeout=timeout) as s:
        s.sendall(b"GET /" + path + b" HTTP/1.0\r\n\r\n")
        data = bytearray()
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            chunk = s.recv(65536)
            if not chunk:
                break
            data.extend(chunk)
        return bytes(data)


# wrk runs for a time, not a count: a short first run measures the rate, and the soak then
# runs wrk for as long as the remaining requests take at that rate, again until they are all
# done. The figures add up over the runs (p99: the worst run's).
def wrk_run(port, path, requests, clients, keep):
    probe = benchlib.wrk(port, path, 3, clients, keep)
    rate = max(1.0, probe.get("requests", 0) / 3.0)
    total = {"requests": 0, "errors": 0, "timeouts": 0, "non200": 0, "p99ms": 0.0}
    start = time.monotonic()
    for _ in range(20):
        left = requests - total["requests"]
        if left <= 0:
            break
        fields = benchlib.wrk(port, path, max(3, int(left * 1.05 / rate + 0.5)), clients, keep)
        if not fields:
            break
        for key in ("requests", "errors", "timeouts", "non200"):
            total[key] += fields.get(key, 0)
        total["p99ms"] = max(total["p99ms"], fields.get("p99ms", 0))
        rate = max(1.0, fields["requests"] / fields["seconds"]) if fields.get("seconds") else rate
    return time.monotonic() - start, total


def soak(binary, requests, clients):
    print("%-28s %9s %7s %7s %7s %8s %10s %12s" % ("load", "requests", "errors", "non200", "p99 ms",
                                                 "req/s", "fds b/d/a", "RSS KiB b/d/a"))
    worries = []
    for keep, mode in ((False, "1CB"), (True, "1CA")):
        for path in ("1k.bin", "100k.bin"):
            server = Server(binary, mode)
            before = server.sample()
            during = []
            stop = threading.Event()

            def watch():
                while not stop.wait(1.0):
                    during.append(server.sample())

            watcher = threading.Thread(target=watch, daemon=True)
            watcher.start()
            seconds, fields = wrk_run(server.port, path, requests, clients, keep)
            stop.set()
            watcher.join()
            time.sleep(1.0)
            after = server.sample()
            peak_fds = max([d for d, _ in during] or [before[0]])
            peak_rss = max([r for _, r in during] or [before[1]])
            name = "%s, %s" % (path, "kept connections" if keep else "Connection: close")
            done = int(fields.get("requests", 0))
            print("%-28s %9d %7d %7d %7.1f %8.0f %10s %12s" % (
                name, done, fields.get("errors", -1), fields.get("non200", -1), fields.get("p99ms", -1),
                done / seconds if seconds else 0, "%d/%d/%d" % (before[0], peak_fds, after[0]),
                "%d/%d/%d" % (before[1], peak_rss, after[1])))
            if after[0] > before[0]:
                worries.append("%s: descriptors grew from %d to %d" % (name, before[0], after[0]))
            if after[1] > before[1] + 1024:
                worries.append("%s: resident memory grew from %d to %d KiB" % (name, before[1], after[1]))
            server.stop()
    return worries


def hostile(binary):
    server = Server(binary, "1CB")
    port = server.port
    before = server.sample()
    worries = []
    # 25 slow clients take every slot and send one byte a second.
    slow = [socket.create_connection(("127.0.0.1", port), timeout=5) for _ in range(SLOTS)]
    for s in slow:
        s.sendall(b"G")
    time.sleep(1.0)  # until the server has taken them all
    first = get(port, b"1k.bin", timeout=5)
    print("with every slot held, a new client gets: %r" % first[:60])
    start = time.monotonic()
    served_after = None
    deadline = start + 30
    while time.monotonic() < deadline:
        answer = get(port, b"1k.bin", timeout=5)
        if answer == EXPECTED_1K:
            served_after = time.monotonic() - start
            break
        time.sleep(0.2)
    for s in slow:
        s.close()
    print("25 slow clients: a new client was served after %s" %
          ("%.1f s (the waiting limit, 5 s, freed a slot)" % served_after if served_after else "more than 30 s"))
    if served_after is None:
        worries.append("no slot came free while 25 slow clients held them")
    # Garbage, resets mid-request and mid-answer, 100 KB request lines.
    for round_ in range(200):
        with socket.create_connection(("127.0.0.1", port), timeout=5) as s:
            kind = round_ % 4
            try:
                if kind == 0:
                    s.sendall(os.urandom(4096))
                elif kind == 1:
                    s.sendall(b"GET /100k.bin HTTP/1.0\r\nHost: x")
                elif kind == 2:
                    s.sendall(b"GET /100k.bin HTTP/1.0\r\n\r\n")
                    s.recv(1000)
                else:
                    s.sendall(b"GET /" + b"A" * 100000 + b" HTTP/1.0\r\n\r\n")
                s.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\x01\x00\x00\x00\x00\x00\x00\x00")
            except OSError:
                pass
    time.sleep(6)
    after = server.sample()
    correct = all(get(port, b"1k.bin") == EXPECTED_1K for _ in range(50))
    print("hostile rounds: 200; descriptors %d -> %d, RSS %d -> %d KiB; answers correct afterwards: %s" % (
        before[0], after[0], before[1], after[1], "yes" if correct else "NO"))
    if not correct:
        worries.append("wrong answers after the hostile load")
    if after[0] > before[0]:
        worries.append("hostile load left %d descriptors open" % (after[0] - before[0]))
    server.stop()
    return worries


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--binary", default=benchlib.DEFAULT_KORVEL)
    parser.add_argument("--requests", type=int, default=1000000)
    parser.add_argument("--clients", type=int, default=24)
    args = parser.parse_args()
    if benchlib.ensure_tools("wrk"):
        sys.exit("wrk is needed: apt-get install wrk")
    worries = soak(os.path.abspath(args.binary), args.requests, args.clients) + hostile(os.path.abspath(args.binary))
    print("\n".join(["", "nothing grew or failed"] if not worries else ["", "WORRIES:"] + worries))


if __name__ == "__main__":
    main()
