// The terminal itself, through ncurses (wide characters): setting it up and giving it back,
// decoding its input into events, and putting a composed canvas on it.
//
// The terminal is given back on every way out: Stop() at a normal end (also from an atexit
// handler, should anything call exit), and for the signals that end the program at once
// (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT, SIGSYS, SIGTRAP) a handler that writes
// the prepared reset sequence and the saved terminal modes back with async-signal-safe calls
// before the signal takes its default course. SIGINT, SIGTERM and SIGHUP are the front end's
// (they end the program through its normal shutdown).
//
// Keys: ncurses decodes what terminfo knows; the xterm sequences of keys with Shift, Alt and
// Ctrl are added for every terminal that speaks them, so Shift+Up and Ctrl+Left arrive as
// such whatever terminfo says. Bracketed paste is switched on and a paste arrives as one
// event. The window title is set with the xterm escape (OSC 0) only on terminals known to
// understand it.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "frontend/tui/canvas.h"
#include "frontend/tui/event.h"

namespace tui {

class Terminal {
public:
    ~Terminal() { Stop(); }

    // False when standard input and output are not a usable terminal.
    bool Start();
    void Stop();
    bool Started() const { return started_; }

    int Columns() const { return columns_; }
    int Rows() const { return rows_; }
    // Reads the terminal's size again (after SIGWINCH); true when it changed.
    bool Resize();

    // The next decoded event; false when no input is waiting.
    bool Read(Event& event);

    // Puts the canvas on the screen; the cursor is shown at (cursorX, cursorY) unless < 0.
    void Show(const Canvas& canvas, int cursorX, int cursorY);
    void SetTitle(const std::u32string& title);

private:
    bool Decode(int result, unsigned int code, Event& event);
    bool DecodeKey(unsigned int code, Event& event);
    bool DecodeMouse(Event& event);
    bool DecodeSgrMouse(Event& event);
    void DefineModifiedKeys();

    bool started_ = false;
    bool utf8_ = false;
    bool titles_ = false;
    int columns_ = 0, rows_ = 0;
    int cursorShown_ = -1;
    std::u32string title_;
    std::map<int, std::pair<Key, unsigned>> modifiedKeys_;  // key code → key and modifiers
    bool pasting_ = false;
    std::u32string paste_;
};

}  // namespace tui
