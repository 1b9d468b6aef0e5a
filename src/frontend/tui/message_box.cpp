#include "frontend/tui/message_box.h"

#include <algorithm>

#include "frontend/tui/text.h"

namespace tui {

namespace {

constexpr int kLongestLine = 70;
constexpr char32_t kButton[] = U"< OK >";
constexpr int kButtonWidth = 6;

int TextWidth(int columns) { return std::max(10, std::min(kLongestLine, columns - 6)); }

// The text's lines, wrapped; line ends break lines here instead of showing as control dots.
std::vector<std::u32string> Lines(const std::string& text, int columns) {
    std::u32string shown;
    for (char c : text) shown += c == '\r' || c == '\n' || c == '\t' ? (char32_t)c : DisplayChar((unsigned char)c);
    std::vector<std::u32string> lines = WrapText(shown, TextWidth(columns));
    while (lines.size() > 1 && lines.back().empty()) lines.pop_back();
    return lines;
}

}  // namespace

Rect MessageBoxPopup::Place(int columns, int rows) const {
    std::vector<std::u32string> lines = Lines(text_, columns);
    int inner = kButtonWidth;
    for (const auto& line : lines) inner = std::max(inner, (int)line.size());
    inner = std::max(inner, (int)caption_.size() + 2);
    int width = std::min(columns, inner + 4);
    int height = std::min(rows, (int)lines.size() + 4);
    return Rect{std::max(0, (columns - width) / 2), std::max(0, (rows - height) / 2), width, height};
}

void MessageBoxPopup::Draw(Canvas& canvas) const {
    Rect box = Place(canvas.Width(), canvas.Height());
    std::vector<std::u32string> lines = Lines(text_, canvas.Width());
    canvas.Fill(box, Style::Dialog);
    canvas.Frame(box, Style::Dialog, DisplayText(caption_), Style::DialogTitle);
    canvas.Shadow(box);
    for (int i = 0; i < (int)lines.size() && i < box.h - 4; ++i) canvas.Text(box.x + 2, box.y + 1 + i, lines[(size_t)i], Style::Dialog, box.w - 4);
    int x = box.x + (box.w - kButtonWidth) / 2;
    canvas.Text(x, box.Bottom() - 2, kButton, Style::ButtonFocused);
}

KeyResult MessageBoxPopup::HandleKey(const Event& event) {
    if (event.key != Key::Enter && event.key != Key::Escape && !(event.key == Key::Char && event.ch == U' '))
        return KeyResult::Handled();
    dismissed_ = true;
    return KeyResult::Closed();
}

KeyResult MessageBoxPopup::HandleMouse(const Event& event, int columns, int rows) {
    if (event.mouse != MouseAction::Press) return KeyResult::Handled();
    Rect box = Place(columns, rows);
    Rect button{box.x + (box.w - kButtonWidth) / 2, box.Bottom() - 2, kButtonWidth, 1};
    if (!button.Contains(event.x, event.y)) return KeyResult::Handled();
    dismissed_ = true;
    return KeyResult::Closed();
}

}  // namespace tui
