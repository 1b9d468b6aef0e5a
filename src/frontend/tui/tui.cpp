#include "frontend/tui/tui.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "frontend/tui/input.h"
#include "frontend/tui/text.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace tui {

namespace {

constexpr int64_t kBusyRedrawMs = 100;

// The signal pipe carries one byte per signal: the signal number.
int signalWriteEnd = -1;

// Keeps errno as it was: the loop's poll() reads it after the signal interrupted it.
void OnSignal(int signal) {
    if (signalWriteEnd < 0) return;
    int saved = errno;
    char byte = (char)signal;
    ssize_t ignored = write(signalWriteEnd, &byte, 1);
    (void)ignored;
    errno = saved;
}

constexpr int kHandledSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGWINCH};

LRESULT WakeProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcA(window, message, wParam, lParam);
}

}  // namespace

TerminalFrontEnd::~TerminalFrontEnd() { Stop(); }

bool TerminalFrontEnd::Start() {
    if (!terminal_.Start()) return false;
    desktop_.Resize(terminal_.Columns(), terminal_.Rows());
    if (pipe(signalPipe_) == 0) {
        for (int fd : signalPipe_) {
            fcntl(fd, F_SETFL, O_NONBLOCK);
            fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
        signalWriteEnd = signalPipe_[1];
        for (int s : kHandledSignals) {
            struct sigaction action {};
            action.sa_handler = OnSignal;
            sigemptyset(&action.sa_mask);
            sigaction(s, &action, nullptr);
        }
    }
    dirty_ = true;
    return true;
}

void TerminalFrontEnd::Stop() {
    if (!terminal_.Started()) return;
    terminal_.Stop();
    signalWriteEnd = -1;
    for (int s : kHandledSignals) signal(s, SIG_DFL);
    for (int& fd : signalPipe_) {
        if (fd >= 0) close(fd);
        fd = -1;
    }
    if (IsWindow(wakeWindow_)) DestroyWindow(wakeWindow_);
    wakeWindow_ = nullptr;
}

// ---------------------------------------------------------------------------------------------
// What the program shows.

void TerminalFrontEnd::InitialClientSize(int& width, int& height) {
    width = desktop_.GetLayout().client.w;
    height = desktop_.GetLayout().client.h;
}

void TerminalFrontEnd::TextOut(HWND window, int x, int y, const char* text, int count) {
    desktop_.SurfaceOf(window).Draw(x, y, text, count);
    dirty_ = true;
}

void TerminalFrontEnd::WindowShown(HWND window, bool visible) {
    if (platform::DialogTemplateOf(window) && !platform::IsModalDialog(window)) {
        if (visible)
            desktop_.ShowPanel(window);
        else
            desktop_.HidePanel(window);
    }
    if (visible && platform::IsModalDialog(window)) desktop_.menu.Close();
    dirty_ = true;
}

void TerminalFrontEnd::WindowDestroyed(HWND window) {
    desktop_.Forget(window);
    dirty_ = true;
}

void TerminalFrontEnd::ShowHelp(const char*) {
    desktop_.help.Open();
    dirty_ = true;
}

// A hidden window of the front end's own, to which a dismissed message box posts a null
// message: the loop inside the box then returns from its wait even when nothing else happens.
HWND TerminalFrontEnd::WakeWindow() {
    if (IsWindow(wakeWindow_)) return wakeWindow_;
    WNDCLASSEXA cls{};
    cls.cbSize = sizeof cls;
    cls.lpfnWndProc = WakeProc;
    cls.lpszClassName = "korvel.terminal.wake";
    RegisterClassExA(&cls);
    wakeWindow_ = CreateWindowExA(0, cls.lpszClassName, "", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    return wakeWindow_;
}

int TerminalFrontEnd::MessageBox(HWND, const char* text, const char* caption, UINT) {
    MessageBoxPopup box(caption ? caption : "", text ? text : "");
    WakeWindow();
    desktop_.menu.Close();
    desktop_.boxes.push_back(&box);
    dirty_ = true;
    Redraw();
    while (!box.Dismissed()) {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) {
            PostQuitMessage((int)msg.wParam);
            break;
        }
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    desktop_.boxes.erase(std::remove(desktop_.boxes.begin(), desktop_.boxes.end(), &box), desktop_.boxes.end());
    dirty_ = true;
    return IDOK;
}

// ---------------------------------------------------------------------------------------------
// The terminal as an event source.

void TerminalFrontEnd::AddDescriptors(std::vector<pollfd>& fds) {
    fds.push_back(pollfd{inputOpen_ && terminal_.Started() ? STDIN_FILENO : -1, POLLIN, 0});
    fds.push_back(pollfd{signalPipe_[0], POLLIN, 0});
}

void TerminalFrontEnd::HandleEvents(const pollfd* fds, size_t count) {
    if (count >= 2 && (fds[1].revents & POLLIN)) TakeSignals();
    if (count >= 1 && fds[0].fd >= 0) {
        if (fds[0].revents & POLLIN) ReadInput();
        // The terminal went away: stop watching it (it would stay readable with nothing to
        // read) and end the program as a hang-up would.
        if (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL)) {
            inputOpen_ = false;
            if (IsWindow(MainWindow)) DestroyWindow(MainWindow);
        }
    }
    if (dirty_ && platform::MonotonicMs() - lastRedraw_ >= kBusyRedrawMs) {
        SyncFocus();
        Redraw();
    }
}

void TerminalFrontEnd::BeforeBlock() {
    SyncFocus();
    if (dirty_) Redraw();
}

void TerminalFrontEnd::ReadInput() {
    Event event;
    bool any = false, closed = false;
    while (terminal_.Read(event)) {
        if (event.key == Key::Mouse) event.ms = platform::MonotonicMs();
        closed |= HandleInput(desktop_, event).closed;
        any = true;
    }
    if (!any) return;
    dirty_ = true;
    // Input goes only to the newest box while there is one: what closed was that box, whose
    // own loop now waits for something to happen before it sees it was dismissed.
    if (closed && !desktop_.boxes.empty()) PostMessageA(WakeWindow(), WM_NULL, 0, 0);
}

void TerminalFrontEnd::TakeSignals() {
    char signals[64];
    ssize_t n;
    bool resize = false, quit = false;
    while ((n = read(signalPipe_[0], signals, sizeof signals)) > 0)
        for (ssize_t i = 0; i < n; ++i) {
            if (signals[i] == SIGWINCH) resize = true;
            else quit = true;
        }
    if (resize) Resize();
    if (quit && IsWindow(MainWindow)) DestroyWindow(MainWindow);
}

void TerminalFrontEnd::Resize() {
    if (!terminal_.Resize()) return;
    desktop_.Resize(terminal_.Columns(), terminal_.Rows());
    const Rect& client = desktop_.GetLayout().client;
    if (IsWindow(MainWindow)) {
        PostMessageA(MainWindow, WM_SIZE, 0, MAKELONG(client.w, client.h));
        InvalidateRect(MainWindow, nullptr, TRUE);
    }
    dirty_ = true;
}

// The platform's keyboard focus follows the window the user types into, so the console's
// caret exists only while the console has the keyboard, as in any windowed program.
void TerminalFrontEnd::SyncFocus() {
    if (!IsWindow(MainWindow)) return;
    HWND wanted = desktop_.KeyboardWindow();
    if (IsWindow(wanted) && GetFocus() != wanted) SetFocus(wanted);
}

void TerminalFrontEnd::Redraw() {
    if (!terminal_.Started()) return;
    int x = -1, y = -1;
    desktop_.Compose(canvas_, x, y);
    terminal_.Show(canvas_, x, y);
    terminal_.SetTitle(DisplayText(Desktop::Title()));
    dirty_ = false;
    lastRedraw_ = platform::MonotonicMs();
}

}  // namespace tui
