// The channel table, its reset, the closing of a channel and the test that frees a leaving one.

#include <algorithm>

#include "base/app.h"
#include "channel/channel.h"
#include "channel/dispatch.h"
#include "channel/role.h"
#include "channel/sockets.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "settings/settings.h"

Channel Channels[kChannelCount];

int ChannelsInUse() { return std::min<int>(Settings.Server.HowManyClients, kChannelCount); }

uint32_t ChannelNow() { return (uint32_t)CurrentTime(); }

void PostChannelEvent(int ch, uint16_t event) { SendMessageA(MainWindow, MSG_CHANNEL0 + (UINT)ch, 0, event); }

void InitChannels() {
    for (Channel& c : Channels) {
        c.State = kFree;
        c.Connected = 0;
        c.SendFile = nullptr;
        c.ExtCmdOpen = 0;
        c.ExtCmdFile = nullptr;
        c.RxLogFile = nullptr;
        c.Link = kNoLink;
        c.Fetch = nullptr;
        c.Role = nullptr;
        c.CgiState = kCgiNone;
        c.RequestFlags = 0;
        c.ResponseStatus = 0;
    }
}

// A slot freed by a grab's retry or crawl step still points at the grab's fetch record; a new
// connection must not inherit it (a grab's own connection is attached to it again).
void ResetSlot(Channel& c) {
    c.LineLength = 0;
    c.LineFill = 0;
    c.TxCount = 0;
    c.TxStart = 0;
    c.SendFile = nullptr;
    c.ExtCmdOpen = 0;
    c.ExtCmdFile = nullptr;
    c.CgiState = kCgiNone;
    c.RequestFlags = 0;
    c.ResponseStatus = 0;
    c.RxLogFile = nullptr;
    c.TxBytes = 0;
    c.RxBytes = 0;
    c.Fetch = nullptr;
}

namespace {

void CloseFile(FILE*& file) {
    if (file) fclose(file);
    file = nullptr;
}

// Breaks the channel's link; the partner, unless it is already ending, is told to close too.
void Unlink(Channel& c) {
    uint16_t partner = c.Link;
    c.Link = kNoLink;
    if (partner >= kChannelCount) return;
    Channel& p = Channels[partner];
    p.Link = kNoLink;
    if (p.State != kFree && p.State != kLeaving && p.State != kPurging) PostChannelEvent(partner, FD_CLOSE);
}

}  // namespace

// Moves the channel to leaving; the slot becomes free when its FD_CLOSE is handled. Closing
// is idempotent: a free or leaving channel only has its files closed.
void CloseChannel(int ch) {
    Channel& c = Channels[ch];
    bool closeAtOnce = false;
    if (c.State != kFree && c.State != kLeaving) {
        c.State = kLeaving;
        c.StateTime = ChannelNow();
        CloseSocket(&c.Socket);
        Unlink(c);
        closeAtOnce = Settings.Server.LeavingTimeout == 0;
    }
    CloseFile(c.SendFile);
    CloseFile(c.RxLogFile);
    CloseFile(c.ExtCmdFile);
    // With CGISynchro a leaving channel whose program still runs keeps counting against
    // CGIMax until the answer appears or the time runs out.
    if (!(Settings.CGI.CGISynchro != 0 && c.CgiState == kPipeCgi)) c.CgiState = kCgiNone;
    c.Connected = 0;
    c.ExtCmdOpen = 0;
    if (closeAtOnce) LeavingCheck(ch, 1, 0);
}

void LeavingCheck(int ch, int force, int32_t idle) {
    if (force) {
        ClientMsg(MainWindow, ch, FD_CLOSE);
        return;
    }
    int16_t due;
    if (Channels[ch].CgiState == kPipeCgi) {
        due = (int16_t)(idle - Settings.Server.SendingTimeout);
        if (RoleOf(Channels[ch]).Leaving) RoleOf(Channels[ch]).Leaving(MainWindow, ch);
    } else {
        due = (int16_t)(idle - Settings.Server.LeavingTimeout);
    }
    if (due >= 0) PostChannelEvent(ch, FD_CLOSE);
}
