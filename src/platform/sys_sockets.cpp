// The system side of the socket layer (see sys_sockets.h).

#include "platform/sys_sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace sys {

namespace {

sockaddr_in MakeAddress(uint32_t address, uint16_t port) {
    sockaddr_in a;
    memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_port = port;
    a.sin_addr.s_addr = address;
    return a;
}

void SplitAddress(const sockaddr_in& a, uint32_t* address, uint16_t* port) {
    if (address) *address = a.sin_addr.s_addr;
    if (port) *port = a.sin_port;
}

int SystemFlags(int flags) {
    int result = 0;
    if (flags & kOutOfBand) result |= MSG_OOB;
    if (flags & kPeek) result |= MSG_PEEK;
    if (flags & kDontRoute) result |= MSG_DONTROUTE;
    if (flags & kMore) result |= MSG_MORE;
    return result;
}

int SetFlagOption(int fd, int level, int option, bool on) {
    int value = on ? 1 : 0;
    return setsockopt(fd, level, option, &value, sizeof value);
}


int SystemOpenSocket(SocketKind kind, int protocol) {
    int type = kind == SocketKind::Stream ? SOCK_STREAM : kind == SocketKind::Datagram ? SOCK_DGRAM : SOCK_RAW;
    return socket(AF_INET, type | SOCK_CLOEXEC, protocol);
}

int SystemClose(int fd) { return close(fd); }

int SystemBind(int fd, uint32_t address, uint16_t port) {
    sockaddr_in a = MakeAddress(address, port);
    return bind(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a);
}

int SystemListen(int fd, int backlog) { return listen(fd, backlog); }

int SystemAccept(int fd, uint32_t* address, uint16_t* port) {
    sockaddr_in a;
    socklen_t length = sizeof a;
    memset(&a, 0, sizeof a);
    int result = accept4(fd, reinterpret_cast<sockaddr*>(&a), &length, SOCK_CLOEXEC);
    if (result >= 0) SplitAddress(a, address, port);
    return result;
}

int SystemConnect(int fd, uint32_t address, uint16_t port) {
    sockaddr_in a = MakeAddress(address, port);
    return connect(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a);
}

int SystemTakePendingError(int fd, int* error) {
    socklen_t length = sizeof *error;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, error, &length);
}

const Backend kSystem = {SystemOpenSocket, SystemClose,   SystemBind,          SystemListen,
                         SystemAccept,     SystemConnect, SystemTakePendingError};
const Backend* backend = &kSystem;

}  // namespace

const Backend& SystemBackend() { return kSystem; }
void UseBackend(const Backend* b) { backend = b ? b : &kSystem; }

int OpenSocket(SocketKind kind, int protocol) { return backend->OpenSocket(kind, protocol); }
int Close(int fd) { return backend->Close(fd); }
int Bind(int fd, uint32_t address, uint16_t port) { return backend->Bind(fd, address, port); }
int Listen(int fd, int backlog) { return backend->Listen(fd, backlog); }
int Accept(int fd, uint32_t* address, uint16_t* port) { return backend->Accept(fd, address, port); }
int Connect(int fd, uint32_t address, uint16_t port) { return backend->Connect(fd, address, port); }
int TakePendingError(int fd, int* error) { return backend->TakePendingError(fd, error); }

void DiscardInput(int fd, size_t most) {
    char buffer[4096];
    while (most > 0) {
        ssize_t n = recv(fd, buffer, most < sizeof buffer ? most : sizeof buffer, MSG_DONTWAIT);
        if (n <= 0) return;
        most -= (size_t)n;
    }
}

long Send(int fd, const void* data, size_t length, int flags) {
    return send(fd, data, length, SystemFlags(flags) | MSG_NOSIGNAL);
}

long Receive(int fd, void* buffer, size_t length, int flags) { return recv(fd, buffer, length, SystemFlags(flags)); }

long SendTo(int fd, const void* data, size_t length, int flags, uint32_t address, uint16_t port) {
    sockaddr_in a = MakeAddress(address, port);
    return sendto(fd, data, length, SystemFlags(flags) | MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&a),
                  sizeof a);
}

long ReceiveFrom(int fd, void* buffer, size_t length, int flags, uint32_t* address, uint16_t* port) {
    sockaddr_in a;
    socklen_t size = sizeof a;
    memset(&a, 0, sizeof a);
    long result = recvfrom(fd, buffer, length, SystemFlags(flags), reinterpret_cast<sockaddr*>(&a), &size);
    if (result >= 0) SplitAddress(a, address, port);
    return result;
}

long NextDatagram(int fd, unsigned char* firstByte) {
    *firstByte = 0;
    long size = recv(fd, firstByte, 1, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return 0;
    return size;
}

// One call instead of reading and writing the descriptor's flags.
int SetNonBlocking(int fd, bool on) {
    int value = on ? 1 : 0;
    return ioctl(fd, FIONBIO, &value);
}

int BytesToRead(int fd, int* count) { return ioctl(fd, FIONREAD, count); }

int SetReuseAddress(int fd, bool on) { return SetFlagOption(fd, SOL_SOCKET, SO_REUSEADDR, on); }

int SetLinger(int fd, bool on, int seconds) {
    linger value{on ? 1 : 0, seconds};
    return setsockopt(fd, SOL_SOCKET, SO_LINGER, &value, sizeof value);
}

int SetNoDelay(int fd, bool on) { return SetFlagOption(fd, IPPROTO_TCP, TCP_NODELAY, on); }


int LookUpHost(const char* host, uint32_t* addresses, int max, char* name, size_t nameSize) {
    addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;  // one entry per address, not one per socket type
    hints.ai_flags = AI_CANONNAME;
    addrinfo* list = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &list) != 0) return -1;
    int count = 0;
    for (addrinfo* entry = list; entry && count < max; entry = entry->ai_next)
        addresses[count++] = reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr.s_addr;
    const char* canonical = list && list->ai_canonname ? list->ai_canonname : host;
    if (nameSize > 0) {
        strncpy(name, canonical, nameSize - 1);
        name[nameSize - 1] = '\0';
    }
    freeaddrinfo(list);
    return count > 0 ? count : -1;
}

int ParseAddress(const char* text, uint32_t* address) {
    in_addr a;
    if (inet_aton(text, &a) == 0) return 0;
    *address = a.s_addr;
    return 1;
}

uint16_t HostToNetwork16(uint16_t value) { return htons(value); }
uint16_t NetworkToHost16(uint16_t value) { return ntohs(value); }
uint32_t HostToNetwork32(uint32_t value) { return htonl(value); }
uint32_t NetworkToHost32(uint32_t value) { return ntohl(value); }

long DescriptorLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return -1;
    if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur > (rlim_t)LONG_MAX) return LONG_MAX;
    return (long)limit.rlim_cur;
}

}  // namespace sys
