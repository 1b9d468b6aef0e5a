// Outgoing connections (Local Clients of the Client dialog, the proxy and the grabber), the
// closing of sockets and of every Local Client.

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

char ClientOutputFile[200] = "";
int16_t ClientOpen = 0;
int16_t ClientConnected = 0;

namespace {

// The pseudo host that stands for this PC's disk: a grab of it never touches the network.
constexpr const char* kOnDiskHost = "2mypc";

// The last host name resolved through the name service, and its address.
char cachedHost[80] = "";
uint8_t cachedAddress[4] = {};

void GiveUp() {
    EnableMenuItem(GetMenu(MainWindow), IDM_SERVER, MF_ENABLED);
    ClientOpen = 0;
    ClientConnected = 0;
}

void ErrorBox(const char* format, int error) {
    char text[128];
    snprintf(text, sizeof text, format, error);
    MessageBoxA(nullptr, text, "korvel", MB_OK);
}

int FirstFreeChannel() {
    for (int ch = 0; ch < ChannelsInUse(); ++ch)
        if (Channels[ch].State == kFree) return ch;
    return -1;
}

// Only a successful name look-up of a name shorter than 80 characters enters the cache; a
// numeric address never does.
bool Resolve(HWND window, const char* host, uint8_t (&address)[4]) {
    if (host[0] != '\0' && strcmp(host, cachedHost) == 0) {
        memcpy(address, cachedAddress, 4);
        return true;
    }
    ULONG numeric = inet_addr(host);
    if (numeric != INADDR_NONE) {
        memcpy(address, &numeric, 4);
        return true;
    }
    HOSTENT* entry = gethostbyname(host);
    if (!entry || !entry->h_addr_list || !entry->h_addr_list[0]) {
        Print(window, "OpenClient, Unable to Resolve %s\n", host);
        return false;
    }
    memcpy(address, entry->h_addr_list[0], 4);
    if (strlen(host) < sizeof cachedHost) {
        snprintf(cachedHost, sizeof cachedHost, "%s", host);
        memcpy(cachedAddress, address, 4);
    }
    return true;
}

// A Local Client opened with no client session is the proxy's partner of a Remote Client.
RoleKind LocalRole() {
    if (ClientOpen == 0) return RoleKind::ProxyClient;
    return ClientOpen == 2 ? RoleKind::Grab : RoleKind::LocalClient;
}

void PrepareSlot(Channel& c, SOCKET s) {
    ResetSlot(c);
    c.Role = RoleFor(LocalRole());
    c.Socket = s;
    c.LocalClient = 1;
    c.State = kWaiting;
    c.Connected = 0;  // shown as PreWait until the connect completes
    c.StateTime = ChannelNow();
}

// Starts a non-blocking connect; INVALID_SOCKET (after its message box) on failure.
SOCKET Connect(HWND window, int ch, const SOCKADDR_IN& address) {
    SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
    if (s == INVALID_SOCKET) {
        ErrorBox("OpenClient, Socket error %d\n", WSAGetLastError());
        GiveUp();
        return INVALID_SOCKET;
    }
    if (WSAAsyncSelect(s, window, MSG_CHANNEL0 + (UINT)ch, FD_CONNECT | FD_CLOSE) == SOCKET_ERROR) {
        ErrorBox("OpenClient, Socket error %d\n", WSAGetLastError());
        CloseAllClients();
        return INVALID_SOCKET;
    }
    if (Settings.Server.LeavingTimeout != 0) SetLeavingLinger(s);
    if (connect(s, reinterpret_cast<const SOCKADDR*>(&address), sizeof address) == SOCKET_ERROR &&
        WSAGetLastError() != WSAEWOULDBLOCK) {
        ErrorBox("OpenClient, Connect Error %d\n", WSAGetLastError());
        closesocket(s);
        CloseAllClients();
        return INVALID_SOCKET;
    }
    return s;
}

// A grab's document file already holds a stand-in page: it is written over (and cut when
// closed) rather than emptied now, since ext4 forces a file emptied and written again out to
// the disk at its close.
void OpenLogFile(Channel& c, bool onDisk, bool grab) {
    c.RxLogFile = nullptr;
    if (Settings.Client.ClientLogFile == 0 || onDisk) return;
    c.RxLogFile = grab ? FileOpenAnew(ClientOutputFile) : FileOpen(ClientOutputFile, "w+b");
    if (!c.RxLogFile) Print(MainWindow, "OpenClient, Unable to create file %s\n", ClientOutputFile);
}

// The end of a document read from the disk is its channel's FD_CLOSE, handled before OpenClient
// returns. Its logout may open the next document's channel from within, and that one's end
// would nest a level deeper each time, until a grab of a few hundred such documents ran out of
// stack. So an end that comes while another is being handled waits in a queue, and the outer
// call handles it as soon as the inner one has returned: the inner calls return at once after
// OpenClient, so the events and console lines come in the same order as when they nested.
void EndDiskDocument(int ch) {
    static bool ending = false;
    static int queued[kChannelCount];
    static int count = 0;
    if (count < kChannelCount) queued[count++] = ch;
    if (ending) return;
    ending = true;
    while (count > 0) {
        int next = queued[0];
        for (int i = 1; i < count; ++i) queued[i - 1] = queued[i];
        --count;
        PostChannelEvent(next, FD_CLOSE);
    }
    ending = false;
}

}  // namespace

bool CloseSocket(SOCKET* s) {
    if (*s == INVALID_SOCKET)
        Print(MainWindow, "CloseSocket, socket == INVALID_SOCKET\n");
    else
        closesocket(*s);
    *s = INVALID_SOCKET;
    return true;
}

int OpenClient(HWND window, const char* host, int protocol, uint16_t port) {
    bool onDisk = strcmp(host, kOnDiskHost) == 0;
    int ch = FirstFreeChannel();
    if (ch < 0) {
        Print(window, "OpenClient, no FREE socket\n");
        GiveUp();
        return -1;
    }
    Channel& c = Channels[ch];
    SOCKET s = INVALID_SOCKET;
    if (!onDisk) {
        uint8_t address[4];
        if (!Resolve(window, host, address)) {
            GiveUp();
            return -1;
        }
        SOCKADDR_IN peer{};
        peer.sin_family = AF_INET;
        peer.sin_port = htons(port);
        memcpy(&peer.sin_addr.S_addr, address, 4);
        memcpy(c.PeerAddress, address, 4);
        c.PeerPort = port;
        c.ConnectTime = ChannelNow();
        char stamp[kTimeStampSize];
        TimeStamp((time_t)c.ConnectTime, stamp);
        Print(window, "\nConnecting Local Client <%d> to %u.%u.%u.%u:%u,%s", ch, address[0], address[1], address[2],
              address[3], (unsigned)port, stamp);
        (void)protocol;
        s = Connect(window, ch, peer);
        if (s == INVALID_SOCKET) return -1;
    }
    PrepareSlot(c, s);
    if (ClientOpen == 0) return ch;
    int16_t openedFor = ClientOpen;
    OpenLogFile(c, onDisk, openedFor == 2);
    if (ClientOpen == 1) {
        EnableMenuItem(GetMenu(window), IDM_SERVER, MF_GRAYED);
        EnableMenuItem(GetMenu(window), IDM_URL, MF_GRAYED);
    } else {
        EnableMenuItem(GetMenu(window), IDM_SERVER, MF_GRAYED);
        EnableMenuItem(GetMenu(window), IDM_CLIENT, MF_GRAYED);
        if (c.Role->Taken) c.Role->Taken(ch);
    }
    ClientOpen = 1;
    ClientConnected = 0;
    // A grab of the local disk goes straight to the processing of its file.
    if (openedFor == 2 && onDisk) {
        c.State = kLeaving;
        EndDiskDocument(ch);
    }
    return ch;
}

// The user (or the end of the program) closes every Local Client: no event of theirs is being
// handled, so they are closed here.
void CloseAllClients() {
    for (int ch = 0; ch < ChannelsInUse(); ++ch) {
        Channel& c = Channels[ch];
        const ChannelRole& role = RoleOf(c);
        if (role.Abandon) role.Abandon(ch, false);
        if (c.State == kFree || c.State == kLeaving || c.LocalClient != 1) continue;
        CloseChannel(ch);
        if (role.Abandon) role.Abandon(ch, true);
    }
}
