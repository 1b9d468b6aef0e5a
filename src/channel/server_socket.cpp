// The listening socket: opening and closing the server, and accepting Remote Clients.

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/timestamp.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "channel/sockets.h"
#include "platform/files.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"

SOCKET ServerSocket = INVALID_SOCKET;

namespace {

const char kOverloaded[] = "HTTP/1.0 502 Service Temporaly Overloaded";

void SocketBox(const char* format, int error) {
    char text[128];
    snprintf(text, sizeof text, format, error);
    MessageBoxA(nullptr, text, "korvel", MB_OK);
}

bool FailSocket(SOCKET* out, const char* format) {
    SocketBox(format, WSAGetLastError());
    closesocket(*out);
    *out = INVALID_SOCKET;
    return false;
}

int FirstFreeChannel() {
    for (int ch = 0; ch < ChannelsInUse(); ++ch)
        if (Channels[ch].State == kFree) return ch;
    return -1;
}

// Every channel is busy: the connection gets one status line and is closed at once.
void Refuse(HWND window) {
    Print(window, "\nServerMsg, connection and all channels are busy ...\n");
    SOCKET s = accept(ServerSocket, nullptr, nullptr);
    if (s == INVALID_SOCKET) {
        Print(window, "\nServerMsg, can't create a temporary socket !!!\n");
        return;
    }
    WSAAsyncSelect(s, window, 0, 0);
    char line[64];
    int length = snprintf(line, sizeof line, "%s\r\n", kOverloaded);
    send(s, line, length, 0);
    closesocket(s);
}

// A slot taken for a visitor that cannot be served (no socket, no events, no proxy partner) is
// given up here, before any event of it is handled.
void Accept(HWND window, int ch) {
    Channel& c = Channels[ch];
    ResetSlot(c);
    c.Role = RoleFor(RoleKind::RemoteClient);
    c.LocalClient = 0;
    c.State = kWaiting;
    c.StateTime = ChannelNow();
    c.Connected = 1;
    SOCKADDR_IN peer{};
    int length = sizeof peer;
    c.Socket = accept(ServerSocket, reinterpret_cast<SOCKADDR*>(&peer), &length);
    if (c.Socket == INVALID_SOCKET) {
        Print(window, "ServerMsg, Can't get a valid Socket !!!\n");
        CloseChannel(ch);
        return;
    }
    memcpy(c.PeerAddress, &peer.sin_addr.S_addr, 4);
    c.PeerPort = ntohs(peer.sin_port);
    c.ConnectTime = ChannelNow();
    char stamp[kTimeStampSize];
    TimeStamp((time_t)c.ConnectTime, stamp);
    Print(window, "Remote Client <%d> Login %u.%u.%u.%u:%u,%s \n", ch, c.PeerAddress[0], c.PeerAddress[1],
          c.PeerAddress[2], c.PeerAddress[3], (unsigned)c.PeerPort, stamp);
    if (WSAAsyncSelect(c.Socket, window, MSG_CHANNEL0 + (UINT)ch, FD_READ | FD_WRITE | FD_CLOSE) == SOCKET_ERROR) {
        Print(window, "\nServerMsg, Socket Error %d\n", WSAGetLastError());
        CloseChannel(ch);
        return;
    }
    if (Settings.Server.LeavingTimeout != 0) SetLeavingLinger(c.Socket);
    if (Settings.Server.ServerProxy != 0) {
        int partner = OpenClient(window, Settings.Server.ProxyHost, 0, (uint16_t)Settings.Server.ProxyPort);
        if (partner >= 0) {
            c.Link = (uint16_t)partner;
            Channels[partner].Link = (uint16_t)ch;
        } else {
            CloseChannel(ch);
        }
    }
}

}  // namespace

// The level is given as TCP's (6) with the number of the socket-level linger option, exactly
// so; the call fails and its result is ignored, so no linger is ever set.
void SetLeavingLinger(SOCKET s) {
    LINGER linger{1, (USHORT)Settings.Server.LeavingTimeout};
    setsockopt(s, IPPROTO_TCP, SO_LINGER, reinterpret_cast<const char*>(&linger), sizeof linger);
}

// The order bind, select, listen is kept.
bool OpenSocket(HWND window, SOCKET* out, int protocol, uint16_t port) {
    *out = socket(AF_INET, SOCK_STREAM, protocol);
    if (*out == INVALID_SOCKET) {
        SocketBox("OpenSocket, Socket error %d !!!\n", WSAGetLastError());
        return false;
    }
    SOCKADDR_IN address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.S_addr = INADDR_ANY;
    if (bind(*out, reinterpret_cast<const SOCKADDR*>(&address), sizeof address) == SOCKET_ERROR)
        return FailSocket(out, "OpenSocket, Bind error %d !!!\n");
    if (WSAAsyncSelect(*out, window, MSG_SERVER, FD_ACCEPT) == SOCKET_ERROR)
        return FailSocket(out, "OpenSocket, AsyncSelect error %d\n");
    if (listen(*out, 2) == SOCKET_ERROR) return FailSocket(out, "OpenSocket, Listen error %d\n");
    return true;
}

// The server log: while it is open, Print copies every console line into it.
namespace {
FILE* serverLog = nullptr;
}  // namespace

void CloseServerLog() {
    if (serverLog) fclose(serverLog);
    serverLog = nullptr;
    SetPrintLog(nullptr);
}

// The log file is opened before the test, so a second Open reopens it; the order is kept.
bool OpenServer() {
    if (Settings.Server.ServerLog != 0) {
        CloseServerLog();
        serverLog = FileOpen(Settings.Server.ServerLogFilename, "ab");
        SetPrintLog(serverLog);
    }
    if (ServerSocket != INVALID_SOCKET) {
        Print(MainWindow, "Server is already opened, please close the server first\n");
        return false;
    }
    if (OpenSocket(MainWindow, &ServerSocket, 0, Settings.Server.ServerPort)) {
        Print(MainWindow, "Server is ready on port %u\n", (unsigned)Settings.Server.ServerPort);
        EnableMenuItem(GetMenu(MainWindow), IDM_CLIENT, MF_GRAYED);
        EnableMenuItem(GetMenu(MainWindow), IDM_URL, MF_GRAYED);
        return true;
    }
    Print(MainWindow, "\nOpenServer, UNABLE TO OPEN THE SERVER !!!\n");
    ServerSocket = INVALID_SOCKET;
    return false;
}

// Closing the server closes its Remote Clients at once, outside any event of theirs.
void CloseServer() {
    for (int ch = 0; ch < ChannelsInUse(); ++ch) {
        Channel& c = Channels[ch];
        if (c.State == kFree || c.LocalClient != 0) continue;
        c.CgiState = kCgiNone;
        CloseChannel(ch);
        c.State = kFree;
    }
    if (ServerSocket != INVALID_SOCKET) closesocket(ServerSocket);
    ServerSocket = INVALID_SOCKET;
    Print(MainWindow, "\nServer is closed\n");
    CloseServerLog();
    EnableMenuItem(GetMenu(MainWindow), IDM_SERVER, MF_ENABLED);
    EnableMenuItem(GetMenu(MainWindow), IDM_CLIENT, MF_ENABLED);
    EnableMenuItem(GetMenu(MainWindow), IDM_URL, MF_ENABLED);
}

void ServerMsg(HWND window, WPARAM, LPARAM lParam) {
    if (WSAGETSELECTERROR(lParam) != 0) {
        Print(window, "\nServerMsg, WSAGETSELECTERROR %8.8lX !!!\n", (unsigned long)(uint32_t)lParam);
        return;
    }
    if (WSAGETSELECTEVENT(lParam) != FD_ACCEPT) {
        Print(window, "\nServerMsg, Unknow message\n");
        return;
    }
    int ch = FirstFreeChannel();
    if (ch < 0)
        Refuse(window);
    else
        Accept(window, ch);
}
