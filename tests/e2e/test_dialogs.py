"""The dialogs driven end to end through scripts, as a user would drive them."""

import os
import socket
import unittest

from korvel import TcpService, dumps, free_port, header, http_get, read_file, recv_exactly, start, write_files


class DialogScripts(unittest.TestCase):
    def run_korvel(self, script, settings=None, words=()):
        return start(self, words, settings=settings, script=script, tags=True)

    def test_the_server_dialog_opens_the_server_and_it_serves_a_page(self):
        port = free_port()
        k = self.run_korvel("\n".join([
            "menu 103", "click 144", "set 121 %d" % port, "set 122 site", "check 143 1", "set 125 log.txt",
            "select 148 1", "click 1", "waitfor Server is ready on port %d" % port, "dump", "wait 30", "quit"]))
        write_files(k.dir, {"site/home.htm": "<p>hi</p>\n"})
        k.wait_for("Server is ready on port %d\n" % port, after=0)
        answer = http_get(port, b"GET / HTTP/1.0\r\n\r\n")
        self.assertEqual(answer, header(10) + b"<p>hi</p>\n")
        k.wait_for("Logout", after=0)
        self.assertEqual(k.stop(), 0)
        err = k.err.decode("latin-1")
        self.assertIn("menu 104 0 Client\n", err, "the Client entry is greyed while the server is open")
        self.assertIn("menu 109 0 URL\n", err)
        self.assertTrue(read_file(os.path.join(k.dir, "log.txt")).startswith(b"Server is ready on port %d\n" % port))

    def test_the_client_dialog_talks_to_a_tcp_service(self):
        service = TcpService(greeting=b"hello there\r\n", answer=b"welcome\r\n")
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
        self.assertEqual(read_file(os.path.join(k.dir, "received.bin")), b"hello there\r\nwelcome\r\n")

    def test_edit_a_command_sends_the_line_to_every_connected_channel(self):
        port = free_port()
        k = self.run_korvel("\n".join([
            "waitfor Remote Client <1> Login", "menu 108", "set 121 PING now", "click 1",
            "waitfor PING now", "wait 30", "quit"]),
            settings={"Server": {"ServerPort": port, "Mode": "1cf", "HomeDir": "."}}, words=["-server"])
        k.wait_for("Server is ready on port %d\n" % port, after=0)
        clients = [socket.create_connection(("127.0.0.1", port), timeout=10) for _ in range(2)]
        for c in clients:
            with c:
                self.assertEqual(recv_exactly(c, 10), b"PING now\r\n")
        k.wait_for("PING now\n", after=0)

    def test_save_options_writes_the_file_and_a_restart_reads_it_back(self):
        k = self.run_korvel("\n".join([
            "menu 102", "set 123 77", "click 149", "click 1", "menu 110", "click 1", "quit"]))
        self.assertEqual(k.wait_exit(20), 0, k.err)
        saved = read_file(os.path.join(k.dir, "korvel.ini"))
        self.assertTrue(saved.startswith(b"[Server]\nMode=cb\nServerPort=80\nLeavingTimeout=2\nWaitingTimeout=77\n"),
                        saved)
        again = start(self, script="menu 102\nexpect 123 77\ndialog DIALOG_1\ndump\nquit\n", workdir=k.dir)
        self.assertEqual(again.wait_exit(20), 0, again.err)
        self.assertIn(b"DIALOG_1 149 checkbox 1 0 Enable Timeout\n", again.err)

    def test_numbers_in_the_settings_file_are_decimal_and_only_the_server_mode_is_hexadecimal(self):
        numbers = {"HowManyClients": "+4", "WaitingTimeout": "0x10", "LeavingTimeout": " -3", "SendingTimeout": "12abc",
                   "connectionTimeout": "0X7f", "PurgingTimeout": "+5", "PreWaitingTimeout": "- 4"}
        k = self.run_korvel("menu 102\ndump\nquit\n", settings={"Server": dict(numbers, Mode="10b")})
        self.assertEqual(k.wait_exit(20), 0, k.err)
        (shown,) = dumps(k.err, "DIALOG_1")
        self.assertEqual([shown[i][2] for i in (121, 123, 122, 124, 125, 127, 128)], ["4", "0", "-3", "12", "0", "5", "0"])
        self.assertEqual([int(shown[i][1]) for i in range(141, 150)], [1, 1, 0, 1, 0, 0, 0, 0, 1], "Mode 10b")

