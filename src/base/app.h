// What every floor of the program knows of the application around it: the main window (the
// console, and the receiver of every socket event and print), the message numbers of that
// window, the menu commands, and the flag of a command-line task.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

// Main window messages: the program's own numbering on top of WM_USER.
constexpr UINT MSG_PUTCHAR = WM_USER;       // 1024: put one character on the console
constexpr UINT MSG_SERVER = WM_USER + 1;    // 1025: event of the listening socket
constexpr UINT MSG_CHANNEL0 = WM_USER + 2;  // 1026 + i: event of channel i's socket
constexpr UINT MSG_ICMP = WM_USER + 20;     // 1044: event of the ICMP socket
// Put a run of characters on the console, each as MSG_PUTCHAR would (wParam: the count,
// lParam: the characters); the printer's way, one message for a whole line.
constexpr UINT MSG_PUTTEXT = WM_USER + 64;

// Menu commands, and the two notifications of the modeless dialogs.
enum : int {
    IDM_FIND = 101,
    IDM_CONFIGURATION = 102,
    IDM_SERVER = 103,
    IDM_CLIENT = 104,
    IDM_SHOW_STATISTICS = 105,
    IDM_HIDE_STATISTICS = 106,
    IDM_SHOW_HELP = 107,
    IDM_EDIT = 108,
    IDM_URL = 109,
    IDM_SAVE = 110,
    IDM_PING = 111,
    IDM_STATISTICS_CLOSED = 1124,
    IDM_PING_CLOSED = 1125,
};

// The timer of the main window and of the statistics window.
constexpr UINT_PTR kTickTimer = 1;
constexpr UINT kTickMs = 1000;

extern HINSTANCE hInst;
extern HWND MainWindow;
extern int16_t BatchMode;  // a command-line task runs: no Winsock box, quit at its end
