// The server's channel roles: a Remote Client of the server, the proxy's Local Client and the
// interactive Local Client of the Client dialog all receive through ProcessRead, send through
// SendBlockOfData and have a leaving CGI program checked by the tick.
#pragma once

#include "channel/channel.h"
#include "platform/wintypes.h"

// The handlers every channel that carries server traffic shares (a grab's channel too).
ChannelStatus ReceiveOnChannel(HWND window, int ch);
// Sends the next block; a proxy partner waiting for room in this channel's buffer is then
// offered its input again.
ChannelStatus SendOnChannel(HWND window, int ch);
void CheckCgiOfChannel(HWND window, int ch);

// Registers the roles of the Remote Client, the proxy's Local Client and the interactive Local
// Client with the channel table (start-up).
void RegisterServerRoles();
