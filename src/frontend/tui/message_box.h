// A message box: a popup in the middle of the screen with the caption in its frame, the text
// wrapped to fit, and one button "< OK >". Enter, Space, Esc or a click on the button
// dismisses it. While it is up the program keeps running (the front end runs the message
// loop until the box is dismissed), so the popup is drawn over whatever else changes.
#pragma once

#include <string>

#include "frontend/tui/canvas.h"
#include "frontend/tui/event.h"
#include "frontend/tui/key_result.h"

namespace tui {

class MessageBoxPopup {
public:
    MessageBoxPopup(std::string caption, std::string text) : caption_(std::move(caption)), text_(std::move(text)) {}

    bool Dismissed() const { return dismissed_; }
    void Dismiss() { dismissed_ = true; }

    Rect Place(int columns, int rows) const;
    void Draw(Canvas& canvas) const;
    // The box keeps every input while it is up; it answers closed when it was dismissed.
    KeyResult HandleKey(const Event& event);
    KeyResult HandleMouse(const Event& event, int columns, int rows);

private:
    std::string caption_;
    std::string text_;
    bool dismissed_ = false;
};

}  // namespace tui
