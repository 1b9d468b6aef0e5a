// Clocks: the calendar time of the standard time function and the millisecond counter of
// timeGetTime. Tests can replace both with a fake clock that only moves when told.
#pragma once

#include <ctime>

#include "platform/wintypes.h"

// Milliseconds since an arbitrary start, wrapping at 2^32 like the Windows counter.
DWORD timeGetTime();

// Seconds since the epoch, as time(NULL).
time_t CurrentTime();

namespace platform {
void UseFakeClock(time_t now, DWORD milliseconds);
void AdvanceFakeClock(int seconds, DWORD milliseconds);
void UseRealClock();
// Monotonic milliseconds for the message loop's timers; never faked.
int64_t MonotonicMs();
}  // namespace platform
