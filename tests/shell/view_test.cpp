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
    void Scroll(UINT message, int code, int thumb = 0) { SendMessageA(MainWindow, message, MAKEWPARAM(code, thumb), 0); }
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

// The vertical bar follows the thumb while it is tracked, ignores its final position, pages
// by a window height and knows top and bottom; the horizontal bar moves only on the final
// thumb position and pages by eight columns.
TEST_F(ViewTest, TheTwoScrollBars) {
    CreateMainWindow(80, 25);
    const struct {
        UINT bar;
        int code, thumb, position;
    } steps[] = {
        {WM_VSCROLL, 6, 0, 0},   {WM_VSCROLL, 3, 0, 25},   {WM_VSCROLL, 5, 100, 100}, {WM_VSCROLL, 4, 10, 100},
        {WM_VSCROLL, 7, 0, 175}, {WM_VSCROLL, 1, 0, 175},  {WM_VSCROLL, 0, 0, 174},   {WM_HSCROLL, 3, 0, 8},
        {WM_HSCROLL, 5, 30, 8},  {WM_HSCROLL, 4, 30, 30},  {WM_HSCROLL, 3, 0, 38},    {WM_HSCROLL, 3, 0, 40},
        {WM_HSCROLL, 2, 0, 32},  {WM_HSCROLL, 6, 0, 32},  // clamped to 120 - 80; an unknown code
    };
    for (const auto& step : steps) {
        Scroll(step.bar, step.code, step.thumb);
        EXPECT_EQ(step.bar == WM_VSCROLL ? Console.topRow : Console.leftColumn, step.position) << step.code;
    }
    EXPECT_EQ(platform::ScrollBar(MainWindow, SB_VERT).pos, 174);
}

TEST_F(ViewTest, FindReplaysTheLastSizeAndBringsTheCaretIntoView) {
    CreateMainWindow(80, 25);
    for (int i = 0; i < 10; ++i) Print(MainWindow, "line %d\n", i);
    Scroll(WM_VSCROLL, 6);
    Scroll(WM_HSCROLL, 3);
    SendMessageA(MainWindow, WM_COMMAND, IDM_FIND, 0);
    EXPECT_EQ(Console.topRow, 175) << "the caret is on the last page";
    EXPECT_EQ(Console.leftColumn, 0);
}

TEST_F(ViewTest, CaretKeysMoveOnlyTheCaretAndStopAtTheEdges) {
    CreateMainWindow(80, 25);
    const struct {
        int key, row, column;
    } steps[] = {{VK_PRIOR, 0, 0},     {VK_UP, 0, 0},        {VK_END, 0, 119},  {VK_RIGHT, 0, 119}, {VK_HOME, 0, 0},
                 {VK_LEFT, 0, 0},      {VK_NEXT, 199, 0},    {VK_DOWN, 199, 0}, {'A', 199, 0}};
    for (const auto& step : steps) {
        Key(step.key);
        EXPECT_EQ(Console.caretRow, step.row) << step.key;
        EXPECT_EQ(Console.caretColumn, step.column) << step.key;
    }
    EXPECT_EQ(Console.topRow, 175) << "keys never move the view";
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
    Scroll(WM_HSCROLL, 4, 4);
    frontEnd.draws.clear();
    SendMessageA(MainWindow, WM_PAINT, 0, 0);
    ASSERT_EQ(frontEnd.draws.size(), 3u);
    EXPECT_EQ(frontEnd.draws[0].text, "456789ABCD");
    EXPECT_EQ(frontEnd.draws[2].y, 2);
}

}  // namespace
