"""The headless front end as a user meets it: output, message boxes, signals, scripts."""

import os
import signal
import socket
import subprocess
import unittest

from korvel import BINARY, can_connect, free_port, http_get, ini, start, temp_dir, wait_until, write_files

BANNER = b"Korvel v4.0: Winsock 1.1 on BSD sockets Version 1.1 Higher Version 1.1 Available sockets "


class Headless(unittest.TestCase):
    def start(self, words=(), settings=None):
        return start(self, words, settings=settings)

    def test_plain_start_shows_the_winsock_box_and_stops_cleanly_on_sigterm(self):
        k = self.start(["-sport", str(free_port())])
        k.wait_err("Korvel v4.0: ")
        self.assertEqual(k.stop(), 0)
        self.assertTrue(k.err.startswith(BANNER), k.err)
        self.assertTrue(k.err.endswith(b" Udp maximum size 65507 octets\n"), k.err)
        self.assertEqual(k.err.count(b"\n"), 1, "a message box is one line")
        # Nothing is printed until the shutdown closes the (never opened) server.
        self.assertEqual(k.out.replace(b"TAGinit, Unable to open tag.map\n", b""), b"\nServer is closed\n")

    def test_a_standard_output_nobody_reads_never_stops_the_server(self):
        # Standard output is a pipe that is never read: once it is full, the server keeps
        # serving, and at the end standard error says how much console text was lost.
        work = temp_dir(self, "korvel-pipe-")
        port = free_port()
        write_files(work, {"korvel.ini": ini({"Server": {"ServerPort": port, "HomeDir": "site", "LeavingTimeout": 0},
                                              "Standard": {"Server": 1}}),
                           "site/a.txt": b"a" * 200})
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        process = subprocess.Popen([BINARY, "--headless", "-server"], cwd=work, stdin=subprocess.DEVNULL,
                                   stdout=writer, stderr=subprocess.PIPE)
        os.close(writer)
        self.addCleanup(process.kill)
        self.assertTrue(wait_until(lambda: can_connect(port)))
        request = b"GET /a.txt HTTP/1.0\r\n" + (b"X-Fill: " + b"f" * 180 + b"\r\n") * 20 + b"\r\n"
        answers = [http_get(port, request) for _ in range(400)]  # 1.5 MB of console text
        self.assertEqual(answers.count(answers[-1]), 400)
        self.assertTrue(answers[-1].endswith(b"a" * 200))
        process.terminate()
        err = process.communicate(timeout=20)[1]
        self.assertEqual(process.returncode, 0)
        self.assertRegex(err, rb"korvel: \d+ bytes of console output were dropped: standard output was not being read\n")

    def test_an_unknown_option_is_reported_the_program_goes_on_and_sigint_shuts_it_down(self):
        k = self.start(["-Server"])
        k.wait_for("-Server : Unknown Option\n")
        k.wait_err("Korvel v4.0: ")
        k.process.send_signal(signal.SIGINT)
        self.assertEqual(k.wait_exit(10), 0)
        self.assertTrue(k.out.endswith(b"\nServer is closed\n"))

    def test_a_command_line_of_127_characters_is_ignored_whole(self):
        for words, line in ((["-t", "7", "x" * 120, "y"], "DecodeLine, command line is too large (127 characters)\n"),
                            (["-t", "7", "x" * 121], "x" * 121 + " : Unknown Option\n")):
            k = self.start(words)
            k.wait_for(line)
            self.assertEqual(k.stop(), 0)

    def test_help_and_version_answer_without_starting_anything(self):
        for option, expected in (("--help", b"usage: korvel"), ("--version", b"korvel 4.0")):
            result = subprocess.run([BINARY, option], capture_output=True, timeout=10)
            self.assertEqual(result.returncode, 0)
            self.assertTrue(result.stdout.startswith(expected), result.stdout)
            self.assertEqual(result.stderr, b"")

    def test_settings_files_with_huge_values_and_binary_bytes_do_not_crash(self):
        nasty = ("[Server]\nHowManyClients=30000\nServerPort=999999\nWaitingTimeout=-99999\nMode=ffffffffff\n"
                 "HomeDir=" + "\x01\xff" * 300 + "\n[Url]\nUrl=" + "u" * 5000 + "\nMaxURL=-5\n"
                 "[Client\n\x00\x00=\x00\n[intl]\niDate=77\nsDate=\n")
        k = self.start(["-sport", str(free_port())], settings=nasty)
        k.wait_err("Korvel v4.0: ")
        self.assertEqual(k.stop(), 0)


class FailedActions(unittest.TestCase):
    """Without a script, a command-line action that cannot start ends the run with status 1."""

    def busy_port(self):
        listener = socket.socket()
        self.addCleanup(listener.close)
        listener.bind(("127.0.0.1", 0))
        listener.listen(1)
        return listener.getsockname()[1]

    def test_a_server_that_cannot_listen_or_a_grab_that_cannot_begin_ends_with_status_1(self):
        port = self.busy_port()
        missing = os.path.join(temp_dir(self), "missing")
        url = "http://127.0.0.1:%d/" % port
        cases = [(["-server", "-sport", str(port)], b"\nOpenServer, UNABLE TO OPEN THE SERVER !!!\n"),
                 (["-udir", missing, "-u", url], b"Unable to open file http.tmp\n"),
                 (["-udir", missing, "-ud", url], b"Unable to open file http.tmp\n")]
        for words, line in cases:
            with self.subTest(words=words):
                k = start(self, words, tags=True)
                self.assertEqual(k.wait_exit(10), 1, k.err)
                self.assertEqual(k.out, line + b"\nServer is closed\n", "the action's lines, then the shutdown's")

    def test_with_a_script_the_script_decides(self):
        port = self.busy_port()
        k = start(self, ["-server", "-sport", str(port)], script="wait 0.5\nquit\n", tags=True)
        self.assertEqual(k.wait_exit(10), 0, k.err)
        self.assertEqual(k.out, b"\nOpenServer, UNABLE TO OPEN THE SERVER !!!\n\nServer is closed\n")


class Scripts(unittest.TestCase):
    def run_script(self, script, words=(), timeout=30):
        k = start(self, words, script=script, tags=True)
        return k, k.wait_exit(timeout)

    def test_a_script_drives_menus_dialogs_and_the_console(self):
        port = free_port()
        script = "\n".join([
            "# statistics window: shown, refreshed by its own timer, hidden again",
            "menu 105   # Services > Show Statistics",
            "",
            "  dialog DIALOG_4\t# a comment starts a word",
            "wait 1.3",
            "expect 122 0 Channels are used # and ends the text before it",
            "expect 123 9 Channels are free",
            "expect 124 Ch. State .tCNX.Time.Rx Bytes.Tx Bytes.Connected to",
            "dump",
            "menu 106",
            "dialog",
            "type hello\\tworld\\r",
            "# a modal dialog: the Server dialog opens the server",
            "menu 103",
            "expect 121 %d" % port,
            "click 1",
            "waitfor Server is ready on port %d" % port,
            "quit",
        ])
        k, code = self.run_script(script, ["-sport", str(port)])
        self.assertEqual(code, 0, k.err)
        err = k.err.decode("latin-1")
        self.assertIn("DIALOG_4 122 edit 1 0 0 Channels are used\n", err)
        self.assertIn("menu 105 0 Show Statistics\n", err)
        self.assertIn("menu 106 1 Hide Statistics\n", err)
        self.assertTrue(k.out.endswith(b"Server is ready on port %d\n\nServer is closed\n" % port), k.out)

    def test_expect_mismatch_exits_4_and_unknown_verbs_exit_2(self):
        k, code = self.run_script("menu 105\ndialog DIALOG_4\nexpect 122 nonsense\n")
        self.assertEqual(code, 4)
        self.assertIn(b"expect 122", k.err)
        k, code = self.run_script("frobnicate 1\n")
        self.assertEqual(code, 2)
        self.assertIn(b"unknown verb frobnicate", k.err)
        k, code = self.run_script("click 1\n")
        self.assertEqual(code, 2, "no dialog is open")

    def test_numbers_a_script_cannot_use_exit_2_with_the_word(self):
        cases = [
            ("wait soon\n", b"script line 1: not a number of seconds: soon\n"),
            ("wait\n", b"script line 1: not a number of seconds: \n"),
            ("wait -1\n", b"script line 1: not a number of seconds: -1\n"),
            ("wait 1e300\n", b"script line 1: not a number of seconds: 1e300\n"),
            ("wait nan\n", b"script line 1: not a number of seconds: nan\n"),
            ("menu 99999999999\n", b"script line 1: not a number: 99999999999\n"),
            ("key 12x\n", b"script line 1: not a number: 12x\n"),
        ]
        for script, err in cases:
            with self.subTest(script=script):
                k, code = self.run_script(script)
                self.assertEqual(code, 2, k.err)
                self.assertTrue(k.err.endswith(err), k.err)

    def test_waitfor_gives_up_after_ten_seconds_with_exit_3(self):
        k, code = self.run_script("waitfor text that never comes\n", timeout=40)
        self.assertEqual(code, 3)

