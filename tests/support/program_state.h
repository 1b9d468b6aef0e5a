// The program's process-wide state put back as it is when the program starts: shared by the
// unit-test fixtures and the fuzz targets, which run many cases in one process.
#pragma once

#include "grabber/url.h"

namespace testing_support {

// Puts every process-wide table of the program back to its start-up state.
void ResetProgramState();

// The grabber's part of it: link lists released, the fetch, the crawl and the running index
// as before any grab.
void ResetGrabState();

// Puts a non-blocking UDP socket on 127.0.0.1 in the place of the ping engine's raw socket and
// aims the target at a UDP peer, as ConnectICMP aims the raw one: the peer's descriptor (to
// close), or -1 when the sockets cannot be made.
int UseFakeIcmpSocket();

// Dispatches queued messages until none is left (at most `limit`), as the message loop would.
void PumpMessages(int limit = 10000);

// Creates the main window as start-up does: class "wins2", procedure MainWin.
void CreateProgramWindow();

// A link-list record for a page or image.
UrlRecord Record(const char* host, const char* base, const char* file, int16_t port, const char* localName);

}  // namespace testing_support
