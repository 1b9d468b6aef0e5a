// The help screen of Help > Show Help: the manual page docs/korvel.1, built into the program
// and laid out for the screen, so the help a user reads in korvel and in man(1) is one text.
//
// The page is written in the small part of the man macros that it needs, and only that part
// is understood here: .TH .SH .SS .PP .LP .P .TP .IP .RS .RE .nf .fi .br .sp, the font
// requests .B .I .BR .BI .IB .IR .RB .RI, the font escapes \fB \fI \fR \fP, and the
// characters \- \e \\ \& \(em \(en \(bu \(aq \(lq \(rq \(co \~ and "\ ". Text is filled
// and wrapped to the width of the screen.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "frontend/tui/canvas.h"
#include "frontend/tui/event.h"
#include "frontend/tui/key_result.h"

namespace tui {

struct HelpLine {
    std::u32string text;
    std::vector<Style> styles;  // one per character: Help, HelpBold or HelpItalic
};

std::vector<HelpLine> RenderManPage(std::string_view page, int width);

// The manual page as built into the program.
extern const char kManPage[];

class HelpScreen {
public:
    bool IsOpen() const { return open_; }
    void Open();
    void Close() { open_ = false; }
    // The area the screen covers on a terminal of this size.
    static Rect Place(int columns, int rows);
    void Draw(Canvas& canvas);
    // The screen keeps every input while it is open; Esc, q and F1 close it.
    KeyResult HandleKey(const Event& event);
    KeyResult HandleMouse(const Event& event);

private:
    bool open_ = false;
    int top_ = 0;
    int page_ = 1;  // rows of text shown at the last draw
    int lineCount_ = 0;
    int width_ = -1;
    std::vector<HelpLine> lines_;
};

}  // namespace tui
