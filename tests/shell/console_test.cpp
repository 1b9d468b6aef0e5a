// The console's content model: storing, wrapping, scrolling and the control characters, driven
// through the main window's put-character message as Print drives it.

#include <gtest/gtest.h>

#include <string>

#include "base/print.h"
#include "platform/messages.h"
#include "shell/console.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"

namespace {

using testing_support::ShellTest;

class ConsoleTest : public testing_support::MainWindowTest {
protected:
    void Put(const std::string& text, int repeat = 1) {
        for (unsigned char c : text) SendMessageA(MainWindow, MSG_PUTCHAR, c, MAKELONG(repeat, 0));
    }
};

// Output starts on the first line of the last page. Each row: the bytes put, then rows 175 to
// 177 joined by '|', and the caret.
TEST_F(ConsoleTest, ControlCharacters) {
    const struct {
        std::string put, rows;
        int caretRow, caretColumn;
    } rows[] = {
        {"", "||", 175, 0},
        {"abc\r\ndef", "abc||def", 177, 3},                     // CR and LF each start a new row
        {"abcde\t", "abcde||", 175, 8},                         // a tab writes at least one space up to
        {"abcde\t\t", "abcde||", 175, 16},                      // the next multiple of eight
        {"abcde\t\tx", "abcde           x||", 175, 17},
        {"hello\x01J", "Jello||", 175, 1},                      // 1 returns to the row's start, erasing nothing
        {"\b", "||", 175, 0},                                   // nothing left of the caret
        {std::string("a\x1b\0", 3), std::string("a\0||", 4), 175, 2},  // Esc does nothing, NUL is a cell
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.put);
        SetUp();  // a fresh console for each row
        Put(row.put);
        EXPECT_EQ(Row(175) + "|" + Row(176) + "|" + Row(177), row.rows);
        EXPECT_EQ(Console.caretRow, row.caretRow);
        EXPECT_EQ(Console.caretColumn, row.caretColumn);
        EXPECT_EQ(Console.topRow, 175);
    }
}

// Without a window to draw in, plain text is stored a row's piece at a time; what it leaves
// must be what the character-by-character way leaves while drawing.
TEST_F(ConsoleTest, TextStoredWithoutDrawingIsTheTextStoredWhileDrawing) {
    std::string wide(300, 'w');
    for (size_t i = 0; i < wide.size(); i += 37) wide[i] = (char)('A' + i % 26);
    const std::string texts[] = {
        wide,
        std::string(119, 'x') + "\tafter the tab",
        std::string(118, 'y') + "\r\nz" + std::string(125, 'q') + "\n",
        "ab\x01" "c\bd\x1b" + std::string("e\0f", 3) + wide + "\b\b\b",
        std::string(240, 'r'),
    };
    auto stored = [&](const std::string& text, bool drawn) {
        SetUp();
        frontEnd.drawsWindows = drawn;
        ConsolePutText(MainWindow, "prefix ", 7);
        ConsolePutText(MainWindow, text.data(), text.size());
        std::string rows;
        for (int row = 170; row < kConsoleRows; ++row) rows += Row(row) + "|";
        return rows + std::to_string(Console.caretRow) + "," + std::to_string(Console.caretColumn);
    };
    for (const std::string& text : texts) EXPECT_EQ(stored(text, false), stored(text, true)) << text;
}

TEST_F(ConsoleTest, ANewLineOnTheLastRowScrollsTheWholeScreenUp) {
    for (int i = 0; i < 230; ++i) Print(MainWindow, "L%03d\n", i);
    EXPECT_EQ(Console.caretRow, 199);
    EXPECT_EQ(Console.caretColumn, 0);
    EXPECT_EQ(Row(199), "");
    EXPECT_EQ(Row(198), "L229");
    EXPECT_EQ(Row(0), "L031");
    EXPECT_EQ(Console.topRow, 175) << "output never moves the view";
}

TEST_F(ConsoleTest, BackspaceRemovesTheCharacterLeftOfTheCaretAndPullsTheRowLeft) {
    Put("abcd");
    SendMessageA(MainWindow, WM_KEYDOWN, VK_LEFT, 0);
    SendMessageA(MainWindow, WM_KEYDOWN, VK_LEFT, 0);
    Put("\b");
    EXPECT_EQ(Row(175), "acd");
    EXPECT_EQ(Console.caretColumn, 1);
}

TEST_F(ConsoleTest, TheRepeatCountIsASigned16BitValue) {
    Put("z", 3);
    EXPECT_EQ(Row(175), "zzz");
    SendMessageA(MainWindow, MSG_PUTCHAR, 'q', 0);
    SendMessageA(MainWindow, MSG_PUTCHAR, 'q', MAKELONG(0xFFFF, 0));
    EXPECT_EQ(Row(175), "zzz");
}

// The redraw after a delete is placed with the left column where the top row belongs, so it
// lands on the caret's row only when the two are equal.
TEST_F(ConsoleTest, DeleteRedrawsTheRestOfTheRowAtTheRowNumberedByTheLeftColumn) {
    Put("\n\n\n\n\nabcdef");
    SendMessageA(MainWindow, WM_KEYDOWN, VK_HOME, 0);
    frontEnd.draws.clear();
    SendMessageA(MainWindow, WM_KEYDOWN, VK_DELETE, 0);
    EXPECT_EQ(Row(180), "bcdef");
    ASSERT_EQ(frontEnd.draws.size(), 1u);
    EXPECT_EQ(frontEnd.draws[0].x, 0);
    EXPECT_EQ(frontEnd.draws[0].y, 180) << "caret row minus left column, not minus top row";
    EXPECT_EQ(frontEnd.draws[0].text, "bcdef" + std::string(115, ' '));
}

TEST_F(ConsoleTest, PrintReturnsTheFormattedLengthStopsSendingAtNulAndCutsAt999Characters) {
    EXPECT_EQ(Print(MainWindow, "%s-%d", "ab", 42), 5);
    EXPECT_EQ(Row(175), "ab-42");
    TakePrinted();
    EXPECT_EQ(Print(MainWindow, "x%cy", 0), 3);
    EXPECT_EQ(TakePrinted(), "x");
    Print(MainWindow, "%s", std::string(1500, 'k').c_str());
    EXPECT_EQ(frontEnd.printed.size(), 999u);
}

}  // namespace
