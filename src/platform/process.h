// Starting programs.
//
// WinExec splits the command line on blanks, translates the program's path like every other
// path, and starts it detached (its own session, no shell): nothing in an argument is ever
// interpreted, so text from a request cannot reach a shell. Finished children are reaped by
// the message loop.
#pragma once

#include "platform/wintypes.h"

// Returns 33 when the program was started, else a value below 32 as Windows does:
// 2 file not found, 3 path not found, 5 access denied, 11 not an executable, 0 no resources.
UINT WinExec(const char* commandLine, UINT show);

namespace platform {
// Collects children that have ended. Cheap; called by the message loop.
void ReapChildren();
}  // namespace platform
