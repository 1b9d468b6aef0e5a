"""The dialogs driven end to end through scripts, as a user would drive them."""

import os
import shutil
import socket
import tempfile
import threading
import time
import unittest

from korvel import Korvel, free_port, http_get, read_until_closed

TAGS = "U <a href=\nI <img src=\n"


def write(path, content):
    with open(path, "w") as f:
        f.write(content)


class TcpService:
    """A line-oriented TCP service on loopback: records what it receives, greets each client."""

    def __init__(self, greeting=b"", answer=b"welcome\r\n"):
        self.listener = socket.socket()
        self.listener.bind(("127.0.0.1", 0))
        self.listener.listen(5)
        self.port = self.listener.getsockname()[1]
        self.greeting, self.answer = greeting, answer
        self.received = bytearray()
        self.connections = []
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def _serve(self):
        self.listener.settimeout(30)
        try:
            conn, _ = self.listener.accept()
        except OSError:
            return
        self.connections.append(conn)
        conn.settimeout(30)
        if self.greeting:
            conn.sendall(self.greeting)
        while True:
            try:
                data = conn.recv(4096)
            except OSError:
                return
            if not data:
                return
            self.received.extend(data)
            if b"\n" in data:
                conn.sendall(self.answer)

    def close(self):
        for c in self.connections:
            c.close()
        self.listener.close()


class DialogScripts(unittest.TestCase):
    def run_korvel(self, script, settings=None, words=()):
        k = Korvel(words, settings=settings, script=script)
        self.addCleanup(k.close)
        write(os.path.join(k.dir, "tag.map"), TAGS)
        return k

    def test_the_server_dialog_opens_the_server_and_it_serves_a_page(self):
        port = free_port()
        k = self.run_korvel("\n".join([
            "menu 103", "click 144", "set 121 %d" % port, "set 122 site", "check 143 1", "set 125 log.txt",
            "select 148 1", "click 1", "waitfor Server is ready on port %d" % port, "dump", "wait 30", "quit"]))
        os.makedirs(os.path.join(k.dir, "site"))
        write(os.path.join(k.dir, "site", "home.htm"), "<p>hi</p>\n")
        k.wait_for("Server is ready on port %d\n" % port, after=0)
        answer = http_get(port, b"GET / HTTP/1.0\r\n\r\n")
        self.assertEqual(answer, b"HTTP/1.0 200 Document follows\r\nServer: Korvel/4.0\r\nMIME-Version: 1.0\r\n"
                                 b"Content-Type: text/html\r\nContent-Length: 10\r\n\r\n<p>hi</p>\n")
        k.wait_for("Logout", after=0)
        self.assertEqual(k.stop(), 0)
        err = k.err.decode("latin-1")
        self.assertIn("menu 104 0 Client\n", err, "the Client entry is greyed while the server is open")
        self.assertIn("menu 109 0 URL\n", err)
        with open(os.path.join(k.dir, "log.txt"), "rb") as f:
            self.assertTrue(f.read().startswith(b"Server is ready on port %d\n" % port))

    def test_the_client_dialog_talks_to_a_tcp_service(self):
        service = TcpService(greeting=b"hello there\r\n")
        self.addCleanup(service.close)
        k = self.run_korvel("\n".join([
            "menu 104", "click 144", "check 142 1", "set 123 127.0.0.1", "set 121 %d" % service.port, "set 122 received.bin",
            "click 1", "waitfor Local Client <0> Login 127.0.0.1:%d" % service.port,
            "waitfor hello there", "dump",
            "type abc$41$$\\r",
            "waitfor welcome",
            "menu 104", "click 2", "waitfor bytes sent", "quit"]))
        self.assertEqual(k.wait_exit(30), 0, k.err)
        self.assertEqual(bytes(service.received), b"abcA$\r\n")
        out = k.out
        self.assertIn(b"\nConnecting Local Client <0> to 127.0.0.1:%d," % service.port, out)
        self.assertIn(b"\nLocal Client <0> Logout 127.0.0.1:%d," % service.port, out)
        # Typed keys go straight to the socket and are not counted as sent blocks.
        self.assertIn(b"22 bytes received, 0 bytes sent\n", out)
        err = k.err.decode("latin-1")
        self.assertIn("menu 103 0 Server\n", err)
        with open(os.path.join(k.dir, "received.bin"), "rb") as f:
            self.assertEqual(f.read(), b"hello there\r\nwelcome\r\n")

    def test_edit_a_command_sends_the_line_to_every_connected_channel(self):
        port = free_port()
        k = self.run_korvel("\n".join([
            "waitfor Remote Client <1> Login", "menu 108", "set 121 PING now", "click 1",
            "waitfor PING now", "wait 30", "quit"]),
            settings={"Server": {"ServerPort": port, "Mode": "1cf", "HomeDir": "."}}, words=["-server"])
        k.wait_for("Server is ready on port %d\n" % port, after=0)
        clients = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(2)]
        for c in clients:
            got = b""
            deadline = time.monotonic() + 10
            while not got.endswith(b"\r\n") and time.monotonic() < deadline:
                got += c.recv(100)
            self.assertEqual(got, b"PING now\r\n")
            c.close()
        k.wait_for("PING now\n", after=0)

    def test_save_options_writes_the_file_and_a_restart_reads_it_back(self):
        k = self.run_korvel("\n".join([
            "menu 102", "set 123 77", "click 149", "click 1", "menu 110", "click 1", "quit"]))
        self.assertEqual(k.wait_exit(20), 0, k.err)
        with open(os.path.join(k.dir, "korvel.ini")) as f:
            saved = f.read()
        self.assertTrue(saved.startswith("[Server]\nMode=cb\nServerPort=80\nLeavingTimeout=2\nWaitingTimeout=77\n"),
                        saved)
        again = Korvel(script="menu 102\nexpect 123 77\ndialog DIALOG_1\ndump\nquit\n", workdir=k.dir)
        self.addCleanup(again.close)
        self.assertEqual(again.wait_exit(20), 0, again.err)
        self.assertIn(b"DIALOG_1 149 checkbox 1 0 Enable Timeout\n", again.err)


if __name__ == "__main__":
    unittest.main()
