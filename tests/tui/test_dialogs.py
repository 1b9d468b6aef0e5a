"""Menus, dialogs, message boxes and the help screen in the terminal: greying while the
server is open, the Server dialog opening the server, popups that leave the program running,
a resize while a dialog is open, and every dialog's labels whole on 80 x 24."""

import time

import tui_session
from korvel import http_get, temp_dir, write_files
from tui_session import cut_buttons, dialog_rows, free_port, start

GREY = 8
BLACK = 0
WHITE = 7


def site(test):
    """A home directory with one page, removed after the test."""
    directory = temp_dir(test, "korvel-tui-site-")
    write_files(directory, {"home.htm": "<html>home</html>\n"})
    return directory


class Menus(tui_session.TuiTest):
    def item_colour(self, s, label):
        """Foreground colour of an open menu item's first letter (the highlighted item is
        white on blue)."""
        x, y = s.find("│ " + label)
        return s.fg(x + 2, y)

    def test_the_menu_greys_client_and_url_while_the_server_is_open(self):
        port = free_port()
        s = start(self, ["-server"], {"Server": {"ServerPort": port, "HomeDir": site(self)}}, banner=False)
        s.wait_for("Server is ready on port %d" % port)
        s.keys("F10")
        s.wait_for("│ Find │")
        s.keys("Right")
        s.wait_for("│ Configuration │")
        colours = {label: self.item_colour(s, label) for label in ("Server", "Client", "URL", "Save", "Ping")}
        self.assertEqual(colours, {"Server": BLACK, "Client": GREY, "URL": GREY, "Save": BLACK, "Ping": BLACK})
        s.keys("Down", "Down", "Enter")  # Client: greyed, nothing happens
        time.sleep(0.3)
        self.assertIn("│ Client", s.text())
        self.assertNotIn("Connect to host", s.text())
        s.keys("Escape")
        s.wait_for(lambda text: "│ Client" not in text, what="the menu to close")

        # The Server dialog closes the server (its button 2, reached backwards from the start).
        s.keys("M-o", "s")
        s.wait_for("Mailbox name")
        s.keys("BTab", "BTab", "Enter")
        s.wait_for("Server is closed")
        s.keys("M-o")
        s.wait_for("│ Client")
        self.assertEqual(self.item_colour(s, "Client"), BLACK)
        self.assertEqual(self.item_colour(s, "URL"), BLACK)
        s.keys("M-s")  # Services: of Show and Hide Statistics only Show can be chosen
        s.wait_for("│ Show Statistics")
        self.assertEqual(self.item_colour(s, "Show Statistics"), WHITE)  # highlighted
        self.assertEqual(self.item_colour(s, "Hide Statistics"), GREY)


class Dialogs(tui_session.TuiTest):
    def test_the_server_dialog_opens_the_server_and_the_console_shows_its_requests(self):
        port = free_port()
        home = site(self)
        s = start(self, [], {"Server": {"ServerPort": 80, "HomeDir": home}})
        s.keys("M-o", "s")
        s.wait_for("Mailbox name")
        self.assertIn("(*) Panel", s.text())
        self.assertIn("< Open >", s.text())
        s.keys("Tab", "Tab", "Tab")  # model, version, directory, port
        s.type(str(port))  # Tab selected the port's text: typing replaces it
        s.wait_for(" %d " % port)
        s.keys("Enter")
        s.wait_for("Server is ready on port %d" % port)
        self.assertNotIn("Mailbox name", s.text())
        self.assertIn(b"home", http_get(port, b"GET / HTTP/1.0\r\n\r\n"))
        s.wait_for("Sending file <0> %s/home.htm ..." % home)
        self.assertIn("Remote Client <0> Login 127.0.0.1:", s.text())

    def test_a_message_box_waits_for_enter_while_the_program_runs_on(self):
        s = tui_session.TuiSession([], {"Server": {"ServerPort": free_port()}})
        self.addCleanup(s.close)
        s.wait_for("Korvel v4.0")  # the start-up notice, framed by its caption
        self.assertIn("Winsock 1.1 on BSD sockets", s.text())
        self.assertIn("< OK >", s.text())
        s.keys("F10")  # the box has the keyboard: no menu
        time.sleep(0.3)
        self.assertNotIn("│ Find │", s.text())
        s.keys("Enter")
        s.wait_for(lambda text: "Winsock" not in text, what="the notice to close")

        # A box raised inside a dialog while a panel's clock keeps ticking underneath.
        s.keys("M-s", "Enter")
        s.wait_for("Channels are free")
        s.keys("F6", "M-o", "l")
        s.wait_for("Connect to host")
        s.keys("Tab", "Tab")  # model, host, port
        s.type("abc")
        s.keys("Enter")
        s.wait_for("Port: not an allowed value")

        def clock(screen):  # the panel's first line, at the right of 120 columns
            return screen.split("\n")[2][44:118].strip()

        first = clock(s.text())
        self.assertRegex(first, r"\d:\d\d:\d\d")
        s.wait_for(lambda screen: clock(screen) != first, timeout=5, what="the statistics clock to move")
        self.assertIn("Port: not an allowed value", s.text())
        s.keys("Enter")
        s.wait_for(lambda text: "not an allowed value" not in text, what="the box to close")
        self.assertNotIn("Connect to host", s.text())  # the dialog ended after its notice

    def test_help_then_a_resize_while_a_dialog_is_open(self):
        s = start(self, [], {"Server": {"ServerPort": free_port()}}, width=120, height=40)
        # Help opens a screen of its own and Esc closes it.
        s.keys("M-h", "Enter")
        s.wait_for("korvel help")
        self.assertIn("NAME", s.text())
        self.assertIn("korvel - HTTP server, web grabber, TCP client and ping", s.text())
        s.keys("PageDown")
        s.wait_for(lambda text: "SYNOPSIS" not in text, what="the next page")
        s.keys("End")
        s.wait_for("EXAMPLES")  # the last section
        s.keys("Escape")
        s.wait_for(lambda text: "korvel help" not in text, what="the help to close")
        s.keys("F1")
        s.wait_for("korvel help")
        s.keys("Escape")
        s.wait_for(lambda text: "korvel help" not in text, what="the help to close again")

        # A resize while a dialog is open keeps it centred and working.
        s.keys("M-o", "c")
        s.wait_for("Max. Clients for server")
        s.resize(80, 24)
        s.wait_for(lambda _: s.find("┌") == ((80 - 66) // 2, (24 - 16) // 2), what="the dialog centred on 80 x 24")
        self.assertTrue(s.screen()[23].startswith(" Korvel"))
        self.assertIn("[x] Send And Close", s.text())
        s.keys("Space")  # the first check box has the keyboard
        s.wait_for("[ ] Send And Close")
        s.resize(100, 30)
        s.wait_for(lambda _: s.find("┌") == ((100 - 66) // 2, (30 - 16) // 2), what="the dialog centred again")
        s.keys("Escape")  # CANCEL
        s.wait_for(lambda text: "Max. Clients" not in text, what="the dialog to close")
        # The console took the new size: 99 columns shown, so the horizontal range is 0..21.
        s.keys("C-Right", "C-Right", "C-Right")
        s.wait_for(lambda _: s.screen()[28].find("█") == 97, what="the thumb at the end of the range")
        self.assertEqual(s.screen()[29][:7], " Korvel")

    def test_every_dialog_at_80_by_24_shows_each_label_whole_and_apart(self):
        s = tui_session.TuiSession([], {"Server": {"ServerPort": free_port()}, "Url": {"HomeDir": site(self)}},
                                   width=80, height=24)
        self.addCleanup(s.close)
        s.wait_for("Korvel v4.0")
        self.assertEqual(cut_buttons(dialog_rows(s.screen(), "Korvel v4.0")), [])
        self.assertIn("< OK >", "".join(dialog_rows(s.screen(), "Korvel v4.0")))
        s.keys("Enter")
        s.wait_for(lambda text: "Winsock" not in text, what="the notice to close")
        # (keys that open it, its title, keys that close it)
        dialogs = [
            (("M-o", "c"), "Configuration", ("Escape",)),
            (("M-o", "s"), "Server", ("Escape",)),
            (("M-o", "l"), "Client", ("Escape",)),
            (("M-m", "Enter"), "EDIT A COMMAND", ("Escape",)),
            (("M-o", "a"), "SAVE OPTIONS", ("Escape",)),
            (("M-o", "u"), "URL", ()),
            (("Tab", "Tab", "Enter"), "URL Browser", ("Escape",)),  # its "browse" button
            ((), "URL", ("Escape",)),
            (("M-s", "Enter"), "Statistics", ("Escape",)),
            (("M-o", "p"), "PING", ("Escape",)),
        ]
        shown = {}
        for opening, title, closing in dialogs:
            if opening:
                s.keys(*opening)
            s.wait_for(lambda _: dialog_rows(s.screen(), title), what="the %s dialog" % title)
            rows = dialog_rows(s.screen(), title)
            shown[title] = "\n".join(rows)
            self.assertEqual(cut_buttons(rows), [], title)
            if closing:
                s.keys(*closing)
                s.wait_for(lambda _: not dialog_rows(s.screen(), title), what="the %s dialog to close" % title)
        self.assertRegex(shown["Server"], r"\[ \] ServerProxy +ProxyPort ")
        self.assertIn("< Send And Quit >", shown["EDIT A COMMAND"])
        self.assertIn("< paste >", shown["URL"])

