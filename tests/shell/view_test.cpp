// The console view: geometry from the window size, the two unlike scroll bars, Find, and the
// caret keys, which move the caret but never the view.

#include <gtest/gtest.h>

#include "base/print.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/console.h"
#include "shell/shell.h"
#include "shell/view.h"
#include "support/shell_fixture.h"

namespace {

using testing_support::ShellTest;

class ViewTest : public ShellTest {
protected:
    void Size(int width, int height) { SendMessageA(MainWindow, WM_SIZE, 0, MAKELONG(width, height)); }
    void VScroll(int code, int thumb = 0) { SendMessageA(MainWindow, WM_VSCROLL, MAKEWPARAM(code, thumb), 0); }
    void HScroll(int code, int thumb = 0) { SendMessageA(MainWindow, WM_HSCROLL, MAKEWPARAM(code, thumb), 0); }
    void Key(int vk) { SendMessageA(MainWindow, WM_KEYDOWN, (WPARAM)vk, 0); }
};

TEST_F(ViewTest, TheViewIsAtLeastOneCellAndAtMostTheWholeScreen) {
    CreateMainWindow(0, 0);
    EXPECT_EQ(Console.visibleColumns, 1);
    EXPECT_EQ(Console.visibleRows, 1);
    Size(300, 400);
    EXPECT_EQ(Console.visibleColumns, 120);
    EXPECT_EQ(Console.visibleRows, 200);
    EXPECT_EQ(View.clientHeight, 200);
    EXPECT_EQ(View.verticalMax, 0);
    EXPECT_EQ(View.horizontalMax, 0);
}

TEST_F(ViewTest, AResizeBringsTheCaretRowToTheTopUnlessThatRunsPastTheLastRow) {
    CreateMainWindow(80, 25);
    EXPECT_EQ(Console.caretRow, 175);
    Key(VK_PRIOR);  // caret to row 0
    Size(80, 20);
    EXPECT_EQ(Console.topRow, 0);
    Key(VK_NEXT);  // caret to row 199
    Size(80, 20);
    EXPECT_EQ(Console.topRow, 180);
    EXPECT_EQ(platform::ScrollBar(MainWindow, SB_VERT).pos, 180);
    EXPECT_EQ(platform::ScrollBar(MainWindow, SB_VERT).maxPos, 180);
    EXPECT_EQ(platform::ScrollBar(MainWindow, SB_HORZ).maxPos, 40);
}

TEST_F(ViewTest, TheVerticalBarFollowsTheThumbAndPagesByAWindowHeight) {
    CreateMainWindow(80, 25);
    VScroll(6);  // top
    EXPECT_EQ(Console.topRow, 0);
    VScroll(3);  // page down
    EXPECT_EQ(Console.topRow, 25);
    VScroll(5, 100);  // thumb tracking
    EXPECT_EQ(Console.topRow, 100);
    VScroll(4, 10);  // thumb position: ignored
    EXPECT_EQ(Console.topRow, 100);
    VScroll(7);  // bottom
    EXPECT_EQ(Console.topRow, 175);
    VScroll(1);  // line down, clamped
    EXPECT_EQ(Console.topRow, 175);
    VScroll(0);
    EXPECT_EQ(Console.topRow, 174);
    EXPECT_EQ(platform::ScrollBar(MainWindow, SB_VERT).pos, 174);
}

TEST_F(ViewTest, TheHorizontalBarMovesOnTheFinalThumbPositionAndPagesByEight) {
    CreateMainWindow(80, 25);
    HScroll(3);
    EXPECT_EQ(Console.leftColumn, 8);
    HScroll(5, 30);  // tracking: ignored
    EXPECT_EQ(Console.leftColumn, 8);
    HScroll(4, 30);
    EXPECT_EQ(Console.leftColumn, 30);
    HScroll(3);
    HScroll(3);
    EXPECT_EQ(Console.leftColumn, 40) << "clamped to 120 - 80";
    HScroll(2);
    EXPECT_EQ(Console.leftColumn, 32);
    HScroll(6);  // unknown code
    EXPECT_EQ(Console.leftColumn, 32);
}

TEST_F(ViewTest, FindReplaysTheLastSizeAndBringsTheCaretIntoView) {
    CreateMainWindow(80, 25);
    for (int i = 0; i < 10; ++i) Print(MainWindow, "line %d\n", i);
    VScroll(6);
    HScroll(3);
    SendMessageA(MainWindow, WM_COMMAND, IDM_FIND, 0);
    EXPECT_EQ(Console.topRow, 175) << "the caret is on the last page";
    EXPECT_EQ(Console.leftColumn, 0);
}

TEST_F(ViewTest, CaretKeysMoveOnlyTheCaretAndStopAtTheEdges) {
    CreateMainWindow(80, 25);
    Key(VK_PRIOR);
    EXPECT_EQ(Console.caretRow, 0);
    Key(VK_UP);
    EXPECT_EQ(Console.caretRow, 0);
    Key(VK_END);
    EXPECT_EQ(Console.caretColumn, 119);
    Key(VK_RIGHT);
    EXPECT_EQ(Console.caretColumn, 119);
    Key(VK_HOME);
    Key(VK_LEFT);
    EXPECT_EQ(Console.caretColumn, 0);
    Key(VK_NEXT);
    EXPECT_EQ(Console.caretRow, 199);
    Key(VK_DOWN);
    EXPECT_EQ(Console.caretRow, 199);
    EXPECT_EQ(Console.topRow, 175) << "keys never move the view";
    Key('A');
    EXPECT_EQ(Console.caretRow, 199);
}

TEST_F(ViewTest, TheCaretFollowsTheFocus) {
    CreateMainWindow(80, 25);
    SetFocus(MainWindow);
    EXPECT_EQ(platform::Caret().owner, MainWindow);
    EXPECT_TRUE(platform::Caret().visible);
    EXPECT_EQ(platform::Caret().y, 0);
    Print(MainWindow, "abc");
    EXPECT_EQ(platform::Caret().x, 3);
    SetFocus(nullptr);
    EXPECT_EQ(platform::Caret().owner, nullptr);
}

TEST_F(ViewTest, PaintDrawsEveryVisibleRowFromTheLeftColumn) {
    CreateMainWindow(10, 3);
    Print(MainWindow, "0123456789ABCDEF");
    HScroll(4, 4);
    frontEnd.draws.clear();
    SendMessageA(MainWindow, WM_PAINT, 0, 0);
    ASSERT_EQ(frontEnd.draws.size(), 3u);
    EXPECT_EQ(frontEnd.draws[0].text, "456789ABCD");
    EXPECT_EQ(frontEnd.draws[2].y, 2);
}

}  // namespace
