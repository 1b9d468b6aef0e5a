#include "ping/udp_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace udp {

namespace {

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in a;
    memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return a;
}

}  // namespace

int Open(uint16_t* port) {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    sockaddr_in a = Loopback(0);
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    *port = LocalPort(fd);
    return fd;
}

uint16_t LocalPort(int fd) {
    sockaddr_in a;
    socklen_t length = sizeof a;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&a), &length) != 0) return 0;
    return ntohs(a.sin_port);
}

bool SendTo(int fd, uint16_t port, const Bytes& datagram) {
    sockaddr_in to = Loopback(port);
    return sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to) ==
           (ssize_t)datagram.size();
}

bool WaitReadable(int fd, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, timeoutMs) == 1;
}

Bytes Receive(int fd, int timeoutMs) {
    if (!WaitReadable(fd, timeoutMs)) return {};
    uint8_t buffer[2048];
    ssize_t n = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
    return n > 0 ? Bytes(buffer, buffer + n) : Bytes{};
}

void Close(int fd) {
    if (fd >= 0) close(fd);
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

}  // namespace udp
