// The user-interface model (see ui.h): resources, menus, dialogs and controls, drawing,
// caret, scroll bars, message boxes, clipboard and help, and the user actions that front
// ends and scripts perform.

#include "platform/ui.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <strings.h>

#include "platform/frontend.h"
#include "platform/messages.h"
#include "platform/window_internal.h"

struct Menu {
    std::vector<platform::MenuPopupState> popups;
};

namespace {

std::map<std::string, const MenuTemplate*> menuResources;
std::map<std::string, const DialogTemplate*> dialogResources;
std::vector<std::unique_ptr<Menu>> menus;

platform::CaretState caret;
HWND focus = nullptr;
std::string clipboardText;
bool clipboardHasText = false;

std::string Key(const char* name) {
    std::string s(name ? name : "");
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = (char)(c - 'a' + 'A');
    return s;
}

Window* Dialog(HWND window) {
    if (!IsWindow(window) || window->kind != Window::Kind::Dialog) return nullptr;
    return window;
}

platform::ControlState* ControlOf(HWND window) {
    if (!IsWindow(window) || window->kind != Window::Kind::Control) return nullptr;
    return &window->control;
}

void Changed(HWND control) {
    if (IsWindow(control) && control->parent) platform::TheFrontEnd().DialogChanged(control->parent);
}

bool IsListKind(ControlKind kind) {
    return kind == ControlKind::List || kind == ControlKind::SortedList || kind == ControlKind::DropDown;
}

// Creates the dialog window and its controls from a template.
HWND CreateFromTemplate(const DialogTemplate* tpl, HWND owner, DLGPROC proc, bool modal) {
    HWND dialog = platform::NewWindow(Window::Kind::Dialog);
    dialog->proc = platform::DialogManagerProc;
    dialog->dialogProc = proc;
    dialog->dialogTemplate = tpl;
    dialog->title = tpl->title ? tpl->title : "";
    dialog->parent = owner;
    dialog->modal = modal;
    for (const ControlTemplate& ct : tpl->controls) {
        HWND control = platform::NewWindow(Window::Kind::Control);
        control->proc = platform::ControlProc;
        control->parent = dialog;
        platform::ControlState& c = control->control;
        c.window = control;
        c.id = ct.id;
        c.kind = ct.kind;
        c.label = ct.text ? ct.text : "";
        c.text = (ct.kind == ControlKind::Edit || IsListKind(ct.kind)) ? "" : c.label;
        c.groupStart = ct.groupStart;
        c.defaultButton = ct.defaultButton;
        c.x = ct.x;
        c.y = ct.y;
        c.width = ct.width;
        c.height = ct.height;
        dialog->controls.push_back(control);
    }
    return dialog;
}

// The radio buttons of the group that holds `control`, in template order.
std::vector<HWND> RadioGroup(HWND dialog, HWND control) {
    std::vector<HWND> group;
    bool inGroup = false;
    for (HWND c : dialog->controls) {
        if (c->control.kind != ControlKind::Radio || c->control.groupStart) {
            if (inGroup) break;
            group.clear();
        }
        if (c->control.kind == ControlKind::Radio) group.push_back(c);
        if (c == control) inGroup = true;
    }
    return inGroup ? group : std::vector<HWND>{control};
}

LRESULT ListMessage(HWND window, platform::ControlState& c, UINT message, WPARAM wParam, LPARAM lParam) {
    auto count = (LRESULT)c.items.size();
    auto validIndex = [&](WPARAM i) { return (LRESULT)(intptr_t)i >= 0 && (LRESULT)(intptr_t)i < count; };
    switch (message) {
        case LB_ADDSTRING:
        case CB_ADDSTRING: {
            std::string item = lParam ? (const char*)lParam : "";
            auto at = c.items.end();
            if (c.kind == ControlKind::SortedList)
                at = std::upper_bound(c.items.begin(), c.items.end(), item, [](const std::string& a, const std::string& b) {
                    return strcasecmp(a.c_str(), b.c_str()) < 0;
                });
            auto index = at - c.items.begin();
            c.items.insert(at, item);
            if (c.selection >= index) ++c.selection;
            Changed(window);
            return index;
        }
        case LB_INSERTSTRING:
        case CB_INSERTSTRING: {
            auto index = (intptr_t)wParam;
            if (index < 0 || index > count) index = count;
            c.items.insert(c.items.begin() + index, lParam ? (const char*)lParam : "");
            if (c.selection >= index) ++c.selection;
            Changed(window);
            return index;
        }
        case LB_RESETCONTENT:
        case CB_RESETCONTENT:
            c.items.clear();
            c.selection = -1;
            if (c.kind == ControlKind::DropDown) c.text.clear();
            Changed(window);
            return 0;
        case LB_SETCURSEL:
        case CB_SETCURSEL:
            if (!validIndex(wParam)) {
                c.selection = -1;
                if (c.kind == ControlKind::DropDown) c.text.clear();
                Changed(window);
                return LB_ERR;
            }
            c.selection = (int)wParam;
            if (c.kind == ControlKind::DropDown) c.text = c.items[(size_t)c.selection];
            Changed(window);
            return c.selection;
        case LB_GETCURSEL:
        case CB_GETCURSEL:
            return c.selection >= 0 ? c.selection : LB_ERR;
        case LB_GETCOUNT:
        case CB_GETCOUNT:
            return count;
        case LB_GETTEXTLEN:
            return validIndex(wParam) ? (LRESULT)c.items[wParam].size() : LB_ERR;
        case LB_GETTEXT:
        case CB_GETLBTEXT:
            if (!validIndex(wParam) || !lParam) return LB_ERR;
            strcpy((char*)lParam, c.items[wParam].c_str());
            return (LRESULT)c.items[wParam].size();
    }
    return 0;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Resources and menus.

void RegisterMenuResource(const MenuTemplate* menu) { menuResources[Key(menu->name)] = menu; }

void RegisterDialogResource(const DialogTemplate* dialog) { dialogResources[Key(dialog->name)] = dialog; }

const DialogTemplate* FindDialogResource(const char* name) {
    auto found = dialogResources.find(Key(name));
    return found == dialogResources.end() ? nullptr : found->second;
}

HMENU LoadMenuA(HINSTANCE, const char* name) {
    auto found = menuResources.find(Key(name));
    if (found == menuResources.end()) return nullptr;
    auto menu = std::make_unique<Menu>();
    for (const MenuPopupTemplate& popup : found->second->popups) {
        platform::MenuPopupState state{popup.label, {}};
        for (const MenuItemTemplate& item : popup.items) state.items.push_back({item.id, item.label, true});
        menu->popups.push_back(state);
    }
    menus.push_back(std::move(menu));
    return menus.back().get();
}

int EnableMenuItem(HMENU menu, UINT id, UINT flags) {
    if (!menu) return -1;
    for (auto& popup : menu->popups)
        for (auto& item : popup.items)
            if ((UINT)item.id == id) {
                int previous = item.enabled ? MF_ENABLED : MF_GRAYED;
                item.enabled = (flags & (MF_GRAYED | MF_DISABLED)) == 0;
                platform::TheFrontEnd().MenuChanged(menu);
                return previous;
            }
    return -1;
}

// ---------------------------------------------------------------------------------------------
// Dialogs.

namespace platform {

LRESULT DialogManagerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Window* dialog = Dialog(window);
    if (!dialog || !dialog->dialogProc) return 0;
    INT_PTR handled = dialog->dialogProc(window, message, wParam, lParam);
    if (!handled && message == WM_CLOSE && IsWindow(window))
        PostMessageA(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    return handled;
}

LRESULT ControlProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    ControlState* c = ControlOf(window);
    if (!c) return 0;
    switch (message) {
        case WM_SETTEXT:
            c->text = lParam ? (const char*)lParam : "";
            c->selStart = c->selEnd = (int)c->text.size();
            Changed(window);
            return TRUE;
        case WM_GETTEXT: {
            if (!lParam || wParam == 0) return 0;
            size_t n = std::min(c->text.size(), (size_t)wParam - 1);
            c->text.copy((char*)lParam, n);
            ((char*)lParam)[n] = '\0';
            return (LRESULT)n;
        }
        case WM_GETTEXTLENGTH:
            return (LRESULT)c->text.size();
        case EM_SETSEL: {
            auto length = (intptr_t)c->text.size();
            intptr_t start = (intptr_t)wParam, end = lParam;
            if (start < 0) {
                c->selStart = c->selEnd = (int)length;
                return 0;
            }
            if (end < 0 || end > length) end = length;
            start = std::min(start, length);
            c->selStart = (int)std::min(start, end);
            c->selEnd = (int)std::max(start, end);
            return 0;
        }
        case EM_REPLACESEL: {
            std::string insert = lParam ? (const char*)lParam : "";
            auto start = (size_t)std::min<int>(c->selStart, (int)c->text.size());
            auto end = (size_t)std::min<int>(std::max(c->selEnd, c->selStart), (int)c->text.size());
            c->text.replace(start, end - start, insert);
            c->selStart = c->selEnd = (int)(start + insert.size());
            Changed(window);
            return 0;
        }
        case BM_GETCHECK:
            return c->checked ? BST_CHECKED : BST_UNCHECKED;
        case BM_SETCHECK:
            c->checked = wParam == BST_CHECKED;
            Changed(window);
            return 0;
    }
    if (IsListKind(c->kind)) return ListMessage(window, *c, message, wParam, lParam);
    return 0;
}

}  // namespace platform

INT_PTR DialogBoxParamA(HINSTANCE, const char* templateName, HWND owner, DLGPROC proc, LPARAM param) {
    const DialogTemplate* tpl = FindDialogResource(templateName);
    if (!tpl || !proc) return -1;
    HWND dialog = CreateFromTemplate(tpl, owner, proc, true);
    BOOL ownerWasEnabled = owner && IsWindowEnabled(owner);
    if (owner) owner->enabled = false;
    dialog->visible = true;
    platform::TheFrontEnd().WindowShown(dialog, true);
    SendMessageA(dialog, WM_INITDIALOG, 0, param);

    bool quit = false;
    int quitCode = 0;
    while (IsWindow(dialog) && !dialog->ended) {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) {
            quit = true;
            quitCode = (int)msg.wParam;
            break;
        }
        if (!IsDialogMessageA(dialog, &msg)) {
            TranslateMessage(&msg);
            DispatchMessageA(&msg);
        }
    }
    INT_PTR result = IsWindow(dialog) ? dialog->result : 0;
    if (IsWindow(owner) && ownerWasEnabled) owner->enabled = true;
    if (IsWindow(dialog)) DestroyWindow(dialog);
    if (quit) PostQuitMessage(quitCode);
    return result;
}

HWND CreateDialogParamA(HINSTANCE, const char* templateName, HWND owner, DLGPROC proc, LPARAM param) {
    const DialogTemplate* tpl = FindDialogResource(templateName);
    if (!tpl || !proc) return nullptr;
    HWND dialog = CreateFromTemplate(tpl, owner, proc, false);
    SendMessageA(dialog, WM_INITDIALOG, 0, param);
    return IsWindow(dialog) ? dialog : nullptr;
}

BOOL EndDialog(HWND dialog, INT_PTR result) {
    Window* d = Dialog(dialog);
    if (!d) return FALSE;
    if (d->modal) {
        d->ended = true;
        d->result = result;
    } else {
        ShowWindow(dialog, SW_HIDE);
    }
    return TRUE;
}

BOOL IsDialogMessageA(HWND dialog, MSG* msg) {
    if (!dialog || !msg || !Dialog(dialog)) return FALSE;
    bool forDialog = msg->hwnd == dialog ||
                     std::find(dialog->controls.begin(), dialog->controls.end(), msg->hwnd) != dialog->controls.end();
    if (!forDialog) return FALSE;
    DispatchMessageA(msg);
    return TRUE;
}

HWND GetDlgItem(HWND dialog, int id) {
    Window* d = Dialog(dialog);
    if (!d) return nullptr;
    for (HWND c : d->controls)
        if (c->control.id == id) return c;
    return nullptr;
}

int GetDlgCtrlID(HWND control) {
    auto* c = ControlOf(control);
    return c ? c->id : 0;
}

UINT GetDlgItemTextA(HWND dialog, int id, char* out, int max) {
    if (out && max > 0) out[0] = '\0';
    HWND control = GetDlgItem(dialog, id);
    if (!control) return 0;
    return (UINT)SendMessageA(control, WM_GETTEXT, (WPARAM)max, (LPARAM)out);
}

BOOL SetDlgItemTextA(HWND dialog, int id, const char* text) {
    HWND control = GetDlgItem(dialog, id);
    if (!control) return FALSE;
    return (BOOL)SendMessageA(control, WM_SETTEXT, 0, (LPARAM)text);
}

LRESULT SendDlgItemMessageA(HWND dialog, int id, UINT message, WPARAM wParam, LPARAM lParam) {
    HWND control = GetDlgItem(dialog, id);
    return control ? SendMessageA(control, message, wParam, lParam) : 0;
}

BOOL CheckDlgButton(HWND dialog, int id, UINT check) {
    HWND control = GetDlgItem(dialog, id);
    if (!control) return FALSE;
    SendMessageA(control, BM_SETCHECK, check, 0);
    return TRUE;
}

UINT IsDlgButtonChecked(HWND dialog, int id) {
    HWND control = GetDlgItem(dialog, id);
    return control ? (UINT)SendMessageA(control, BM_GETCHECK, 0, 0) : 0;
}

BOOL CheckRadioButton(HWND dialog, int firstId, int lastId, int checkId) {
    if (!Dialog(dialog)) return FALSE;
    for (HWND c : dialog->controls) {
        int id = c->control.id;
        if (id >= firstId && id <= lastId) SendMessageA(c, BM_SETCHECK, id == checkId ? BST_CHECKED : BST_UNCHECKED, 0);
    }
    return TRUE;
}

BOOL EnableWindow(HWND window, BOOL enable) {
    if (!IsWindow(window)) return FALSE;
    BOOL wasDisabled = window->kind == Window::Kind::Control ? !window->control.enabled : !window->enabled;
    if (window->kind == Window::Kind::Control) {
        window->control.enabled = enable != FALSE;
        Changed(window);
    } else {
        window->enabled = enable != FALSE;
    }
    return wasDisabled;
}

BOOL IsWindowEnabled(HWND window) {
    if (!IsWindow(window)) return FALSE;
    return window->kind == Window::Kind::Control ? window->control.enabled : window->enabled;
}

// ---------------------------------------------------------------------------------------------
// Message boxes, help, clipboard.

int MessageBoxA(HWND owner, const char* text, const char* caption, UINT type) {
    return platform::TheFrontEnd().MessageBox(owner, text ? text : "", caption ? caption : "", type);
}

BOOL WinHelpA(HWND, const char* file, UINT, UINT_PTR) {
    platform::TheFrontEnd().ShowHelp(file ? file : "");
    return TRUE;
}

BOOL OpenClipboard(HWND) { return TRUE; }

BOOL CloseClipboard() { return TRUE; }

HANDLE GetClipboardData(UINT format) {
    if (format != CF_TEXT || !clipboardHasText) return nullptr;
    return &clipboardText;
}

void* GlobalLock(HANDLE memory) {
    if (memory != &clipboardText) return nullptr;
    return clipboardText.data();
}

BOOL GlobalUnlock(HANDLE) { return TRUE; }

// ---------------------------------------------------------------------------------------------
// Drawing, caret, focus, scroll bars.

HDC GetDC(HWND window) {
    if (!IsWindow(window)) return nullptr;
    window->dc.window = window;
    return &window->dc;
}

int ReleaseDC(HWND, HDC) { return 1; }

HDC BeginPaint(HWND window, PAINTSTRUCT* paint) {
    HDC dc = GetDC(window);
    if (paint) *paint = PAINTSTRUCT{dc, FALSE, {0, 0, 0, 0}};
    return dc;
}

BOOL EndPaint(HWND, const PAINTSTRUCT*) { return TRUE; }

HGDIOBJ GetStockObject(int object) {
    static int stockFont;
    return object == SYSTEM_FIXED_FONT ? &stockFont : nullptr;
}

HGDIOBJ SelectObject(HDC, HGDIOBJ object) { return object; }

BOOL GetTextMetricsA(HDC, TEXTMETRICA* metrics) {
    if (!metrics) return FALSE;
    *metrics = TEXTMETRICA{1, 1, 0, 0, 0, 1, 1};
    return TRUE;
}

BOOL TextOutA(HDC dc, int x, int y, const char* text, int count) {
    if (!dc || !IsWindow(dc->window) || !text || count < 0) return FALSE;
    platform::TheFrontEnd().TextOut(dc->window, x, y, text, count);
    return TRUE;
}

BOOL InvalidateRect(HWND window, const RECT*, BOOL) {
    if (!IsWindow(window)) return FALSE;
    PostMessageA(window, WM_PAINT, 0, 0);
    return TRUE;
}

BOOL CreateCaret(HWND window, HBITMAP, int width, int height) {
    if (!IsWindow(window)) return FALSE;
    caret = platform::CaretState{window, false, 0, 0, width, height, 1};
    platform::TheFrontEnd().CaretChanged();
    return TRUE;
}

BOOL DestroyCaret() {
    caret = platform::CaretState{};
    platform::TheFrontEnd().CaretChanged();
    return TRUE;
}

BOOL SetCaretPos(int x, int y) {
    if (!caret.owner) return FALSE;
    caret.x = x;
    caret.y = y;
    platform::TheFrontEnd().CaretChanged();
    return TRUE;
}

BOOL ShowCaret(HWND window) {
    if (!caret.owner || (window && window != caret.owner)) return FALSE;
    if (caret.hideCount > 0) --caret.hideCount;
    caret.visible = caret.hideCount == 0;
    platform::TheFrontEnd().CaretChanged();
    return TRUE;
}

BOOL HideCaret(HWND window) {
    if (!caret.owner || (window && window != caret.owner)) return FALSE;
    ++caret.hideCount;
    caret.visible = false;
    platform::TheFrontEnd().CaretChanged();
    return TRUE;
}

HWND GetFocus() { return IsWindow(focus) ? focus : nullptr; }

HWND SetFocus(HWND window) {
    HWND previous = GetFocus();
    if (window == previous) return previous;
    focus = nullptr;
    if (previous) SendMessageA(previous, WM_KILLFOCUS, (WPARAM)window, 0);
    focus = IsWindow(window) ? window : nullptr;
    if (focus) SendMessageA(focus, WM_SETFOCUS, (WPARAM)previous, 0);
    return previous;
}

int SetScrollRange(HWND window, int bar, int minPos, int maxPos, BOOL) {
    if (!IsWindow(window) || (bar != SB_HORZ && bar != SB_VERT)) return FALSE;
    auto& s = window->scroll[bar];
    s.minPos = minPos;
    s.maxPos = maxPos;
    s.pos = std::clamp(s.pos, minPos, std::max(minPos, maxPos));
    platform::TheFrontEnd().ScrollChanged(window, bar);
    return TRUE;
}

int SetScrollPos(HWND window, int bar, int pos, BOOL) {
    if (!IsWindow(window) || (bar != SB_HORZ && bar != SB_VERT)) return 0;
    auto& s = window->scroll[bar];
    int previous = s.pos;
    s.pos = std::clamp(pos, s.minPos, std::max(s.minPos, s.maxPos));
    platform::TheFrontEnd().ScrollChanged(window, bar);
    return previous;
}

// ---------------------------------------------------------------------------------------------
// What front ends and scripts read and do.

namespace platform {

void ForgetWindow(HWND window) {
    if (caret.owner == window) caret = CaretState{};
    if (focus == window) focus = nullptr;
}

std::vector<HWND> Dialogs() {
    std::vector<HWND> result;
    for (HWND window : AllWindows())
        if (window->kind == Window::Kind::Dialog) result.push_back(window);
    return result;
}

const DialogTemplate* DialogTemplateOf(HWND dialog) {
    Window* d = Dialog(dialog);
    return d ? d->dialogTemplate : nullptr;
}

bool IsModalDialog(HWND dialog) {
    Window* d = Dialog(dialog);
    return d && d->modal;
}

HWND ActiveModalDialog() {
    HWND innermost = nullptr;
    for (HWND dialog : Dialogs())
        if (dialog->modal && !dialog->ended) innermost = dialog;
    return innermost;
}

std::vector<ControlState*> DialogControls(HWND dialog) {
    std::vector<ControlState*> result;
    if (Window* d = Dialog(dialog))
        for (HWND c : d->controls) result.push_back(&c->control);
    return result;
}

ControlState* FindControl(HWND dialog, int id) { return ControlOf(GetDlgItem(dialog, id)); }

namespace {

HWND UsableControl(HWND dialog, int id) {
    HWND control = GetDlgItem(dialog, id);
    if (!control || !control->control.enabled) return nullptr;
    return control;
}

void Notify(HWND dialog, HWND control, UINT code) {
    PostMessageA(dialog, WM_COMMAND, MAKEWPARAM(control->control.id, code), (LPARAM)control);
}

}  // namespace

bool UserSetText(HWND dialog, int id, const std::string& text) {
    HWND control = UsableControl(dialog, id);
    if (!control) return false;
    control->control.text = text;
    control->control.selStart = control->control.selEnd = (int)text.size();
    Changed(control);
    return true;
}

bool UserClick(HWND dialog, int id) {
    HWND control = UsableControl(dialog, id);
    if (!control) return false;
    ControlState& c = control->control;
    switch (c.kind) {
        case ControlKind::Button:
            break;
        case ControlKind::CheckBox:
            c.checked = !c.checked;
            Changed(control);
            break;
        case ControlKind::Radio:
            for (HWND member : RadioGroup(dialog, control)) member->control.checked = member == control;
            Changed(control);
            break;
        default:
            return false;
    }
    Notify(dialog, control, BN_CLICKED);
    return true;
}

bool UserCheck(HWND dialog, int id, bool checked) {
    HWND control = UsableControl(dialog, id);
    if (!control) return false;
    if (control->control.kind == ControlKind::Radio) return checked ? UserClick(dialog, id) : false;
    if (control->control.kind != ControlKind::CheckBox) return false;
    return control->control.checked == checked || UserClick(dialog, id);
}

bool UserSelect(HWND dialog, int id, int index) {
    HWND control = UsableControl(dialog, id);
    if (!control || !IsListKind(control->control.kind)) return false;
    ControlState& c = control->control;
    if (index < 0 || index >= (int)c.items.size()) return false;
    c.selection = index;
    if (c.kind == ControlKind::DropDown) c.text = c.items[(size_t)index];
    Changed(control);
    Notify(dialog, control, LBN_SELCHANGE);
    return true;
}

void UserCloseDialog(HWND dialog) {
    if (Dialog(dialog)) PostMessageA(dialog, WM_CLOSE, 0, 0);
}

bool UserMenuCommand(HWND window, int id) {
    if (!IsWindow(window) || !window->enabled || !MenuItemEnabled(GetMenu(window), id)) return false;
    PostMessageA(window, WM_COMMAND, MAKEWPARAM(id, 0), 0);
    return true;
}

void SetClipboardText(const std::string& text) {
    clipboardText = text;
    clipboardHasText = true;
}

void ClearClipboard() {
    clipboardText.clear();
    clipboardHasText = false;
}

const std::vector<MenuPopupState>& MenuPopups(HMENU menu) {
    static const std::vector<MenuPopupState> none;
    return menu ? menu->popups : none;
}

bool MenuItemEnabled(HMENU menu, int id) {
    for (const auto& popup : MenuPopups(menu))
        for (const auto& item : popup.items)
            if (item.id == id) return item.enabled;
    return false;
}

const CaretState& Caret() { return caret; }

ScrollState ScrollBar(HWND window, int bar) {
    if (!IsWindow(window) || (bar != SB_HORZ && bar != SB_VERT)) return ScrollState{};
    return window->scroll[bar];
}

void ResetUi() {
    menuResources.clear();
    dialogResources.clear();
    menus.clear();
    caret = CaretState{};
    focus = nullptr;
    ClearClipboard();
}

}  // namespace platform
