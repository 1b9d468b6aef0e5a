// The message queue, windows and timers (see messages.h for the model).
//
// GetMessageA gives, in this order of preference: a timer that is a whole period late (so a
// flooded queue cannot starve the one-second tick); the oldest queued message; the quit
// message once nothing else is queued; a due timer; then, after the event sources have had
// their idle turn, it blocks in poll() until a descriptor is ready or the next deadline.
// Event sources are also polled without blocking every few dispatched messages, so sockets
// keep being served while the queue is busy.

#include "platform/messages.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "platform/clock.h"
#include "platform/event_source.h"
#include "platform/frontend.h"
#include "platform/window_internal.h"

namespace {

struct Timer {
    HWND window;
    UINT_PTR id;
    int64_t period;
    int64_t due;
};

constexpr int kMessagesBetweenPolls = 32;

std::map<std::string, WNDCLASSEXA> classes;
std::vector<std::unique_ptr<Window>> windows;
std::deque<MSG> queue;
std::vector<Timer> timers;
std::vector<platform::EventSource*> sources;
bool quitPending = false;
int quitCode = 0;
int messagesSincePoll = 0;
unsigned long long messageSerial = 0;  // counts dispatched messages
int dispatchDepth = 0;

Window* Find(HWND window) {
    for (auto& w : windows)
        if (w.get() == window) return w.get();
    return nullptr;
}

std::string Lower(const char* text) {
    std::string s(text ? text : "");
    for (char& c : s)
        if (c >= 'A' && c <= 'Z') c = (char)(c - 'A' + 'a');
    return s;
}

// What one poll is built from. The loop polls several times for every request a server
// answers, so the vectors keep their storage from one poll to the next; a poll started while
// another is handling its events (a source that dispatches) gets storage of its own.
struct PollRound {
    std::vector<pollfd> fds;
    std::vector<size_t> starts;                    // where each source's descriptors begin
    std::vector<platform::EventSource*> polled;    // the sources, as they were when polled
};

PollRound spareRound;

// Polls every event source once; blocks at most timeoutMs (-1: until something happens).
void PollSources(int timeoutMs) {
    PollRound round;
    std::swap(round, spareRound);
    round.fds.clear();
    round.starts.clear();
    round.polled.assign(sources.begin(), sources.end());
    for (auto* source : round.polled) {
        round.starts.push_back(round.fds.size());
        source->AddDescriptors(round.fds);
    }
    round.starts.push_back(round.fds.size());
    int ready = poll(round.fds.data(), round.fds.size(), timeoutMs);
    if (ready >= 0 || errno == EINTR) {
        // A source may remove itself while handling; the round's own list is walked.
        for (size_t i = 0; i < round.polled.size(); ++i) {
            size_t begin = round.starts[i], end = round.starts[i + 1];
            if (std::find(sources.begin(), sources.end(), round.polled[i]) == sources.end()) continue;
            round.polled[i]->HandleEvents(round.fds.data() + begin, end - begin);
        }
        messagesSincePoll = 0;
    }
    std::swap(round, spareRound);
}

int64_t NextTimerDue() {
    int64_t next = INT64_MAX;
    for (auto& t : timers) next = std::min(next, t.due);
    return next;
}

// Takes the timer message of the first timer that is due (or, with starvedOnly, a full
// period late), reschedules the timer and fills msg. Returns false when none qualifies.
bool TakeTimer(MSG* msg, bool starvedOnly) {
    int64_t now = platform::MonotonicMs();
    for (auto& t : timers) {
        int64_t limit = starvedOnly ? t.due + t.period : t.due;
        if (limit > now) continue;
        t.due += t.period;
        if (t.due <= now) t.due = now + t.period;  // late timers do not fire in bursts
        *msg = MSG{t.window, WM_TIMER, t.id, 0, (DWORD)now};
        return true;
    }
    return false;
}

int BlockTimeoutMs() {
    int64_t wait = INT64_MAX;
    int64_t due = NextTimerDue();
    if (due != INT64_MAX) wait = std::max<int64_t>(0, due - platform::MonotonicMs());
    for (auto* source : sources) {
        int wake = source->WakeAfterMs();
        if (wake >= 0) wait = std::min<int64_t>(wait, wake);
    }
    return wait == INT64_MAX ? -1 : (int)std::min<int64_t>(wait, INT32_MAX);
}

bool RunIdleSources() {
    bool posted = false;
    auto current = sources;
    for (auto* source : current)
        if (std::find(sources.begin(), sources.end(), source) != sources.end()) posted |= source->Idle();
    return posted || !queue.empty();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Windows.

namespace platform {

HWND NewWindow(Window::Kind kind) {
    windows.push_back(std::make_unique<Window>());
    windows.back()->kind = kind;
    return windows.back().get();
}

std::vector<HWND> AllWindows() {
    std::vector<HWND> result;
    for (auto& w : windows) result.push_back(w.get());
    return result;
}

void ResetWindows() {
    windows.clear();
    classes.clear();
    queue.clear();
    timers.clear();
    quitPending = false;
    quitCode = 0;
}

size_t QueuedMessageCount() { return queue.size(); }

unsigned long long CurrentMessageSerial() { return dispatchDepth > 0 ? messageSerial : 0; }

int DispatchPendingEvents(int rounds) {
    int dispatched = 0;
    for (int round = 0; round < rounds; ++round) {
        PollSources(0);
        if (queue.empty()) break;
        while (!queue.empty()) {
            MSG msg = queue.front();
            queue.pop_front();
            DispatchMessageA(&msg);
            ++dispatched;
        }
    }
    return dispatched;
}

void DropMessagesFor(HWND window) {
    queue.erase(std::remove_if(queue.begin(), queue.end(), [window](const MSG& m) { return m.hwnd == window; }),
                queue.end());
}

WNDPROC WindowProcedure(HWND window) {
    Window* w = Find(window);
    return w ? w->proc : nullptr;
}

void AddEventSource(EventSource* source) {
    if (std::find(sources.begin(), sources.end(), source) == sources.end()) sources.push_back(source);
}

void RemoveEventSource(EventSource* source) {
    sources.erase(std::remove(sources.begin(), sources.end(), source), sources.end());
}

}  // namespace platform

WORD RegisterClassExA(const WNDCLASSEXA* cls) {
    if (!cls || !cls->lpszClassName || !cls->lpfnWndProc) return 0;
    classes[Lower(cls->lpszClassName)] = *cls;
    return (WORD)classes.size();
}

HWND CreateWindowExA(DWORD, const char* className, const char* title, DWORD style, int x, int y, int width,
                     int height, HWND parent, HMENU menu, HINSTANCE instance, void* param) {
    auto cls = classes.find(Lower(className));
    if (cls == classes.end()) return nullptr;
    HWND window = platform::NewWindow(Window::Kind::TopLevel);
    window->proc = cls->second.lpfnWndProc;
    window->title = title ? title : "";
    window->parent = parent;
    window->menu = menu ? menu : (cls->second.lpszMenuName ? LoadMenuA(instance, cls->second.lpszMenuName) : nullptr);

    int cellsWide = 0, cellsHigh = 0;
    platform::TheFrontEnd().InitialClientSize(cellsWide, cellsHigh);
    CREATESTRUCTA create{param, instance, window->menu, parent, height, width, y, x, style, title, className, 0};
    if (SendMessageA(window, WM_CREATE, 0, (LPARAM)&create) == -1) {
        DestroyWindow(window);
        return nullptr;
    }
    if (!IsWindow(window)) return nullptr;
    SendMessageA(window, WM_SIZE, 0, MAKELONG(cellsWide, cellsHigh));
    return window;
}

BOOL DestroyWindow(HWND window) {
    Window* w = Find(window);
    if (!w) return FALSE;
    // Owned dialogs and child controls go first, as on Windows.
    for (auto& other : windows)
        if (other.get() != w && other->parent == w && other->kind == Window::Kind::Dialog) {
            DestroyWindow(other.get());
            return DestroyWindow(window);  // the list changed; start again
        }
    SendMessageA(window, WM_DESTROY, 0, 0);
    if (!Find(window)) return TRUE;
    for (HWND control : w->controls) {
        platform::ForgetWindow(control);
        platform::DropMessagesFor(control);
    }
    timers.erase(std::remove_if(timers.begin(), timers.end(), [window](const Timer& t) { return t.window == window; }),
                 timers.end());
    platform::DropMessagesFor(window);
    platform::ForgetWindow(window);
    platform::TheFrontEnd().WindowDestroyed(window);
    std::vector<HWND> controls = w->controls;
    windows.erase(std::remove_if(windows.begin(), windows.end(),
                                 [&](const std::unique_ptr<Window>& p) {
                                     return p.get() == w ||
                                            std::find(controls.begin(), controls.end(), p.get()) != controls.end();
                                 }),
                  windows.end());
    return TRUE;
}

BOOL IsWindow(HWND window) { return Find(window) != nullptr; }

BOOL ShowWindow(HWND window, int show) {
    Window* w = Find(window);
    if (!w) return FALSE;
    BOOL wasVisible = w->visible;
    w->visible = show != SW_HIDE;
    if ((bool)wasVisible != w->visible) platform::TheFrontEnd().WindowShown(window, w->visible);
    if (w->kind == Window::Kind::TopLevel && (show == SW_SHOWNORMAL || show == SW_SHOW) && GetFocus() == nullptr)
        SetFocus(window);
    return wasVisible;
}

BOOL UpdateWindow(HWND window) {
    if (!IsWindow(window)) return FALSE;
    SendMessageA(window, WM_PAINT, 0, 0);
    return TRUE;
}

BOOL IsWindowVisible(HWND window) {
    Window* w = Find(window);
    return w && w->visible;
}

BOOL SetWindowTextA(HWND window, const char* text) {
    Window* w = Find(window);
    if (!w) return FALSE;
    if (w->kind == Window::Kind::Control) return (BOOL)SendMessageA(window, WM_SETTEXT, 0, (LPARAM)text);
    w->title = text ? text : "";
    platform::TheFrontEnd().TitleChanged(window, w->title.c_str());
    return TRUE;
}

int GetWindowTextA(HWND window, char* out, int max) {
    Window* w = Find(window);
    if (!w || !out || max <= 0) return 0;
    if (w->kind == Window::Kind::Control) return (int)SendMessageA(window, WM_GETTEXT, (WPARAM)max, (LPARAM)out);
    int n = (int)std::min<size_t>(w->title.size(), (size_t)max - 1);
    w->title.copy(out, (size_t)n);
    out[n] = '\0';
    return n;
}

HMENU GetMenu(HWND window) {
    Window* w = Find(window);
    return w ? w->menu : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Messages.

LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Window* w = Find(window);
    if (!w || !w->proc) return 0;
    return w->proc(window, message, wParam, lParam);
}

BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (!Find(window)) return FALSE;
    queue.push_back(MSG{window, message, wParam, lParam, (DWORD)platform::MonotonicMs()});
    return TRUE;
}

BOOL GetMessageA(MSG* msg, HWND, UINT, UINT) {
    for (;;) {
        if (!queue.empty()) {
            if (++messagesSincePoll >= kMessagesBetweenPolls) PollSources(0);
            if (TakeTimer(msg, true)) return TRUE;
            *msg = queue.front();
            queue.pop_front();
            return TRUE;
        }
        if (quitPending) {
            quitPending = false;
            *msg = MSG{nullptr, WM_QUIT, (WPARAM)quitCode, 0, 0};
            return FALSE;
        }
        // An event source may post the quit message (a signal ends the program): look at it
        // again before ever blocking.
        PollSources(0);
        if (!queue.empty() || quitPending) continue;
        if (TakeTimer(msg, false)) return TRUE;
        if (RunIdleSources() || quitPending) continue;
        for (auto* source : sources) source->BeforeBlock();
        PollSources(BlockTimeoutMs());
    }
}

BOOL TranslateMessage(const MSG*) { return FALSE; }

LRESULT DispatchMessageA(const MSG* msg) {
    if (!msg) return 0;
    ++messageSerial;
    ++dispatchDepth;
    LRESULT result = SendMessageA(msg->hwnd, msg->message, msg->wParam, msg->lParam);
    --dispatchDepth;
    ++messageSerial;  // what follows the nested message is not the same moment as before it
    for (size_t i = 0; i < sources.size(); ++i) sources[i]->AfterDispatch();
    return result;
}

void PostQuitMessage(int exitCode) {
    quitPending = true;
    quitCode = exitCode;
}

LRESULT DefWindowProcA(HWND window, UINT message, WPARAM, LPARAM) {
    if (message == WM_CLOSE) DestroyWindow(window);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Timers.

UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, void*) {
    if (!Find(window)) return 0;
    int64_t period = std::max<UINT>(milliseconds, 1);
    int64_t due = platform::MonotonicMs() + period;
    for (auto& t : timers)
        if (t.window == window && t.id == id) {
            t.period = period;
            t.due = due;
            return id;
        }
    timers.push_back(Timer{window, id, period, due});
    return id;
}

BOOL KillTimer(HWND window, UINT_PTR id) {
    auto before = timers.size();
    timers.erase(std::remove_if(timers.begin(), timers.end(),
                                [&](const Timer& t) { return t.window == window && t.id == id; }),
                 timers.end());
    return timers.size() != before;
}
