// Request processing: one call per complete line of an HTTP request on a waiting channel.
// Only GET is answered; the target is decoded and mapped to a file under the home directory
// ("home.htm" for a directory), the Mailbox (a query that is not a CGI call), a DOS CGI
// program, or the error page.
#pragma once

#include <cstdint>

#include "channel/channel.h"
#include "platform/wintypes.h"

// Bits of Channel::RequestFlags.
constexpr uint16_t kRequestSeen = 0x01;
constexpr uint16_t kRequestComplete = 0x02;
constexpr uint16_t kRequestLineDone = 0x04;
constexpr uint16_t kRequestCgi = 0x08;
constexpr uint16_t kRequestNoVersion = 0x10;
constexpr uint16_t kRequestError = 0x20;

// Numbers the pipe files of waited CGI calls: increased before each use, kept below 100.
extern int16_t PipeCounter;

// Takes one complete line of a request; Close when the channel is to be closed.
ChannelStatus ProcessRequest(HWND window, int ch);

// HomeDir, the separator, then name: the path of a site file.
void HomePath(char (&out)[kPathSize], const char* name);
