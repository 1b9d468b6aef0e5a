#include "frontend/tui/screen.h"

#include <algorithm>

#include "frontend/tui/text.h"
#include "platform/messages.h"
#include "shell/shell.h"

namespace tui {

Layout Layout::For(int columns, int rows) {
    Layout l;
    l.columns = std::max(1, columns);
    l.rows = std::max(1, rows);
    l.menuBar = Rect{0, 0, l.columns, 1};
    l.status = Rect{0, l.rows - 1, l.columns, 1};
    l.client = Rect{0, 1, std::max(1, l.columns - 1), std::max(1, l.rows - 3)};
    l.verticalBar = Rect{l.client.Right(), 1, 1, l.client.h};
    l.horizontalBar = Rect{0, l.client.Bottom(), l.client.w, 1};
    return l;
}

void Desktop::Resize(int columns, int rows) {
    layout_ = Layout::For(columns, rows);
    for (auto& [window, surface] : surfaces_) surface.Resize(layout_.client.w, layout_.client.h);
}

Surface& Desktop::SurfaceOf(HWND window) {
    auto found = surfaces_.find(window);
    if (found != surfaces_.end()) return found->second;
    Surface& surface = surfaces_[window];
    surface.Resize(layout_.client.w, layout_.client.h);
    return surface;
}

Form& Desktop::FormOf(HWND dialog) {
    auto found = forms_.find(dialog);
    if (found != forms_.end()) return found->second;
    return forms_.emplace(dialog, Form(dialog)).first->second;
}

void Desktop::Forget(HWND window) {
    surfaces_.erase(window);
    forms_.erase(window);
    HidePanel(window);
}

void Desktop::ShowPanel(HWND dialog) {
    if (std::find(panels_.begin(), panels_.end(), dialog) == panels_.end()) panels_.push_back(dialog);
    FormOf(dialog).SetPanel(true);
    // A window that is shown is activated: the panel takes the keyboard.
    focusedPanel_ = dialog;
}

void Desktop::HidePanel(HWND dialog) {
    panels_.erase(std::remove(panels_.begin(), panels_.end(), dialog), panels_.end());
    if (focusedPanel_ == dialog) focusedPanel_ = nullptr;
}

void Desktop::CycleFocus() {
    if (panels_.empty()) {
        focusedPanel_ = nullptr;
        return;
    }
    auto at = std::find(panels_.begin(), panels_.end(), focusedPanel_);
    if (at == panels_.end())
        focusedPanel_ = panels_.front();
    else
        focusedPanel_ = at + 1 == panels_.end() ? nullptr : *(at + 1);
}

std::vector<std::pair<HWND, Rect>> Desktop::PanelPlaces() const {
    std::vector<std::pair<HWND, Rect>> places;
    int nextY = layout_.client.y;
    for (size_t i = 0; i < panels_.size(); ++i) {
        auto found = forms_.find(panels_[i]);
        Form form = found == forms_.end() ? Form(panels_[i]) : found->second;
        int w = form.OuterWidth(), h = form.OuterHeight();
        Rect place{std::max(0, layout_.client.Right() - w), nextY, w, h};
        // Stacked down the right edge while they fit, then cascaded over the first ones.
        if (place.Bottom() > layout_.status.y) {
            place.y = layout_.client.y + (int)i;
            place.x = std::max(0, place.x - 2 * (int)i);
        }
        nextY = place.Bottom();
        places.push_back({panels_[i], place});
    }
    std::stable_partition(places.begin(), places.end(), [&](const auto& p) { return p.first != focusedPanel_; });
    return places;
}

std::vector<HWND> Desktop::ModalDialogs() {
    std::vector<HWND> modal;
    for (HWND dialog : platform::Dialogs())
        if (platform::IsModalDialog(dialog) && IsWindowVisible(dialog)) modal.push_back(dialog);
    return modal;
}

Rect Desktop::ModalPlace(HWND dialog) {
    Form& form = FormOf(dialog);
    int w = form.OuterWidth(), h = form.OuterHeight();
    int x = std::max(0, (layout_.columns - w) / 2);
    int y = (layout_.rows - h) / 2;
    if (y < 1 && layout_.rows - h >= 1) y = 1;
    return Rect{x, std::max(0, y), w, h};
}

ScrollBarView Desktop::VerticalBar() const {
    return ScrollBarView{layout_.verticalBar, true, platform::ScrollBar(MainWindow, SB_VERT)};
}

ScrollBarView Desktop::HorizontalBar() const {
    return ScrollBarView{layout_.horizontalBar, false, platform::ScrollBar(MainWindow, SB_HORZ)};
}

std::string Desktop::Title() {
    char text[256] = "";
    GetWindowTextA(MainWindow, text, sizeof text);
    return text;
}

HWND Desktop::KeyboardWindow() const {
    if (HWND modal = platform::ActiveModalDialog()) return modal;
    if (focusedPanel_ && IsWindowVisible(focusedPanel_)) return focusedPanel_;
    return MainWindow;
}

// ---------------------------------------------------------------------------------------------
// Composing.

bool Desktop::CaretCell(int& x, int& y) const {
    const platform::CaretState& caret = platform::Caret();
    if (!caret.owner || caret.owner != MainWindow || !caret.visible) return false;
    if (caret.x < 0 || caret.y < 0 || caret.x >= layout_.client.w || caret.y >= layout_.client.h) return false;
    x = layout_.client.x + caret.x;
    y = layout_.client.y + caret.y;
    return true;
}

void Desktop::DrawConsole(Canvas& canvas) const {
    auto found = surfaces_.find(MainWindow);
    if (found != surfaces_.end()) {
        const Surface& surface = found->second;
        for (int y = 0; y < std::min(surface.Height(), layout_.client.h); ++y)
            for (int x = 0; x < std::min(surface.Width(), layout_.client.w); ++x)
                canvas.Put(layout_.client.x + x, layout_.client.y + y, DisplayChar(surface.At(x, y)), Style::Console);
    }
    int x, y;
    if (CaretCell(x, y)) canvas.Put(x, y, canvas.At(x, y).ch, Style::Caret);
    VerticalBar().Draw(canvas);
    HorizontalBar().Draw(canvas);
}

void Desktop::DrawStatus(Canvas& canvas) const {
    const Rect& bar = layout_.status;
    canvas.Fill(bar, Style::Bar);
    std::u32string shownTitle = DisplayText(Title());
    int titleEnd = bar.x + 1 + canvas.Text(bar.x + 1, bar.y, shownTitle, Style::BarTitle, bar.w - 2);
    std::u32string keys;
    if (!boxes.empty())
        keys = U"Enter: OK";
    else if (help.IsOpen())
        keys = U"Esc: close the help";
    else if (menu.IsOpen())
        keys = U"←→ menus  ↑↓ items  Enter choose  Esc close";
    else if (platform::ActiveModalDialog())
        keys = U"Tab move  Space select  Enter OK  Esc cancel";
    else if (focusedPanel_)
        keys = U"Tab move  Esc close  F6 next window  F10 menu";
    else
        keys = panels_.empty() ? U"F10 menu  Shift+↑↓ PgUp PgDn scroll  Ctrl+C quit"
                               : U"F10 menu  F6 next window  Shift+↑↓ PgUp PgDn scroll  Ctrl+C quit";
    int x = bar.Right() - 1 - (int)keys.size();
    if (x >= titleEnd + 2) canvas.Text(x, bar.y, keys, Style::Bar);
}

void Desktop::Compose(Canvas& canvas, int& cursorX, int& cursorY) {
    canvas.Resize(layout_.columns, layout_.rows);
    cursorX = cursorY = -1;
    DrawConsole(canvas);
    DrawStatus(canvas);

    HWND modal = platform::ActiveModalDialog();
    bool popups = !boxes.empty() || help.IsOpen() || menu.IsOpen();
    // A closed menu bar lies under the dialogs, so that one as tall as the screen shows its
    // title (no menu opens while a modal dialog runs).
    const Popups& menus = platform::MenuPopups(GetMenu(MainWindow));
    if (!menu.IsOpen()) menu.Draw(canvas, menus);
    auto places = PanelPlaces();
    for (auto& [panel, place] : places) {
        bool active = panel == focusedPanel_ && !modal && !popups;
        FormOf(panel).Draw(canvas, place, active);
    }
    for (HWND dialog : ModalDialogs()) {
        Rect place = ModalPlace(dialog);
        canvas.Shadow(place);
        FormOf(dialog).Draw(canvas, place, dialog == modal && !popups);
    }
    if (menu.IsOpen()) menu.Draw(canvas, menus);
    if (help.IsOpen()) help.Draw(canvas);
    for (MessageBoxPopup* box : boxes) box->Draw(canvas);
    if (popups) return;

    if (modal) {
        FormOf(modal).Cursor(ModalPlace(modal), cursorX, cursorY);
        return;
    }
    for (auto& [panel, place] : places)
        if (panel == focusedPanel_) {
            FormOf(panel).Cursor(place, cursorX, cursorY);
            return;
        }
    int x, y;
    if (!CaretCell(x, y)) return;
    for (auto& [panel, place] : places)
        if (place.Contains(x, y)) return;
    cursorX = x;
    cursorY = y;
}

}  // namespace tui
