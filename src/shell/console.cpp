#include "shell/console.h"

#include <cstring>
#include <new>

#include "platform/frontend.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/view.h"

ConsoleScreen Console;

namespace {

constexpr int kStoredRows = kConsoleRows + 1;
constexpr int kCellBytes = kStoredRows * kConsoleColumns;
static_assert(kCellBytes <= 32767, "the console must fit in one 32 KB block");

char* Cell(int row, int column) {
    return Console.cells + ((Console.firstRow + row) % kStoredRows) * kConsoleColumns + column;
}

bool Drawn() { return platform::TheFrontEnd().DrawsWindows(); }

// Rows 1..199 move up one, the spare blank row 200 becomes row 199: the old row 0 is blanked
// and becomes the new spare row.
void Scroll(HWND window) {
    Console.caretRow = kConsoleRows - 1;
    if (Console.cells) {
        Console.firstRow = (int16_t)((Console.firstRow + 1) % kStoredRows);
        memset(Cell(kConsoleRows, 0), ' ', kConsoleColumns);
    }
    if (Drawn()) DrawView(window);
    PlaceCaret(window);
}

void NewLine(HWND window) {
    Console.caretColumn = 0;
    if (++Console.caretRow >= kConsoleRows) Scroll(window);
}

void StoreAndDraw(HWND window, int c, bool drawn) {
    if (Console.cells) *Cell(Console.caretRow, Console.caretColumn) = (char)c;
    if (Console.cells && drawn) {
        HDC dc = GetDC(window);
        SelectObject(dc, GetStockObject(SYSTEM_FIXED_FONT));
        TextOutA(dc, (Console.caretColumn - Console.leftColumn) * Console.charWidth,
                 (Console.caretRow - Console.topRow) * Console.lineHeight, Cell(Console.caretRow, Console.caretColumn), 1);
        ReleaseDC(window, dc);
    }
    if (++Console.caretColumn >= kConsoleColumns) NewLine(window);
}

// A tab writes spaces through the typed-character path, so with keyboard echo on they go to
// the connected clients too, even when the tab came from the program's own output.
void Tab(HWND window) {
    do {
        SendMessageA(window, WM_CHAR, ' ', 1);
    } while (Console.caretColumn % 8 != 0);
}

// The characters PutOne gives a meaning of their own; every other byte is stored as it is.
bool IsPlain(unsigned char c) { return c != 1 && c != 8 && c != 9 && c != 10 && c != 13 && c != 27; }

void PutOne(HWND window, int c, bool drawn) {
    if (IsPlain((unsigned char)c)) return StoreAndDraw(window, c, drawn);
    switch (c) {
        case 1:
            Console.caretColumn = 0;
            break;
        case 8:
            if (Console.caretColumn > 0) {
                --Console.caretColumn;
                ConsoleDeleteAtCaret(window);
            }
            break;
        case 9:
            Tab(window);
            break;
        case 10:
        case 13:
            NewLine(window);
            break;
        case 27:
            break;
    }
}

// A server prints a few lines for every request. Where nothing is drawn, the plain characters
// up to the end of the caret's row are stored at once, as PutOne would store them one by one.
// Returns how many were stored (0 when the text starts with a character of its own).
size_t StoreUndrawnRun(HWND window, const char* text, size_t length) {
    int column = Console.caretColumn;
    size_t room = column >= 0 && column < kConsoleColumns ? (size_t)(kConsoleColumns - column) : 0;
    size_t run = 0;
    while (run < length && run < room && IsPlain((unsigned char)text[run])) ++run;
    if (run == 0) return 0;
    if (Console.cells) memcpy(Cell(Console.caretRow, Console.caretColumn), text, run);
    Console.caretColumn = (int16_t)(Console.caretColumn + run);
    if (Console.caretColumn >= kConsoleColumns) NewLine(window);
    return run;
}

}  // namespace

void ConsoleAllocate(HWND window) {
    Console.cells = new (std::nothrow) char[kCellBytes];
    if (!Console.cells) {
        MessageBoxA(window, "Fenetre trop grande.Memoire insuffisante.", "Frappe", MB_ICONEXCLAMATION);
        return;
    }
    memset(Console.cells, ' ', kCellBytes);
    Console.firstRow = 0;
}

void ConsoleRelease() {
    delete[] Console.cells;
    Console.cells = nullptr;
}

void ConsolePutChar(HWND window, int c, int repeat) {
    if (repeat <= 0) return;
    bool drawn = Drawn();
    for (int i = 0; i < repeat; ++i) PutOne(window, c & 0xFF, drawn);
    PlaceCaret(window);
}

void ConsolePutText(HWND window, const char* text, size_t length) {
    if (length == 0) return;
    bool drawn = Drawn();
    for (size_t i = 0; i < length;) {
        size_t stored = drawn ? 0 : StoreUndrawnRun(window, text + i, length - i);
        if (stored == 0) PutOne(window, (unsigned char)text[i++], drawn);
        i += stored;
    }
    PlaceCaret(window);
}

// The redraw of the rest of the row is placed with the left column where the top row belongs;
// it lands on the caret's row only when the two happen to be equal, and otherwise the change
// shows at the next full redraw. Kept as the program has always drawn it.
void ConsoleDeleteAtCaret(HWND window) {
    if (!Console.cells) return;
    int column = Console.caretColumn;
    char* row = Cell(Console.caretRow, 0);
    memmove(row + column, row + column + 1, (size_t)(kConsoleColumns - column - 1));
    row[kConsoleColumns - 1] = ' ';
    if (!Drawn()) return;
    HDC dc = GetDC(window);
    SelectObject(dc, GetStockObject(SYSTEM_FIXED_FONT));
    TextOutA(dc, (column - Console.leftColumn) * Console.charWidth,
             (Console.caretRow - Console.leftColumn) * Console.lineHeight, row + column, kConsoleColumns - column);
    ReleaseDC(window, dc);
}

const char* ConsoleRow(int row) {
    if (!Console.cells || row < 0 || row >= kConsoleRows) return nullptr;
    return Cell(row, 0);
}
