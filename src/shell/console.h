// The console: a fixed text screen of 120 columns by 200 rows shown in the main window,
// where everything the program reports ends up. This file is its content model: how a
// character is stored, how lines wrap and the screen scrolls, what control characters do.
// How the screen is shown and scrolled by the user is the view (view.h).
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

constexpr int kConsoleColumns = 120;
constexpr int kConsoleRows = 200;

struct ConsoleScreen {
    // The 201 rows of 120 cells form a ring: row r is stored at (firstRow + r) % 201. Row 200
    // is a spare row of spaces that becomes row 199 when the screen scrolls, which only moves
    // firstRow on. Null until the first size message of the main window.
    char* cells = nullptr;
    int16_t firstRow = 0;
    int16_t columns = kConsoleColumns;
    int16_t rows = kConsoleRows;
    int16_t caretColumn = 0;
    int16_t caretRow = 0;
    int16_t topRow = 0;
    int16_t leftColumn = 0;
    int16_t visibleRows = 1;
    int16_t visibleColumns = 1;
    int16_t charWidth = 1;
    int16_t lineHeight = 1;
};

extern ConsoleScreen Console;

// Allocates the cells and blanks them; shows the "Fenetre trop grande" box on failure.
void ConsoleAllocate(HWND window);
// Releases the cells (shutdown).
void ConsoleRelease();

// The character path of MSG_PUTCHAR (and of WM_CHAR after the keyboard echo): stores or
// interprets the character `repeat` times, then moves the platform caret to the caret cell.
void ConsolePutChar(HWND window, int c, int repeat);

// The path of MSG_PUTTEXT: each character as ConsolePutChar puts it once, with the platform
// caret moved once at the end.
void ConsolePutText(HWND window, const char* text, size_t length);

// Removes the character at the caret, pulling the rest of the row left (Backspace, Delete).
void ConsoleDeleteAtCaret(HWND window);

// The text of row r (120 cells, not NUL-terminated), or null before allocation.
const char* ConsoleRow(int row);
