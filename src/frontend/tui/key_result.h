// What a piece of the screen did with one key or mouse action: the one answer that every
// input handler of the terminal front end gives (forms and their controls, the menu bar, a
// message box, the help screen, the console keys, the routing between them).
//
// `handled`: the input was meant for this piece and goes no further. A piece that holds the
// keyboard (a message box, the help, an open menu, a dialog) keeps every input it gets, used or
// not: the router, not the piece, decides that.
// `closed`: the piece closed itself (a message box dismissed, the help or a menu shut); a
// message box's own message loop is then woken to return.
// `command`: a menu command the input chose; the router hands it to the main window.
//
// There is no "redraw" answer: every input marks the screen stale, and the terminal layer sends
// only the cells that changed.
#pragma once

namespace tui {

struct KeyResult {
    bool handled = false;
    bool closed = false;
    int command = 0;

    static constexpr KeyResult Ignored() { return {}; }
    static constexpr KeyResult Handled() { return {true, false, 0}; }
    static constexpr KeyResult Closed() { return {true, true, 0}; }
    static constexpr KeyResult Command(int id) { return {true, false, id}; }
};

}  // namespace tui
