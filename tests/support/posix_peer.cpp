#include "support/posix_peer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

namespace peer {

namespace {

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

int Bound(int type, uint16_t* port) {
    int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    sockaddr_in a = Loopback(0);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    *port = LocalPort(fd);
    return fd;
}

int64_t NowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

int Listen(uint16_t* port) {
    int fd = Bound(SOCK_STREAM, port);
    if (fd >= 0 && listen(fd, 8) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int BoundOnly(uint16_t* port) { return Bound(SOCK_STREAM, port); }

int Connect(uint16_t port, int receiveBuffer) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (receiveBuffer > 0) setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in a = Loopback(port);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

int Accept(int listener, int timeoutMs) {
    return WaitReadable(listener, timeoutMs) ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
}

uint16_t LocalPort(int fd) {
    sockaddr_in a{};
    socklen_t length = sizeof a;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&a), &length) == 0 ? ntohs(a.sin_port) : 0;
}

bool WaitReadable(int fd, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, timeoutMs) == 1;
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
    while (result.size() < length && WaitReadable(fd, (int)std::max<int64_t>(0, deadline - NowMs()))) {
        std::string part = ReadAvailable(fd, length - result.size());
        if (part.empty()) break;  // end of stream
        result += part;
    }
    return result;
}

bool EndsWithin(int fd, int timeoutMs) {
    char byte;
    return WaitReadable(fd, timeoutMs) && recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

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

int OpenUdp(uint16_t* port) { return Bound(SOCK_DGRAM, port); }

bool SendTo(int fd, uint16_t port, const Bytes& datagram) {
    sockaddr_in to = Loopback(port);
    return sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) ==
           (ssize_t)datagram.size();
}

Bytes Receive(int fd, int timeoutMs) {
    uint8_t buffer[2048];
    ssize_t n = WaitReadable(fd, timeoutMs) ? recv(fd, buffer, sizeof buffer, MSG_DONTWAIT) : 0;
    return n > 0 ? Bytes(buffer, buffer + n) : Bytes{};
}

uint16_t InternetChecksum(const Bytes& data) {
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < data.size(); i += 2) sum += (uint32_t)(data[i] << 8 | data[i + 1]);
    if (data.size() & 1) sum += (uint32_t)data.back() << 8;
    while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
    return (uint16_t)~sum;
}

Bytes WithChecksum(Bytes packet) {
    packet[2] = packet[3] = 0;
    uint16_t sum = InternetChecksum(packet);
    packet[2] = (uint8_t)(sum >> 8);
    packet[3] = (uint8_t)sum;
    return packet;
}

}  // namespace peer
