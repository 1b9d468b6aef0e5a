// Setting the target of a run: the host text is resolved (a "$name" in page mode asks for echo
// replies, "0.0.0.0" in page mode makes a listener), the socket is connected to it or bound,
// and the first echo goes out.

#include <cstdio>
#include <cstring>

#include "base/print.h"
#include "ping/icmp.h"
#include "platform/ui.h"
#include "settings/settings.h"

namespace ping {

namespace {

constexpr int kBoxTextSize = 128;
constexpr uint8_t kEchoRequest = 8;
constexpr uint8_t kEchoReply = 0;

// A failure after the socket was opened: the run is over and the user is told in a box.
void FailConnect(HWND window, const char* text) {
    Run.PingAuto = 0;
    CloseICMP();
    MessageBoxA(window, text, "korvel", MB_OK);
}

// Winsock's gethostbyname resolves names only, so every dotted text goes through DottedAddress;
// the system's resolver would read many of them itself, differently ("1.2.3" as 1.2.0.3).
// Texts made of digits, dots and blanks are therefore never looked up, which also keeps them
// off the DNS.
bool LooksLikeAddress(const char* text) {
    if (*text == '\0') return false;
    for (; *text; ++text)
        if (!((*text >= '0' && *text <= '9') || *text == '.' || *text == ' ')) return false;
    return true;
}

// The first address of a name, in network order. Returns false when the name is unknown.
bool LookUpName(const char* name, uint32_t* address) {
    if (LooksLikeAddress(name)) return false;
    HOSTENT* host = gethostbyname(name);
    if (!host || !host->h_addr_list || !host->h_addr_list[0]) return false;
    memcpy(address, host->h_addr_list[0], sizeof *address);
    return true;
}

// Where a target came from: only "0.0.0.0" and dotted texts can make the null address (a name
// that resolves to 0.0.0.0 is pinged like any other).
enum class Target { Unknown, Name, Dotted };

// Resolves host (a name, else a dotted address) into *address and sets Run.IcmpType; says so on
// the console when neither works.
Target ResolveTarget(HWND window, const char* host, uint32_t* address) {
    if (strcmp(host, "0.0.0.0") == 0) {
        *address = 0;
        return Target::Dotted;
    }
    Run.IcmpType = kEchoRequest;
    if (Settings.Ping.Page && host[0] == '$') {
        Run.IcmpType = kEchoReply;
        ++host;
    }
    if (LookUpName(host, address)) return Target::Name;
    uint8_t bytes[4] = {0, 0, 0, 0};
    if (DottedAddress(host, bytes) == 4) {
        memcpy(address, bytes, sizeof *address);
        return Target::Dotted;
    }
    Print(window, "PING, Unable to Resolve %s\n", host);
    return Target::Unknown;
}

}  // namespace

// A piece that does not read as a number is kept, and the next piece is appended to it: so
// "1..2.3.4" skips its empty piece, and "x.1.2.3.4" never reads at all.
int16_t DottedAddress(const char* text, uint8_t address[4]) {
    char piece[kPingTextSize];
    size_t kept = 0;
    int16_t count = 0;
    for (const char* p = text;; ++p) {
        if (*p != '.' && *p != ' ' && *p != '\0') {
            if (kept < sizeof piece - 1) piece[kept++] = *p;
            continue;
        }
        piece[kept] = '\0';
        short value = 0;
        if (sscanf(piece, "%hd", &value) == 1) {
            if (value >= 0 && value <= 255 && count < 4) address[count++] = (uint8_t)value;
            kept = 0;
        }
        if (*p == '\0') return count;
    }
}

int16_t ConnectICMP(HWND window, const char* host, const char* data, int16_t dataLength) {
    if (Run.IcmpSocket == INVALID_SOCKET) return 0;
    uint32_t address = 0;
    Target target = ResolveTarget(window, host, &address);
    if (target == Target::Unknown) {
        Run.PingAuto = 0;
        CloseICMP();
        return 0;
    }
    memset(&Run.TargetAddress, 0, sizeof Run.TargetAddress);
    Run.TargetAddress.sin_family = AF_INET;
    Run.TargetAddress.sin_port = htons(0);
    Run.TargetAddress.sin_addr.S_addr = address;

    char text[kBoxTextSize];
    if (address == 0 && target == Target::Dotted) {
        if (!Settings.Ping.Page) {
            snprintf(text, sizeof text, "ConnectICMP, Nul address Error\n");
            FailConnect(window, text);
            return 0;
        }
        Run.PingListen = 1;
        Run.IcmpLength = 0;
        Run.PingAuto = 0;
    }

    const auto* to = (const SOCKADDR*)&Run.TargetAddress;
    int result = Run.PingListen ? bind(Run.IcmpSocket, to, sizeof Run.TargetAddress) : connect(Run.IcmpSocket, to, sizeof Run.TargetAddress);
    Run.IcmpState |= TargetSet;
    if (result == SOCKET_ERROR && WSAGetLastError() != WSAEWOULDBLOCK) {
        snprintf(text, sizeof text, "ConnectICMP, Connect Error %d\n", WSAGetLastError());
        FailConnect(window, text);
        return 0;
    }
    if (Run.PingListen) return 1;
    uint32_t sequence = Run.PingSequence++;
    return SENDICMP(window, data, dataLength, MakeEchoTag(dataLength, sequence), Run.IcmpType, Run.TargetAddress);
}

}  // namespace ping
