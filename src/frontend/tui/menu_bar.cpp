#include "frontend/tui/menu_bar.h"

#include <algorithm>
#include <cctype>

#include "frontend/tui/text.h"

namespace tui {

namespace {

std::vector<std::string> PopupLabels(const Popups& popups) {
    std::vector<std::string> labels;
    for (const auto& popup : popups) labels.push_back(popup.label);
    return labels;
}

std::vector<std::string> ItemLabels(const platform::MenuPopupState& popup) {
    std::vector<std::string> labels;
    for (const auto& item : popup.items) labels.push_back(item.label);
    return labels;
}

char32_t LetterAt(const std::string& label, int index) {
    return index < 0 ? 0 : LowerAscii((char32_t)(unsigned char)label[(size_t)index]);
}

int LabelForLetter(const std::vector<std::string>& labels, char32_t letter) {
    std::vector<int> keys = KeyLetters(labels);
    for (size_t i = 0; i < labels.size(); ++i)
        if (keys[i] >= 0 && LetterAt(labels[i], keys[i]) == LowerAscii(letter)) return (int)i;
    return -1;
}

// The label with its key letter underlined, from (x, y).
void DrawLabel(Canvas& canvas, int x, int y, const std::string& label, int key, Style style) {
    std::u32string text = DisplayText(label);
    for (size_t i = 0; i < text.size(); ++i) canvas.Put(x + (int)i, y, text[i], style, (int)i == key);
}

int FirstUsable(const platform::MenuPopupState& popup) {
    for (size_t i = 0; i < popup.items.size(); ++i)
        if (popup.items[i].enabled) return (int)i;
    return 0;
}

}  // namespace

std::vector<int> KeyLetters(const std::vector<std::string>& labels) {
    std::vector<int> keys;
    std::string taken;
    for (const std::string& label : labels) {
        int key = -1;
        for (size_t i = 0; i < label.size() && key < 0; ++i) {
            char c = (char)tolower((unsigned char)label[i]);
            if (isalnum((unsigned char)c) && taken.find(c) == std::string::npos) {
                key = (int)i;
                taken += c;
            }
        }
        keys.push_back(key);
    }
    return keys;
}

void MenuBar::Open(const Popups& popups, int popup) {
    if (popup < 0 || popup >= (int)popups.size()) return;
    popup_ = popup;
    item_ = FirstUsable(popups[(size_t)popup]);
}

int MenuBar::PopupForLetter(const Popups& popups, char32_t letter) {
    return LabelForLetter(PopupLabels(popups), letter);
}

Rect MenuBar::TitleRect(const Popups& popups, int popup) {
    int x = 1;
    for (int i = 0; i < popup && i < (int)popups.size(); ++i) x += (int)popups[(size_t)i].label.size() + 2;
    int width = popup < (int)popups.size() ? (int)popups[(size_t)popup].label.size() + 2 : 0;
    return Rect{x, 0, width, 1};
}

Rect MenuBar::DropRect(const Popups& popups, int popup) {
    const auto& items = popups[(size_t)popup].items;
    int width = 0;
    for (const auto& item : items) width = std::max(width, (int)item.label.size());
    return Rect{TitleRect(popups, popup).x, 1, width + 4, (int)items.size() + 2};
}

void MenuBar::Draw(Canvas& canvas, const Popups& popups) const {
    canvas.Fill(Rect{0, 0, canvas.Width(), 1}, Style::Bar);
    std::vector<int> keys = KeyLetters(PopupLabels(popups));
    for (int i = 0; i < (int)popups.size(); ++i) {
        Rect title = TitleRect(popups, i);
        Style style = i == popup_ ? Style::BarOpen : Style::Bar;
        canvas.Fill(title, style);
        DrawLabel(canvas, title.x + 1, 0, popups[(size_t)i].label, keys[(size_t)i], style);
    }
    if (!IsOpen() || popup_ >= (int)popups.size()) return;

    const auto& popup = popups[(size_t)popup_];
    Rect drop = DropRect(popups, popup_);
    canvas.Fill(drop, Style::Menu);
    canvas.Frame(drop, Style::Menu);
    canvas.Shadow(drop);
    std::vector<int> itemKeys = KeyLetters(ItemLabels(popup));
    for (int i = 0; i < (int)popup.items.size(); ++i) {
        const auto& item = popup.items[(size_t)i];
        bool selected = i == item_;
        Style style = item.enabled ? (selected ? Style::MenuSelected : Style::Menu)
                                   : (selected ? Style::MenuGreySelected : Style::MenuGrey);
        int y = drop.y + 1 + i;
        canvas.Fill(Rect{drop.x + 1, y, drop.w - 2, 1}, style);
        DrawLabel(canvas, drop.x + 2, y, item.label, item.enabled ? itemKeys[(size_t)i] : -1, style);
    }
}

KeyResult MenuBar::Choose(const Popups& popups, int item) {
    const auto& items = popups[(size_t)popup_].items;
    if (item < 0 || item >= (int)items.size()) return KeyResult::Handled();
    item_ = item;
    if (!items[(size_t)item].enabled) return KeyResult::Handled();
    Close();
    return KeyResult{true, true, items[(size_t)item].id};
}

KeyResult MenuBar::HandleKey(const Event& event, const Popups& popups) {
    if (!IsOpen() || popup_ >= (int)popups.size()) return KeyResult::Ignored();
    int count = (int)popups.size();
    int items = (int)popups[(size_t)popup_].items.size();
    switch (event.key) {
        case Key::Escape:
            Close();
            return KeyResult::Closed();
        case Key::Function:
            if (event.number != 10) return KeyResult::Handled();
            Close();
            return KeyResult::Closed();
        case Key::Left: Open(popups, (popup_ + count - 1) % count); return KeyResult::Handled();
        case Key::Right: Open(popups, (popup_ + 1) % count); return KeyResult::Handled();
        case Key::Up:
            if (items) item_ = (item_ + items - 1) % items;
            return KeyResult::Handled();
        case Key::Down:
            if (items) item_ = (item_ + 1) % items;
            return KeyResult::Handled();
        case Key::Home: item_ = 0; return KeyResult::Handled();
        case Key::End: item_ = std::max(0, items - 1); return KeyResult::Handled();
        case Key::Enter: return Choose(popups, item_);
        case Key::Char: {
            if (event.mods & kAlt) {
                int other = PopupForLetter(popups, event.ch);
                if (other >= 0) Open(popups, other);
                return KeyResult::Handled();
            }
            int item = LabelForLetter(ItemLabels(popups[(size_t)popup_]), event.ch);
            return item >= 0 ? Choose(popups, item) : KeyResult::Handled();
        }
        default: return KeyResult::Handled();
    }
}

KeyResult MenuBar::HandleMouse(const Event& event, const Popups& popups) {
    if (event.key != Key::Mouse || event.mouse != MouseAction::Press) return IsOpen() ? KeyResult::Handled() : KeyResult::Ignored();
    for (int i = 0; i < (int)popups.size(); ++i)
        if (TitleRect(popups, i).Contains(event.x, event.y)) {
            if (popup_ != i) {
                Open(popups, i);
                return KeyResult::Handled();
            }
            Close();
            return KeyResult::Closed();
        }
    if (!IsOpen()) return KeyResult::Ignored();
    Rect drop = DropRect(popups, popup_);
    if (drop.Contains(event.x, event.y)) {
        int item = event.y - drop.y - 1;
        return item >= 0 && item < (int)popups[(size_t)popup_].items.size() ? Choose(popups, item) : KeyResult::Handled();
    }
    Close();
    return KeyResult::Closed();
}

}  // namespace tui
