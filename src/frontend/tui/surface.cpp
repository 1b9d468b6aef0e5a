#include "frontend/tui/surface.h"

#include <algorithm>

namespace tui {

void Surface::Resize(int width, int height) {
    width_ = std::max(0, width);
    height_ = std::max(0, height);
    cells_.assign((size_t)width_ * (size_t)height_, ' ');
}

void Surface::Draw(int x, int y, const char* text, int count) {
    if (y < 0 || y >= height_ || count <= 0) return;
    int first = std::max(0, -x);
    int last = std::min(count, width_ - x);
    for (int i = first; i < last; ++i) cells_[(size_t)(y * width_ + x + i)] = text[i];
}

}  // namespace tui
