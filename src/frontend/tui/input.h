// Where each piece of input goes, and what it becomes for the program.
//
// Input goes to the first of: the newest message box; the help screen; the open menu; the
// innermost modal dialog; the panel with the keyboard; the console. F10 and Alt+letter open
// the menu (not while a modal dialog runs: its owner, the main window, is disabled), F1
// chooses Help > Show Help, F6 passes the keyboard between the console and the panels.
//
// On the console, the caret keys become WM_KEYDOWN with their virtual-key codes (Page Up/Down,
// End, Home, the arrows, Delete) and typed characters become WM_CHAR with their
// Windows-1252 byte (Enter 13, Backspace 8, Tab 9, Esc 27). The view is scrolled by keys that
// are not caret keys: Shift or Ctrl with Up/Down (a line), Page Up/Down (a page), Home/End
// (top, bottom) send WM_VSCROLL; Shift+Left/Right (a column) and Ctrl+Left/Right (eight
// columns) send WM_HSCROLL; the mouse wheel scrolls three lines, and the scroll bars answer
// the mouse as scroll bars do. Everything is posted to the program's queue exactly as the
// user's input would be.
#pragma once

#include "frontend/tui/event.h"
#include "frontend/tui/key_result.h"
#include "frontend/tui/screen.h"

namespace tui {

// Acts on one input and answers what the layer that took it did; a menu command it chose has
// been handed to the main window.
KeyResult HandleInput(Desktop& desktop, const Event& event);

}  // namespace tui
