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
    Run.TitleBlink = Run.TitleBlink ? 0 : 1;
    if (!(Run.IcmpState & TargetSet) || !Run.PingAuto) return;
    if (Run.TitleBlink == 1) {
        SetWindowTextA(MainWindow, "Ping");
        return;
    }
    char title[kPingTextSize + 16];
    snprintf(title, sizeof title, "%s%s", Run.PingHost, Run.PingAlive ? " is alive" : " timeout");
    SetWindowTextA(MainWindow, title);
}

// An automatic run whose socket an error closed starts again.
void Reopen() {
    if (!OpenICMP(MainWindow, &Run.IcmpSocket)) {
        Print(MainWindow, "ICMPcheck, Unable to open an ICMP socket ...\n");
        Run.PingAuto = 0;
        return;
    }
    Run.IcmpLength = (int16_t)strlen(Run.PingData);
    ConnectICMP(MainWindow, Run.PingHost, Run.PingData, Run.IcmpLength);
}

// Another second without a reply. Returns true when the echo is to be sent again.
bool Waited() {
    ++Run.WaitedSeconds;
    if (Run.PingVisible) DlgPrintf(PingDialog, kCountdownField, 0, "%d", Run.PingTimeout - Run.WaitedSeconds);
    if (Run.WaitedSeconds < Run.PingTimeout) return false;

    Run.PingAlive = 0;
    Run.IcmpState &= (uint16_t)~RequestPending;
    if (PingLinesRead()) {
        ShowPingLine(kReplyField, "%s", "");
        // One more than the count: the echo about to be sent is counted already.
        ShowPingLine(kMessageField, "Timeout, Sent=%lu", (unsigned long)(Run.PingSent + 1u));
    }
    --Run.RetriesLeft;
    if (Run.RetriesLeft < 1) {
        if (Run.PingAuto) {
            ++Run.PingSequence;
            Run.RetriesLeft = Run.PingRetryNumber;
        } else if (!Run.PingListen) {
            CloseICMP();
            return false;
        }
    } else if (Run.PingVisible) {
        DlgPrintf(PingDialog, kRetriesField, 0, "%d", Run.RetriesLeft);
    }
    return true;
}

void SendNext() {
    Run.WaitedSeconds = 0;
    auto length = (int16_t)strlen(Run.PingData);
    Run.IcmpLength = length;
    if (Run.IcmpState != TargetSet) Print(MainWindow, "ICMPCheck error, SendICMP and ICMPState=%d\n", Run.IcmpState);
    SENDICMP(MainWindow, Run.PingData, length, MakeEchoTag(length, Run.PingSequence), Run.IcmpType, Run.TargetAddress);
    if (Run.PingVisible) {
        DlgPrintf(PingDialog, kCountdownField, 0, "%d", Run.PingTimeout - Run.WaitedSeconds);
        DlgPrintf(PingDialog, kRetriesField, 0, "%d", Run.RetriesLeft);
    }
}

}  // namespace

// The state bits are changed in place, so that a CloseICMP during the tick leaves them at 0.
void ICMPCheck() {
    BlinkTitle();
    if (Run.IcmpState & TargetSet) ICMPRead(MainWindow);
    if (!Run.PingListen && Run.PingAuto && Run.IcmpSocket == INVALID_SOCKET) {
        Reopen();
        return;
    }
    bool send = false;
    if (Run.IcmpState & ReplyReceived) {
        Run.PingAlive = 1;
        ++Run.PingSequence;
        Run.RetriesLeft = Run.PingRetryNumber;
        Run.IcmpState &= (uint16_t)~(RequestPending | ReplyReceived);
        send = Run.PingAuto != 0;
    } else if (Run.IcmpState & RequestPending) {
        send = Waited();
    }
    if (send) SendNext();
}

}  // namespace ping
