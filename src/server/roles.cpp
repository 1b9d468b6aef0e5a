#include "server/roles.h"

#include "base/app.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "platform/messages.h"
#include "server/cgi.h"
#include "server/receive.h"
#include "server/send.h"

ChannelStatus ReceiveOnChannel(HWND window, int ch) { return ProcessRead(window, ch); }

ChannelStatus SendOnChannel(HWND window, int ch) {
    ChannelStatus status = SendBlockOfData(window, ch);
    if (status == ChannelStatus::Close) return status;
    if (Channels[ch].Link != kNoLink) SendMessageA(window, MSG_CHANNEL0 + Channels[ch].Link, 0, FD_READ);
    return status;
}

void CheckCgiOfChannel(HWND window, int ch) { CGICheck(window, ch); }

namespace {

// The three differ only in what the channel floor does with them: the proxy's partner logs
// out without byte counts, the interactive client ends the client session.
const ChannelRole kServerChannel = {
    ReceiveOnChannel, SendOnChannel, nullptr,  // no request is sent on connect
    nullptr, nullptr, nullptr,                 // no response header is read
    nullptr, nullptr, nullptr,                 // nothing of a grab to take, end or abandon
    CheckCgiOfChannel, nullptr,
};

}  // namespace

void RegisterServerRoles() {
    RegisterRole(RoleKind::RemoteClient, &kServerChannel);
    RegisterRole(RoleKind::ProxyClient, &kServerChannel);
    RegisterRole(RoleKind::LocalClient, &kServerChannel);
}
