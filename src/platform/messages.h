// Windows, the message queue and timers.
//
// A window is a procedure plus a little state (title, menu, visibility). PostMessageA appends
// to one FIFO queue; SendMessageA calls the procedure at once, so handlers nest exactly as they
// do on Windows. GetMessageA returns queued messages in order, lets timers through when nothing
// is queued (and, so that a busy queue never starves them, also when one is a full period
// late), and otherwise blocks in poll() on every registered event source (sockets, the
// terminal) until the next timer is due.
#pragma once

#include "platform/wintypes.h"

struct CREATESTRUCTA {
    void* lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy, cx, y, x;
    DWORD style;
    const char* lpszName;
    const char* lpszClass;
    DWORD dwExStyle;
};

struct WNDCLASSEXA {
    UINT cbSize;
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    const char* lpszMenuName;
    const char* lpszClassName;
    HICON hIconSm;
};

enum : DWORD {
    CS_VREDRAW = 0x0001,
    CS_HREDRAW = 0x0002,
    WS_OVERLAPPEDWINDOW = 0x00CF0000,
    WS_VSCROLL = 0x00200000,
    WS_HSCROLL = 0x00100000,
};
constexpr int CW_USEDEFAULT = (int)0x80000000;

WORD RegisterClassExA(const WNDCLASSEXA* cls);
HWND CreateWindowExA(DWORD exStyle, const char* className, const char* title, DWORD style, int x, int y,
                     int width, int height, HWND parent, HMENU menu, HINSTANCE instance, void* param);
BOOL DestroyWindow(HWND window);
BOOL IsWindow(HWND window);
BOOL ShowWindow(HWND window, int show);
BOOL UpdateWindow(HWND window);
BOOL IsWindowVisible(HWND window);
BOOL SetWindowTextA(HWND window, const char* text);
int GetWindowTextA(HWND window, char* out, int max);
HMENU GetMenu(HWND window);

LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL GetMessageA(MSG* msg, HWND filter, UINT first, UINT last);
BOOL TranslateMessage(const MSG* msg);
LRESULT DispatchMessageA(const MSG* msg);
void PostQuitMessage(int exitCode);
LRESULT DefWindowProcA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, void* unusedProc);
BOOL KillTimer(HWND window, UINT_PTR id);

// Platform bookkeeping that has no Windows name.
namespace platform {

// Drops every window, timer and queued message: the state of a freshly started process.
// Used between tests; the program itself never calls it.
void ResetWindows();

// Number of messages waiting in the queue (tests and the script runner use it).
size_t QueuedMessageCount();

// Polls the event sources without waiting and dispatches every queued message, over and over
// until a poll brings nothing new or `rounds` polls have run; returns the messages dispatched.
// Tests and fuzzers drive the program so, without its message loop and its timers.
int DispatchPendingEvents(int rounds);

// A number for the dispatched message being handled, different for every message (nested
// ones included), or 0 outside any dispatch. What was checked during one message can be
// taken as still true for the rest of it.
unsigned long long CurrentMessageSerial();

// Removes queued messages addressed to a window that is being destroyed.
void DropMessagesFor(HWND window);

// The procedure behind a window (dialogs answer with their dialog-manager procedure).
WNDPROC WindowProcedure(HWND window);

}  // namespace platform
