// Channel roles. What a slot is for (a Remote Client of the server, the proxy's Local Client,
// the interactive Local Client of the Client dialog, a grab) decides who handles its events.
// The channel floor knows only this record of handlers: the server and the grabber register
// theirs at start-up, and the slot is given its role when it is taken. A handler left null
// means the role has nothing to do at that point.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

#include "channel/channel.h"

enum class RoleKind : uint8_t { RemoteClient, ProxyClient, LocalClient, Grab };
constexpr int kRoleKinds = 4;

// What the end of a Local Client's connection led to.
enum class LogoutResult : uint8_t {
    Ended,        // the client session ends here
    FetchGoesOn,  // the grab started its next connection; the session goes on in another slot
};

struct ChannelRole {
    // Events of an open channel. What they return tells the dispatcher whether to close it.
    ChannelStatus (*Read)(HWND window, int ch);       // FD_READ, and the draining of a purging channel
    ChannelStatus (*Write)(HWND window, int ch);      // FD_WRITE of a sending channel
    ChannelStatus (*Connected)(HWND window, int ch);  // a Local Client's connect completed (after its login line)

    // The receive routine's questions while it cuts lines.
    bool (*HeaderPending)(const Channel& c);          // a response header is still being read
    bool (*HeaderLine)(HWND window, int ch, const char* rest, int restLength);  // true: header ended
    bool (*LongHeaderLine)(int ch, int length);       // a buffer-full header line; true: header ended

    // The life of a Local Client.
    void (*Taken)(int ch);                             // OpenClient has prepared the slot
    LogoutResult (*Logout)(HWND window, int ch);       // its connection ended (after the logout line)
    void (*Abandon)(int ch, bool closed);              // all Local Clients are being closed

    // The tick.
    void (*Leaving)(HWND window, int ch);           // a leaving channel whose CGI program still runs
    void (*Progress)(int ch, uint32_t elapsed);     // a waiting, connected channel 0
};

void RegisterRole(RoleKind kind, const ChannelRole* role);
// The registered role of a kind; a role with no handlers when none was registered.
const ChannelRole* RoleFor(RoleKind kind);
// The role of a channel; a role with no handlers for a slot never taken.
const ChannelRole& RoleOf(const Channel& c);
