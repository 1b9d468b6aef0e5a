// The DOS CGI gateway: a request whose last path component before the query begins with
// "cgi-dos" runs the program that cgi-dos.map names, and the server and the program talk
// through pipe files in the home directory.
#pragma once

#include <cstdint>

#include "channel/channel.h"
#include "platform/wintypes.h"

// The CGI steps of a request line. callText is the decoded call ("key arg arg ..."), line the
// request line as received. GoOn when the request goes on: then either the CGI bit is set, or
// the key was not found and SendPath holds the error page. Otherwise the request ends here
// (an error), and Close asks for the connection to be closed.
ChannelStatus CgiRequestLine(HWND window, int ch, const char* callText, const char* line);

// Starts (or delays) the channel's program; 1 when it was started and its answer is awaited.
int16_t CGILauch(HWND window, int ch);

// Polls the answer of a leaving channel whose program still runs; 1 when it is there.
int16_t CGICheck(HWND window, int ch);
