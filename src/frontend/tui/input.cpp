#include "frontend/tui/input.h"

#include <string>

#include "frontend/tui/text.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace tui {

namespace {

constexpr int kWheelLines = 3;

void Post(UINT message, WPARAM wParam, LPARAM lParam = 0) { PostMessageA(MainWindow, message, wParam, lParam); }

void Scroll(UINT message, int code, int position = 0) { Post(message, MAKEWPARAM(code, position)); }

void TypeByte(int byte) { Post(WM_CHAR, (WPARAM)byte, 1); }

// A layer that holds the keyboard keeps an input it did not use.
KeyResult Held(KeyResult result) {
    result.handled = true;
    return result;
}

// Pasted text as Windows-1252 bytes, each line end as one carriage return.
std::string PastedBytes(const std::u32string& text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t ch = text[i];
        if (ch == U'\r' && i + 1 < text.size() && text[i + 1] == U'\n') continue;
        int byte = ch == U'\n' ? 13 : Cp1252Byte(ch);
        if (byte >= 0) bytes += (char)byte;
    }
    return bytes;
}

KeyResult ConsoleScrollKey(const Event& event) {
    bool ctrl = (event.mods & kCtrl) != 0;
    switch (event.key) {
        case Key::Up: Scroll(WM_VSCROLL, kLineBack); break;
        case Key::Down: Scroll(WM_VSCROLL, kLineForward); break;
        case Key::PageUp: Scroll(WM_VSCROLL, kPageBack); break;
        case Key::PageDown: Scroll(WM_VSCROLL, kPageForward); break;
        case Key::Home: Scroll(WM_VSCROLL, kToTop); break;
        case Key::End: Scroll(WM_VSCROLL, kToBottom); break;
        case Key::Left: Scroll(WM_HSCROLL, ctrl ? kPageBack : kLineBack); break;
        case Key::Right: Scroll(WM_HSCROLL, ctrl ? kPageForward : kLineForward); break;
        default: return KeyResult::Ignored();
    }
    return KeyResult::Handled();
}

KeyResult ConsoleKey(const Event& event) {
    if (event.mods & (kShift | kCtrl)) {
        if (event.key != Key::Tab && event.key != Key::BackTab) return ConsoleScrollKey(event);
        TypeByte(9);
        return KeyResult::Handled();
    }
    if (event.mods & kAlt) return KeyResult::Ignored();
    switch (event.key) {
        case Key::PageUp: Post(WM_KEYDOWN, VK_PRIOR, 1); break;
        case Key::PageDown: Post(WM_KEYDOWN, VK_NEXT, 1); break;
        case Key::End: Post(WM_KEYDOWN, VK_END, 1); break;
        case Key::Home: Post(WM_KEYDOWN, VK_HOME, 1); break;
        case Key::Left: Post(WM_KEYDOWN, VK_LEFT, 1); break;
        case Key::Up: Post(WM_KEYDOWN, VK_UP, 1); break;
        case Key::Right: Post(WM_KEYDOWN, VK_RIGHT, 1); break;
        case Key::Down: Post(WM_KEYDOWN, VK_DOWN, 1); break;
        case Key::Delete: Post(WM_KEYDOWN, VK_DELETE, 1); break;
        case Key::Enter: TypeByte(13); break;
        case Key::Backspace: TypeByte(8); break;
        case Key::Tab:
        case Key::BackTab: TypeByte(9); break;
        case Key::Escape: TypeByte(27); break;
        case Key::Char: {
            int byte = Cp1252Byte(event.ch);
            if (byte < 0) return KeyResult::Ignored();
            TypeByte(byte);
            break;
        }
        case Key::Paste:
            for (char c : PastedBytes(event.text)) TypeByte((unsigned char)c);
            break;
        default: return KeyResult::Ignored();
    }
    return KeyResult::Handled();
}

// A press on a scroll bar: an arrow scrolls a line, the track a page, the thumb starts a drag.
KeyResult ScrollBarPress(Desktop& desktop, const Event& event) {
    for (const ScrollBarView& bar : {desktop.VerticalBar(), desktop.HorizontalBar()}) {
        int cell = bar.CellAt(event.x, event.y);
        if (cell < 0) continue;
        int code = bar.PressCode(cell);
        UINT message = bar.vertical ? WM_VSCROLL : WM_HSCROLL;
        if (code == kThumbTrack) {
            desktop.drag = Desktop::Drag{true, bar.vertical, bar.state.pos};
        } else if (code >= 0) {
            Scroll(message, code);
        }
        return KeyResult::Handled();
    }
    return KeyResult::Ignored();
}

// While the thumb is dragged the bar reports each new position (5), and where it was let go
// (4) followed by the end of scrolling (8); the window decides which of these move the view.
KeyResult ScrollBarDrag(Desktop& desktop, const Event& event) {
    ScrollBarView bar = desktop.drag.vertical ? desktop.VerticalBar() : desktop.HorizontalBar();
    UINT message = bar.vertical ? WM_VSCROLL : WM_HSCROLL;
    int cell = bar.vertical ? event.y - bar.area.y : event.x - bar.area.x;
    int position = bar.PositionAt(cell);
    if (event.mouse == MouseAction::Drag) {
        if (position != desktop.drag.lastPosition) Scroll(message, kThumbTrack, position);
        desktop.drag.lastPosition = position;
        return KeyResult::Handled();
    }
    Scroll(message, kThumbPosition, position);
    Scroll(message, kEndScroll);
    desktop.drag.active = false;
    return KeyResult::Handled();
}

// The mouse goes to what lies under it: the menu bar or an open menu, the modal dialog (which
// holds it wherever it is), a panel, a scroll bar, the console.
KeyResult RouteMouse(Desktop& desktop, const Event& event, HWND modal) {
    if (desktop.drag.active && (event.mouse == MouseAction::Drag || event.mouse == MouseAction::Release))
        return ScrollBarDrag(desktop, event);
    const Popups& popups = platform::MenuPopups(GetMenu(MainWindow));
    if (!modal && (desktop.menu.IsOpen() || desktop.GetLayout().menuBar.Contains(event.x, event.y))) {
        KeyResult result = desktop.menu.HandleMouse(event, popups);
        if (result.handled) return result;
    }
    if (modal) return Held(desktop.FormOf(modal).HandleMouse(event, desktop.ModalPlace(modal)));
    auto places = desktop.PanelPlaces();
    for (auto it = places.rbegin(); it != places.rend(); ++it) {
        Form& form = desktop.FormOf(it->first);
        bool mine = it->first == desktop.FocusedPanel() && form.DropDownOpen();
        if (!mine && !it->second.Contains(event.x, event.y)) continue;
        if (event.mouse == MouseAction::Press) desktop.FocusPanel(it->first);
        return Held(form.HandleMouse(event, it->second));
    }
    if (event.mouse == MouseAction::Press) {
        KeyResult result = ScrollBarPress(desktop, event);
        if (result.handled) return result;
    }
    if (!desktop.GetLayout().client.Contains(event.x, event.y)) return KeyResult::Ignored();
    if (event.mouse == MouseAction::Press) desktop.FocusPanel(nullptr);
    if (event.mouse != MouseAction::WheelUp && event.mouse != MouseAction::WheelDown) return KeyResult::Handled();
    for (int i = 0; i < kWheelLines; ++i)
        Scroll(WM_VSCROLL, event.mouse == MouseAction::WheelUp ? kLineBack : kLineForward);
    return KeyResult::Handled();
}

// F10 and Alt+letter open the menu.
KeyResult OpenMenu(Desktop& desktop, const Event& event) {
    const Popups& popups = platform::MenuPopups(GetMenu(MainWindow));
    if (event.Is(Key::Function) && event.number == 10) {
        desktop.menu.Open(popups, 0);
        return KeyResult::Handled();
    }
    if (event.key != Key::Char || event.mods != kAlt) return KeyResult::Ignored();
    int popup = MenuBar::PopupForLetter(popups, event.ch);
    if (popup < 0) return KeyResult::Ignored();
    desktop.menu.Open(popups, popup);
    return KeyResult::Handled();
}

// Every input goes down these layers until one takes it. A layer that holds the keyboard
// takes every input it gets, used or not.
KeyResult Route(Desktop& desktop, const Event& event) {
    if (!desktop.boxes.empty()) {
        MessageBoxPopup& box = *desktop.boxes.back();
        const Layout& layout = desktop.GetLayout();
        return event.key == Key::Mouse ? box.HandleMouse(event, layout.columns, layout.rows) : box.HandleKey(event);
    }
    if (desktop.help.IsOpen()) return event.key == Key::Mouse ? desktop.help.HandleMouse(event) : desktop.help.HandleKey(event);
    HWND modal = platform::ActiveModalDialog();
    if (event.key == Key::Mouse) return RouteMouse(desktop, event, modal);
    // What the user pastes is also what they copied, for the dialogs that read the clipboard.
    if (event.key == Key::Paste) platform::SetClipboardText(PastedBytes(event.text));
    if (desktop.menu.IsOpen()) return desktop.menu.HandleKey(event, platform::MenuPopups(GetMenu(MainWindow)));
    if (modal) return Held(desktop.FormOf(modal).HandleKey(event));
    KeyResult result = OpenMenu(desktop, event);
    if (result.handled) return result;
    if (event.Is(Key::Function) && event.number == 1) return KeyResult::Command(IDM_SHOW_HELP);
    if (event.Is(Key::Function) && event.number == 6) {
        desktop.CycleFocus();
        return KeyResult::Handled();
    }
    if (HWND panel = desktop.FocusedPanel()) return Held(desktop.FormOf(panel).HandleKey(event));
    return ConsoleKey(event);
}

}  // namespace

KeyResult HandleInput(Desktop& desktop, const Event& event) {
    KeyResult result = Route(desktop, event);
    if (result.command) platform::UserMenuCommand(MainWindow, result.command);
    return result;
}

}  // namespace tui
