// The grab's HTTP client on its Local Client channel: the request sent on connect, the
// response header parsed line by line (status, length, type) until the body begins, the
// progress line of the tick, the grab's own time limits, and the end of each connection
// (retry, completion and the crawl's next step). Registered as the channel role of a grab.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

// Takes one complete header line of the channel's fetch (the channel's Line, LineLength).
int16_t ParseResponseHeader(HWND window, int ch);

// "NNN% [NNNNN Bytes/s] of N bytes, NNNNN s" while a grab with a known length downloads.
void ProgressLine(int ch, uint32_t elapsed);

// Puts the grab's time limits in place of the server's (each connection of a grab).
void SwapInGrabTimeouts();
// Gives the server its own time limits back (the end of a grab).
void RestoreServerTimeouts();

// Registers the grab's role with the channel table (start-up).
void RegisterGrabRole();
