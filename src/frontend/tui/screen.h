// The screen: what the terminal shows and where.
//
//   row 0               the menu bar
//   rows 1 .. H-3       the main window's client area (the console), with the vertical
//                       scroll bar in the last column
//   row H-2             the horizontal scroll bar
//   row H-1             the status line: the window title and the keys of the moment
//
// Over the console, in this order: the panels (the modeless dialogs that are shown, from the
// right edge down, the one with the keyboard on top), the modal dialogs (centred, innermost
// last; one as tall as the screen covers the menu bar and the status line), the open menu,
// the help screen, the message boxes. The Desktop holds the state of
// all of them that is not the program's (the surfaces drawn by the program, which panel has
// the keyboard, forms, popups) and composes the screen from it and from the platform's
// models; the input layer (input.h) changes it.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "frontend/tui/canvas.h"
#include "frontend/tui/form.h"
#include "frontend/tui/help.h"
#include "frontend/tui/menu_bar.h"
#include "frontend/tui/message_box.h"
#include "frontend/tui/scroll_bar.h"
#include "frontend/tui/surface.h"

namespace tui {

struct Layout {
    int columns = 0, rows = 0;
    Rect menuBar, client, verticalBar, horizontalBar, status;
    static Layout For(int columns, int rows);
};

class Desktop {
public:
    Desktop() { Resize(80, 24); }

    // A new terminal size: the layout changes and every surface is blanked to the new
    // client size (the program is then told the size and draws again).
    void Resize(int columns, int rows);
    const Layout& GetLayout() const { return layout_; }

    Surface& SurfaceOf(HWND window);
    Form& FormOf(HWND dialog);
    void Forget(HWND window);

    void ShowPanel(HWND dialog);
    void HidePanel(HWND dialog);
    const std::vector<HWND>& Panels() const { return panels_; }
    HWND FocusedPanel() const { return focusedPanel_; }
    void FocusPanel(HWND dialog) { focusedPanel_ = dialog; }
    // F6: the console, then each panel in turn.
    void CycleFocus();

    // Every shown panel with its place, bottom first (the one with the keyboard last).
    std::vector<std::pair<HWND, Rect>> PanelPlaces() const;
    // The running modal dialogs, outermost first.
    static std::vector<HWND> ModalDialogs();
    Rect ModalPlace(HWND dialog);
    ScrollBarView VerticalBar() const;
    ScrollBarView HorizontalBar() const;

    // The window whose keys the user is typing into: the innermost modal dialog, else the
    // panel with the keyboard, else the main window.
    HWND KeyboardWindow() const;
    // The main window's title as the program set it.
    static std::string Title();

    // Composes the whole screen; cursorX/Y get the terminal cursor's cell, or -1 to hide it.
    void Compose(Canvas& canvas, int& cursorX, int& cursorY);

    MenuBar menu;
    HelpScreen help;
    std::vector<MessageBoxPopup*> boxes;  // innermost last

    // A drag of a scroll bar's thumb in progress.
    struct Drag {
        bool active = false;
        bool vertical = true;
        int lastPosition = -1;
    } drag;

private:
    void DrawConsole(Canvas& canvas) const;
    void DrawStatus(Canvas& canvas) const;
    bool CaretCell(int& x, int& y) const;

    Layout layout_;
    std::map<HWND, Surface> surfaces_;
    std::map<HWND, Form> forms_;
    std::vector<HWND> panels_;  // in the order they were shown
    HWND focusedPanel_ = nullptr;
};

}  // namespace tui
