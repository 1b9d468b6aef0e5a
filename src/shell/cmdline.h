// The command line: settings for this run and, optionally, one action (grab a URL, open the
// server, ping a host). Read twice: pass 0 right after the main window exists only changes
// settings and reports whether an action was asked for; pass 1, after the network started,
// applies the settings again, prints the messages and carries out the action.
#pragma once

#include <cstdint>

// Returns 1 when the command line asks for an action, else 0.
int16_t DecodeLine(const char* commandLine, int16_t pass);
