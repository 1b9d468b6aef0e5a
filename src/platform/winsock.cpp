// Winsock 1.1 on BSD sockets (winsock.h states the event rules).
//
// A SOCKET is its file descriptor. The registry keeps what a BSD socket does not know about
// itself: its kind, whether it listens, is connecting or is connected, whether the peer has
// gone, and its asynchronous selection (window, message, event mask) with the armed state of
// each event. One event source adds a poll entry for every selected socket that has an event
// to wait for, and turns readiness into posted messages: an event is posted once, then stays
// quiet until the call that re-enables it arms it again.
//
// The system socket headers are never included here, because their names are Winsock's too;
// the system is reached through sys_sockets.h.

#include "platform/winsock.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <vector>

#include "platform/event_source.h"
#include "platform/messages.h"
#include "platform/send_gather.h"
#include "platform/sys_sockets.h"

namespace {

using sys::SocketKind;

struct SocketRecord {
    SocketKind kind = SocketKind::Stream;
    bool blocking = true;
    bool listening = false;
    bool connecting = false;  // a non-blocking connect has not ended yet
    bool connected = false;   // datagram sockets count as connected: they can always send
    bool peerGone = false;    // the peer closed or reset: no more data will come
    int closeError = 0;       // the error that FD_CLOSE carries; 0 for a graceful close
    HWND window = nullptr;
    UINT message = 0;
    long mask = 0;
    long armed = FD_READ | FD_ACCEPT | FD_CLOSE;  // FD_CLOSE is never armed again once posted
    platform::SendGather gathered;  // sent by the program, not yet taken by the system
    bool listed = false;            // in gatheringSockets
    bool gatherFailed = false;      // the system refused gathered bytes: sends go straight
    std::vector<char> ahead;  // stream input read from the system, not yet taken (see ReadAhead)
    size_t aheadTaken = 0;
    bool resetAtClose = false;  // lingers for 0 seconds: closing resets and drops unsent data
};

std::map<int, SocketRecord> sockets;
// Stream sockets that gathered sends during the current message (see Gather).
std::vector<int> gatheringSockets;
int lastError = 0;
int startups = 0;

// ---------------------------------------------------------------------------------------------
// Errors.

struct ErrorMapping {
    int posix;
    int winsock;
};

constexpr ErrorMapping kErrors[] = {
    {EWOULDBLOCK, WSAEWOULDBLOCK},    {EAGAIN, WSAEWOULDBLOCK},          {EINPROGRESS, WSAEWOULDBLOCK},
    {EALREADY, WSAEALREADY},          {ENOTSOCK, WSAENOTSOCK},           {EBADF, WSAENOTSOCK},
    {EMSGSIZE, WSAEMSGSIZE},          {ENOPROTOOPT, WSAENOPROTOOPT},     {EPROTONOSUPPORT, WSAEPROTONOSUPPORT},
    {EAFNOSUPPORT, WSAEAFNOSUPPORT},  {EADDRINUSE, WSAEADDRINUSE},       {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    {ENETDOWN, WSAENETDOWN},          {ENETUNREACH, WSAENETUNREACH},     {ECONNABORTED, WSAECONNABORTED},
    {ECONNRESET, WSAECONNRESET},      {EPIPE, WSAECONNRESET},            {ENOBUFS, WSAENOBUFS},
    {EISCONN, WSAEISCONN},            {ENOTCONN, WSAENOTCONN},           {ETIMEDOUT, WSAETIMEDOUT},
    {ECONNREFUSED, WSAECONNREFUSED},  {EHOSTUNREACH, WSAEHOSTUNREACH},   {EACCES, WSAEACCES},
    {EPERM, WSAEACCES},               {EINVAL, WSAEINVAL},               {EMFILE, WSAEMFILE},
    {EINTR, WSAEINTR},                {EFAULT, WSAEFAULT},
};

int WinsockError(int posixError) {
    for (const auto& e : kErrors)
        if (e.posix == posixError) return e.winsock;
    return WSAEINVAL;
}

int Fail(int error) {
    lastError = error;
    return SOCKET_ERROR;
}

int FailWithErrno() { return Fail(WinsockError(errno)); }

SOCKET FailSocket(int error) {
    lastError = error;
    return INVALID_SOCKET;
}

SocketRecord* Find(SOCKET s) {
    if (s > (SOCKET)INT_MAX) return nullptr;
    auto it = sockets.find((int)s);
    return it == sockets.end() ? nullptr : &it->second;
}

// A send or receive failed: note what it means for the events, then report it. A send that
// would block re-enables FD_WRITE, which comes once there is room again.
int FailTransfer(SocketRecord& r, bool sending) {
    int error = errno;
    if (sending && (error == EAGAIN || error == EWOULDBLOCK)) r.armed |= FD_WRITE;
    if (error == ECONNRESET) r.closeError = WSAECONNRESET;
    return Fail(WinsockError(error));
}

// ---------------------------------------------------------------------------------------------
// Arguments.

int CheckBuffer(const char* buffer, int length) {
    if (length < 0) return WSAEINVAL;
    return buffer || length == 0 ? 0 : WSAEFAULT;
}

// Winsock's send and receive flags.
constexpr int kMsgOob = 1, kMsgPeek = 2, kMsgDontRoute = 4;

int SystemFlags(int flags, int* out) {
    if (flags & ~(kMsgOob | kMsgPeek | kMsgDontRoute)) return WSAEOPNOTSUPP;
    *out = ((flags & kMsgOob) ? sys::kOutOfBand : 0) | ((flags & kMsgPeek) ? sys::kPeek : 0) |
           ((flags & kMsgDontRoute) ? sys::kDontRoute : 0);
    return 0;
}

int ReadAddress(const SOCKADDR* address, int length, SOCKADDR_IN* out) {
    if (!address || length < (int)sizeof(SOCKADDR_IN)) return WSAEFAULT;
    memcpy(out, address, sizeof *out);
    return out->sin_family == AF_INET ? 0 : WSAEAFNOSUPPORT;
}

int CheckAddressRoom(const SOCKADDR* address, const int* length) {
    return !address || (length && *length >= (int)sizeof(SOCKADDR_IN)) ? 0 : WSAEFAULT;
}

void WriteAddress(uint32_t ip, uint16_t port, SOCKADDR* address, int* length) {
    if (!address) return;
    SOCKADDR_IN in;
    memset(&in, 0, sizeof in);
    in.sin_family = AF_INET;
    in.sin_port = port;
    in.sin_addr.S_addr = ip;
    memcpy(address, &in, sizeof in);
    *length = (int)sizeof in;
}

// A raw IPv4 socket hands over the IP header too; its length is four times the low nibble
// of the first byte.
size_t IpHeaderLength(const unsigned char* packet, size_t size) {
    if (size == 0) return 0;
    return std::min<size_t>((size_t)(packet[0] & 0x0F) * 4, size);
}

size_t ReadAhead(const SocketRecord& r) { return r.ahead.size() - r.aheadTaken; }

// The program reads streams in pieces of 200 bytes, each after asking how much is waiting.
// So a stream is read from the system up to kReadAhead bytes at a time, and the pieces (and
// the questions) are answered from that.
constexpr size_t kReadAhead = 16384;

// Reads what the system holds into the (empty) read-ahead; returns what the system answered.
long FillReadAhead(int fd, SocketRecord& r) {
    static char scratch[kReadAhead];
    long received = sys::Receive(fd, scratch, kReadAhead, 0);
    if (received > 0) {
        r.ahead.assign(scratch, scratch + received);
        r.aheadTaken = 0;
    }
    return received;
}

// A stream's waiting input: what was read ahead, or else what the system holds. While input
// is read ahead, more may be waiting in the system; it is counted once the read-ahead is
// taken, as if it had arrived a moment later.
int BytesWaiting(int fd, const SocketRecord& r) {
    if (r.kind == SocketKind::Stream) {
        if (size_t ahead = ReadAhead(r)) return (int)ahead;
        int count = 0;
        return sys::BytesToRead(fd, &count) == 0 ? count : 0;
    }
    unsigned char first = 0;
    long size = sys::NextDatagram(fd, &first);
    if (size <= 0) return 0;
    if (r.kind == SocketKind::Raw) size -= (long)IpHeaderLength(&first, (size_t)size);
    return (int)std::min<long>(size, INT_MAX);
}

// ---------------------------------------------------------------------------------------------
// Gathered sends (send_gather.h).

// The most a socket gathers; a larger send goes to the system by itself.
constexpr size_t kGatherLimit = 16384;

// Pieces are gathered while a message is handled, on a non-blocking connected stream, for
// plain sends. They go to the system once the message has been handled (and before every
// poll), when the socket is closed, and when the next piece would not fit; a send outside a
// message goes straight to the system, after what is owed.
bool Gathers(const SocketRecord& r, int flags) {
    return r.kind == SocketKind::Stream && flags == 0 && !r.blocking && r.connected && !r.peerGone &&
           !r.gatherFailed && platform::CurrentMessageSerial() != 0;
}

// A refusal other than a full buffer drops the gathered bytes, and the socket gathers no more:
// later sends meet the connection's error themselves.
void GiveGathered(int fd, SocketRecord& r, bool closing = false) {
    if (!r.gathered.Owes()) return;
    if (r.gathered.GiveTo(fd, closing) != platform::SendGather::Given::Failed) return;
    if (errno == ECONNRESET) r.closeError = WSAECONNRESET;
    r.gatherFailed = true;
}

void GiveAllGathered() {
    for (int fd : gatheringSockets) {
        auto it = sockets.find(fd);
        if (it == sockets.end()) continue;
        it->second.listed = false;
        GiveGathered(fd, it->second);
    }
    gatheringSockets.clear();
}

// Bytes still owed go first: while the system does not take them, a send would block.
bool OwesAfterGiving(int fd, SocketRecord& r) {
    GiveGathered(fd, r);
    if (!r.gathered.Owes()) return false;
    r.armed |= FD_WRITE;
    return true;
}

void Gather(int fd, SocketRecord& r, const char* buffer, int length) {
    r.gathered.Add(buffer, (size_t)length);
    if (!r.listed) {
        r.listed = true;
        gatheringSockets.push_back(fd);
    }
}

// ---------------------------------------------------------------------------------------------
// The event source.

bool Wants(const SocketRecord& r, long event) { return (r.mask & event) && (r.armed & event); }

void Post(int fd, SocketRecord& r, long event, int error) {
    if (!(r.mask & event)) return;
    if (event != FD_CONNECT) {
        if (!(r.armed & event)) return;
        r.armed &= ~event;
    }
    // A destroyed window refuses the message; the event counts as delivered all the same.
    PostMessageA(r.window, r.message, (WPARAM)fd, WSAMAKESELECTREPLY(event, error));
}

short Interest(int fd, const SocketRecord& r) {
    if (r.mask == 0) return r.gathered.Owes() ? POLLOUT : 0;
    if (r.listening) return Wants(r, FD_ACCEPT) ? POLLIN : 0;
    if (r.connecting) return POLLOUT;
    if (!r.connected) return 0;
    short events = Wants(r, FD_WRITE) || r.gathered.Owes() ? POLLOUT : 0;
    if (r.kind != SocketKind::Stream) return events | (Wants(r, FD_READ) ? POLLIN : 0);
    if (!r.peerGone) {
        if (Wants(r, FD_READ)) events |= POLLIN;
        if (Wants(r, FD_CLOSE)) events |= POLLRDHUP;
        return events;
    }
    // The peer has gone, so the socket stays readable for ever: wait only for what is still
    // owed, FD_READ while data is left, then FD_CLOSE once the program has read it all.
    bool dataLeft = BytesWaiting(fd, r) > 0;
    if (dataLeft ? Wants(r, FD_READ) : Wants(r, FD_CLOSE)) events |= POLLIN;
    return events;
}

void FinishConnect(int fd, SocketRecord& r) {
    int error = 0;
    if (sys::TakePendingError(fd, &error) != 0) error = errno;
    r.connecting = false;
    if (error == 0) {
        r.connected = true;
        r.armed |= FD_WRITE;
    }
    Post(fd, r, FD_CONNECT, error ? WinsockError(error) : 0);
}

void NotePeerGone(int fd, SocketRecord& r) {
    if (r.peerGone) return;
    r.peerGone = true;
    int error = 0;
    if (sys::TakePendingError(fd, &error) == 0 && error != 0) r.closeError = WinsockError(error);
}

// A readable stream is read at once: the program asks how much is waiting, then reads it,
// and both are answered from the read-ahead. An error met there ends the connection as the
// next poll would have reported it.
int ReadyInput(int fd, SocketRecord& r) {
    if (ReadAhead(r) == 0 && FillReadAhead(fd, r) < 0 && errno != EAGAIN && errno != EWOULDBLOCK &&
        errno != EINTR) {
        r.peerGone = true;
        r.closeError = WinsockError(errno);
    }
    return (int)ReadAhead(r);
}

void Dispatch(int fd, SocketRecord& r, short revents) {
    if (r.listening) {
        if (revents & POLLIN) Post(fd, r, FD_ACCEPT, 0);
        return;
    }
    if (r.connecting) return FinishConnect(fd, r);
    if ((revents & POLLOUT) && !r.gathered.Owes()) Post(fd, r, FD_WRITE, 0);
    if (r.kind != SocketKind::Stream) {
        if (revents & (POLLIN | POLLERR)) Post(fd, r, FD_READ, 0);
        return;
    }
    if (revents & (POLLERR | POLLHUP | POLLRDHUP)) NotePeerGone(fd, r);
    int waiting = (revents & POLLIN) ? ReadyInput(fd, r) : BytesWaiting(fd, r);
    if ((revents & POLLIN) && waiting > 0) Post(fd, r, FD_READ, 0);
    // A reset ends the connection at once; a graceful close only once its data was read.
    if (r.peerGone && (r.closeError != 0 || waiting == 0)) Post(fd, r, FD_CLOSE, r.closeError);
}

class SocketEvents : public platform::EventSource {
public:
    void AddDescriptors(std::vector<pollfd>& fds) override {
        GiveAllGathered();
        for (const auto& entry : sockets) {
            short events = Interest(entry.first, entry.second);
            if (events) fds.push_back(pollfd{entry.first, events, 0});
        }
    }

    void HandleEvents(const pollfd* fds, size_t count) override {
        for (size_t i = 0; i < count; ++i) {
            if (fds[i].revents == 0) continue;
            auto it = sockets.find(fds[i].fd);
            if (it == sockets.end()) continue;
            if (fds[i].revents & (POLLOUT | POLLERR | POLLHUP)) GiveGathered(it->first, it->second);
            if (it->second.mask != 0) Dispatch(it->first, it->second, fds[i].revents);
        }
        // Input read ahead is readable whatever the system says.
        for (auto& entry : sockets)
            if (ReadAhead(entry.second) > 0) Post(entry.first, entry.second, FD_READ, 0);
    }

    int WakeAfterMs() override {
        for (const auto& entry : sockets)
            if (ReadAhead(entry.second) > 0 && Wants(entry.second, FD_READ)) return 0;
        return -1;
    }

    void AfterDispatch() override { GiveAllGathered(); }
};

SocketEvents socketEvents;

// ---------------------------------------------------------------------------------------------
// Transfers.

int TakeReadAhead(SocketRecord& r, char* buffer, int length, bool peek) {
    size_t count = std::min(ReadAhead(r), (size_t)length);
    if (count) memcpy(buffer, r.ahead.data() + r.aheadTaken, count);
    if (peek) return (int)count;
    r.aheadTaken += count;
    if (r.aheadTaken == r.ahead.size()) {
        std::vector<char>().swap(r.ahead);  // an idle connection holds no buffer
        r.aheadTaken = 0;
    }
    return (int)count;
}

int ReceiveStream(int fd, SocketRecord& r, char* buffer, int length, int flags) {
    bool plain = flags == 0 || flags == sys::kPeek;
    if (plain && ReadAhead(r) > 0) return TakeReadAhead(r, buffer, length, flags == sys::kPeek);
    if (!plain || (size_t)length >= kReadAhead) {
        long received = sys::Receive(fd, buffer, (size_t)length, flags);
        return received >= 0 ? (int)received : FailTransfer(r, false);
    }
    long received = FillReadAhead(fd, r);
    if (received <= 0) return received == 0 ? 0 : FailTransfer(r, false);
    return TakeReadAhead(r, buffer, length, flags == sys::kPeek);
}

int ReceiveDatagram(int fd, SocketRecord& r, char* buffer, int length, int flags, SOCKADDR* from, int* fromLength) {
    static unsigned char packet[65536];  // the largest IPv4 datagram, header included
    uint32_t ip = 0;
    uint16_t port = 0;
    long received = sys::ReceiveFrom(fd, packet, sizeof packet, flags, &ip, &port);
    if (received < 0) return FailTransfer(r, false);
    size_t skip = r.kind == SocketKind::Raw ? IpHeaderLength(packet, (size_t)received) : 0;
    size_t size = (size_t)received - skip;
    size_t copied = std::min(size, (size_t)length);
    if (copied) memcpy(buffer, packet + skip, copied);
    WriteAddress(ip, port, from, fromLength);
    // Winsock fills the buffer with the start of a datagram that does not fit, drops the rest
    // and reports the loss.
    if (size > copied) return Fail(WSAEMSGSIZE);
    return (int)copied;
}

int SendTo(int fd, SocketRecord& r, const char* buffer, int length, int flags, const SOCKADDR_IN* to) {
    if (!to && Gathers(r, flags) && (size_t)length <= kGatherLimit) {
        if (r.gathered.Owed() + (size_t)length > kGatherLimit && OwesAfterGiving(fd, r)) return Fail(WSAEWOULDBLOCK);
        Gather(fd, r, buffer, length);
        return length;
    }
    if (!to && OwesAfterGiving(fd, r)) return Fail(WSAEWOULDBLOCK);
    long sent = to ? sys::SendTo(fd, buffer, (size_t)length, flags, to->sin_addr.S_addr, to->sin_port)
                   : sys::Send(fd, buffer, (size_t)length, flags);
    return sent >= 0 ? (int)sent : FailTransfer(r, true);
}

// ---------------------------------------------------------------------------------------------
// Socket options.

bool ReadBool(const char* value) {
    int flag = 0;
    memcpy(&flag, value, sizeof flag);
    return flag != 0;
}

LINGER ReadLinger(const char* value) {
    LINGER linger;
    memcpy(&linger, value, sizeof linger);
    return linger;
}

int SetLinger(int fd, const char* value) {
    LINGER linger = ReadLinger(value);
    return sys::SetLinger(fd, linger.l_onoff != 0, linger.l_linger);
}

bool LingersForNoTime(const char* value) {
    LINGER linger = ReadLinger(value);
    return linger.l_onoff != 0 && linger.l_linger == 0;
}

int SetReuseAddress(int fd, const char* value) { return sys::SetReuseAddress(fd, ReadBool(value)); }

int SetNoDelay(int fd, const char* value) { return sys::SetNoDelay(fd, ReadBool(value)); }

struct OptionRule {
    int level;
    int option;
    int length;
    int (*apply)(int fd, const char* value);
};

constexpr OptionRule kOptions[] = {
    {SOL_SOCKET, SO_LINGER, (int)sizeof(LINGER), SetLinger},
    {SOL_SOCKET, SO_REUSEADDR, (int)sizeof(int), SetReuseAddress},
    {IPPROTO_TCP, TCP_NODELAY, (int)sizeof(int), SetNoDelay},
};

// ---------------------------------------------------------------------------------------------
// Names.

constexpr int kMaxHostAddresses = 16;

struct HostStorage {
    char name[256];
    uint32_t addresses[kMaxHostAddresses];
    char* addressList[kMaxHostAddresses + 1];
    char* aliases[1];
    HOSTENT entry;
};

HostStorage host;

struct KindMapping {
    int type;
    SocketKind kind;
};

constexpr KindMapping kKinds[] = {
    {SOCK_STREAM, SocketKind::Stream},
    {SOCK_DGRAM, SocketKind::Datagram},
    {SOCK_RAW, SocketKind::Raw},
};

void CloseAll() {
    for (const auto& entry : sockets) sys::Close(entry.first);
    sockets.clear();
    platform::CloseLingeringNow();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Start-up and errors.

int WSAStartup(WORD version, WSADATA* data) {
    if (!data) return WSAEFAULT;
    memset(data, 0, sizeof *data);
    data->wVersion = data->wHighVersion = 0x0101;
    int major = version & 0xFF, minor = version >> 8;
    if (major < 1 || (major == 1 && minor < 1)) return WSAVERNOTSUPPORTED;
    strncpy(data->szDescription, "Winsock 1.1 on BSD sockets", WSADESCRIPTION_LEN);
    strncpy(data->szSystemStatus, "Running", WSASYS_STATUS_LEN);
    long limit = sys::DescriptorLimit();
    data->iMaxSockets = (unsigned short)std::clamp<long>(limit, 0, 32767);
    data->iMaxUdpDg = 65507;
    data->lpVendorInfo = nullptr;
    ++startups;
    return 0;
}

// The last clean-up releases the sockets that are still open, as Winsock does.
int WSACleanup() {
    if (startups == 0) return Fail(WSANOTINITIALISED);
    if (--startups == 0) CloseAll();
    return 0;
}

int WSAGetLastError() { return lastError; }

void WSASetLastError(int error) { lastError = error; }

// ---------------------------------------------------------------------------------------------
// Sockets.

SOCKET socket(int family, int type, int protocol) {
    if (family != AF_INET) return FailSocket(WSAEAFNOSUPPORT);
    const KindMapping* kind = nullptr;
    for (const auto& k : kKinds)
        if (k.type == type) kind = &k;
    if (!kind) return FailSocket(WSAESOCKTNOSUPPORT);
    int fd = sys::OpenSocket(kind->kind, protocol);
    if (fd < 0) return FailSocket(WinsockError(errno));
    SocketRecord record;
    record.kind = kind->kind;
    record.connected = kind->kind != SocketKind::Stream;
    sockets[fd] = record;
    return (SOCKET)fd;
}

int bind(SOCKET s, const SOCKADDR* address, int length) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    SOCKADDR_IN in;
    if (int error = ReadAddress(address, length, &in)) return Fail(error);
    // A restarted server must get its port back while old connections linger in TIME_WAIT.
    if (r->kind == SocketKind::Stream) sys::SetReuseAddress((int)s, true);
    return sys::Bind((int)s, in.sin_addr.S_addr, in.sin_port) == 0 ? 0 : FailWithErrno();
}

// The system this layer stands in for refused a connection at once when its small queue was
// full, and the program's callers (a backlog of 2) rely on that: the program itself answers an
// overload with its 502 line. Linux instead drops the SYN of a full queue silently, and the
// client tries again only after a second, so a burst of visitors would wait seconds before the
// program ever saw them. The kernel is therefore given a queue that holds a whole burst, at
// least as many connections as the program's slots and more; every one is taken at once and
// served or refused by the program.
constexpr int kKernelBacklog = 128;

int listen(SOCKET s, int backlog) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    if (sys::Listen((int)s, std::max(backlog, kKernelBacklog)) != 0) return FailWithErrno();
    r->listening = true;
    return 0;
}

SOCKET accept(SOCKET s, SOCKADDR* address, int* length) {
    SocketRecord* r = Find(s);
    if (!r) return FailSocket(WSAENOTSOCK);
    if (!r->listening) return FailSocket(WSAEINVAL);
    if (int error = CheckAddressRoom(address, length)) return FailSocket(error);
    r->armed |= FD_ACCEPT;
    uint32_t ip = 0;
    uint16_t port = 0;
    int fd = sys::Accept((int)s, &ip, &port);
    if (fd < 0) return FailSocket(WinsockError(errno));
    // The new socket is blocking and selects nothing until its own WSAAsyncSelect.
    SocketRecord record;
    record.connected = true;
    sockets[fd] = record;
    WriteAddress(ip, port, address, length);
    return (SOCKET)fd;
}

// A non-blocking stream connect always answers WSAEWOULDBLOCK and ends with FD_CONNECT,
// even when the system managed to connect at once.
int connect(SOCKET s, const SOCKADDR* address, int length) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    SOCKADDR_IN in;
    if (int error = ReadAddress(address, length, &in)) return Fail(error);
    int result = sys::Connect((int)s, in.sin_addr.S_addr, in.sin_port);
    bool pending = r->kind == SocketKind::Stream && !r->blocking;
    if (result == 0 && !pending) {
        r->connected = true;
        return 0;
    }
    if (result == 0 || errno == EINPROGRESS) {
        r->connecting = true;
        return Fail(WSAEWOULDBLOCK);
    }
    return FailWithErrno();
}

int send(SOCKET s, const char* buffer, int length, int flags) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    int systemFlags = 0;
    if (int error = CheckBuffer(buffer, length)) return Fail(error);
    if (int error = SystemFlags(flags, &systemFlags)) return Fail(error);
    return SendTo((int)s, *r, buffer, length, systemFlags, nullptr);
}

int sendto(SOCKET s, const char* buffer, int length, int flags, const SOCKADDR* to, int toLength) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    int systemFlags = 0;
    if (int error = CheckBuffer(buffer, length)) return Fail(error);
    if (int error = SystemFlags(flags, &systemFlags)) return Fail(error);
    if (!to) return SendTo((int)s, *r, buffer, length, systemFlags, nullptr);
    SOCKADDR_IN in;
    if (int error = ReadAddress(to, toLength, &in)) return Fail(error);
    return SendTo((int)s, *r, buffer, length, systemFlags, &in);
}

int recv(SOCKET s, char* buffer, int length, int flags) { return recvfrom(s, buffer, length, flags, nullptr, nullptr); }

// Every call re-enables FD_READ, whether or not it takes everything: data that is left makes
// the next poll post FD_READ again, and a close that waited for the data can then come.
int recvfrom(SOCKET s, char* buffer, int length, int flags, SOCKADDR* from, int* fromLength) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    r->armed |= FD_READ;
    int systemFlags = 0;
    if (int error = CheckBuffer(buffer, length)) return Fail(error);
    if (int error = SystemFlags(flags, &systemFlags)) return Fail(error);
    if (r->kind == SocketKind::Stream) return ReceiveStream((int)s, *r, buffer, length, systemFlags);
    if (int error = CheckAddressRoom(from, fromLength)) return Fail(error);
    return ReceiveDatagram((int)s, *r, buffer, length, systemFlags, from, fromLength);
}

// Input left unread at close makes the system reset the connection instead of closing it,
// and a reset can destroy what was just sent (a refusal line, the end of a file): a
// connected stream socket first drops what is waiting.
int closesocket(SOCKET s) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    // A graceful close gives what is gathered before the end of the stream, or hands what the
    // system cannot take yet to a lingering close; a reset drops what is not taken.
    GiveGathered((int)s, *r, !r->resetAtClose);
    if (r->gathered.Owes() && !r->resetAtClose) {
        platform::CloseWhenGiven((int)s, std::move(r->gathered));
        sockets.erase((int)s);
        return 0;
    }
    if (r->kind == SocketKind::Stream && r->connected) sys::DiscardInput((int)s, platform::kDiscardAtClose);
    sockets.erase((int)s);
    // The descriptor is released even when close reports an interruption.
    if (sys::Close((int)s) != 0 && errno != EINTR) return FailWithErrno();
    return 0;
}

int setsockopt(SOCKET s, int level, int option, const char* value, int length) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    for (const auto& rule : kOptions) {
        if (rule.level != level || rule.option != option) continue;
        if (!value || length < rule.length) return Fail(WSAEFAULT);
        if (rule.apply((int)s, value) != 0) return FailWithErrno();
        if (rule.apply == SetLinger) r->resetAtClose = LingersForNoTime(value);
        return 0;
    }
    // Anything else, such as the linger option asked at the TCP level, is not an option here.
    return Fail(WSAENOPROTOOPT);
}

int ioctlsocket(SOCKET s, long command, ULONG* argument) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    if (!argument) return Fail(WSAEFAULT);
    if (command == FIONREAD) {
        *argument = (ULONG)BytesWaiting((int)s, *r);
        return 0;
    }
    if (command != FIONBIO) return Fail(WSAEINVAL);
    bool nonBlocking = *argument != 0;
    // As on Winsock, a selected socket stays non-blocking until its selection is cancelled.
    if (!nonBlocking && r->mask != 0) return Fail(WSAEINVAL);
    if (sys::SetNonBlocking((int)s, nonBlocking) != 0) return FailWithErrno();
    r->blocking = !nonBlocking;
    return 0;
}

// Mask 0 cancels the notifications; the socket stays non-blocking, as Winsock leaves it.
// Messages already queued stay queued.
int WSAAsyncSelect(SOCKET s, HWND window, UINT message, long events) {
    SocketRecord* r = Find(s);
    if (!r) return Fail(WSAENOTSOCK);
    if (events != 0 && !IsWindow(window)) return Fail(WSAEINVAL);
    if (r->blocking && sys::SetNonBlocking((int)s, true) != 0) return FailWithErrno();
    r->blocking = false;
    r->window = events ? window : nullptr;
    r->message = message;
    r->mask = events;
    if (events == 0) return 0;
    r->armed |= FD_READ | FD_ACCEPT;
    if (r->connected) r->armed |= FD_WRITE;
    platform::AddEventSource(&socketEvents);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Byte order and names.

USHORT htons(USHORT value) { return sys::HostToNetwork16(value); }
USHORT ntohs(USHORT value) { return sys::NetworkToHost16(value); }
ULONG htonl(ULONG value) { return sys::HostToNetwork32(value); }
ULONG ntohl(ULONG value) { return sys::NetworkToHost32(value); }

ULONG inet_addr(const char* text) {
    uint32_t address = 0;
    return text && sys::ParseAddress(text, &address) ? address : INADDR_NONE;
}

HOSTENT* gethostbyname(const char* name) {
    if (!name) {
        lastError = WSAEFAULT;
        return nullptr;
    }
    int count = sys::LookUpHost(name, host.addresses, kMaxHostAddresses, host.name, sizeof host.name);
    if (count <= 0) {
        lastError = WSAHOST_NOT_FOUND;
        return nullptr;
    }
    for (int i = 0; i < count; ++i) host.addressList[i] = reinterpret_cast<char*>(&host.addresses[i]);
    host.addressList[count] = nullptr;
    host.aliases[0] = nullptr;
    host.entry = HOSTENT{host.name, host.aliases, (int16_t)AF_INET, 4, host.addressList};
    return &host.entry;
}

namespace platform {

int OpenSocketCount() { return (int)sockets.size(); }

}  // namespace platform
