"""Every way out gives the terminal back: Ctrl+C and SIGTERM run the program's normal
shutdown (exit 0), a fatal signal still restores the terminal's modes and screen."""

import signal

import tui_session
from tui_session import free_port, start


class Exit(tui_session.TuiTest):
    def assert_terminal_given_back(self, s):
        modes = s.terminal_modes()
        for mode in ("icanon", "echo", "icrnl", "ixon", "isig"):
            self.assertIn(mode, modes)
            self.assertNotIn("-" + mode, modes)
        # The program's screen was the alternate one: the shell's own screen is back.
        self.assertNotIn("Cursor  Options", s.text())

    def test_ctrl_c_shuts_down_normally(self):
        s = start(self, [], {"Server": {"ServerPort": free_port()}})
        s.keys("C-c")
        self.assertEqual(s.wait_exit(), 0)
        self.assert_terminal_given_back(s)

    def test_sigterm_with_a_dialog_and_a_message_box_open_shuts_down_normally(self):
        s = start(self, [], {"Server": {"ServerPort": free_port()}})
        s.keys("M-o", "l")
        s.wait_for("Connect to host")
        s.keys("Tab", "Tab")
        s.type("not a port")
        s.keys("Enter")
        s.wait_for("Port: not an allowed value")
        s.send_signal(signal.SIGTERM)
        self.assertEqual(s.wait_exit(), 0)
        self.assert_terminal_given_back(s)

    def test_a_fatal_signal_still_restores_the_terminal(self):
        port = free_port()
        s = start(self, ["-server"], {"Server": {"ServerPort": port}}, banner=False)
        s.wait_for("Server is ready on port %d" % port)
        s.keys("M-o")
        s.wait_for("│ Configuration")
        s.send_signal(signal.SIGSEGV)
        self.assertEqual(s.wait_exit(), 128 + signal.SIGSEGV)
        self.assert_terminal_given_back(s)

