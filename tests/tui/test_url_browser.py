"""The URL Browser in the terminal, by keyboard only: in its directory list the arrows move a
highlight, and only Enter enters the highlighted directory, so every subdirectory can be
reached and every directory left through [..]."""

import os

import tui_session
from korvel import temp_dir
from tui_session import free_port, start

WHITE = 7  # the foreground of the highlighted item (on blue) and of the selected one (on grey)


class UrlBrowser(tui_session.TuiTest):
    def test_the_keyboard_walks_into_the_second_subdirectory_and_back_out(self):
        s = start(self, [], {"Server": {"ServerPort": free_port()}, "Url": {"HomeDir": temp_dir(self, "korvel-tui-url-")}},
                  width=80, height=24)
        # The browser starts in korvel's working directory: [..], [alpha], [beta].
        for directory in ("alpha", "beta/deep"):
            os.makedirs(os.path.join(s.dir, directory))
        with open(os.path.join(s.dir, "beta", "b.html"), "w") as f:
            f.write("<html></html>\n")
        root = os.path.realpath(s.dir)

        def listing(path):
            return lambda screen: "%s/*.html " % path in screen

        def highlighted(item, other):
            def test(_):
                at, away = s.find(item), s.find(other)
                return at and away and s.fg(at[0] + 1, at[1]) == WHITE and s.fg(away[0] + 1, away[1]) != WHITE
            return test

        s.keys("M-o", "u")
        s.wait_for("< browse >")
        s.keys("Tab", "Tab", "Enter")  # from the URL field past "new" to "browse"
        s.wait_for(listing(root), what="the browser on the working directory")
        s.keys("Down")
        s.wait_for(highlighted("[alpha]", "[beta]"), what="[alpha] highlighted")
        s.keys("Down")
        s.wait_for(highlighted("[beta]", "[alpha]"), what="[beta] highlighted")
        self.assertIn("%s/*.html " % root, s.text())  # the arrows entered nothing

        s.keys("Enter")
        s.wait_for(listing(root + "/beta"), what="beta entered")
        self.assertIn("b.html", s.text())
        self.assertNotIn("[alpha]", s.text())
        s.keys("Down", "Enter")  # [deep], which holds nothing but [..]
        s.wait_for(listing(root + "/beta/deep"), what="deep entered")
        self.assertNotIn("[deep]", s.text())
        self.assertNotIn("b.html", s.text())
        s.keys("Enter")  # the highlight stands on [..], the selection of the new listing
        s.wait_for(listing(root + "/beta"), what="deep left")
        s.wait_for(highlighted("[..]", "[deep]"), what="[..] highlighted in beta")
        s.keys("Enter")
        s.wait_for(listing(root), what="beta left")
        self.assertIn("[alpha]", s.text())

