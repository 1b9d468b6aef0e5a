// Basic Windows types, message numbers and macros that the program's routines are written
// against. The platform layer gives them POSIX meaning; nothing here includes a system header
// beyond the fixed-width integers, so subsystem code never sees the BSD socket names.
#pragma once

#include <cstddef>
#include <cstdint>

typedef int BOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef uint32_t UINT;
typedef uint32_t ULONG;
typedef uint16_t USHORT;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define LOWORD(l) ((WORD)(((DWORD)(l)) & 0xFFFF))
#define HIWORD(l) ((WORD)((((DWORD)(l)) >> 16) & 0xFFFF))
#define MAKELONG(lo, hi) ((LPARAM)(DWORD)(((DWORD)(WORD)(lo)) | (((DWORD)(WORD)(hi)) << 16)))
#define MAKEWPARAM(lo, hi) ((WPARAM)(DWORD)MAKELONG(lo, hi))

struct Window;
typedef Window* HWND;
struct Menu;
typedef Menu* HMENU;
struct Instance;
typedef Instance* HINSTANCE;
struct DeviceContext;
typedef DeviceContext* HDC;
typedef void* HANDLE;
typedef void* HGDIOBJ;
typedef void* HICON;
typedef void* HCURSOR;
typedef void* HBRUSH;
typedef void* HBITMAP;

typedef LRESULT (*WNDPROC)(HWND, UINT, WPARAM, LPARAM);
typedef INT_PTR (*DLGPROC)(HWND, UINT, WPARAM, LPARAM);

struct POINT {
    int32_t x, y;
};

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
};

// Window messages used by the program.
enum : UINT {
    WM_NULL = 0,
    WM_CREATE = 1,
    WM_DESTROY = 2,
    WM_MOVE = 3,
    WM_SIZE = 5,
    WM_ACTIVATE = 6,
    WM_SETFOCUS = 7,
    WM_KILLFOCUS = 8,
    WM_SETTEXT = 12,
    WM_GETTEXT = 13,
    WM_GETTEXTLENGTH = 14,
    WM_PAINT = 15,
    WM_CLOSE = 16,
    WM_QUIT = 18,
    WM_KEYDOWN = 256,
    WM_CHAR = 258,
    WM_INITDIALOG = 272,
    WM_COMMAND = 273,
    WM_TIMER = 275,
    WM_HSCROLL = 276,
    WM_VSCROLL = 277,
    WM_USER = 1024,
};

// Show commands.
enum : int {
    SW_HIDE = 0,
    SW_SHOWNORMAL = 1,
    SW_SHOWMINIMIZED = 2,
    SW_SHOW = 5,
    SW_SHOWMINNOACTIVE = 7,
};

// Virtual keys that the console acts on.
enum : int {
    VK_BACK = 8,
    VK_TAB = 9,
    VK_RETURN = 13,
    VK_ESCAPE = 27,
    VK_PRIOR = 33,
    VK_NEXT = 34,
    VK_END = 35,
    VK_HOME = 36,
    VK_LEFT = 37,
    VK_UP = 38,
    VK_RIGHT = 39,
    VK_DOWN = 40,
    VK_DELETE = 46,
};
