"""Hostile clients never crash the server nor leak a slot. Also run against the sanitizer build."""

import socket
import struct
import threading
import unittest

from korvel import read_until_closed
from test_server import DOCS, ServerTest


class Hostile(ServerTest):
    def assert_all_slots_serve(self, k, port, count):
        k.wait_for("Logout", after=0)
        clients = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(count)]
        for s in clients:
            s.sendall(b"GET /docs/ HTTP/1.0\r\n\r\n")
        for s in clients:
            self.assertEqual(read_until_closed(s, 20), DOCS)
            s.close()

    def test_garbage_binary_long_lines_half_closes_and_resets(self):
        k, port = self.serve(server={"HowManyClients": 4, "LeavingTimeout": 0, "WaitingTimeout": 3})
        payloads = [bytes(range(256)) * 4, b"\r\n" * 500, b"GET " + b"A" * 100000 + b" HTTP/1.0\r\n\r\n",
                    b"GET /" + b"x" * 300 + b"?" + b"%" * 300 + b" HTTP/1.0\r\n\r\n", b"\x00" * 5000,
                    b"GET /%%%\r\n", b"GET\r\n\r\n", b"GET /a?b=%0" + b"\r\n"]
        for payload in payloads:
            with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
                try:
                    s.sendall(payload)
                    read_until_closed(s, 10)
                except (ConnectionResetError, BrokenPipeError):
                    pass
        for _ in range(3):
            s = socket.create_connection(("127.0.0.1", port), timeout=10)
            s.sendall(b"GET /page.htm HTTP/1.0\r\nHost")
            s.shutdown(socket.SHUT_WR)
            read_until_closed(s, 10)
            s.close()
            s = socket.create_connection(("127.0.0.1", port), timeout=10)
            s.sendall(b"GET /page.htm HTTP/1.0\r\n\r\n")
            s.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            s.close()
        k.wait_for("ProcessRead, Cmd size greater than 512\n", after=0)
        self.assert_all_slots_serve(k, port, 4)
        self.assertEqual(k.stop(), 0)

    def test_a_client_that_never_stops_sending_holds_no_one_up(self):
        # The streamer's socket is readable all the time: the server still serves the others,
        # and the tick's time limits still end the streamer.
        # The HTTP model without ShowReceivedData, so the console does not echo the stream.
        k, port = self.serve(server={"Mode": "1C9", "LeavingTimeout": 0, "WaitingTimeout": 2, "connectionTimeout": 3})
        streamer = socket.create_connection(("127.0.0.1", port), timeout=10)
        self.addCleanup(streamer.close)
        stop = threading.Event()

        def stream():
            try:
                while not stop.is_set():
                    streamer.sendall(b"x\r\n" * 1000)
            except OSError:
                pass

        sender = threading.Thread(target=stream, daemon=True)
        sender.start()
        self.addCleanup(stop.set)
        k.wait_for("Remote Client <0> Login")
        with socket.create_connection(("127.0.0.1", port), timeout=10) as s:
            s.sendall(b"GET /docs/ HTTP/1.0\r\n\r\n")
            self.assertEqual(read_until_closed(s, 10), DOCS)
        self.assertTrue(sender.is_alive(), "served while the streamer was still sending")
        sender.join(20)
        self.assertFalse(sender.is_alive(), "the connection limit ended the streamer")
        self.assert_all_slots_serve(k, port, 2)


if __name__ == "__main__":
    unittest.main()
