// The terminal front end: the program in a full-screen text interface.
//
// It is both the platform's front end (it is told of every visible change: text drawn,
// caret, scroll bars, title, menus, dialogs, message boxes, help) and an event source of the
// message loop (it watches the terminal and its signal pipe). Changes only mark the screen
// as stale; the screen is composed and sent to the terminal when the loop is about to wait,
// and at least ten times a second while the loop is busy, so a server under load or a grab
// never freezes it. Input is read whenever the terminal has some and turned into the
// program's messages (input.h).
//
// A message box does not return before the user has dismissed it, and the program keeps
// running meanwhile: the box runs the message loop itself until then.
//
// Signals: SIGINT, SIGTERM and SIGHUP close the main window, so the program shuts down as
// it always does; SIGWINCH gives the main window its new size (WM_SIZE).
#pragma once

#include <cstdint>

#include "frontend/tui/screen.h"
#include "frontend/tui/terminal.h"
#include "platform/event_source.h"
#include "platform/frontend.h"

namespace tui {

class TerminalFrontEnd : public platform::FrontEnd, public platform::EventSource {
public:
    TerminalFrontEnd() = default;
    ~TerminalFrontEnd() override;

    // Takes the terminal; false when there is none to take.
    bool Start();
    // Gives it back.
    void Stop();

    // FrontEnd
    void InitialClientSize(int& width, int& height) override;
    void TextOut(HWND window, int x, int y, const char* text, int count) override;
    void CaretChanged() override { dirty_ = true; }
    void ScrollChanged(HWND, int) override { dirty_ = true; }
    void TitleChanged(HWND, const char*) override { dirty_ = true; }
    void MenuChanged(HMENU) override { dirty_ = true; }
    void WindowShown(HWND window, bool visible) override;
    void WindowDestroyed(HWND window) override;
    void DialogChanged(HWND) override { dirty_ = true; }
    int MessageBox(HWND owner, const char* text, const char* caption, UINT type) override;
    void ShowHelp(const char* file) override;

    // EventSource
    void AddDescriptors(std::vector<pollfd>& fds) override;
    void HandleEvents(const pollfd* fds, size_t count) override;
    void BeforeBlock() override;

private:
    void ReadInput();
    void TakeSignals();
    void Resize();
    void SyncFocus();
    void Redraw();
    HWND WakeWindow();

    Terminal terminal_;
    Desktop desktop_;
    Canvas canvas_;
    bool dirty_ = true;
    bool inputOpen_ = true;
    int64_t lastRedraw_ = 0;
    HWND wakeWindow_ = nullptr;
    int signalPipe_[2] = {-1, -1};
};

}  // namespace tui
