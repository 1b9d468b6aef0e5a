// The surface of a window: the cells that the program drew into its client area with TextOut,
// kept exactly as drawn. The console draws itself cell by cell and row by row, and a few of
// its redraws land on other rows than the one that changed; the surface shows what was drawn,
// never what the console model holds, so those quirks are seen as they are.
//
// Cells are bytes of Windows-1252; a draw outside the client area is clipped, as a window
// clips its painting.
#pragma once

#include <string>
#include <vector>

namespace tui {

class Surface {
public:
    // A resize blanks the surface, as the window's background is erased when its size
    // changes; the program then draws the view again.
    void Resize(int width, int height);
    int Width() const { return width_; }
    int Height() const { return height_; }

    void Draw(int x, int y, const char* text, int count);
    unsigned char At(int x, int y) const { return (unsigned char)cells_[(size_t)(y * width_ + x)]; }
    std::string Row(int y) const { return cells_.substr((size_t)(y * width_), (size_t)width_); }

private:
    int width_ = 0, height_ = 0;
    std::string cells_;
};

}  // namespace tui
