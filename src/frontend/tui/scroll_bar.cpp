#include "frontend/tui/scroll_bar.h"

#include <algorithm>

namespace tui {

int ScrollBarView::ThumbCell() const {
    int track = Length() - 2;
    int range = state.maxPos - state.minPos;
    if (track < 1 || range <= 0) return -1;
    if (track == 1) return 1;
    int offset = std::clamp(state.pos - state.minPos, 0, range);
    return 1 + (offset * (track - 1) + range / 2) / range;
}

int ScrollBarView::PositionAt(int cell) const {
    int track = Length() - 2;
    int range = state.maxPos - state.minPos;
    if (track <= 1 || range <= 0) return state.minPos;
    int offset = std::clamp(cell - 1, 0, track - 1);
    return state.minPos + (offset * range + (track - 1) / 2) / (track - 1);
}

int ScrollBarView::CellAt(int x, int y) const {
    if (!area.Contains(x, y)) return -1;
    return vertical ? y - area.y : x - area.x;
}

int ScrollBarView::PressCode(int cell) const {
    int length = Length();
    if (cell < 0 || cell >= length) return -1;
    if (cell == 0) return kLineBack;
    if (cell == length - 1) return kLineForward;
    int thumb = ThumbCell();
    if (thumb < 0) return -1;
    if (cell < thumb) return kPageBack;
    if (cell > thumb) return kPageForward;
    return kThumbTrack;
}

void ScrollBarView::Draw(Canvas& canvas) const {
    int length = Length();
    if (length <= 0) return;
    auto put = [&](int cell, char32_t ch, Style style) {
        if (vertical)
            canvas.Put(area.x, area.y + cell, ch, style);
        else
            canvas.Put(area.x + cell, area.y, ch, style);
    };
    for (int cell = 0; cell < length; ++cell) put(cell, U'░', Style::ScrollTrack);
    put(0, vertical ? U'▲' : U'◄', Style::ScrollThumb);
    if (length > 1) put(length - 1, vertical ? U'▼' : U'►', Style::ScrollThumb);
    int thumb = ThumbCell();
    if (thumb >= 0) put(thumb, U'█', Style::ScrollThumb);
}

}  // namespace tui
