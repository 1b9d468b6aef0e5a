// The front end: whatever shows the program to its user. The platform forwards every visible
// change to it (text drawn into a window, caret, scroll bars, title, menus, dialogs, message
// boxes, help), and the front end feeds user input back as window messages, through its own
// event source (platform/event_source.h) and the user actions of platform/ui.h.
//
// There is exactly one front end at a time. Until one is installed, a silent default is in
// place that answers message boxes with OK.
#pragma once

#include <cstddef>

#include "platform/wintypes.h"

namespace platform {

class FrontEnd {
public:
    virtual ~FrontEnd() = default;

    // Size of the main window's client area when it is created, in cells.
    virtual void InitialClientSize(int& width, int& height) {
        width = 120;
        height = 25;
    }

    // Every byte that the console printer formats, in order (the headless front end writes
    // them to standard output).
    virtual void Printed(const char* /*text*/, size_t /*length*/) {}

    // False when the front end shows no window at all (headless): what would only be drawn
    // need not be prepared.
    virtual bool DrawsWindows() const { return true; }
    // A run of cells drawn at cell position (x, y) of a window's client area.
    virtual void TextOut(HWND /*window*/, int /*x*/, int /*y*/, const char* /*text*/, int /*count*/) {}
    virtual void CaretChanged() {}
    virtual void ScrollChanged(HWND /*window*/, int /*bar*/) {}
    virtual void TitleChanged(HWND /*window*/, const char* /*title*/) {}
    virtual void MenuChanged(HMENU /*menu*/) {}
    // A window (dialog) was shown or hidden, created or destroyed.
    virtual void WindowShown(HWND /*window*/, bool /*visible*/) {}
    virtual void WindowDestroyed(HWND /*window*/) {}
    // A control of a dialog changed (text, check, enable, items, selection).
    virtual void DialogChanged(HWND /*dialog*/) {}
    // A modal message box. Must return IDOK (1) once the user has seen it.
    virtual int MessageBox(HWND /*owner*/, const char* /*text*/, const char* /*caption*/, UINT /*type*/) {
        return 1;
    }
    virtual void ShowHelp(const char* /*file*/) {}
    // The action that the command line asked for could not start: the server could not
    // listen, the ping socket could not open, or the grab could not begin. The program goes on
    // unless the front end ends it.
    virtual void CommandLineActionFailed() {}
};

void SetFrontEnd(FrontEnd* frontEnd);
FrontEnd& TheFrontEnd();

}  // namespace platform
