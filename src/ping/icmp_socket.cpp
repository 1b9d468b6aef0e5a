// The ICMP socket: opening it with its events bound to the main window, closing it (which ends
// a run and puts the dialog and the window title back), sending one echo, and draining stale
// datagrams before a send.

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/timestamp.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"

namespace ping {

namespace {

constexpr int kBoxTextSize = 128;

// A set-up failure: the run is over and the user is told in a box.
void FailOpen(HWND window, const char* text) {
    Run.PingAuto = 0;
    CloseICMP();
    MessageBoxA(window, text, "Korvel", MB_OK);
}

}  // namespace

int16_t OpenICMP(HWND window, SOCKET* s) {
    if (*s != INVALID_SOCKET) return 0;
    char text[kBoxTextSize];
    *s = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (*s == INVALID_SOCKET) {
        // Raw sockets need privileges: without them the error is 10013 (access denied).
        snprintf(text, sizeof text, "OpenICMP, Socket error %d !!!\n", WSAGetLastError());
        FailOpen(window, text);
        return 0;
    }
    if (WSAAsyncSelect(*s, window, MSG_ICMP, FD_READ) == SOCKET_ERROR) {
        snprintf(text, sizeof text, "OpenICMP, AsyncSelect error %d\n", WSAGetLastError());
        FailOpen(window, text);
        return 0;
    }
    Run.WaitedSeconds = 0;
    Run.RxLength = 0;
    return 1;
}

int16_t CloseICMP() {
    if (Run.IcmpSocket == INVALID_SOCKET) return 1;
    Run.IcmpLength = 0;
    Run.RxLength = 0;
    Run.WaitedSeconds = 0;
    Run.PingListen = 0;
    closesocket(Run.IcmpSocket);
    Run.IcmpState = 0;
    Run.IcmpSocket = INVALID_SOCKET;
    // The dialog re-reads the engine and shows its idle look again.
    SendMessageA(PingDialog, WM_INITDIALOG, 0, 0);
    SetWindowTextA(MainWindow, "Korvel");
    return 1;
}

// Returns the length of the datagram it dropped, or 0 when there was none.
int16_t PurgeSocket(HWND window, SOCKET s) {
    if (s == INVALID_SOCKET) {
        Print(window, "PurgeSocket, and invalid socket !!!\n");
        return 0;
    }
    char stale[kIcmpReadSize];
    SOCKADDR_IN from{};
    int fromLength = sizeof from;
    int drained = recvfrom(s, stale, kIcmpReadSize, 0, (SOCKADDR*)&from, &fromLength);
    if (drained >= 0 && drained <= kIcmpReadSize) return (int16_t)drained;
    int error = WSAGetLastError();
    if (error != WSAEWOULDBLOCK) Print(window, "\nPurgeSocket, socket error [WSA_%d]\n", error);
    return 0;
}

int16_t SENDICMP(HWND window, const char* data, int16_t dataLength, uint32_t tag, uint8_t type,
                 const SOCKADDR_IN& address) {
    if (Run.IcmpSocket == INVALID_SOCKET) return 0;
    uint8_t packet[kEchoBufferSize];
    int16_t length = dataLength < 0 ? 0 : dataLength > kPingTextSize - 1 ? (int16_t)(kPingTextSize - 1) : dataLength;
    memcpy(packet, data, (size_t)length);
    Run.IcmpLength = BuildEcho(packet, tag, length, type);
    Run.RxLength = 0;
    // At most two stale datagrams are dropped, so that an old answer is not taken for this one.
    if (PurgeSocket(window, Run.IcmpSocket)) PurgeSocket(window, Run.IcmpSocket);

    Run.SendTime = timeGetTime();
    int sent = sendto(Run.IcmpSocket, (const char*)packet, Run.IcmpLength, 0, (const SOCKADDR*)&address, sizeof address);
    if (sent >= 0 && sent <= Run.IcmpLength) {
        ++Run.PingSent;
        if (PingLinesRead()) {
            char stamp[kTimeStampSize];
            TimeStamp(CurrentTime(), stamp);
            const auto* to = (const uint8_t*)&address.sin_addr.S_addr;
            ShowPingLine(kSendField, "%s, Pinging %u.%u.%u.%u, ICMP_length=%02d", stamp, to[0], to[1], to[2], to[3],
                         sent);
        }
        Run.IcmpState |= RequestPending;
        return 1;
    }
    int error = WSAGetLastError();
    if (error == WSAEWOULDBLOCK) {
        Print(window, "SENDICMP, %s\n", "WSAEWOULDBLOCK");
        return 0;
    }
    CloseICMP();
    Print(window, " ICMP Transmit error [WSA_%d]\n", error);
    return 0;
}

}  // namespace ping
