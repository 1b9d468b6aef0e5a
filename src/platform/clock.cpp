#include "platform/clock.h"

#include <chrono>

namespace {

bool fakeClock = false;
time_t fakeNow = 0;
DWORD fakeMs = 0;

}  // namespace

DWORD timeGetTime() {
    if (fakeClock) return fakeMs;
    return (DWORD)(uint64_t)platform::MonotonicMs();
}

time_t CurrentTime() {
    if (fakeClock) return fakeNow;
    return time(nullptr);
}

namespace platform {

void UseFakeClock(time_t now, DWORD milliseconds) {
    fakeClock = true;
    fakeNow = now;
    fakeMs = milliseconds;
}

void AdvanceFakeClock(int seconds, DWORD milliseconds) {
    fakeNow += seconds;
    fakeMs += milliseconds;
}

void UseRealClock() { fakeClock = false; }

int64_t MonotonicMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace platform
