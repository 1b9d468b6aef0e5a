// A dialog drawn as a form: the frame with the dialog's title, and its controls at their cells
// (labels, group boxes, edits, check boxes "[x]", radio buttons "(*)", lists, drop-down lists,
// buttons "< OK >"). A control gets the cells its face needs: a button is widened to its whole
// face, and a row whose labels would touch is spread apart where it fits (form.cpp, Placement).
//
// The dialog model (platform/ui.h) holds everything the program sees: texts, checks,
// selections, what is enabled. The form adds only what a user's hands need: which control has
// the keyboard, where the cursor of an edit stands, how far a list is scrolled, whether a
// drop-down is open. Every change goes back through the user actions of the model (set text,
// click, select, close), which notify the dialog procedure as a user's input would. A greyed
// control is drawn grey and never takes the keyboard.
//
// Keys: Tab and Shift+Tab move between controls (a radio group is one stop: its checked
// button); Space clicks a button, toggles a check box, checks a radio button, opens a
// drop-down; Enter presses the focused button, else the default one; Esc presses the button
// with id 2 when the dialog has one (nothing when it is greyed), else closes the dialog as
// its close box would (a panel always closes as its close box does); arrows move within a radio
// group or a drop-down, and from other controls to the previous or next one; Alt+letter (or the
// letter alone, away from an edit) acts on the control whose label underlines that letter.
//
// In a list the arrows, Home, End, Page Up and Page Down only move a highlight; Enter, Space, a
// click or a double click choose the highlighted item. Only a choice selects the item in the
// model and so notifies the dialog procedure, even when the item was selected already: a
// procedure that acts on every selection (a directory list that enters the directory) can then
// be walked through with the keyboard. When the program changes a list's items or selection,
// the highlight goes to the selection.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "frontend/tui/canvas.h"
#include "frontend/tui/event.h"
#include "frontend/tui/key_result.h"
#include "platform/ui.h"

namespace tui {

class Form {
public:
    explicit Form(HWND dialog = nullptr) : dialog_(dialog) {}
    HWND Dialog() const { return dialog_; }

    // A panel (a modeless dialog beside the console) has a close box "[x]" in its frame, and
    // Esc closes it as that box does, whatever its buttons.
    void SetPanel(bool panel) { panel_ = panel; }
    static Rect CloseBox(const Rect& outer) { return Rect{outer.Right() - 5, outer.y, 3, 1}; }

    // The size of the dialog with its frame.
    int OuterWidth() const;
    int OuterHeight() const;

    // Draws the dialog with its outer frame at `outer`; `active` when it has the keyboard.
    void Draw(Canvas& canvas, const Rect& outer, bool active);
    KeyResult HandleKey(const Event& event);
    // Ignored when the action falls outside the form (and no drop-down of it is open).
    KeyResult HandleMouse(const Event& event, const Rect& outer);
    // Where the terminal cursor stands while the form has the keyboard (in an edit).
    bool Cursor(const Rect& outer, int& x, int& y) const;

    // The id of the control with the keyboard, or 0.
    int FocusedId() const;
    bool DropDownOpen() const { return dropOpen_ >= 0; }

private:
    struct EditState {
        int cursor = 0;
        int scroll = 0;
        bool selectAll = false;  // set when Tab enters the edit: typing replaces the text
    };
    struct ListState {
        int top = 0;
        int highlight = -1;
        bool follow = false;  // the next draw scrolls the highlight into sight
        // The model as the form last saw it.
        int seenSelection = -2;
        std::vector<std::string> seenItems;
    };
    // The last press of a mouse button, to tell a double click from two clicks.
    struct LastPress {
        int control = -1;
        int y = -1;
        int64_t ms = 0;
    };

    std::vector<platform::ControlState*> Controls() const;
    platform::ControlState* Focused() const;
    // Where the control at `index` stands on the screen (see Places).
    Rect ControlRect(const Rect& outer, int index) const;
    const std::vector<Rect>& Places() const;
    static bool Focusable(const platform::ControlState& c);
    void Validate();
    std::vector<int> TabStops() const;
    std::vector<int> RadioGroup(int index) const;
    void FocusIndex(int index, bool fromTab);
    void MoveFocus(int direction);

    KeyResult EditKey(platform::ControlState& c, const Event& event);
    KeyResult ListKey(platform::ControlState& c, const Event& event);
    ListState& SyncList(int index, const platform::ControlState& c);
    void Highlight(ListState& l, const platform::ControlState& c, int item);
    void Choose(int index, platform::ControlState& c, int item);
    bool DoubleClick(int index, const Event& event);
    KeyResult DropDownKey(platform::ControlState& c, const Event& event);
    KeyResult RadioKey(const Event& event);
    KeyResult PressLetter(char32_t letter);
    void Click(platform::ControlState& c);
    void SetEditText(platform::ControlState& c, std::string text, int cursor);
    void InsertText(platform::ControlState& c, const std::u32string& text);
    KeyResult PressEnter();
    KeyResult PressEscape();
    void Select(platform::ControlState& c, int index);
    Rect DropRect(const Rect& outer, int index, int canvasHeight) const;

    int LabelRoom(const Rect& outer, int index, int natural) const;
    void DrawControl(Canvas& canvas, const Rect& outer, int index, bool active);
    void DrawEdit(Canvas& canvas, const Rect& r, const platform::ControlState& c, bool focused, int index);
    void DrawList(Canvas& canvas, const Rect& r, const platform::ControlState& c, bool focused, int index);
    void DrawDropList(Canvas& canvas, const Rect& outer);

    HWND dialog_;
    bool panel_ = false;
    int focus_ = -1;  // index of the control with the keyboard in template order
    std::map<int, EditState> edits_;
    std::map<int, ListState> lists_;
    LastPress lastPress_;
    mutable std::vector<Rect> places_;  // each control's cells inside the frame, once worked out
    int dropOpen_ = -1;  // index of the open drop-down
    int dropHighlight_ = 0;
    int dropTop_ = 0;
    int lastCanvasHeight_ = 0;
};

}  // namespace tui
