#include "frontend/tui/canvas.h"

#include <algorithm>

#include "frontend/tui/text.h"

namespace tui {

void Canvas::Resize(int width, int height) {
    width_ = std::max(0, width);
    height_ = std::max(0, height);
    cells_.assign((size_t)width_ * (size_t)height_, Cell{});
}

void Canvas::Put(int x, int y, char32_t ch, Style style, bool underline) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
    cells_[(size_t)(y * width_ + x)] = Cell{ch, style, underline};
}

int Canvas::Text(int x, int y, std::u32string_view text, Style style, int maxWidth) {
    int limit = maxWidth < 0 ? (int)text.size() : std::min<int>(maxWidth, (int)text.size());
    for (int i = 0; i < limit; ++i) Put(x + i, y, text[(size_t)i], style);
    return limit;
}

void Canvas::Fill(const Rect& area, Style style, char32_t ch) {
    for (int y = area.y; y < area.Bottom(); ++y)
        for (int x = area.x; x < area.Right(); ++x) Put(x, y, ch, style);
}

void Canvas::Frame(const Rect& area, Style style, std::u32string_view title, Style titleStyle, bool centred) {
    if (area.w < 2 || area.h < 2) return;
    int right = area.Right() - 1, bottom = area.Bottom() - 1;
    for (int x = area.x + 1; x < right; ++x) {
        Put(x, area.y, U'─', style);
        Put(x, bottom, U'─', style);
    }
    for (int y = area.y + 1; y < bottom; ++y) {
        Put(area.x, y, U'│', style);
        Put(right, y, U'│', style);
    }
    Put(area.x, area.y, U'┌', style);
    Put(right, area.y, U'┐', style);
    Put(area.x, bottom, U'└', style);
    Put(right, bottom, U'┘', style);
    // The title between blanks when there is room for them, else without, else cut.
    int room = area.w - 2;
    if (title.empty() || room < 1) return;
    std::u32string shown(title.substr(0, (size_t)room));
    if ((int)shown.size() + 2 <= room) shown = U" " + shown + U" ";
    int x = centred ? area.x + 1 + (room - (int)shown.size()) / 2 : area.x + 1;
    Text(x, area.y, shown, titleStyle);
}

void Canvas::Shadow(const Rect& area) {
    Restyle(Rect{area.Right(), area.y + 1, 2, area.h}, Style::Shadow);
    Restyle(Rect{area.x + 2, area.Bottom(), area.w, 1}, Style::Shadow);
}

void Canvas::Restyle(const Rect& area, Style style) {
    for (int y = std::max(0, area.y); y < std::min(height_, area.Bottom()); ++y)
        for (int x = std::max(0, area.x); x < std::min(width_, area.Right()); ++x) {
            Cell& cell = cells_[(size_t)(y * width_ + x)];
            cell.style = style;
            cell.underline = false;
        }
}

std::string Canvas::RowText(int y) const {
    std::u32string row;
    for (int x = 0; x < width_; ++x) row += At(x, y).ch;
    while (!row.empty() && row.back() == U' ') row.pop_back();
    return ToUtf8(row);
}

}  // namespace tui
