// The console view and keyboard: the window onto the 120 x 200 screen, sized by the main
// window and moved by the scroll bars and Find, with a block caret; and the typed keys, which
// move the caret or are written to the screen and, with "Echo Keyboard to Clients", sent
// byte by byte to every connected channel ($ followed by two hexadecimal digits sends any
// byte).
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

struct ConsoleView {
    int16_t clientWidth = 0;
    int16_t clientHeight = 0;
    int16_t horizontalMax = 0;
    int16_t verticalMax = 0;
    int16_t escapeState = -1;  // -1 idle, else hexadecimal digits collected after '$'
    char escapeText[3] = "";
};

extern ConsoleView View;

void MeasureFont(HWND window);
void DrawRow(HWND window, int row);
void DrawView(HWND window);
void PlaceCaret(HWND window);

void OnSize(HWND window, LPARAM size);
void OnPaint(HWND window);
void OnSetFocus(HWND window);
void OnKillFocus(HWND window);
void OnHorizontalScroll(HWND window, WPARAM wParam);
void OnVerticalScroll(HWND window, WPARAM wParam);
void OnKeyDown(HWND window, WPARAM key);
void OnChar(HWND window, WPARAM wParam, LPARAM lParam);
