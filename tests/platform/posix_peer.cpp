#include "platform/posix_peer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace peer {

namespace {

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in a;
    memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

int BoundSocket(uint16_t* port) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    sockaddr_in a = Loopback(0);
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    *port = LocalPort(fd);
    return fd;
}

bool WaitFor(int fd, short events, int timeoutMs) {
    pollfd p{fd, events, 0};
    return poll(&p, 1, timeoutMs) == 1;
}

int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

int Listen(uint16_t* port) {
    int fd = BoundSocket(port);
    if (fd >= 0 && listen(fd, 8) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int BoundOnly(uint16_t* port) { return BoundSocket(port); }

int Connect(uint16_t port, int receiveBuffer) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (receiveBuffer > 0) setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in a = Loopback(port);
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int Accept(int listener, int timeoutMs) {
    if (!WaitFor(listener, POLLIN, timeoutMs)) return -1;
    return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

uint16_t LocalPort(int fd) {
    sockaddr_in a;
    socklen_t length = sizeof a;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&a), &length) != 0) return 0;
    return ntohs(a.sin_port);
}

bool Write(int fd, const std::string& data) {
    return send(fd, data.data(), data.size(), MSG_NOSIGNAL) == (ssize_t)data.size();
}

std::string ReadAvailable(int fd, size_t maxBytes) {
    std::string result;
    char buffer[65536];
    while (result.size() < maxBytes) {
        ssize_t n = recv(fd, buffer, std::min(sizeof buffer, maxBytes - result.size()), MSG_DONTWAIT);
        if (n <= 0) break;
        result.append(buffer, (size_t)n);
    }
    return result;
}

std::string ReadExactly(int fd, size_t length, int timeoutMs) {
    std::string result;
    int64_t deadline = NowMs() + timeoutMs;
    while (result.size() < length && NowMs() < deadline) {
        if (!WaitFor(fd, POLLIN, (int)(deadline - NowMs()))) break;
        std::string part = ReadAvailable(fd, length - result.size());
        if (part.empty()) break;  // end of stream
        result += part;
    }
    return result;
}

bool ShutdownWrite(int fd) { return shutdown(fd, SHUT_WR) == 0; }

void Close(int fd) {
    if (fd >= 0) close(fd);
}

void Reset(int fd) {
    linger value{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &value, sizeof value);
    close(fd);
}

bool IsNonBlocking(int fd) {
    int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && (flags & O_NONBLOCK);
}

bool Linger(int fd, int* on, int* seconds) {
    linger value{0, 0};
    socklen_t length = sizeof value;
    if (getsockopt(fd, SOL_SOCKET, SO_LINGER, &value, &length) != 0) return false;
    *on = value.l_onoff;
    *seconds = value.l_linger;
    return true;
}

bool NoDelay(int fd) {
    int value = 0;
    socklen_t length = sizeof value;
    return getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &value, &length) == 0 && value != 0;
}

}  // namespace peer
