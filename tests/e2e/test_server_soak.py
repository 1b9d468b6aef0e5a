"""A long run of the server: many requests from many concurrent clients, with nothing lost,
no descriptor left open and no memory growing."""

import os
import socket
import threading
import time
import unittest

from korvel import header, read_until_closed
from test_server import ServerTest

REQUESTS = 20000
CLIENTS = 24


class Soak(ServerTest):
    def test_twenty_thousand_requests_from_24_clients(self):
        with open(os.path.join(self.site, "small.htm"), "wb") as f:
            f.write(b"x" * 700 + b"\n")
        expected = header(701) + b"x" * 700 + b"\n"
        k, port = self.serve(server={"HowManyClients": 25, "LeavingTimeout": 0, "Mode": "1c9"})
        time.sleep(0.5)
        fds_before = sorted(k.open_fds())

        failures = []
        counter = {"n": 0}
        lock = threading.Lock()

        def client():
            while True:
                with lock:
                    if counter["n"] >= REQUESTS or len(failures) > 10:
                        return
                    counter["n"] += 1
                    n = counter["n"]
                try:
                    with socket.create_connection(("127.0.0.1", port), timeout=30) as s:
                        s.sendall(b"GET /small.htm HTTP/1.0\r\n\r\n")
                        answer = read_until_closed(s, 30)
                    if answer != expected:
                        failures.append((n, answer[:80]))
                except OSError as error:
                    failures.append((n, repr(error)))
                if n == REQUESTS // 4:
                    rss["warm"] = k.rss_kb()

        rss = {}
        threads = [threading.Thread(target=client) for _ in range(CLIENTS)]
        for t in threads:
            t.start()
        for t in threads:
            t.join(600)
        self.assertEqual(failures, [])
        self.assertEqual(counter["n"], REQUESTS)
        rss["end"] = k.rss_kb()

        deadline = time.monotonic() + 10
        while time.monotonic() < deadline and sorted(k.open_fds()) != fds_before:
            time.sleep(0.1)
        self.assertEqual(sorted(k.open_fds()), fds_before, "every connection's descriptor is closed")
        # Memory is flat: nothing grows per connection once the program has warmed up.
        self.assertLess(rss["end"] - rss["warm"], 2048, rss)
        self.assertEqual(k.stop(), 0)
        self.assertEqual(k.out.count(b"\nSending file <"), REQUESTS)

