// The far end of the socket tests, on plain POSIX sockets: TCP for the Winsock layer's tests,
// UDP for the ping engine's (a UDP socket stands in for the raw ICMP socket there).
//
// Kept apart from the Winsock layer's names (which are the same as the system's), so this
// header uses plain integers only: descriptors, ports in host order. Every wait is bounded; a
// failure returns -1 (or false, or nothing) rather than stopping the test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace peer {

using Bytes = std::vector<uint8_t>;

// A listening TCP socket on 127.0.0.1 with an ephemeral port, stored in *port.
int Listen(uint16_t* port);
// A TCP socket bound to 127.0.0.1 that does not listen: a port where connects are refused.
int BoundOnly(uint16_t* port);
// A blocking connect to 127.0.0.1:port; a receive buffer size above 0 is set first.
int Connect(uint16_t port, int receiveBuffer = 0);
int Accept(int listener, int timeoutMs);
// The local port a descriptor is bound to (host order), or 0.
uint16_t LocalPort(int fd);
bool WaitReadable(int fd, int timeoutMs);

bool Write(int fd, const std::string& data);
// Reads whatever is waiting, without blocking, at most maxBytes.
std::string ReadAvailable(int fd, size_t maxBytes = 1 << 20);
// Reads until length bytes came or timeoutMs passed.
std::string ReadExactly(int fd, size_t length, int timeoutMs);
// True when the stream ends (nothing more to read, and the peer closed) within timeoutMs.
bool EndsWithin(int fd, int timeoutMs);
void Close(int fd);
// Closes with a zero linger, so the other side gets a reset.
void Reset(int fd);

bool IsNonBlocking(int fd);
bool Linger(int fd, int* on, int* seconds);
bool NoDelay(int fd);

// A UDP socket bound to 127.0.0.1 on an ephemeral port.
int OpenUdp(uint16_t* port);
bool SendTo(int fd, uint16_t port, const Bytes& datagram);
// One datagram, waiting at most timeoutMs; empty when none came.
Bytes Receive(int fd, int timeoutMs);

// The standard Internet checksum (RFC 1071), odd byte included.
uint16_t InternetChecksum(const Bytes& data);
// The packet with its standard checksum stored at offset 2, high byte first.
Bytes WithChecksum(Bytes packet);

}  // namespace peer
