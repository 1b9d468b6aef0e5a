// The one-second tick of the ping engine: it blinks the main window's title during an
// automatic run, polls the socket, reopens it when an error closed it in automatic mode, counts
// the seconds an echo waits, resends after a timeout until the retries are used up, and sends
// the next echo of an automatic run once a reply came.

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"

namespace ping {

namespace {

void BlinkTitle() {
    TitleBlink = TitleBlink ? 0 : 1;
    if (!(IcmpState & TargetSet) || !PingAuto) return;
    if (TitleBlink == 1) {
        SetWindowTextA(MainWindow, "Ping");
        return;
    }
    char title[kPingTextSize + 16];
    snprintf(title, sizeof title, "%s%s", PingHost, PingAlive ? " is alive" : " timeout");
    SetWindowTextA(MainWindow, title);
}

// An automatic run whose socket an error closed starts again.
void Reopen() {
    if (!OpenICMP(MainWindow, &IcmpSocket)) {
        Print(MainWindow, "ICMPcheck, Unable to open an ICMP socket ...\n");
        PingAuto = 0;
        return;
    }
    IcmpLength = (int16_t)strlen(PingData);
    ConnectICMP(MainWindow, PingHost, PingData, IcmpLength);
}

// Another second without a reply. Returns true when the echo is to be sent again.
bool Waited() {
    ++WaitedSeconds;
    if (PingVisible) DlgPrintf(PingDialog, kCountdownField, 0, "%d", PingTimeout - WaitedSeconds);
    if (WaitedSeconds < PingTimeout) return false;

    PingAlive = 0;
    IcmpState &= (uint16_t)~RequestPending;
    if (PingVisible) {
        DlgPrintf(PingDialog, kReplyField, 0, "%s", "");
        // One more than the count: the echo about to be sent is counted already.
        DlgPrintf(PingDialog, kMessageField, 0, "Timeout, Sent=%lu", (unsigned long)(PingSent + 1u));
    }
    --RetriesLeft;
    if (RetriesLeft < 1) {
        if (PingAuto) {
            ++PingSequence;
            RetriesLeft = PingRetryNumber;
        } else if (!PingListen) {
            CloseICMP();
            return false;
        }
    } else if (PingVisible) {
        DlgPrintf(PingDialog, kRetriesField, 0, "%d", RetriesLeft);
    }
    return true;
}

void SendNext() {
    WaitedSeconds = 0;
    auto length = (int16_t)strlen(PingData);
    IcmpLength = length;
    if (IcmpState != TargetSet) Print(MainWindow, "ICMPCheck error, SendICMP and ICMPState=%d\n", IcmpState);
    SENDICMP(MainWindow, PingData, length, MakeEchoTag(length, PingSequence), IcmpType, TargetAddress);
    if (PingVisible) {
        DlgPrintf(PingDialog, kCountdownField, 0, "%d", PingTimeout - WaitedSeconds);
        DlgPrintf(PingDialog, kRetriesField, 0, "%d", RetriesLeft);
    }
}

}  // namespace

// The state bits are changed in place, so that a CloseICMP during the tick leaves them at 0.
void ICMPCheck() {
    BlinkTitle();
    if (IcmpState & TargetSet) ICMPRead(MainWindow);
    if (!PingListen && PingAuto && IcmpSocket == INVALID_SOCKET) {
        Reopen();
        return;
    }
    bool send = false;
    if (IcmpState & ReplyReceived) {
        PingAlive = 1;
        ++PingSequence;
        RetriesLeft = PingRetryNumber;
        IcmpState &= (uint16_t)~(RequestPending | ReplyReceived);
        send = PingAuto != 0;
    } else if (IcmpState & RequestPending) {
        send = Waited();
    }
    if (send) SendNext();
}

}  // namespace ping
