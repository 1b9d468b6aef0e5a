// Channel event dispatch: every socket event of a channel, and the same events synthesised by
// the tick, reach the handler of the channel's role here, and a handler that asks for the
// channel to end has it closed here, after it returned. ClientMsg can run nested inside itself:
// a grab of the local disk posts FD_CLOSE to its new channel synchronously, so the whole
// logout, completion and crawl step run before OpenClient returns; the logout therefore frees
// the channel and clears the client flags before the retry and the crawl step.

#include "channel/dispatch.h"

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/timestamp.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "channel/sockets.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"

namespace {

void PrintLogLine(HWND window, const char* who, const char* what, int channel, const Channel& c, const char* stamp) {
    Print(window, "\n%s <%d> %s %u.%u.%u.%u:%u,%s \n", who, channel, what, c.PeerAddress[0], c.PeerAddress[1],
          c.PeerAddress[2], c.PeerAddress[3], (unsigned)c.PeerPort, stamp);
}

void EndClientSession(HWND window) {
    ClientOpen = 0;
    ClientConnected = 0;
    EnableMenuItem(GetMenu(window), IDM_SERVER, MF_ENABLED);
    EnableMenuItem(GetMenu(window), IDM_CLIENT, MF_ENABLED);
    EnableMenuItem(GetMenu(window), IDM_URL, MF_ENABLED);
}

// Logout of an interactive or grab Local Client. Returns true when a grab goes on in another
// channel.
bool LocalLogout(HWND window, int channel) {
    Channel& c = Channels[channel];
    c.State = kFree;
    c.Connected = 0;
    ClientOpen = 0;
    ClientConnected = 0;
    const ChannelRole& role = RoleOf(c);
    if (!role.Logout)
        PrintByteCounts(window, c);
    else if (role.Logout(window, channel) == LogoutResult::FetchGoesOn)
        return true;
    EndClientSession(window);
    return false;
}

void Logout(HWND window, int channel) {
    Channel& c = Channels[channel];
    c.StateTime = ChannelNow();
    char stamp[kTimeStampSize];
    TimeStamp((time_t)c.StateTime, stamp);
    if (c.LocalClient != 1) {
        PrintLogLine(window, "Remote Client", "Logout", channel, c, stamp);
        PrintByteCounts(window, c);
    } else {
        PrintLogLine(window, "Local Client", "Logout", channel, c, stamp);
        // A Local Client of the proxy relay prints no byte counts.
        if (ClientOpen != 0 && LocalLogout(window, channel)) return;
    }
    c.State = kFree;
    c.CgiState = kCgiNone;
}

// The one place where a channel is closed at the request of the routine that handled its
// event: that routine has returned, so nothing runs on in the slot after it is given up.
void CloseIfAsked(int channel, ChannelStatus status) {
    if (status == ChannelStatus::Close) CloseChannel(channel);
}

// The completion of a Local Client's connect. With LeavingTimeout 0 the result of the select
// call is never looked at; the asymmetry is kept.
void Connected(HWND window, int channel) {
    Channel& c = Channels[channel];
    int selected = WSAAsyncSelect(c.Socket, window, MSG_CHANNEL0 + (UINT)channel, FD_READ | FD_WRITE | FD_CLOSE);
    if (Settings.Server.LeavingTimeout != 0) {
        SetLeavingLinger(c.Socket);
        if (selected == SOCKET_ERROR) {
            Print(window, "\nClientMsg, Socket error %d:\n", WSAGetLastError());
            CloseChannel(channel);
            return;
        }
    }
    c.StateTime = ChannelNow();
    c.Connected = 1;
    char stamp[kTimeStampSize];
    TimeStamp((time_t)c.StateTime, stamp);
    PrintLogLine(window, "Local Client", "Login", channel, c, stamp);
    if (ClientOpen == 0) return;
    ClientConnected = 1;
    if (RoleOf(c).Connected) CloseIfAsked(channel, RoleOf(c).Connected(window, channel));
}

void Read(HWND window, int channel) {
    const ChannelRole& role = RoleOf(Channels[channel]);
    if (role.Read) CloseIfAsked(channel, role.Read(window, channel));
}

void UnknownEvent(HWND window, uint32_t event) {
    Print(window, "ClientMsg, Unknow socket message !!! %8.8lX \n", (unsigned long)event);
}

}  // namespace

void PrintByteCounts(HWND window, const Channel& c) {
    Print(window, "%lu bytes received, ", (unsigned long)c.RxBytes);
    Print(window, "%lu bytes sent\n", (unsigned long)c.TxBytes);
}

int16_t ClientMsg(HWND window, int channel, uint32_t event) {
    Channel& c = Channels[channel];
    // An event that carries an error ends the channel before any role sees it.
    if (WSAGETSELECTERROR(event) != 0) {
        Print(window, "\nClientMsg, channel %d WSAGETSELECTERROR %8.8lX !!!\n", channel, (unsigned long)event);
        CloseChannel(channel);
        return 0;
    }
    if (c.State == kFree) return 0;
    switch (WSAGETSELECTEVENT(event)) {
        case FD_READ:
            if (c.State != kLeaving) Read(window, channel);
            return 0;
        case FD_WRITE:
            if (c.State == kSending && RoleOf(c).Write) CloseIfAsked(channel, RoleOf(c).Write(window, channel));
            return 0;
        case FD_CLOSE:
            if (c.State == kLeaving) {
                Logout(window, channel);
                return 0;
            }
            if (c.State == kPurging) break;
            c.StateTime = ChannelNow();
            c.State = kPurging;
            Read(window, channel);
            return 0;
        case FD_CONNECT:
            Connected(window, channel);
            return 0;
    }
    UnknownEvent(window, event);
    return 0;
}
