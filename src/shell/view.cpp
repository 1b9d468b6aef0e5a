// The console view: geometry, painting, caret, scroll bars and the keyboard.

#include "shell/view.h"

#include <algorithm>
#include <cstdio>

#include "channel/channel.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"
#include "shell/console.h"
#include "shell/shell.h"

ConsoleView View;

namespace {

HDC FixedFontDC(HWND window) {
    HDC dc = GetDC(window);
    SelectObject(dc, GetStockObject(SYSTEM_FIXED_FONT));
    return dc;
}

// Moves the view by `step` along one bar, clamped to the bar's range.
void ScrollBy(HWND window, int bar, int step) {
    int16_t& position = bar == SB_HORZ ? Console.leftColumn : Console.topRow;
    int16_t maximum = bar == SB_HORZ ? View.horizontalMax : View.verticalMax;
    step = std::clamp(step, -position, maximum - position);
    if (step != 0) {
        position = (int16_t)(position + step);
        DrawView(window);
        SetScrollPos(window, bar, position, TRUE);
    }
    PlaceCaret(window);
}

int HorizontalStep(WPARAM wParam) {
    switch (LOWORD(wParam)) {
        case 0: return -1;
        case 1: return 1;
        case 2: return -8;
        case 3: return 8;
        case 4: return (int16_t)HIWORD(wParam) - Console.leftColumn;
        default: return 0;
    }
}

// Unlike the horizontal bar, the vertical one follows the thumb while it is dragged, ignores
// its final position, pages by a window height and knows top and bottom.
int VerticalStep(WPARAM wParam) {
    int page = std::max(1, View.clientHeight / std::max<int>(1, Console.lineHeight));
    switch (LOWORD(wParam)) {
        case 0: return -1;
        case 1: return 1;
        case 2: return -page;
        case 3: return page;
        case 5: return (int16_t)HIWORD(wParam) - Console.topRow;
        case 6: return -Console.topRow;
        case 7: return View.verticalMax - Console.topRow;
        default: return 0;
    }
}

// Keyboard echo, with the '$' escape: "$41" sends 'A', "$$" sends one '$'. Returns whether
// the character (possibly replaced by the escaped value) is to be sent.
bool EchoEscape(int& c) {
    if (View.escapeState < 0) {
        if (c != '$') return true;
        View.escapeState = 0;
        return false;
    }
    if (c == '$') {
        View.escapeState = -1;
        return true;
    }
    View.escapeText[View.escapeState++] = (char)c;
    View.escapeText[View.escapeState] = '\0';
    if (View.escapeState < 2) return false;
    View.escapeState = -1;
    unsigned short value;
    if (sscanf(View.escapeText, "%hx", &value) != 1) return false;
    c = value;
    return true;
}

void EchoToChannels(int c) {
    char byte = (char)c, lineFeed = 10;
    for (int i = 0; i < ChannelsInUse(); ++i) {
        if (Channels[i].State != kFree) send(Channels[i].Socket, &byte, 1, 0);
        if (c == 13) send(Channels[i].Socket, &lineFeed, 1, 0);
    }
}

}  // namespace

void MeasureFont(HWND window) {
    HDC dc = FixedFontDC(window);
    TEXTMETRICA metrics;
    GetTextMetricsA(dc, &metrics);
    Console.charWidth = (int16_t)metrics.tmAveCharWidth;
    Console.lineHeight = (int16_t)metrics.tmHeight;
    ReleaseDC(window, dc);
}

void DrawRow(HWND window, int row) {
    if (!Console.cells) return;
    HDC dc = FixedFontDC(window);
    int count = std::min<int>(Console.visibleColumns, kConsoleColumns - Console.leftColumn);
    TextOutA(dc, 0, (row - Console.topRow) * Console.lineHeight, ConsoleRow(row) + Console.leftColumn,
             std::max(count, 0));
    ReleaseDC(window, dc);
}

void DrawView(HWND window) {
    HideCaret(window);
    for (int row = Console.topRow; row < Console.topRow + Console.visibleRows && row < kConsoleRows; ++row)
        DrawRow(window, row);
    ShowCaret(window);
}

void PlaceCaret(HWND window) {
    SetCaretPos((Console.caretColumn - Console.leftColumn) * Console.charWidth,
                (Console.caretRow - Console.topRow) * Console.lineHeight);
}

void OnSize(HWND window, LPARAM size) {
    Shell.LastSize = (uint32_t)size;
    View.clientWidth = (int16_t)LOWORD(size);
    View.clientHeight = (int16_t)HIWORD(size);
    Console.visibleColumns = (int16_t)(View.clientWidth / std::max<int16_t>(1, Console.charWidth));
    Console.visibleRows = (int16_t)(View.clientHeight / std::max<int16_t>(1, Console.lineHeight));
    if (Console.visibleColumns <= 1) Console.visibleColumns = 1;
    if (Console.visibleRows <= 1) Console.visibleRows = 1;
    if (Console.visibleRows > kConsoleRows) {
        Console.visibleRows = kConsoleRows;
        View.clientHeight = (int16_t)(kConsoleRows * Console.lineHeight);
    }
    if (Console.visibleColumns > kConsoleColumns) {
        Console.visibleColumns = kConsoleColumns;
        View.clientWidth = (int16_t)(kConsoleColumns * Console.charWidth);
    }
    if (!Console.cells) {
        Console.caretColumn = 0;
        Console.caretRow = (int16_t)(kConsoleRows - Console.visibleRows);
    }
    Console.leftColumn = 0;
    Console.topRow = Console.caretRow + Console.visibleRows < kConsoleRows
                         ? Console.caretRow
                         : (int16_t)(kConsoleRows - Console.visibleRows);
    View.verticalMax = (int16_t)std::max(0, kConsoleRows - Console.visibleRows);
    View.horizontalMax = (int16_t)std::max(0, kConsoleColumns - Console.visibleColumns);
    SetScrollRange(window, SB_VERT, 0, View.verticalMax, FALSE);
    SetScrollPos(window, SB_VERT, Console.topRow, TRUE);
    SetScrollRange(window, SB_HORZ, 0, View.horizontalMax, FALSE);
    SetScrollPos(window, SB_HORZ, 0, TRUE);
    if (Console.cells)
        DrawView(window);
    else
        ConsoleAllocate(window);
    if (GetFocus() == window) PlaceCaret(window);
}

void OnPaint(HWND window) {
    PAINTSTRUCT paint;
    BeginPaint(window, &paint);
    DrawView(window);
    EndPaint(window, &paint);
}

void OnSetFocus(HWND window) {
    CreateCaret(window, nullptr, Console.charWidth, Console.lineHeight);
    PlaceCaret(window);
    ShowCaret(window);
}

void OnKillFocus(HWND window) {
    HideCaret(window);
    DestroyCaret();
}

void OnHorizontalScroll(HWND window, WPARAM wParam) { ScrollBy(window, SB_HORZ, HorizontalStep(wParam)); }

void OnVerticalScroll(HWND window, WPARAM wParam) { ScrollBy(window, SB_VERT, VerticalStep(wParam)); }

// The keys move only the caret, never the view; Page Up and Page Down jump to the first and
// last row of the whole screen.
void OnKeyDown(HWND window, WPARAM key) {
    switch (key) {
        case VK_PRIOR: Console.caretRow = 0; break;
        case VK_NEXT: Console.caretRow = kConsoleRows - 1; break;
        case VK_END: Console.caretColumn = kConsoleColumns - 1; break;
        case VK_HOME: Console.caretColumn = 0; break;
        case VK_LEFT: Console.caretColumn = (int16_t)std::max(0, Console.caretColumn - 1); break;
        case VK_UP: Console.caretRow = (int16_t)std::max(0, Console.caretRow - 1); break;
        case VK_RIGHT: Console.caretColumn = (int16_t)std::min(kConsoleColumns - 1, Console.caretColumn + 1); break;
        case VK_DOWN: Console.caretRow = (int16_t)std::min(kConsoleRows - 1, Console.caretRow + 1); break;
        case VK_DELETE: ConsoleDeleteAtCaret(window); break;
        default: break;
    }
    PlaceCaret(window);
}

void OnChar(HWND window, WPARAM wParam, LPARAM lParam) {
    int c = LOWORD(wParam);
    bool echo = true;
    if (Settings.Server.ServerMode & EchoKeyboard) {
        echo = EchoEscape(c);
        if (echo && c != 10 && Settings.Server.HowManyClients >= 1) EchoToChannels(c);
    }
    ConsolePutChar(window, (int)LOWORD(wParam), (int16_t)LOWORD(lParam));
}
