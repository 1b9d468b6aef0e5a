// The one-second tick: per-state time limits, the polling of waiting and sending channels, the
// connection-age limits, and the progress line of the channel's role (a grab's download).
//
// Every limit is tested as a 16-bit signed difference (idle time minus the setting), so an
// idle time beyond 32767 s wraps; the program has always counted so.

// Besides the dispatcher, the tick is the one other place that closes channels: a time limit
// belongs to no event handler, and the tick runs between events, never inside one.

#include "base/app.h"
#include "base/print.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "channel/sockets.h"
#include "platform/messages.h"
#include "settings/settings.h"

namespace {

bool Due(int32_t elapsed, int16_t limit) { return (int16_t)(elapsed - limit) >= 0; }

void StateLimits(int ch, int32_t idle, bool timeoutOn) {
    Channel& c = Channels[ch];
    const ServerSettings& s = Settings.Server;
    switch (c.State) {
        case kWaiting:
            if (ch == 0 && c.Connected == 1 && RoleOf(c).Progress) RoleOf(c).Progress(0, (uint32_t)idle);
            if (timeoutOn && Due(idle, s.WaitingTimeout))
                PostChannelEvent(ch, FD_CLOSE);
            else if (c.Connected == 1)
                PostChannelEvent(ch, FD_READ);
            break;
        case kSending:
            if (timeoutOn && Due(idle, s.SendingTimeout))
                PostChannelEvent(ch, FD_CLOSE);
            else if (c.Connected == 1)
                PostChannelEvent(ch, FD_WRITE);
            break;
        case kLeaving:
            LeavingCheck(ch, 0, idle);
            break;
        case kPurging:
            if (Due(idle, s.PurgingTimeout)) CloseChannel(ch);
            PostChannelEvent(ch, FD_READ);
            break;
    }
}

// Every connection is closed when it is connectionTimeout seconds old, however busy, and a
// connect that has not completed is given up after PreWaitingTimeout seconds.
void AgeLimits(int ch, uint32_t now) {
    Channel& c = Channels[ch];
    int32_t age = (int32_t)(now - c.ConnectTime);
    if (age <= 0) return;
    if (Due(age, Settings.Server.connectionTimeout) ||
        (c.Connected == 0 && Due(age, Settings.Server.PreWaitingTimeout))) {
        CloseChannel(ch);
        PostChannelEvent(ch, FD_CLOSE);
    }
}

}  // namespace

void ChannelTick() {
    uint32_t now = ChannelNow();
    bool timeoutOn = (Settings.Server.ServerMode & EnableTimeout) != 0;
    for (int ch = 0; ch < ChannelsInUse(); ++ch) {
        if (Channels[ch].State == kFree) continue;
        int32_t idle = (int32_t)(now - Channels[ch].StateTime);
        if (idle > 0 && Channels[ch].State >= kWaiting && Channels[ch].State <= kPurging) StateLimits(ch, idle, timeoutOn);
        if (timeoutOn && Channels[ch].State != kFree) AgeLimits(ch, now);
    }
}
