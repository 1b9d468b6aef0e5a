// The user-interface model: menus, dialogs and their controls, drawing, caret, scroll bars,
// message boxes, clipboard and help.
//
// Nothing here draws. Menus and dialogs are plain models that the program's routines read
// and change through the Windows calls they expect; every change is reported to the front end
// (platform/frontend.h), which renders it however it can (a terminal, or nothing at all). A
// dialog is created from a named template, a list of controls registered as a resource. A
// modal dialog is a nested run of the message loop until EndDialog, so socket events and
// ticks keep flowing while it is open.
#pragma once

#include <string>
#include <vector>

#include "platform/wintypes.h"

// ---------------------------------------------------------------------------------------------
// Resources: menus and dialog templates, registered once before WinMain runs.

struct MenuItemTemplate {
    int id;
    const char* label;
};

struct MenuPopupTemplate {
    const char* label;
    std::vector<MenuItemTemplate> items;
};

struct MenuTemplate {
    const char* name;
    std::vector<MenuPopupTemplate> popups;
};

enum class ControlKind : uint8_t {
    Static,     // a label
    Group,      // a group box (a label with a frame)
    Edit,       // a single-line text field
    Button,     // a push button
    CheckBox,   // an automatic check box: a click toggles it, then notifies
    Radio,      // an automatic radio button: a click checks it and clears its group
    List,       // a list box (unsorted)
    SortedList, // a list box that keeps its items sorted
    DropDown,   // a drop-down list (combo box without an edit)
};

struct ControlTemplate {
    int id;  // -1 for labels that the program never addresses
    ControlKind kind;
    const char* text;
    int16_t x, y, width, height;  // in terminal cells, inside the dialog frame
    bool groupStart = false;      // radio buttons: first button of a group
    bool defaultButton = false;   // the button that Enter presses
};

struct DialogTemplate {
    const char* name;   // "DIALOG_2", "load", ...
    const char* title;  // shown in the frame
    int16_t width, height;
    std::vector<ControlTemplate> controls;
};

void RegisterMenuResource(const MenuTemplate* menu);
void RegisterDialogResource(const DialogTemplate* dialog);
const DialogTemplate* FindDialogResource(const char* name);
HMENU LoadMenuA(HINSTANCE instance, const char* name);

// ---------------------------------------------------------------------------------------------
// Menus.

enum : UINT {
    MF_BYCOMMAND = 0,
    MF_ENABLED = 0,
    MF_GRAYED = 1,
    MF_DISABLED = 2,
};

// Returns the previous state (MF_ENABLED or MF_GRAYED), or -1 when the item does not exist.
int EnableMenuItem(HMENU menu, UINT id, UINT flags);

// ---------------------------------------------------------------------------------------------
// Dialogs and controls.

enum : int { IDOK = 1, IDCANCEL = 2 };

enum : UINT {
    BN_CLICKED = 0,
    LBN_SELCHANGE = 1,
    CBN_SELCHANGE = 1,
    EN_CHANGE = 0x300,
};

enum : UINT {
    BST_UNCHECKED = 0,
    BST_CHECKED = 1,
};

enum : UINT {
    EM_SETSEL = 0x00B1,
    EM_REPLACESEL = 0x00C2,
    BM_GETCHECK = 0x00F0,
    BM_SETCHECK = 0x00F1,
    CB_ADDSTRING = 0x0143,
    CB_GETCOUNT = 0x0146,
    CB_GETCURSEL = 0x0147,
    CB_GETLBTEXT = 0x0148,
    CB_INSERTSTRING = 0x014A,
    CB_RESETCONTENT = 0x014B,
    CB_SETCURSEL = 0x014E,
    LB_ADDSTRING = 0x0180,
    LB_INSERTSTRING = 0x0181,
    LB_RESETCONTENT = 0x0184,
    LB_SETCURSEL = 0x0186,
    LB_GETCURSEL = 0x0188,
    LB_GETTEXT = 0x0189,
    LB_GETTEXTLEN = 0x018A,
    LB_GETCOUNT = 0x018B,
};
constexpr LRESULT LB_ERR = -1;
constexpr LRESULT CB_ERR = -1;

INT_PTR DialogBoxParamA(HINSTANCE instance, const char* templateName, HWND owner, DLGPROC proc, LPARAM param);
HWND CreateDialogParamA(HINSTANCE instance, const char* templateName, HWND owner, DLGPROC proc, LPARAM param);
BOOL EndDialog(HWND dialog, INT_PTR result);
BOOL IsDialogMessageA(HWND dialog, MSG* msg);

HWND GetDlgItem(HWND dialog, int id);
int GetDlgCtrlID(HWND control);
UINT GetDlgItemTextA(HWND dialog, int id, char* out, int max);
BOOL SetDlgItemTextA(HWND dialog, int id, const char* text);
LRESULT SendDlgItemMessageA(HWND dialog, int id, UINT message, WPARAM wParam, LPARAM lParam);
BOOL CheckDlgButton(HWND dialog, int id, UINT check);
UINT IsDlgButtonChecked(HWND dialog, int id);
BOOL CheckRadioButton(HWND dialog, int firstId, int lastId, int checkId);
BOOL EnableWindow(HWND window, BOOL enable);
BOOL IsWindowEnabled(HWND window);

// Directory listing into a list box (attributes as on Windows).
enum : UINT {
    DDL_READWRITE = 0x0000,
    DDL_ARCHIVE = 0x0020,
    DDL_DIRECTORY = 0x0010,
    DDL_DRIVES = 0x4000,
    DDL_EXCLUSIVE = 0x8000,
};
int DlgDirListA(HWND dialog, char* pathSpec, int listId, int pathId, UINT attributes);

// ---------------------------------------------------------------------------------------------
// Message boxes, help, clipboard.

enum : UINT {
    MB_OK = 0x0000,
    MB_ICONEXCLAMATION = 0x0030,
    MB_ICONINFORMATION = 0x0040,
};
int MessageBoxA(HWND owner, const char* text, const char* caption, UINT type);

constexpr UINT HELP_CONTENTS = 3;
BOOL WinHelpA(HWND window, const char* file, UINT command, UINT_PTR data);

constexpr UINT CF_TEXT = 1;
BOOL OpenClipboard(HWND owner);
BOOL CloseClipboard();
HANDLE GetClipboardData(UINT format);
void* GlobalLock(HANDLE memory);
BOOL GlobalUnlock(HANDLE memory);

// ---------------------------------------------------------------------------------------------
// Drawing. The terminal's stock fixed font is one cell wide and one line high, so "pixels"
// are cells and the console's pixel arithmetic works unchanged.

struct TEXTMETRICA {
    int32_t tmHeight;
    int32_t tmAscent;
    int32_t tmDescent;
    int32_t tmInternalLeading;
    int32_t tmExternalLeading;
    int32_t tmAveCharWidth;
    int32_t tmMaxCharWidth;
};

struct RECT {
    int32_t left, top, right, bottom;
};

struct PAINTSTRUCT {
    HDC hdc;
    BOOL fErase;
    RECT rcPaint;
};

constexpr int SYSTEM_FIXED_FONT = 16;
constexpr int SB_HORZ = 0;
constexpr int SB_VERT = 1;

HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC dc);
HDC BeginPaint(HWND window, PAINTSTRUCT* paint);
BOOL EndPaint(HWND window, const PAINTSTRUCT* paint);
HGDIOBJ GetStockObject(int object);
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
BOOL GetTextMetricsA(HDC dc, TEXTMETRICA* metrics);
BOOL TextOutA(HDC dc, int x, int y, const char* text, int count);
BOOL InvalidateRect(HWND window, const RECT* rect, BOOL erase);

BOOL CreateCaret(HWND window, HBITMAP bitmap, int width, int height);
BOOL DestroyCaret();
BOOL SetCaretPos(int x, int y);
BOOL ShowCaret(HWND window);
BOOL HideCaret(HWND window);
HWND GetFocus();
HWND SetFocus(HWND window);

int SetScrollRange(HWND window, int bar, int minPos, int maxPos, BOOL redraw);
int SetScrollPos(HWND window, int bar, int pos, BOOL redraw);

// ---------------------------------------------------------------------------------------------
// What front ends and scripts read and do. These act as a user would: a click on a check box
// toggles it and then notifies the dialog procedure, a selection in a list notifies it, and
// so on, so a terminal form and a script line drive the program the same way.
namespace platform {

struct ControlState {
    HWND window = nullptr;
    int id = -1;
    ControlKind kind = ControlKind::Static;
    std::string label;  // template text (static text, button caption)
    std::string text;   // current text of edits, buttons and labels
    bool checked = false;
    bool enabled = true;
    bool groupStart = false;
    bool defaultButton = false;
    std::vector<std::string> items;  // lists and drop-downs
    int selection = -1;
    int selStart = 0, selEnd = 0;  // edit selection
    int16_t x = 0, y = 0, width = 0, height = 0;
};

// Every dialog that exists, oldest first.
std::vector<HWND> Dialogs();
const DialogTemplate* DialogTemplateOf(HWND dialog);
bool IsModalDialog(HWND dialog);
// The innermost running modal dialog, or null.
HWND ActiveModalDialog();
// Controls of a dialog in template order.
std::vector<ControlState*> DialogControls(HWND dialog);
ControlState* FindControl(HWND dialog, int id);

// User actions. Each returns false when the control does not exist or is disabled.
bool UserSetText(HWND dialog, int id, const std::string& text);
bool UserClick(HWND dialog, int id);
bool UserCheck(HWND dialog, int id, bool checked);
bool UserSelect(HWND dialog, int id, int index);
// The window close box of a dialog (WM_CLOSE).
void UserCloseDialog(HWND dialog);
// A menu command chosen by the user (ignored when the item is greyed).
bool UserMenuCommand(HWND window, int id);

// Text put on the clipboard by the user.
void SetClipboardText(const std::string& text);
void ClearClipboard();

// Menus of a window as the front end shows them.
struct MenuItemState {
    int id;
    std::string label;
    bool enabled;
};
struct MenuPopupState {
    std::string label;
    std::vector<MenuItemState> items;
};
const std::vector<MenuPopupState>& MenuPopups(HMENU menu);
bool MenuItemEnabled(HMENU menu, int id);

// Caret and scroll state of a window, for rendering.
struct CaretState {
    HWND owner = nullptr;
    bool visible = false;
    int x = 0, y = 0, width = 1, height = 1;
    int hideCount = 0;
};
const CaretState& Caret();

struct ScrollState {
    int minPos = 0, maxPos = 0, pos = 0;
};
ScrollState ScrollBar(HWND window, int bar);

// Lets tests drop every dialog, menu and resource.
void ResetUi();

}  // namespace platform

// ---------------------------------------------------------------------------------------------
// Shorthands for writing dialog templates (positions in cells inside the frame).
namespace layout {

inline ControlTemplate Label(const char* text, int16_t x, int16_t y, int16_t width = 0) {
    return ControlTemplate{-1, ControlKind::Static, text, x, y, width ? width : (int16_t)__builtin_strlen(text), 1};
}
inline ControlTemplate Group(const char* text, int16_t x, int16_t y, int16_t width, int16_t height) {
    return ControlTemplate{-1, ControlKind::Group, text, x, y, width, height};
}
inline ControlTemplate Edit(int id, int16_t x, int16_t y, int16_t width) {
    return ControlTemplate{id, ControlKind::Edit, "", x, y, width, 1};
}
// A check box or radio button is at least as wide as its mark ("[ ] ", "( ) ") and label.
inline int16_t MarkedWidth(const char* text, int16_t width) {
    int16_t needed = (int16_t)(__builtin_strlen(text) + 4);
    return width > needed ? width : needed;
}
inline ControlTemplate Check(int id, const char* text, int16_t x, int16_t y, int16_t width) {
    return ControlTemplate{id, ControlKind::CheckBox, text, x, y, MarkedWidth(text, width), 1};
}
inline ControlTemplate Radio(int id, const char* text, int16_t x, int16_t y, int16_t width, bool first = false) {
    return ControlTemplate{id, ControlKind::Radio, text, x, y, MarkedWidth(text, width), 1, first};
}
inline ControlTemplate Button(int id, const char* text, int16_t x, int16_t y, int16_t width, bool isDefault = false) {
    return ControlTemplate{id, ControlKind::Button, text, x, y, width, 1, false, isDefault};
}
inline ControlTemplate DropDown(int id, int16_t x, int16_t y, int16_t width) {
    return ControlTemplate{id, ControlKind::DropDown, "", x, y, width, 1};
}
inline ControlTemplate List(int id, int16_t x, int16_t y, int16_t width, int16_t height, bool sorted = false) {
    return ControlTemplate{id, sorted ? ControlKind::SortedList : ControlKind::List, "", x, y, width, height};
}

}  // namespace layout
