"""The Statistics and PING windows as panels beside the console: they stay open, update while
the console runs, and are focused and closed from the keyboard."""

import os
import socket
import time

import tui_session
from tui_session import free_port, start


class Statistics(tui_session.TuiTest):
    def test_the_panel_counts_the_channels_of_connected_clients(self):
        port = free_port()
        s = start(self, ["-server"], {"Server": {"ServerPort": port}}, banner=False)
        s.wait_for("Server is ready on port %d" % port)
        s.keys("M-s", "Enter")  # Services > Show Statistics
        s.wait_for("0 Channels are used")
        self.assertIn("9 Channels are free", s.text())
        self.assertIn("Ch. State .tCNX.Time.Rx Bytes.Tx Bytes.Connected to", s.text())

        clients = [socket.create_connection(("127.0.0.1", port), timeout=5) for _ in range(3)]
        try:
            s.wait_for("3 Channels are used", timeout=5)
            screen = s.text()
            self.assertIn("6 Channels are free", screen)
            for channel, client in enumerate(clients):
                self.assertRegex(screen, r" %d waiting +\d+ +\d+ +0 +0 127\.0\.0\.1:%d"
                                 % (channel, client.getsockname()[1]))
            # The console runs beside the panel: the logins are printed meanwhile.
            self.assertIn("Remote Client <2> Login 127.0.0.1:", screen)
            clients[0].sendall(b"GET /missing.htm HTTP/1.0\r\n\r\n")
            s.wait_for(lambda text: "3 Channels are used" not in text, timeout=10, what="the request to end")
        finally:
            for client in clients:
                client.close()
        s.wait_for("0 Channels are used", timeout=10)

        # The panel has the keyboard; F6 gives it to the console and back, Esc closes it.
        s.keys("F6")
        s.wait_for("F10 menu  F6 next window  Shift")
        s.keys("F6", "Escape")
        s.wait_for(lambda text: "Channels are used" not in text, what="the panel to close")
        s.keys("M-s")  # closing it went through the program: Show Statistics is usable again
        s.wait_for("│ Show Statistics")
        x, y = s.find("│ Hide Statistics")
        self.assertEqual(s.fg(x + 2, y), 8)


class Ping(tui_session.TuiTest):
    def test_the_ping_panel_shows_a_running_ping_of_the_loopback(self):
        if os.geteuid() != 0:
            self.skipTest("raw ICMP sockets need root")
        s = start(self, [], {"Server": {"ServerPort": free_port()}})
        s.keys("M-o", "p")  # Options > Ping
        deadline = time.monotonic() + 3
        while "PING" not in s.text().split("\n", 1)[1]:
            if "not part of this build" in s.text() or time.monotonic() > deadline:
                self.skipTest("the ping window is not part of this build")
            time.sleep(0.1)
        s.wait_for("< PING Auto >")
        s.type("127.0.0.1")  # the host field has the keyboard, its text selected
        x, y = s.find("< PING Auto >")
        s.raw(b"\x1b[<0;%d;%dM\x1b[<0;%d;%dm" % (x + 3, y + 1, x + 3, y + 1))
        s.wait_for("Pinging 127.0.0.1", timeout=10)
        titles = set()
        deadline = time.monotonic() + 5
        while len(titles) < 2 and time.monotonic() < deadline:
            titles.add(s.title())
            time.sleep(0.2)
        self.assertGreaterEqual(len(titles), 2, "the window title does not blink: %r" % titles)
        x, y = s.find("< STOP >")
        s.raw(b"\x1b[<0;%d;%dM\x1b[<0;%d;%dm" % (x + 3, y + 1, x + 3, y + 1))
        s.wait_for(lambda text: text.count("Pinging 127.0.0.1") >= 1, what="the last send line")

