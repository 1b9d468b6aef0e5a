// The message queue, windows and timers: the quit message, timers that a busy queue cannot
// starve, and event sources. (The order of posted messages and the nesting of sent ones are
// relied on by every other test.)

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/event_source.h"
#include "platform/messages.h"
#include "platform/ui.h"

namespace {

std::vector<std::string> events;

LRESULT Recorder(HWND, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DESTROY) PostQuitMessage(7);
    if (message == WM_USER || message == WM_TIMER)
        events.push_back(std::to_string(message) + ":" + std::to_string(wParam) + ":" + std::to_string(lParam));
    return 0;
}

class MessageLoop : public ::testing::Test {
protected:
    void SetUp() override {
        platform::ResetWindows();
        events.clear();
        WNDCLASSEXA cls{};
        cls.lpfnWndProc = Recorder;
        cls.lpszClassName = "recorder";
        RegisterClassExA(&cls);
        window = CreateWindowExA(0, "RECORDER", "t", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    }
    void TearDown() override { platform::ResetWindows(); }

    // Takes one message with GetMessageA and dispatches it; false on the quit message.
    bool Step() {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) {
            quitCode = (int)msg.wParam;
            return false;
        }
        DispatchMessageA(&msg);
        return true;
    }

    HWND window = nullptr;
    int quitCode = -1;
};

TEST_F(MessageLoop, ClassNamesCompareWithoutCase) {
    ASSERT_NE(window, nullptr) << "created as RECORDER";
    EXPECT_EQ(CreateWindowExA(0, "unknown", "t", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr), nullptr);
}

TEST_F(MessageLoop, TheQuitMessageComesOnlyAfterTheQueuedMessages) {
    PostMessageA(window, WM_USER, 1, 0);
    DestroyWindow(window);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(platform::QueuedMessageCount(), 0u) << "messages of a destroyed window are dropped";
    EXPECT_FALSE(Step());
    EXPECT_EQ(quitCode, 7);
    EXPECT_FALSE(PostMessageA(window, WM_USER, 1, 0)) << "nothing is posted to a window that is gone";
}

TEST_F(MessageLoop, ATimerFiresWhenTheQueueIsIdleAndKillTimerStopsIt) {
    SetTimer(window, 3, 10, nullptr);
    int64_t start = platform::MonotonicMs();
    ASSERT_TRUE(Step());
    EXPECT_GE(platform::MonotonicMs() - start, 9);
    EXPECT_EQ(events.back(), "275:3:0");
    EXPECT_TRUE(KillTimer(window, 3));
    EXPECT_FALSE(KillTimer(window, 3));
}

// A queue that never empties would keep an ordinary timer waiting for ever; a timer a whole
// period late goes first.
TEST_F(MessageLoop, ABusyQueueDoesNotStarveATimer) {
    SetTimer(window, 1, 20, nullptr);
    int timers = 0;
    int64_t deadline = platform::MonotonicMs() + 5000;
    PostMessageA(window, WM_USER, 0, 0);
    // Every turn puts a message back for the one it takes: the queue is never empty.
    for (int i = 0; i < 50000000 && timers < 2 && platform::MonotonicMs() < deadline; ++i) {
        PostMessageA(window, WM_USER, 0, 0);
        Step();
        if (events.back() == "275:1:0") ++timers;
        events.clear();
        events.push_back("");
    }
    EXPECT_EQ(timers, 2);
}

class QuittingSource : public platform::EventSource {
public:
    void AddDescriptors(std::vector<pollfd>&) override {}
    void HandleEvents(const pollfd*, size_t) override {
        if (armed) PostQuitMessage(3);
        armed = false;
    }
    bool armed = true;
};

// A signal handled by an event source during the loop's non-blocking poll ends the program
// even when no timer is left to wake the loop.
TEST_F(MessageLoop, AQuitPostedByAnEventSourceIsSeenBeforeTheLoopBlocks) {
    QuittingSource source;
    platform::AddEventSource(&source);
    EXPECT_FALSE(Step());
    EXPECT_EQ(quitCode, 3);
    platform::RemoveEventSource(&source);
}

class IdleSource : public platform::EventSource {
public:
    explicit IdleSource(HWND w) : window(w) {}
    void AddDescriptors(std::vector<pollfd>&) override {}
    void HandleEvents(const pollfd*, size_t) override {}
    bool Idle() override {
        ++idleCalls;
        if (idleCalls > 1) return false;
        PostMessageA(window, WM_USER, 99, 0);
        return true;
    }
    int WakeAfterMs() override { return idleCalls > 1 ? 5 : -1; }
    HWND window;
    int idleCalls = 0;
};

TEST_F(MessageLoop, IdleWorkRunsWhenNothingElseIsWaiting) {
    IdleSource source(window);
    platform::AddEventSource(&source);
    PostMessageA(window, WM_USER, 1, 0);
    Step();
    EXPECT_EQ(source.idleCalls, 0);
    Step();
    EXPECT_EQ(source.idleCalls, 1);
    EXPECT_EQ(events.back(), "1024:99:0");
    platform::RemoveEventSource(&source);
}

}  // namespace
