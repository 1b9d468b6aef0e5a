// The screen composed around the program's real main window, and what the user's input
// becomes for it: the console as it was drawn, the caret, the bars, and the messages that
// keys, the menu, the mouse and pastes post.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/print.h"
#include "channel/statistics.h"
#include "frontend/tui/input.h"
#include "frontend/tui/screen.h"
#include "frontend/tui/text.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/console.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"

namespace {

using namespace tui;

class TuiScreen : public testing_support::ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        desktop.Resize(80, 24);
        CreateMainWindow(desktop.GetLayout().client.w, desktop.GetLayout().client.h);
    }
    // What the program drew goes onto the desktop's surface, as the front end does.
    void Compose() {
        for (const auto& d : frontEnd.draws) desktop.SurfaceOf(MainWindow).Draw(d.x, d.y, d.text.data(), (int)d.text.size());
        frontEnd.draws.clear();
        desktop.Compose(canvas, cursorX, cursorY);
    }
    void Input(const Event& event) { HandleInput(desktop, event); }
    // Cells [x, x + count) of row y as UTF-8.
    std::string Cells(int x, int y, int count) {
        std::u32string text;
        for (int i = 0; i < count; ++i) text += canvas.At(x + i, y).ch;
        return ToUtf8(text);
    }
    // The messages the input posted, in order, without delivering them.
    std::vector<std::string> Posted() {
        std::vector<std::string> out;
        for (int i = 0; i < 1000 && platform::QueuedMessageCount() > 0; ++i) {
            MSG m;
            GetMessageA(&m, nullptr, 0, 0);
            std::string what;
            switch (m.message) {
                case WM_KEYDOWN: what = "key " + std::to_string(m.wParam); break;
                case WM_CHAR: what = "char " + std::to_string(m.wParam) + (m.lParam == 1 ? "" : " ?"); break;
                case WM_VSCROLL: what = "v " + std::to_string(LOWORD(m.wParam)) + "/" + std::to_string(HIWORD(m.wParam)); break;
                case WM_HSCROLL: what = "h " + std::to_string(LOWORD(m.wParam)) + "/" + std::to_string(HIWORD(m.wParam)); break;
                case WM_COMMAND: what = "command " + std::to_string(LOWORD(m.wParam)); break;
                case WM_CLOSE: what = "close"; break;
                default: what = "message " + std::to_string(m.message); break;
            }
            out.push_back(what);
        }
        return out;
    }
    using List = std::vector<std::string>;

    Desktop desktop;
    Canvas canvas;
    int cursorX = -1, cursorY = -1;
};

// (The bars, title and menu around it are checked in a real terminal.)
TEST_F(TuiScreen, TheConsoleShowsWhatWasDrawn) {
    Print(MainWindow, "caf\xE9 \x80\tx\n");
    SendMessageA(MainWindow, MSG_PUTCHAR, 7, 1);  // a bell is stored as a cell like any byte
    Compose();
    EXPECT_EQ(Cells(0, 1, 10), "café €  x ");
    EXPECT_EQ(Cells(0, 2, 2), "· ");
    EXPECT_EQ(cursorX, -1);  // no focus, no caret
}

TEST_F(TuiScreen, ARedrawThatTheConsoleSendsElsewhereIsNotSeenUntilTheNextPaint) {
    SetFocus(MainWindow);
    Print(MainWindow, "abcdef");
    SendMessageA(MainWindow, WM_KEYDOWN, VK_HOME, 0);
    SendMessageA(MainWindow, WM_KEYDOWN, VK_DELETE, 0);  // its redraw lands on row 179 - 0
    Compose();
    EXPECT_EQ(Cells(0, 1, 7), "abcdef ");
    EXPECT_EQ(cursorX, 0);  // the caret, at column 0 of the first row shown
    EXPECT_EQ(cursorY, 1);
    EXPECT_EQ(canvas.At(0, 1).style, Style::Caret);
    SendMessageA(MainWindow, WM_PAINT, 0, 0);
    Compose();
    EXPECT_EQ(Cells(0, 1, 7), "bcdef  ");
}

TEST_F(TuiScreen, ConsoleKeysBecomeKeyDownsCharactersAndScrollMessages) {
    for (Key key : {Key::PageUp, Key::PageDown, Key::End, Key::Home, Key::Left, Key::Up, Key::Right, Key::Down,
                    Key::Delete, Key::Insert})
        Input(Event::Of(key));
    EXPECT_EQ(Posted(), (List{"key 33", "key 34", "key 35", "key 36", "key 37", "key 38", "key 39", "key 40", "key 46"}));
    for (Key key : {Key::Enter, Key::Backspace, Key::Tab, Key::Escape}) Input(Event::Of(key));
    for (char32_t c : {U'a', U'$', U'é', U'€', U'Ā', U'\x01'}) Input(Event::Char(c));
    Input(Event::Char(U'x', kAlt));  // no menu has x: nothing
    EXPECT_EQ(Posted(), (List{"char 13", "char 8", "char 9", "char 27", "char 97", "char 36", "char 233", "char 128", "char 1"}));
    for (auto [key, modifier] : {std::pair{Key::Up, kShift}, {Key::Down, kCtrl}, {Key::PageUp, kShift},
                                 {Key::PageDown, kCtrl}, {Key::Home, kCtrl}, {Key::End, kShift}, {Key::Left, kShift},
                                 {Key::Right, kShift}, {Key::Left, kCtrl}, {Key::Right, kCtrl}})
        Input(Event::Of(key, modifier));
    EXPECT_EQ(Posted(), (List{"v 0/0", "v 1/0", "v 2/0", "v 3/0", "v 6/0", "v 7/0", "h 0/0", "h 1/0", "h 2/0", "h 3/0"}));
}

TEST_F(TuiScreen, APasteIsTypedAndBecomesTheClipboard) {
    Event paste = Event::Of(Key::Paste);
    paste.text = U"ab\r\né";
    Input(paste);
    EXPECT_EQ(Posted(), (List{"char 97", "char 98", "char 13", "char 233"}));
    OpenClipboard(nullptr);
    EXPECT_STREQ((const char*)GlobalLock(GetClipboardData(CF_TEXT)), "ab\r\xE9");
    CloseClipboard();
}

TEST_F(TuiScreen, TheMenuIsOpenedByF10AndAltAndPostsTheChosenCommand) {
    Input(Event::F(10));
    EXPECT_TRUE(desktop.menu.IsOpen());
    for (Key key : {Key::Right, Key::Enter}) Input(Event::Of(key));
    Input(Event::Char(U's', kAlt));
    Input(Event::Of(Key::Enter));  // Show Statistics
    EXPECT_EQ(Posted(), (List{"command 102", "command 105"}));
    EnableMenuItem(GetMenu(MainWindow), IDM_CLIENT, MF_GRAYED);
    Input(Event::Char(U'o', kAlt));
    Input(Event::Char(U'l'));  // cLient, greyed
    EXPECT_TRUE(Posted().empty());
    EXPECT_TRUE(desktop.menu.IsOpen());
    Input(Event::Of(Key::Escape));
    EXPECT_FALSE(desktop.menu.IsOpen());
    Input(Event::Of(Key::Escape));  // the menu is closed: Esc is typed on the console
    Input(Event::F(1));
    EXPECT_EQ(Posted(), (List{"char 27", "command 107"}));
}

// The vertical bar's arrows, track, thumb and the wheel are driven through a real terminal; the
// horizontal thumb moves the view only where it is let go.
TEST_F(TuiScreen, TheHorizontalThumbMovesTheViewWhereItIsLetGo) {
    auto press = [&](MouseAction action, int x, int y) { Input(Event::Mouse(action, x, y)); };
    press(MouseAction::Press, 1, 22);
    press(MouseAction::Drag, 40, 22);
    press(MouseAction::Release, 40, 22);
    int column = desktop.HorizontalBar().PositionAt(40);
    EXPECT_EQ(Posted(), (List{"h 5/" + std::to_string(column), "h 4/" + std::to_string(column), "h 8/0"}));
    SendMessageA(MainWindow, WM_HSCROLL, MAKEWPARAM(5, column), 0);
    EXPECT_EQ(Console.leftColumn, 0);
    SendMessageA(MainWindow, WM_HSCROLL, MAKEWPARAM(4, column), 0);
    EXPECT_EQ(Console.leftColumn, column);
}

TEST_F(TuiScreen, PanelsStackAtTheRightTakeTheKeyboardAndCloseWithEsc) {
    StatisticsDialog = CreateDialogParamA(hInst, "DIALOG_4", MainWindow, StatisticsDlgProc, 0);
    HWND second = CreateDialogParamA(hInst, "DIALOG_4", MainWindow, StatisticsDlgProc, 0);
    desktop.ShowPanel(StatisticsDialog);
    desktop.ShowPanel(second);
    auto places = desktop.PanelPlaces();
    ASSERT_EQ(places.size(), 2u);
    EXPECT_EQ(places[0].first, StatisticsDialog);  // the one with the keyboard is drawn last
    EXPECT_EQ(places[0].second.x, 79 - 76);
    EXPECT_EQ(places[0].second.y, 1);
    EXPECT_EQ(places[1].second.x, 79 - 76 - 2);  // no room below the first: cascaded
    EXPECT_EQ(places[1].second.y, 2);
    EXPECT_EQ(desktop.FocusedPanel(), second);
    Input(Event::F(6));
    EXPECT_EQ(desktop.FocusedPanel(), nullptr);
    Input(Event::F(6));
    EXPECT_EQ(desktop.FocusedPanel(), StatisticsDialog);
    Input(Event::Char(U'a'));  // typed into the panel's first field, not on the console
    EXPECT_TRUE(Posted().empty());
    Input(Event::Of(Key::Escape));  // a panel closes as its close box does
    EXPECT_EQ(Posted(), (List{"close"}));
    Compose();
    Rect box = Form::CloseBox(places[0].second);
    EXPECT_EQ(Cells(box.x, box.y, 3), "[x]");
    Input(Event::Mouse(MouseAction::Press, box.x + 1, box.y));
    EXPECT_EQ(Posted(), (List{"close"}));
    Input(Event::Mouse(MouseAction::Press, 0, 21));  // a click on the console gives it the keyboard
    EXPECT_EQ(desktop.FocusedPanel(), nullptr);
}

}  // namespace
