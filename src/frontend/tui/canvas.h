// The canvas: the terminal screen as the front end composes it, before it reaches ncurses.
//
// Every layer (console, menu bar, scroll bars, panels, dialogs, popups, help) draws into one
// grid of cells, each a Unicode character with a style and an underline flag; the terminal
// layer then copies the grid to the screen and lets ncurses send only what changed. Styles
// are names ("a greyed menu item"), not colours, so the drawing code never depends on what
// the terminal can show, and tests can read the composed screen as text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tui {

enum class Style : uint8_t {
    Console,       // the console's text
    Caret,         // the console cell under the caret
    Bar,           // menu bar and status line
    BarTitle,      // the window title in the status line
    BarOpen,       // the menu bar title whose menu is open
    Menu,          // an item of an open menu
    MenuSelected,  // the highlighted item
    MenuGrey,      // a greyed item
    MenuGreySelected,
    Dialog,        // dialog and panel background, labels
    DialogTitle,   // the title of the dialog that has the keyboard
    DialogGrey,    // a greyed control
    Edit,
    EditFocused,
    EditSelected,  // the selected text of an edit
    EditGrey,
    Button,
    ButtonDefault,
    ButtonFocused,
    List,
    ListSelected,
    ListSelectedFocused,
    ScrollTrack,
    ScrollThumb,
    Help,
    HelpBold,
    HelpItalic,
    Shadow,
    Count
};

struct Rect {
    int x = 0, y = 0, w = 0, h = 0;
    bool Contains(int px, int py) const { return px >= x && px < x + w && py >= y && py < y + h; }
    int Right() const { return x + w; }
    int Bottom() const { return y + h; }
};

struct Cell {
    char32_t ch = U' ';
    Style style = Style::Console;
    bool underline = false;
    bool operator==(const Cell& o) const { return ch == o.ch && style == o.style && underline == o.underline; }
};

class Canvas {
public:
    void Resize(int width, int height);
    int Width() const { return width_; }
    int Height() const { return height_; }

    // Every drawing call clips to the canvas.
    void Put(int x, int y, char32_t ch, Style style, bool underline = false);
    // Writes text from (x, y), at most maxWidth cells (-1: to the edge). Returns cells written.
    int Text(int x, int y, std::u32string_view text, Style style, int maxWidth = -1);
    void Fill(const Rect& area, Style style, char32_t ch = U' ');
    // A single-line frame around the edge of `area`, with the title in its top border: centred
    // (a window) or at the left (a group box).
    void Frame(const Rect& area, Style style, std::u32string_view title = {}, Style titleStyle = Style::Dialog,
               bool centred = true);
    // Darkens the cells below and to the right of `area`, keeping their characters.
    void Shadow(const Rect& area);
    // Gives the cells of `area` a new style, keeping their characters.
    void Restyle(const Rect& area, Style style);

    const Cell& At(int x, int y) const { return cells_[(size_t)(y * width_ + x)]; }
    // Row y as UTF-8 text, trailing blanks removed (for tests and screenshots).
    std::string RowText(int y) const;

private:
    int width_ = 0, height_ = 0;
    std::vector<Cell> cells_;
};

}  // namespace tui
