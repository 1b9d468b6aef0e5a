// The main window's two scroll bars: an arrow at each end and a one-cell thumb on the track
// between them, placed by the bar's position within its range. A window that sets only a
// range and a position has a thumb of fixed size, so the thumb says where the view is, not
// how much of the screen it shows.
//
// A mouse press on an arrow scrolls a line, on the track a page, and on the thumb starts a
// drag; the codes sent are the scroll bar codes the window expects (0 line back, 1 line
// forward, 2 page back, 3 page forward, 4 thumb released at a position, 5 thumb dragged to a
// position, 8 end of scrolling).
#pragma once

#include "frontend/tui/canvas.h"
#include "platform/ui.h"

namespace tui {

enum ScrollCode : int {
    kLineBack = 0,
    kLineForward = 1,
    kPageBack = 2,
    kPageForward = 3,
    kThumbPosition = 4,
    kThumbTrack = 5,
    kToTop = 6,
    kToBottom = 7,
    kEndScroll = 8,
};

struct ScrollBarView {
    Rect area;  // one column (vertical) or one row (horizontal)
    bool vertical = true;
    platform::ScrollState state;

    int Length() const { return vertical ? area.h : area.w; }
    // The cell of the thumb counted from the first arrow, or -1 when there is no thumb (the
    // range is empty or the bar too short).
    int ThumbCell() const;
    // The position a thumb dragged to `cell` stands for.
    int PositionAt(int cell) const;
    // The cell under screen point (x, y), or -1.
    int CellAt(int x, int y) const;
    // What a press on `cell` does: a scroll code, or kThumbTrack for the thumb, or -1.
    int PressCode(int cell) const;

    void Draw(Canvas& canvas) const;
};

}  // namespace tui
