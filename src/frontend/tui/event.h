// One piece of user input, as the terminal layer decodes it: a key with its modifiers, a
// typed character, a mouse action, or a pasted text. Nothing here depends on ncurses, so the
// layers that act on input can be driven from tests.
#pragma once

#include <cstdint>
#include <string>

namespace tui {

enum class Key {
    None,
    Char,  // a typed character (Ctrl+letter arrives as its control code)
    Enter,
    Escape,
    Tab,
    BackTab,
    Backspace,
    Delete,
    Insert,
    Up,
    Down,
    Left,
    Right,
    Home,
    End,
    PageUp,
    PageDown,
    Function,  // F1..F12 in `number`
    Mouse,
    Paste,     // a bracketed paste; the text in `text`
};

enum Modifier : unsigned { kShift = 1, kAlt = 2, kCtrl = 4 };

enum class MouseAction { Press, Release, Drag, WheelUp, WheelDown };

struct Event {
    Key key = Key::None;
    unsigned mods = 0;
    char32_t ch = 0;  // Key::Char
    int number = 0;   // Key::Function
    MouseAction mouse = MouseAction::Press;
    int x = 0, y = 0;     // Key::Mouse, screen cells
    int64_t ms = 0;       // Key::Mouse: when it came, in monotonic milliseconds
    std::u32string text;  // Key::Paste

    static Event Of(Key key, unsigned mods = 0) {
        Event e;
        e.key = key;
        e.mods = mods;
        return e;
    }
    static Event Char(char32_t ch, unsigned mods = 0) {
        Event e = Of(Key::Char, mods);
        e.ch = ch;
        return e;
    }
    static Event F(int number) {
        Event e = Of(Key::Function);
        e.number = number;
        return e;
    }
    static Event Mouse(MouseAction action, int x, int y) {
        Event e = Of(Key::Mouse);
        e.mouse = action;
        e.x = x;
        e.y = y;
        return e;
    }
    bool Is(Key k, unsigned m = 0) const { return key == k && mods == m; }
};

}  // namespace tui
