#include "frontend/tui/form.h"

#include <strings.h>

#include <algorithm>

#include "frontend/tui/text.h"
#include "platform/messages.h"

namespace tui {

namespace {

using platform::ControlState;

constexpr int kEditLimit = 999;  // what the dialog procedures read back at most
constexpr int kDropRows = 8;
constexpr int kWheelLines = 3;
constexpr int64_t kDoubleClickMs = 500;

bool IsList(ControlKind kind) { return kind == ControlKind::List || kind == ControlKind::SortedList; }

bool IsClickable(ControlKind kind) {
    return kind == ControlKind::Button || kind == ControlKind::CheckBox || kind == ControlKind::Radio;
}

// What a list or drop-down shows in its field.
std::string SelectedItem(const ControlState& c) {
    if (c.selection >= 0 && c.selection < (int)c.items.size()) return c.items[(size_t)c.selection];
    return c.kind == ControlKind::DropDown ? c.text : std::string();
}

void DrawMnemonicText(Canvas& canvas, int x, int y, const Mnemonic& m, int width, Style style) {
    int count = std::min<int>(width, (int)m.text.size());
    for (int i = 0; i < count; ++i) canvas.Put(x + i, y, m.text[(size_t)i], style, i == m.index);
}

// A small scroll indicator in the last column of a list of `count` items showing `rows` from `top`.
void DrawListBar(Canvas& canvas, const Rect& r, int count, int rows, int top) {
    int x = r.Right() - 1;
    for (int y = r.y; y < r.Bottom(); ++y) canvas.Put(x, y, U'░', Style::ScrollTrack);
    canvas.Put(x, r.y, U'▲', Style::ScrollThumb);
    canvas.Put(x, r.Bottom() - 1, U'▼', Style::ScrollThumb);
    int track = r.h - 2;
    int range = count - rows;
    if (track > 0 && range > 0) canvas.Put(x, r.y + 1 + (top * (track - 1) + range / 2) / range, U'█', Style::ScrollThumb);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Geometry and focus.

int Form::OuterWidth() const {
    const DialogTemplate* tpl = platform::DialogTemplateOf(dialog_);
    return tpl ? tpl->width + 2 : 2;
}

int Form::OuterHeight() const {
    const DialogTemplate* tpl = platform::DialogTemplateOf(dialog_);
    return tpl ? tpl->height + 2 : 2;
}

std::vector<ControlState*> Form::Controls() const { return platform::DialogControls(dialog_); }

ControlState* Form::Focused() const {
    auto controls = Controls();
    return focus_ >= 0 && focus_ < (int)controls.size() ? controls[(size_t)focus_] : nullptr;
}

int Form::FocusedId() const {
    ControlState* c = Focused();
    return c ? c->id : 0;
}

Rect Form::ControlRect(const Rect& outer, int index) const {
    const std::vector<Rect>& places = Places();
    if (index < 0 || index >= (int)places.size()) return Rect{outer.x + 1, outer.y + 1, 1, 1};
    const Rect& place = places[(size_t)index];
    return Rect{outer.x + 1 + place.x, outer.y + 1 + place.y, place.w, place.h};
}

// ---------------------------------------------------------------------------------------------
// Placement: where each control stands in cells, inside the frame.
//
// A template gives each control its cell and width, but what is drawn of a control can need
// more: a button's face "< label >", a check box's mark and label, a label's text. So a button
// is made as wide as its face, and on each row, where a control's face would run into the next
// control with no blank between them, the rest of the row moves right by the cells missing,
// when the row then still fits: inside the dialog's frame with a blank before it, and clear of
// what spans several rows (lists, group boxes' sides). A row that cannot move stays as the
// template put it.

namespace {

// The cells that a control's face takes on its row.
int FaceWidth(const ControlState& c) {
    int width = std::max<int>(1, c.width);
    int label = (int)ParseMnemonic(c.label).text.size();
    switch (c.kind) {
        case ControlKind::Static: return label;
        case ControlKind::CheckBox:
        case ControlKind::Radio: return 4 + label;  // "[ ] label"
        case ControlKind::Button: return std::max(width, 4 + label);  // "< label >"
        default: return width;
    }
}

// A stretch of a row: a one-row control that may move, or a part of a taller control that
// stays (a list, a group box's side).
struct Stretch {
    int index;  // -1 for what stays
    int x, width;
};

std::vector<Stretch> RowStretches(const std::vector<ControlState*>& controls, int row) {
    std::vector<Stretch> stretches;
    for (int i = 0; i < (int)controls.size(); ++i) {
        const ControlState& c = *controls[(size_t)i];
        int width = std::max<int>(1, c.width), height = std::max<int>(1, c.height);
        if (row < c.y || row >= c.y + height) continue;
        if (height == 1 && c.kind != ControlKind::Group)
            stretches.push_back(Stretch{i, c.x, FaceWidth(c)});
        else if (c.kind == ControlKind::Group && row > c.y && row < c.y + height - 1)
            stretches.insert(stretches.end(), {Stretch{-1, c.x, 1}, Stretch{-1, c.x + width - 1, 1}});
        else
            stretches.push_back(Stretch{-1, c.x, width});
    }
    std::stable_sort(stretches.begin(), stretches.end(), [](const Stretch& a, const Stretch& b) { return a.x < b.x; });
    return stretches;
}

// Moves the one-row controls of `row` apart where they touch, when the row can move.
void SpreadRow(const std::vector<ControlState*>& controls, int row, int innerWidth, std::vector<Rect>& places) {
    std::vector<Stretch> stretches = RowStretches(controls, row);
    std::vector<std::pair<int, int>> moves;  // control, new x
    int shift = 0;
    int end = INT32_MIN / 2;  // the cell after the last stretch placed
    for (const Stretch& s : stretches) {
        int x = s.index < 0 ? s.x : s.x + shift;
        if (x <= end) {
            // What stays cannot make room; a row the template made touch it stays as it is.
            if (s.index < 0) {
                if (shift > 0) return;
            } else {
                shift += end + 1 - x;
                x = end + 1;
            }
        }
        if (s.index >= 0 && shift > 0) moves.push_back({s.index, x});
        end = std::max(end, x + s.width);
    }
    if (shift == 0 || end > innerWidth - 1) return;
    for (auto [index, x] : moves) places[(size_t)index].x = x;
}

}  // namespace

const std::vector<Rect>& Form::Places() const {
    auto controls = Controls();
    if (places_.size() == controls.size()) return places_;
    places_.clear();
    for (const ControlState* c : controls) {
        int width = std::max<int>(1, c->width);
        if (c->kind == ControlKind::Button) width = FaceWidth(*c);
        places_.push_back(Rect{c->x, c->y, width, std::max<int>(1, c->height)});
    }
    const DialogTemplate* tpl = platform::DialogTemplateOf(dialog_);
    int innerWidth = tpl ? tpl->width : 0;
    std::vector<int> rows;
    for (const ControlState* c : controls)
        if (std::max<int>(1, c->height) == 1) rows.push_back(c->y);
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    for (int row : rows) SpreadRow(controls, row, innerWidth, places_);
    return places_;
}

bool Form::Focusable(const ControlState& c) {
    return c.enabled && c.kind != ControlKind::Static && c.kind != ControlKind::Group;
}

// The radio buttons that share a group with the control at `index`: the run of radio buttons
// around it, cut where a button starts a new group.
std::vector<int> Form::RadioGroup(int index) const {
    auto controls = Controls();
    int first = index, last = index;
    while (first > 0 && !controls[(size_t)first]->groupStart && controls[(size_t)first - 1]->kind == ControlKind::Radio)
        --first;
    while (last + 1 < (int)controls.size() && controls[(size_t)last + 1]->kind == ControlKind::Radio &&
           !controls[(size_t)last + 1]->groupStart)
        ++last;
    std::vector<int> group;
    for (int i = first; i <= last; ++i) group.push_back(i);
    return group;
}

// Focusable controls in template order; a radio group is one stop (the button with the
// keyboard, else the checked one, else its first usable one).
std::vector<int> Form::TabStops() const {
    auto controls = Controls();
    std::vector<int> stops;
    for (int i = 0; i < (int)controls.size(); ++i) {
        if (controls[(size_t)i]->kind != ControlKind::Radio) {
            if (Focusable(*controls[(size_t)i])) stops.push_back(i);
            continue;
        }
        std::vector<int> group = RadioGroup(i);
        int stop = -1;
        for (int member : group)
            if (Focusable(*controls[(size_t)member]) && (member == focus_ || (stop < 0 && controls[(size_t)member]->checked)))
                stop = member;
        for (int member : group)
            if (stop < 0 && Focusable(*controls[(size_t)member])) stop = member;
        if (stop >= 0) stops.push_back(stop);
        i = group.back();
    }
    return stops;
}

// Keeps the keyboard on a usable control: a control that became greyed passes it on.
void Form::Validate() {
    auto controls = Controls();
    if (focus_ >= 0 && focus_ < (int)controls.size() && Focusable(*controls[(size_t)focus_])) return;
    std::vector<int> stops = TabStops();
    int next = -1;
    for (int stop : stops)
        if (stop > focus_) {
            next = stop;
            break;
        }
    if (next < 0 && !stops.empty()) next = stops.front();
    if (next != focus_) FocusIndex(next, true);
}

void Form::FocusIndex(int index, bool fromTab) {
    focus_ = index;
    dropOpen_ = -1;
    ControlState* c = Focused();
    if (c && c->kind == ControlKind::Edit) {
        EditState& e = edits_[index];
        e.cursor = (int)c->text.size();
        e.selectAll = fromTab && !c->text.empty();
    }
}

void Form::MoveFocus(int direction) {
    std::vector<int> stops = TabStops();
    if (stops.empty()) return;
    auto at = std::find(stops.begin(), stops.end(), focus_);
    int position = at == stops.end() ? (direction > 0 ? -1 : 0) : (int)(at - stops.begin());
    int count = (int)stops.size();
    FocusIndex(stops[(size_t)((position + direction + count) % count)], true);
}

// ---------------------------------------------------------------------------------------------
// Acting on the model.

void Form::Click(ControlState& c) { platform::UserClick(dialog_, c.id); }

// The list's state, brought up to date with the model: when the program refilled the list or
// set its selection, the highlight moves to the selection.
Form::ListState& Form::SyncList(int index, const ControlState& c) {
    ListState& l = lists_[index];
    if (c.selection == l.seenSelection && c.items == l.seenItems) return l;
    l.seenSelection = c.selection;
    l.seenItems = c.items;
    l.highlight = c.selection;
    l.follow = true;
    return l;
}

void Form::Highlight(ListState& l, const ControlState& c, int item) {
    if (c.items.empty()) return;
    l.highlight = std::clamp(item, 0, (int)c.items.size() - 1);
    l.follow = true;
}

// A choice selects the item and notifies the dialog procedure, whatever was selected before.
void Form::Choose(int index, ControlState& c, int item) {
    if (!platform::UserSelect(dialog_, c.id, item)) return;
    ListState& l = lists_[index];
    l.highlight = item;
    l.seenSelection = c.selection;
    l.seenItems = c.items;
}

void Form::Select(ControlState& c, int index) {
    if (c.items.empty()) return;
    index = std::clamp(index, 0, (int)c.items.size() - 1);
    if (index != c.selection) platform::UserSelect(dialog_, c.id, index);
}

void Form::SetEditText(ControlState& c, std::string text, int cursor) {
    if ((int)text.size() > kEditLimit) text.resize(kEditLimit);
    EditState& e = edits_[focus_];
    e.selectAll = false;
    e.cursor = std::clamp(cursor, 0, (int)text.size());
    if (text != c.text) platform::UserSetText(dialog_, c.id, text);
}

// Typed or pasted text goes in at the cursor (over the whole text when it is selected); a
// character with no Windows-1252 byte is left out, and a paste stops at its first line end.
void Form::InsertText(ControlState& c, const std::u32string& typed) {
    std::string bytes;
    for (char32_t ch : typed) {
        if (ch == U'\r' || ch == U'\n') break;
        int b = Cp1252Byte(ch == U'\t' ? U' ' : ch);
        if (b >= 0x20 && b != 0x7F) bytes += (char)b;
    }
    if (bytes.empty()) return;
    EditState& e = edits_[focus_];
    std::string text = e.selectAll ? std::string() : c.text;
    int cursor = e.selectAll ? 0 : std::clamp(e.cursor, 0, (int)text.size());
    text.insert((size_t)cursor, bytes);
    SetEditText(c, text, cursor + (int)bytes.size());
}

KeyResult Form::PressEnter() {
    ControlState* c = Focused();
    if (c && c->kind == ControlKind::Button) {
        Click(*c);
        return KeyResult::Handled();
    }
    for (ControlState* control : Controls())
        if (control->kind == ControlKind::Button && control->defaultButton) {
            if (control->enabled) Click(*control);
            break;
        }
    return KeyResult::Handled();
}

// Esc cancels: it presses the dialog's button labelled Cancel when it has one (the Server and
// Client dialogs use control 2 for "Close", which would close the server or the client), else
// control 2, else the close box.
KeyResult Form::PressEscape() {
    if (panel_) {
        platform::UserCloseDialog(dialog_);
        return KeyResult::Handled();
    }
    for (ControlState* control : Controls())
        if (control->kind == ControlKind::Button && strcasecmp(control->label.c_str(), "cancel") == 0) {
            if (control->enabled) platform::UserClick(dialog_, control->id);
            return KeyResult::Handled();
        }
    if (ControlState* cancel = platform::FindControl(dialog_, IDCANCEL)) {
        if (cancel->enabled) platform::UserClick(dialog_, IDCANCEL);
        return KeyResult::Handled();
    }
    platform::UserCloseDialog(dialog_);
    return KeyResult::Handled();
}

// A label's letter acts on the control: a button is pressed, a check box or radio button
// clicked; the letter of a plain label moves the keyboard to the control after it.
KeyResult Form::PressLetter(char32_t letter) {
    letter = LowerAscii(letter);
    auto controls = Controls();
    for (int i = 0; i < (int)controls.size(); ++i) {
        ControlState& c = *controls[(size_t)i];
        if (!c.enabled || ParseMnemonic(c.kind == ControlKind::Static ? c.text : c.label).letter != letter) continue;
        if (IsClickable(c.kind)) {
            FocusIndex(i, false);
            Click(c);
            return KeyResult::Handled();
        }
        if (c.kind == ControlKind::Static || c.kind == ControlKind::Group)
            for (int j = i + 1; j < (int)controls.size(); ++j)
                if (Focusable(*controls[(size_t)j])) {
                    FocusIndex(j, true);
                    return KeyResult::Handled();
                }
    }
    return KeyResult::Ignored();
}

// ---------------------------------------------------------------------------------------------
// Keys.

// The keys of a drop-down or a list first (an open drop-down takes nearly all, a list takes
// Enter), then the form's: Tab, Enter, Esc, letters, the other controls' keys, and arrows that
// move between controls.
KeyResult Form::HandleKey(const Event& event) {
    Validate();
    ControlState* c = Focused();
    if (c && c->kind == ControlKind::DropDown) {
        KeyResult result = DropDownKey(*c, event);
        if (result.handled) return result;
    }
    if (c && IsList(c->kind)) {
        KeyResult result = ListKey(*c, event);
        if (result.handled) return result;
    }
    if (event.key == Key::Tab || event.key == Key::BackTab) {
        MoveFocus(event.key == Key::Tab && !(event.mods & kShift) ? 1 : -1);
        return KeyResult::Handled();
    }
    if (event.key == Key::Enter) return PressEnter();
    if (event.key == Key::Escape) return PressEscape();
    if (event.key == Key::Char && (event.mods & kAlt)) return PressLetter(event.ch);
    if (!c) return event.key == Key::Char && event.mods == 0 ? PressLetter(event.ch) : KeyResult::Ignored();
    if (c->kind == ControlKind::Edit) return EditKey(*c, event);
    if (c->kind == ControlKind::Radio) {
        KeyResult result = RadioKey(event);
        if (result.handled) return result;
    }
    switch (event.key) {
        case Key::Char:
            if (event.ch == U' ' && IsClickable(c->kind)) {
                Click(*c);
                return KeyResult::Handled();
            }
            return event.mods == 0 ? PressLetter(event.ch) : KeyResult::Ignored();
        case Key::Up:
        case Key::Left: MoveFocus(-1); return KeyResult::Handled();
        case Key::Down:
        case Key::Right: MoveFocus(1); return KeyResult::Handled();
        default: return KeyResult::Ignored();
    }
}

KeyResult Form::EditKey(ControlState& c, const Event& event) {
    EditState& e = edits_[focus_];
    int length = (int)c.text.size();
    e.cursor = std::clamp(e.cursor, 0, length);
    switch (event.key) {
        case Key::Char:
            if (event.mods & kCtrl) return KeyResult::Ignored();
            InsertText(c, std::u32string(1, event.ch));
            return KeyResult::Handled();
        case Key::Paste: InsertText(c, event.text); return KeyResult::Handled();
        case Key::Backspace:
            if (e.selectAll) SetEditText(c, "", 0);
            else if (e.cursor > 0) SetEditText(c, std::string(c.text).erase((size_t)e.cursor - 1, 1), e.cursor - 1);
            return KeyResult::Handled();
        case Key::Delete:
            if (e.selectAll) SetEditText(c, "", 0);
            else if (e.cursor < length) SetEditText(c, std::string(c.text).erase((size_t)e.cursor, 1), e.cursor);
            return KeyResult::Handled();
        case Key::Left: e.selectAll = false; e.cursor = std::max(0, e.cursor - 1); return KeyResult::Handled();
        case Key::Right: e.selectAll = false; e.cursor = std::min(length, e.cursor + 1); return KeyResult::Handled();
        case Key::Home: e.selectAll = false; e.cursor = 0; return KeyResult::Handled();
        case Key::End: e.selectAll = false; e.cursor = length; return KeyResult::Handled();
        case Key::Up: MoveFocus(-1); return KeyResult::Handled();
        case Key::Down: MoveFocus(1); return KeyResult::Handled();
        default: return KeyResult::Ignored();
    }
}

// The highlight starts at the first item of a list without one. Enter or Space with nothing
// highlighted (an empty list) is left to the form.
KeyResult Form::ListKey(ControlState& c, const Event& event) {
    ListState& l = SyncList(focus_, c);
    int rows = std::max<int>(1, c.height);
    int current = l.highlight;
    switch (event.key) {
        case Key::Up: Highlight(l, c, current < 0 ? 0 : current - 1); return KeyResult::Handled();
        case Key::Down: Highlight(l, c, current < 0 ? 0 : current + 1); return KeyResult::Handled();
        case Key::PageUp: Highlight(l, c, current - (rows - 1)); return KeyResult::Handled();
        case Key::PageDown: Highlight(l, c, current < 0 ? rows - 1 : current + rows - 1); return KeyResult::Handled();
        case Key::Home: Highlight(l, c, 0); return KeyResult::Handled();
        case Key::End: Highlight(l, c, (int)c.items.size() - 1); return KeyResult::Handled();
        case Key::Enter:
        case Key::Char:
            if (current < 0 || (event.key == Key::Char && (event.ch != U' ' || event.mods != 0))) return KeyResult::Ignored();
            Choose(focus_, c, current);
            return KeyResult::Handled();
        default: return KeyResult::Ignored();
    }
}

KeyResult Form::DropDownKey(ControlState& c, const Event& event) {
    int count = (int)c.items.size();
    if (dropOpen_ < 0) {
        bool opens = (event.key == Key::Down && (event.mods & kAlt)) || (event.key == Key::Function && event.number == 4) ||
                     (event.key == Key::Char && event.ch == U' ' && event.mods == 0);
        if (opens) {
            if (count == 0) return KeyResult::Handled();
            dropOpen_ = focus_;
            dropHighlight_ = std::max(0, c.selection);
            return KeyResult::Handled();
        }
        if (event.Is(Key::Up)) Select(c, c.selection - 1);
        else if (event.Is(Key::Down)) Select(c, c.selection < 0 ? 0 : c.selection + 1);
        else return KeyResult::Ignored();
        return KeyResult::Handled();
    }
    switch (event.key) {
        case Key::Up: dropHighlight_ = std::max(0, dropHighlight_ - 1); return KeyResult::Handled();
        case Key::Down: dropHighlight_ = std::min(count - 1, dropHighlight_ + 1); return KeyResult::Handled();
        case Key::PageUp: dropHighlight_ = std::max(0, dropHighlight_ - (kDropRows - 1)); return KeyResult::Handled();
        case Key::PageDown: dropHighlight_ = std::min(count - 1, dropHighlight_ + kDropRows - 1); return KeyResult::Handled();
        case Key::Home: dropHighlight_ = 0; return KeyResult::Handled();
        case Key::End: dropHighlight_ = count - 1; return KeyResult::Handled();
        case Key::Escape: dropOpen_ = -1; return KeyResult::Closed();
        case Key::Enter:
            dropOpen_ = -1;
            Select(c, dropHighlight_);
            return KeyResult::Closed();
        case Key::Char:
            if (event.ch != U' ') return KeyResult::Handled();
            dropOpen_ = -1;
            Select(c, dropHighlight_);
            return KeyResult::Closed();
        case Key::Tab:
        case Key::BackTab: dropOpen_ = -1; return KeyResult::Ignored();
        default: return KeyResult::Handled();
    }
}

// Arrows move within a radio group and check the button they reach, as automatic radio
// buttons do.
KeyResult Form::RadioKey(const Event& event) {
    int direction = 0;
    if (event.key == Key::Up || event.key == Key::Left) direction = -1;
    if (event.key == Key::Down || event.key == Key::Right) direction = 1;
    if (direction == 0 || event.mods != 0) return KeyResult::Ignored();
    auto controls = Controls();
    std::vector<int> group = RadioGroup(focus_);
    auto at = std::find(group.begin(), group.end(), focus_);
    int count = (int)group.size();
    for (int step = 1; step < count; ++step) {
        int member = group[(size_t)(((at - group.begin()) + direction * step + count * step) % count)];
        if (Focusable(*controls[(size_t)member])) {
            FocusIndex(member, false);
            Click(*controls[(size_t)member]);
            return KeyResult::Handled();
        }
    }
    return KeyResult::Handled();
}

// ---------------------------------------------------------------------------------------------
// Mouse.

Rect Form::DropRect(const Rect& outer, int index, int canvasHeight) const {
    const ControlState& c = *Controls()[(size_t)index];
    Rect field = ControlRect(outer, index);
    int rows = std::min<int>(kDropRows, (int)c.items.size());
    Rect below{field.x, field.Bottom(), field.w, rows};
    if (below.Bottom() <= canvasHeight || field.y - rows < 0) return below;
    return Rect{field.x, field.y - rows, field.w, rows};
}

// A press on the same row of the same control soon after the previous one.
bool Form::DoubleClick(int index, const Event& event) {
    bool second = lastPress_.control == index && lastPress_.y == event.y && event.ms - lastPress_.ms < kDoubleClickMs;
    lastPress_ = LastPress{index, event.y, event.ms};
    return second;
}

KeyResult Form::HandleMouse(const Event& event, const Rect& outer) {
    Validate();
    auto controls = Controls();
    if (dropOpen_ >= 0 && dropOpen_ < (int)controls.size()) {
        ControlState& c = *controls[(size_t)dropOpen_];
        Rect drop = DropRect(outer, dropOpen_, lastCanvasHeight_);
        int count = (int)c.items.size();
        if (event.mouse == MouseAction::WheelUp || event.mouse == MouseAction::WheelDown) {
            int step = event.mouse == MouseAction::WheelUp ? -1 : 1;
            dropHighlight_ = std::clamp(dropHighlight_ + step, 0, std::max(0, count - 1));
            return KeyResult::Handled();
        }
        if (event.mouse != MouseAction::Press) return KeyResult::Handled();
        int index = dropTop_ + event.y - drop.y;
        dropOpen_ = -1;
        if (drop.Contains(event.x, event.y) && index < count) Select(c, index);
        return KeyResult::Closed();
    }
    if (!outer.Contains(event.x, event.y)) return KeyResult::Ignored();
    if (panel_ && event.mouse == MouseAction::Press && CloseBox(outer).Contains(event.x, event.y)) {
        platform::UserCloseDialog(dialog_);
        return KeyResult::Handled();
    }
    for (int i = 0; i < (int)controls.size(); ++i) {
        ControlState& c = *controls[(size_t)i];
        Rect r = ControlRect(outer, i);
        if (!r.Contains(event.x, event.y) || !Focusable(c)) continue;
        if (event.mouse == MouseAction::WheelUp || event.mouse == MouseAction::WheelDown) {
            if (!IsList(c.kind)) continue;
            ListState& l = lists_[i];
            int maxTop = std::max(0, (int)c.items.size() - r.h);
            l.top = std::clamp(l.top + (event.mouse == MouseAction::WheelUp ? -kWheelLines : kWheelLines), 0, maxTop);
            return KeyResult::Handled();
        }
        if (event.mouse != MouseAction::Press) return KeyResult::Handled();
        bool second = DoubleClick(i, event);
        FocusIndex(i, false);
        if (IsClickable(c.kind)) {
            Click(c);
        } else if (c.kind == ControlKind::Edit) {
            EditState& e = edits_[i];
            e.cursor = std::clamp(e.scroll + event.x - r.x, 0, (int)c.text.size());
        } else if (IsList(c.kind)) {
            // The first press of a double click chose the item; the second (which may find
            // the list refilled by that choice) chooses nothing more.
            int item = SyncList(i, c).top + event.y - r.y;
            if (!second && item < (int)c.items.size()) Choose(i, c, item);
        } else if (c.kind == ControlKind::DropDown && !c.items.empty()) {
            dropOpen_ = i;
            dropHighlight_ = std::max(0, c.selection);
        }
        return KeyResult::Handled();
    }
    return KeyResult::Handled();
}

// ---------------------------------------------------------------------------------------------
// Drawing.

void Form::Draw(Canvas& canvas, const Rect& outer, bool active) {
    Validate();
    lastCanvasHeight_ = canvas.Height();
    char title[256];
    GetWindowTextA(dialog_, title, sizeof title);
    canvas.Fill(outer, Style::Dialog);
    canvas.Frame(outer, Style::Dialog, DisplayText(title), active ? Style::DialogTitle : Style::Dialog);
    if (panel_ && outer.w >= 12) canvas.Text(CloseBox(outer).x, outer.y, U"[x]", Style::Dialog);
    auto controls = Controls();
    for (int i = 0; i < (int)controls.size(); ++i) DrawControl(canvas, outer, i, active);
    if (dropOpen_ >= 0) DrawDropList(canvas, outer);
}

// How far a one-line label may run: past its own width when its text is longer, as long as a
// blank cell stays before the next control on its row, the frame of a group box around it or
// the dialog's frame.
int Form::LabelRoom(const Rect& outer, int index, int natural) const {
    auto controls = Controls();
    Rect r = ControlRect(outer, index);
    int limit = outer.Right() - 1;
    for (int j = 0; j < (int)controls.size(); ++j) {
        if (j == index) continue;
        Rect other = ControlRect(outer, j);
        if (other.Bottom() <= r.y || other.y > r.y) continue;
        if (other.x > r.x) limit = std::min(limit, other.x - 1);
        if (controls[(size_t)j]->kind == ControlKind::Group && other.x < r.x && other.Right() > r.x)
            limit = std::min(limit, other.Right() - 1);
    }
    return std::max(r.w, std::min(natural, limit - r.x));
}

void Form::DrawControl(Canvas& canvas, const Rect& outer, int index, bool active) {
    const ControlState& c = *Controls()[(size_t)index];
    Rect r = ControlRect(outer, index);
    bool focused = active && index == focus_;
    Style text = c.enabled ? Style::Dialog : Style::DialogGrey;
    switch (c.kind) {
        case ControlKind::Static: {
            Mnemonic m = ParseMnemonic(c.text);
            std::vector<std::u32string> lines = WrapText(m.text, r.w);
            if (r.h == 1 || lines.size() <= 1) {
                DrawMnemonicText(canvas, r.x, r.y, m, LabelRoom(outer, index, (int)m.text.size()), text);
            } else {
                for (int row = 0; row < r.h && row < (int)lines.size(); ++row) canvas.Text(r.x, r.y + row, lines[(size_t)row], text, r.w);
            }
            break;
        }
        case ControlKind::Group: canvas.Frame(r, text, ParseMnemonic(c.text).text, text, false); break;
        case ControlKind::Edit: DrawEdit(canvas, r, c, focused, index); break;
        case ControlKind::CheckBox:
        case ControlKind::Radio: {
            std::u32string box = c.kind == ControlKind::CheckBox ? (c.checked ? U"[x]" : U"[ ]")
                                                                 : (c.checked ? U"(*)" : U"( )");
            canvas.Text(r.x, r.y, box, text, r.w);
            // The label follows the box after a blank, or right after it when only that fits.
            Mnemonic m = ParseMnemonic(c.text);
            int length = (int)m.text.size();
            int room = LabelRoom(outer, index, 4 + length);
            int gap = room < 4 + length && room >= 3 + length ? 0 : 1;
            DrawMnemonicText(canvas, r.x + 3 + gap, r.y, m, std::max(0, room - 3 - gap),
                             focused ? Style::ButtonFocused : text);
            break;
        }
        case ControlKind::Button: {
            Mnemonic m = ParseMnemonic(c.text);
            std::u32string face = U"< " + m.text + U" >";
            Style style = !c.enabled ? Style::DialogGrey
                          : focused  ? Style::ButtonFocused
                          : c.defaultButton ? Style::ButtonDefault
                                            : Style::Button;
            canvas.Fill(r, style);
            int x = r.x + std::max(0, (r.w - (int)face.size()) / 2);
            canvas.Text(x, r.y, face, style, r.Right() - x);
            if (m.index >= 0 && x + 2 + m.index < r.Right())
                canvas.Put(x + 2 + m.index, r.y, m.text[(size_t)m.index], style, c.enabled);
            break;
        }
        case ControlKind::List:
        case ControlKind::SortedList: DrawList(canvas, r, c, focused, index); break;
        case ControlKind::DropDown: {
            Style style = !c.enabled ? Style::EditGrey : focused ? Style::EditFocused : Style::Edit;
            canvas.Fill(r, style);
            canvas.Text(r.x, r.y, DisplayText(SelectedItem(c)), style, r.w - 1);
            canvas.Put(r.Right() - 1, r.y, U'▼', style);
            break;
        }
    }
}

void Form::DrawEdit(Canvas& canvas, const Rect& r, const ControlState& c, bool focused, int index) {
    Style style = !c.enabled ? Style::EditGrey : focused ? Style::EditFocused : Style::Edit;
    canvas.Fill(r, style);
    std::u32string text = DisplayText(c.text);
    EditState& e = edits_[index];
    e.cursor = std::clamp(e.cursor, 0, (int)text.size());
    if (focused) {
        if (e.cursor < e.scroll) e.scroll = e.cursor;
        if (e.cursor > e.scroll + r.w - 1) e.scroll = e.cursor - r.w + 1;
    } else {
        e.scroll = 0;
    }
    e.scroll = std::clamp(e.scroll, 0, std::max(0, (int)text.size()));
    Style shown = focused && e.selectAll ? Style::EditSelected : style;
    canvas.Text(r.x, r.y, std::u32string_view(text).substr((size_t)e.scroll), shown, r.w);
}

void Form::DrawList(Canvas& canvas, const Rect& r, const ControlState& c, bool focused, int index) {
    canvas.Fill(r, c.enabled ? Style::List : Style::EditGrey);
    ListState& l = SyncList(index, c);
    int count = (int)c.items.size();
    bool bar = count > r.h;
    // Follow the highlight when it moved, but let a scrolled list stay where it was put.
    if (l.follow && l.highlight >= 0) {
        if (l.highlight < l.top) l.top = l.highlight;
        if (l.highlight >= l.top + r.h) l.top = l.highlight - r.h + 1;
    }
    l.follow = false;
    l.top = std::clamp(l.top, 0, std::max(0, count - r.h));
    int width = bar ? r.w - 1 : r.w;
    for (int row = 0; row < r.h && l.top + row < count; ++row) {
        int item = l.top + row;
        Style style = !c.enabled                     ? Style::EditGrey
                      : focused && item == l.highlight ? Style::ListSelectedFocused
                      : item == c.selection            ? Style::ListSelected
                                                       : Style::List;
        canvas.Fill(Rect{r.x, r.y + row, width, 1}, style);
        canvas.Text(r.x, r.y + row, DisplayText(c.items[(size_t)item]), style, width);
    }
    if (bar) DrawListBar(canvas, r, count, r.h, l.top);
}

void Form::DrawDropList(Canvas& canvas, const Rect& outer) {
    auto controls = Controls();
    if (dropOpen_ >= (int)controls.size()) return;
    const ControlState& c = *controls[(size_t)dropOpen_];
    Rect drop = DropRect(outer, dropOpen_, canvas.Height());
    int count = (int)c.items.size();
    dropHighlight_ = std::clamp(dropHighlight_, 0, std::max(0, count - 1));
    if (dropHighlight_ < dropTop_) dropTop_ = dropHighlight_;
    if (dropHighlight_ >= dropTop_ + drop.h) dropTop_ = dropHighlight_ - drop.h + 1;
    dropTop_ = std::clamp(dropTop_, 0, std::max(0, count - drop.h));
    canvas.Fill(drop, Style::List);
    for (int row = 0; row < drop.h && dropTop_ + row < count; ++row) {
        Style style = dropTop_ + row == dropHighlight_ ? Style::ListSelectedFocused : Style::List;
        canvas.Fill(Rect{drop.x, drop.y + row, drop.w, 1}, style);
        canvas.Text(drop.x, drop.y + row, DisplayText(c.items[(size_t)(dropTop_ + row)]), style, drop.w);
    }
}

bool Form::Cursor(const Rect& outer, int& x, int& y) const {
    ControlState* c = Focused();
    if (!c || c->kind != ControlKind::Edit || !c->enabled || dropOpen_ >= 0) return false;
    auto found = edits_.find(focus_);
    EditState e = found == edits_.end() ? EditState{} : found->second;
    Rect r = ControlRect(outer, focus_);
    x = r.x + std::clamp(e.cursor - e.scroll, 0, r.w - 1);
    y = r.y;
    return true;
}

}  // namespace tui
