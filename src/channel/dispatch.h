// The single entry point for everything that happens on a channel once it is taken: the
// socket's events and the same events synthesised by the tick.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

// event: the 32-bit lParam, event code in the low word and error code in the high word.
int16_t ClientMsg(HWND window, int channel, uint32_t event);
