"""The console in the terminal: the view, its scroll keys and bars, Find, the caret keys,
typed text reaching a connected client, and terminals of 80 x 24 and 250 x 70."""

import time

import tui_session
from korvel import TcpService
from tui_session import free_port, start


def mouse(button, x, y, release=False):
    """A mouse report as the terminal sends it (SGR form; cells counted from 0 here)."""
    return b"\x1b[<%d;%d;%d%s" % (button, x + 1, y + 1, b"m" if release else b"M")


def click(x, y):
    return mouse(0, x, y) + mouse(0, x, y, release=True)


def thumb_row(position, maximum, bar_rows):
    """Screen row of the vertical thumb: the bar starts on row 1 with its up arrow."""
    track = bar_rows - 2
    return 1 + 1 + (position * (track - 1) + maximum // 2) // maximum


class View(tui_session.TuiTest):
    def setUp(self):
        self.s = start(self, [], {"Server": {"ServerPort": free_port()}}, width=120, height=40)
        # 37 rows are shown: the caret starts on row 163, the first row of the last page.
        self.s.type("".join("line %02d\r" % i for i in range(1, 51)))
        self.s.wait_for(lambda screen: self.row(36).startswith("line 50"), what="50 typed lines")

    def row(self, y):
        return self.s.screen()[y]

    def vertical_thumb(self):
        return [y for y, line in enumerate(self.s.screen()) if line[119:120] == "█"]

    def test_scroll_keys_find_the_horizontal_bar_the_wheel_and_the_scroll_bar(self):
        s = self.s
        self.assertTrue(self.row(1).startswith("line 15"))
        self.assertEqual(s.cursor(), (0, 37, True))  # the caret, under the last line
        self.assertEqual(self.vertical_thumb(), [thumb_row(163, 163, 37)])

        # A screen is drawn from the top down, the cursor last: each wait takes in everything
        # that is checked of the new screen, so that no check reads a screen half drawn.
        s.keys("S-PageUp")  # a page: 37 rows up; the caret is below the view now
        s.wait_for(lambda _: self.row(37).startswith("line 14") and self.row(24).startswith("line 01")
                   and self.vertical_thumb() == [thumb_row(126, 163, 37)] and not s.cursor()[2],
                   what="the page above, its thumb, the caret hidden")
        s.keys("S-Up", "C-Up")  # two more rows
        s.wait_for(lambda _: self.row(26).startswith("line 01"), what="two rows up")

        s.keys("M-c", "f")  # Cursor > Find
        s.wait_for(lambda _: self.row(1).startswith("line 15") and s.cursor() == (0, 37, True),
                   what="the caret's page again, the caret under the last line")

        # Page Up is a caret key: the caret goes to row 0, the view stays.
        s.keys("PageUp")
        s.wait_for(lambda _: not s.cursor()[2], what="the caret to leave the view")
        self.assertTrue(self.row(1).startswith("line 15"))
        s.keys("M-c", "Enter")  # Find: now the view goes to row 0, where the caret is
        s.wait_for(lambda _: s.cursor() == (0, 1, True), what="the caret at the top")
        self.assertTrue(all(line[:119].strip() == "" for line in s.screen()[1:38]))
        s.keys("C-End")  # the bottom
        s.wait_for(lambda _: self.row(1).startswith("line 15"), what="the last page")

        # The horizontal bar moves by columns within its range.
        self.assertEqual(self.row(38).index("█"), 1)  # 119 columns shown: the range is 0..1
        s.keys("S-Right")
        s.wait_for(lambda _: self.row(1).startswith("ine 15") and self.row(38).find("█") == 117,
                   what="one column to the left, the bar's thumb at its right end")
        s.keys("C-Right")  # eight columns, cut to the range
        time.sleep(0.3)
        self.assertTrue(self.row(1).startswith("ine 15"))
        s.keys("S-Left")
        s.wait_for(lambda _: self.row(1).startswith("line 15"), what="back to column 0")

        # The mouse wheel and the scroll bar scroll the view.
        s.raw(mouse(64, 30, 10))  # wheel up: three rows
        s.wait_for(lambda _: self.row(1).startswith("line 12"), what="three rows up")
        s.raw(click(119, 1))  # the up arrow
        s.wait_for(lambda _: self.row(1).startswith("line 11"), what="one more row up")
        s.raw(click(119, 37))  # the down arrow
        s.wait_for(lambda _: self.row(1).startswith("line 12"), what="one row down")
        s.raw(click(119, 2))  # the track above the thumb: a page, from row 160 to 123
        s.wait_for(lambda _: self.row(27).startswith("line 01"), what="a page up")
        # The thumb dragged to the middle of the bar: the view follows while it moves.
        s.raw(mouse(0, 119, thumb_row(123, 163, 37)) + mouse(32, 119, 19))
        s.wait_for(lambda _: self.vertical_thumb() == [19], what="the thumb to follow the drag")
        s.raw(mouse(0, 119, 19, release=True))
        s.wait_for(lambda _: all(line[:119].strip() == "" for line in s.screen()[1:38]), what="an empty part of the screen")


class Typing(tui_session.TuiTest):
    def test_the_client_dialog_connects_and_typed_text_reaches_the_server(self):
        server = TcpService(greeting=b"HELLO FROM THE TEST\r\n")
        self.addCleanup(server.close)
        s = start(self, [], {"Client": {"ClientHost": "127.0.0.1", "ClientPort": server.port}})
        s.keys("M-o", "l")  # Options > cLient
        s.wait_for("Connect to host")
        self.assertIn("127.0.0.1", s.text())
        s.keys("M-s")  # the Std model: the keyboard is echoed to the connection
        s.wait_for("(*) Std")
        s.keys("Enter")  # OPEN, the default button
        s.wait_for("HELLO FROM THE TEST[CR][LF]", what="the greeting on the console")
        self.assertNotIn("Connect to host", s.text())
        s.type("typed text$41")
        s.keys("Enter")
        server.wait_for(b"typed textA\r\n")
        s.wait_for("typed text$41")  # the console shows what was typed, escape included


class Sizes(tui_session.TuiTest):
    def test_a_terminal_of_80_by_24_holds_every_part_and_the_widest_dialog(self):
        s = start(self, [], {"Server": {"ServerPort": free_port()}}, width=80, height=24)
        screen = s.screen()
        self.assertTrue(screen[0].startswith("  Cursor  Options  Services  Command  Help"))
        self.assertEqual(screen[1][79], "▲")
        self.assertEqual(screen[21][79], "▼")
        self.assertEqual(screen[22][:2], "◄█")
        self.assertTrue(screen[23].startswith(" Korvel "))  # the window title, also the terminal's
        self.assertEqual(s.title(), "Korvel")
        s.type("\r0123456789abcdef")
        s.keys("C-Right")  # 79 columns shown: eight columns fit in the range 0..41
        s.wait_for(lambda _: any(line.startswith("89abcdef ") for line in s.screen()), what="the view eight columns on")
        s.keys("M-o", "u")  # the URL dialog is 80 columns wide with its frame
        s.wait_for("http://")
        screen = s.screen()
        top = next(y for y, line in enumerate(screen) if " URL " in line)
        self.assertEqual(screen[top][0], "┌")
        self.assertEqual(screen[top][79], "┐")
        self.assertIn("< LEVEL_N >", s.text())
        s.keys("Escape")  # CANCEL is its button 2
        s.wait_for(lambda text: "http://" not in text, what="the URL dialog to close")

    def test_a_terminal_of_250_by_70_shows_at_most_120_columns_with_panels_beside(self):
        s = start(self, [], {"Server": {"ServerPort": free_port()}}, width=250, height=70)
        s.type("\r" + "x" * 125)
        s.wait_for(lambda _: "xxxxx " in [line[:6] for line in s.screen()], what="the line to wrap at 120")
        y = next(y for y, line in enumerate(s.screen()) if line.startswith("xxxxx "))
        screen = s.screen()
        self.assertEqual(screen[y - 1][:121], "x" * 120 + " ")
        self.assertEqual(screen[y - 1][121:249].strip(), "")
        s.keys("M-s", "Enter")  # Services > Show Statistics
        s.wait_for("Channels are free")
        corner = s.find("┌")
        self.assertGreater(corner[0], 120)  # beside the console, not over it
        self.assertEqual(s.screen()[y - 1][:120], "x" * 120)

