#!/usr/bin/env python3
"""Measures korvel's HTTP server on loopback: requests per second and MB/s for a 1 KiB and a
10 MiB file. Not a test: it prints a table and asserts nothing.

    python3 bench/server_bench.py [--binary build/korvel] [--seconds 5] [--clients 8]
"""
import argparse
import multiprocessing
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def fetch(port, request):
    with socket.create_connection(("127.0.0.1", port), timeout=30) as s:
        s.sendall(request)
        total = 0
        while True:
            chunk = s.recv(1 << 20)
            if not chunk:
                return total
            total += len(chunk)


def worker(port, request, seconds, queue):
    count = size = 0
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        size += fetch(port, request)
        count += 1
    queue.put((count, size))


def measure(port, name, clients, seconds):
    request = b"GET /" + name.encode() + b" HTTP/1.0\r\n\r\n"
    queue = multiprocessing.Queue()
    procs = [multiprocessing.Process(target=worker, args=(port, request, seconds, queue)) for _ in range(clients)]
    start = time.monotonic()
    for p in procs:
        p.start()
    results = [queue.get() for _ in procs]
    for p in procs:
        p.join()
    elapsed = time.monotonic() - start
    count = sum(r[0] for r in results)
    size = sum(r[1] for r in results)
    return count / elapsed, size / elapsed / 1e6, count


def main():
    parser = argparse.ArgumentParser()
    here = os.path.dirname(os.path.abspath(__file__))
    parser.add_argument("--binary", default=os.path.join(here, "..", "build", "korvel"))
    parser.add_argument("--seconds", type=float, default=5)
    parser.add_argument("--clients", type=int, default=8)
    args = parser.parse_args()

    work = tempfile.mkdtemp(prefix="korvel-bench-")
    site = os.path.join(work, "site")
    os.makedirs(site)
    with open(os.path.join(site, "small.htm"), "wb") as f:
        f.write(b"k" * 1024)
    with open(os.path.join(site, "large.gif"), "wb") as f:
        f.write(os.urandom(10 * 1024 * 1024))
    port = free_port()
    with open(os.path.join(work, "korvel.ini"), "w") as f:
        # The Http model without the display of received data; no leaving delay.
        f.write("[Server]\nServerPort=%d\nHomeDir=site\nHowManyClients=25\nLeavingTimeout=0\nMode=1c9\n"
                "[Standard]\nServer=1\n" % port)
    server = subprocess.Popen([args.binary, "--headless", "-server"], cwd=work, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
    try:
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            try:
                socket.create_connection(("127.0.0.1", port), timeout=1).close()
                break
            except OSError:
                time.sleep(0.05)
        rows = [("1 KiB file", "small.htm", args.clients), ("10 MiB file", "large.gif", min(args.clients, 4))]
        print("%-12s %8s %12s %10s %10s" % ("file", "clients", "requests/s", "MB/s", "requests"))
        for label, name, clients in rows:
            rps, mbps, count = measure(port, name, clients, args.seconds)
            print("%-12s %8d %12.0f %10.1f %10d" % (label, clients, rps, mbps, count))
    finally:
        server.send_signal(signal.SIGTERM)
        server.wait(10)
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
