// Every byte the program sends on a channel: a file answering a request (with an HTTP/1.0
// header when the status is 200), or a text held in memory. Sending is paced by FD_WRITE and
// the tick, one 200-byte buffer at a time; before sending, the pending CGI states of the
// channel (a delayed program, an awaited answer, a locked file) are resolved.
#pragma once

#include <cstdint>

#include "channel/channel.h"
#include "platform/wintypes.h"

// Each returns what the channel's dispatcher is to do: Close when the answer is complete (in the
// SendAndClose mode) or sending failed; the caller, not these routines, closes the channel.
ChannelStatus SendaFile(HWND window, int ch, const char* path);
ChannelStatus SendBlockOfData(HWND window, int ch);
ChannelStatus SendaBuf(HWND window, int ch, const char* text, int16_t length);

// The Content-Type of a file extension: the built-in table, then the [Mime] section of
// korvel.ini. Empty when unknown.
void MimeType(const char* extension, char (&type)[81]);
