// The menu bar: the main window's menus on the top row of the screen, one of them open at a
// time as a drop-down box.
//
// The bar knows only which menu is open and which item is highlighted; the menus themselves
// (labels, items, greying) are read from the platform's menu model at every draw, so a change
// the program makes while a menu is open shows at once. A greyed item can be highlighted but
// not chosen. Each menu and each item gets a letter of its label as its key: the first letter
// that no earlier entry of the same row took, underlined on the screen.
#pragma once

#include <vector>

#include "frontend/tui/canvas.h"
#include "frontend/tui/event.h"
#include "frontend/tui/key_result.h"
#include "platform/ui.h"

namespace tui {

using Popups = std::vector<platform::MenuPopupState>;

class MenuBar {
public:
    bool IsOpen() const { return popup_ >= 0; }
    int OpenPopup() const { return popup_; }
    int Highlighted() const { return item_; }
    void Open(const Popups& popups, int popup);
    void Close() { popup_ = -1; }

    // The menu whose key is `letter` (Alt+letter), or -1.
    static int PopupForLetter(const Popups& popups, char32_t letter);
    static Rect TitleRect(const Popups& popups, int popup);
    static Rect DropRect(const Popups& popups, int popup);

    void Draw(Canvas& canvas, const Popups& popups) const;
    // An open menu keeps every key; choosing an item closes it and answers the item's id as
    // the command. The mouse is ignored away from the bar while no menu is open.
    KeyResult HandleKey(const Event& event, const Popups& popups);
    KeyResult HandleMouse(const Event& event, const Popups& popups);

private:
    KeyResult Choose(const Popups& popups, int item);

    int popup_ = -1;
    int item_ = 0;
};

// The index of the key letter in each of `labels`: the first letter not taken by an earlier
// label (-1 when every letter is taken).
std::vector<int> KeyLetters(const std::vector<std::string>& labels);

}  // namespace tui
