// The menu bar: key letters, moving through menus and items, greyed items, the mouse, and
// what an open menu looks like.

#include <gtest/gtest.h>

#include "frontend/tui/menu_bar.h"

namespace {

using namespace tui;

// The program's own menus, with Client and URL greyed as while the server is open.
Popups ProgramMenus() {
    return {
        {"Cursor", {{101, "Find", true}}},
        {"Options",
         {{102, "Configuration", true},
          {103, "Server", true},
          {104, "Client", false},
          {109, "URL", false},
          {110, "Save", true},
          {111, "Ping", true}}},
        {"Services", {{105, "Show Statistics", false}, {106, "Hide Statistics", true}}},
        {"Command", {{108, "Edit", true}}},
        {"Help", {{107, "Show Help", true}}},
    };
}

// (The program's own menus get their letters in a real terminal: Command's m, cLient, sAve.)
TEST(TuiMenu, EachMenuAndItemGetsTheFirstLetterNotTakenBeforeIt) {
    EXPECT_EQ(KeyLetters({"ab", "ba", "a"}), (std::vector<int>{0, 0, -1}));
    EXPECT_EQ(MenuBar::PopupForLetter(ProgramMenus(), U'x'), -1);
}

TEST(TuiMenu, KeysMoveThroughMenusAndOnlyAnEnabledItemIsChosen) {
    Popups menus = ProgramMenus();
    MenuBar bar;
    bar.Open(menus, 1);
    EXPECT_EQ(bar.Highlighted(), 0);
    for (Key key : {Key::Down, Key::Down}) bar.HandleKey(Event::Of(key), menus);
    EXPECT_EQ(bar.Highlighted(), 2);  // Client, greyed: it can be highlighted ...
    KeyResult outcome = bar.HandleKey(Event::Of(Key::Enter), menus);
    EXPECT_TRUE(outcome.handled);
    EXPECT_EQ(outcome.command, 0);  // ... but not chosen
    EXPECT_TRUE(bar.IsOpen());
    EXPECT_EQ(bar.HandleKey(Event::Char(U'u'), menus).command, 0);   // URL's letter: greyed too
    EXPECT_EQ(bar.HandleKey(Event::Char(U'a'), menus).command, 110);  // sAve
    EXPECT_FALSE(bar.IsOpen());

    bar.Open(menus, 0);
    bar.HandleKey(Event::Of(Key::Left), menus);  // wraps to Help
    EXPECT_EQ(bar.OpenPopup(), 4);
    for (int i = 0; i < 3; ++i) bar.HandleKey(Event::Of(Key::Right), menus);
    EXPECT_EQ(bar.OpenPopup(), 2);
    EXPECT_EQ(bar.Highlighted(), 1);  // the first item that can be chosen: Hide Statistics
    bar.HandleKey(Event::Char(U'o', kAlt), menus);
    EXPECT_EQ(bar.OpenPopup(), 1);
    bar.HandleKey(Event::Of(Key::Up), menus);  // wraps to Ping
    EXPECT_EQ(bar.HandleKey(Event::Of(Key::Enter), menus).command, 111);
    bar.Open(menus, 3);
    bar.HandleKey(Event::Of(Key::Escape), menus);
    EXPECT_FALSE(bar.IsOpen());
}

TEST(TuiMenu, TheMouseOpensMenusAndChoosesItems) {
    Popups menus = ProgramMenus();
    MenuBar bar;
    Rect options = MenuBar::TitleRect(menus, 1);
    EXPECT_EQ(options.x, 9);
    EXPECT_EQ(options.w, 9);
    EXPECT_TRUE(bar.HandleMouse(Event::Mouse(MouseAction::Press, 10, 0), menus).handled);
    EXPECT_EQ(bar.OpenPopup(), 1);
    // Client (row 1 + frame + 2) is greyed; Server above it is not.
    EXPECT_EQ(bar.HandleMouse(Event::Mouse(MouseAction::Press, 12, 4), menus).command, 0);
    EXPECT_EQ(bar.HandleMouse(Event::Mouse(MouseAction::Press, 12, 3), menus).command, 103);
    EXPECT_FALSE(bar.IsOpen());
    bar.Open(menus, 0);
    EXPECT_TRUE(bar.HandleMouse(Event::Mouse(MouseAction::Press, 60, 20), menus).handled);  // elsewhere: closes
    EXPECT_FALSE(bar.IsOpen());
}

TEST(TuiMenu, AnOpenMenuIsDrawnUnderItsTitleWithGreyedItemsGrey) {
    Popups menus = ProgramMenus();
    MenuBar bar;
    bar.Open(menus, 1);
    Canvas canvas;
    canvas.Resize(40, 10);
    bar.Draw(canvas, menus);
    EXPECT_EQ(canvas.RowText(0), "  Cursor  Options  Services  Command  He");
    EXPECT_EQ(canvas.RowText(1), "         ┌───────────────┐");
    EXPECT_EQ(canvas.RowText(2), "         │ Configuration │");
    EXPECT_EQ(canvas.RowText(4), "         │ Client        │");
    EXPECT_EQ(canvas.RowText(8), "         └───────────────┘");
    EXPECT_EQ(canvas.At(11, 2).style, Style::MenuSelected);
    EXPECT_TRUE(canvas.At(11, 2).underline);  // C of Configuration
    EXPECT_EQ(canvas.At(11, 3).style, Style::Menu);
    EXPECT_EQ(canvas.At(11, 4).style, Style::MenuGrey);
    EXPECT_FALSE(canvas.At(12, 4).underline);  // a greyed item shows no key letter
    EXPECT_EQ(canvas.At(10, 0).style, Style::BarOpen);
    EXPECT_TRUE(canvas.At(31, 0).underline);  // the m of Command
}

}  // namespace
