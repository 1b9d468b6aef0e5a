// Starting and stopping Winsock.

#include <cstdio>

#include "base/app.h"
#include "channel/sockets.h"
#include "platform/ui.h"

int StartWinsock() {
    WSADATA data;
    if (WSAStartup(0x0101, &data) != 0) {
        MessageBoxA(nullptr, "WinSocket could not be initialized. Please check", "korvel", MB_OK);
        WSACleanup();
        return 0;
    }
    // The high byte of each version is printed first: for 1.1 it makes no difference.
    char text[512];
    snprintf(text, sizeof text, "%s\nVersion %u.%u\nHigher Version %u.%u\nAvailable sockets %u\nUdp maximum size %u octets",
             data.szDescription, (unsigned)(data.wVersion >> 8), (unsigned)(data.wVersion & 0xFF),
             (unsigned)(data.wHighVersion >> 8), (unsigned)(data.wHighVersion & 0xFF), (unsigned)data.iMaxSockets,
             (unsigned)data.iMaxUdpDg);
    if (!BatchMode) MessageBoxA(nullptr, text, "Korvel v4.0", MB_OK);
    return 1;
}

void CloseWS() {
    int result = WSACleanup();
    if (result != 0) {
        char text[64];
        snprintf(text, sizeof text, "CloseWS Cleanup error %d.", result);
        MessageBoxA(nullptr, text, "korvel", MB_OK);
    }
}
