// The terminal front end's drawing pieces: how stored bytes look, labels with mnemonics,
// wrapping, frames, the surface a window draws into, and the scroll bars' geometry.

#include <gtest/gtest.h>

#include <string>

#include "frontend/tui/canvas.h"
#include "frontend/tui/scroll_bar.h"
#include "frontend/tui/surface.h"
#include "frontend/tui/text.h"

namespace {

using namespace tui;

TEST(TuiText, StoredBytesShowAsWindows1252WithControlsMadeVisible) {
    struct Case {
        unsigned char byte;
        char32_t shown;
    } cases[] = {
        {'A', U'A'},      {' ', U' '},      {0x00, U'·'},     {0x01, U'·'},     {0x09, U'·'},
        {0x0D, U'·'},     {0x1B, U'·'},     {0x7F, U'·'},     {0x80, U'€'},     {0x81, U'·'},
        {0x8D, U'·'},     {0x92, U'’'},     {0x9F, U'Ÿ'},     {0xA0, U'\u00A0'}, {0xAD, U'-'},
        {0xB0, U'°'},     {0xE9, U'é'},     {0xFF, U'ÿ'},
    };
    for (const Case& c : cases) EXPECT_EQ(DisplayChar(c.byte), c.shown) << "byte " << (int)c.byte;
    EXPECT_EQ(DisplayText(std::string("a\tb\x80", 4)), U"a·b€");
}

TEST(TuiText, TypedCharactersBecomeTheirWindows1252Bytes) {
    // (A C1 control is no byte of the code page.)
    for (auto [typed, byte] : {std::pair{U'a', (int)'a'}, {U'é', 0xE9}, {U'€', 0x80}, {U'—', 0x97}, {U'Ÿ', 0x9F}, {U'Ā', -1},
                               {U'→', -1}, {U'\u0081', -1}})
        EXPECT_EQ(Cp1252Byte(typed), byte) << (int)typed;
}

TEST(TuiText, MnemonicsAndUtf8) {
    const struct {
        const char* label;
        std::u32string text;
        int index;
        char32_t letter;
    } rows[] = {{"&Http", U"Http", 0, U'h'}, {"Auto&NameFile", U"AutoNameFile", 4, U'n'}, {"R&&D", U"R&D", -1, 0}};
    for (const auto& row : rows) {
        Mnemonic m = ParseMnemonic(row.label);
        EXPECT_EQ(m.text, row.text) << row.label;
        EXPECT_EQ(m.index, row.index) << row.label;
        EXPECT_EQ(m.letter, row.letter) << row.label;
    }
    EXPECT_EQ(ToUtf8(U"é€─"), "\xC3\xA9\xE2\x82\xAC\xE2\x94\x80");
}

TEST(TuiText, WrappingBreaksAtLineEndsThenAtBlanks) {
    auto lines = WrapText(U"one two three\r\nfour\rfive\nsix\tseven", 9);
    std::vector<std::u32string> expected = {U"one two", U"three", U"four", U"five", U"six seven"};
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(WrapText(U"abcdefghij", 4), (std::vector<std::u32string>{U"abcd", U"efgh", U"ij"}));
}

TEST(TuiCanvas, FramesCarryTheirTitleCentredOrAtTheLeftAndCutWhenNarrow) {
    Canvas canvas;
    canvas.Resize(20, 6);
    canvas.Frame(Rect{0, 0, 20, 3}, Style::Dialog, U"Title");
    EXPECT_EQ(canvas.RowText(0), "┌───── Title ──────┐");
    EXPECT_EQ(canvas.RowText(1), "│                  │");
    EXPECT_EQ(canvas.RowText(2), "└──────────────────┘");
    canvas.Frame(Rect{0, 3, 9, 3}, Style::Dialog, U"Group", Style::Dialog, false);
    EXPECT_EQ(canvas.RowText(3), "┌ Group ┐");
    canvas.Frame(Rect{10, 3, 8, 3}, Style::Dialog, U"Longer title", Style::Dialog, false);
    EXPECT_EQ(canvas.RowText(3), "┌ Group ┐ ┌Longer┐");
}

TEST(TuiSurface, DrawsAreClippedToTheClientAreaAndAResizeBlanks) {
    Surface surface;
    surface.Resize(5, 2);
    surface.Draw(-2, 0, "abcdefgh", 8);  // starts left of the area
    surface.Draw(3, 1, "xyz", 3);        // runs past its right edge
    surface.Draw(0, 2, "lost", 4);       // below the last row
    surface.Draw(0, -1, "lost", 4);
    EXPECT_EQ(surface.Row(0), "cdefg");
    EXPECT_EQ(surface.Row(1), "   xy");
    surface.Draw(1, 1, std::string("\0\0", 2).data(), 2);  // NULs are cells like any other
    EXPECT_EQ(surface.At(1, 1), 0);
    surface.Resize(3, 3);
    EXPECT_EQ(surface.Row(0), "   ");
    EXPECT_EQ(surface.Row(2), "   ");
}

TEST(TuiScrollBar, TheThumbStandsForThePositionAndPressesMapToScrollCodes) {
    ScrollBarView bar{Rect{0, 0, 1, 12}, true, platform::ScrollState{0, 180, 0}};
    EXPECT_EQ(bar.ThumbCell(), 1);
    bar.state.pos = 180;
    EXPECT_EQ(bar.ThumbCell(), 10);
    bar.state.pos = 90;
    EXPECT_EQ(bar.ThumbCell(), 6);  // half way along the track of ten cells, rounded
    for (auto [cell, code] : {std::pair{0, (int)kLineBack}, {11, kLineForward}, {2, kPageBack}, {6, kThumbTrack},
                              {9, kPageForward}, {12, -1}})
        EXPECT_EQ(bar.PressCode(cell), code) << cell;
    // A thumb dragged to a cell stands for the position whose thumb is drawn there.
    for (int cell = 1; cell <= 10; ++cell) {
        bar.state.pos = bar.PositionAt(cell);
        EXPECT_EQ(bar.ThumbCell(), cell);
    }
    EXPECT_EQ(bar.PositionAt(1), 0);
    EXPECT_EQ(bar.PositionAt(10), 180);
    EXPECT_EQ(bar.PositionAt(40), 180);
}

TEST(TuiScrollBar, AnEmptyRangeHasNoThumbAndItsTrackDoesNothing) {
    ScrollBarView bar{Rect{2, 5, 10, 1}, false, platform::ScrollState{0, 0, 0}};
    EXPECT_EQ(bar.ThumbCell(), -1);
    EXPECT_EQ(bar.PressCode(4), -1);
    EXPECT_EQ(bar.PressCode(0), kLineBack);
    EXPECT_EQ(bar.CellAt(2, 5), 0);
    EXPECT_EQ(bar.CellAt(11, 5), 9);
    EXPECT_EQ(bar.CellAt(12, 5), -1);
    Canvas canvas;
    canvas.Resize(14, 6);
    bar.Draw(canvas);
    EXPECT_EQ(canvas.RowText(5), "  ◄░░░░░░░░►");
    bar.state = platform::ScrollState{0, 1, 1};
    bar.Draw(canvas);
    EXPECT_EQ(canvas.RowText(5), "  ◄░░░░░░░█►");
}

}  // namespace
