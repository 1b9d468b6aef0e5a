// The one receive routine of every channel: drains the socket in blocks of at most 200
// bytes, copies them to the channel's log file, shows them on the console if asked, relays
// them to a linked channel (proxy mode) or cuts them into lines for the request processor or,
// while a grab reads its response header, for the header parser. Lines of 200 bytes or more
// become an Extended Cmd, gathered in a file and read back whole.
#pragma once

#include <cstdint>

#include "channel/channel.h"
#include "platform/wintypes.h"

// Close when the channel is to be closed (the caller closes it).
ChannelStatus ProcessRead(HWND window, int ch);
