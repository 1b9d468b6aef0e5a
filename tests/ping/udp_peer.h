// The far host of the ping engine's tests, on a plain POSIX UDP socket.
//
// The engine's raw socket is stood in for by a UDP socket (the engine only reads and sends
// datagrams through it), and this peer plays the pinged host: it receives the echoes and
// answers them. Plain integers only, because the system's socket names clash with Winsock's.
// Every wait is bounded.
#pragma once

#include <cstdint>
#include <vector>

namespace udp {

using Bytes = std::vector<uint8_t>;

// A UDP socket bound to 127.0.0.1 on an ephemeral port, stored in *port; -1 on failure.
int Open(uint16_t* port);
// The local port of a bound socket (host order), or 0.
uint16_t LocalPort(int fd);
bool SendTo(int fd, uint16_t port, const Bytes& datagram);
// Waits at most timeoutMs for a datagram to be waiting.
bool WaitReadable(int fd, int timeoutMs);
// One datagram, waiting at most timeoutMs; empty when none came.
Bytes Receive(int fd, int timeoutMs);
void Close(int fd);

// The standard Internet checksum (RFC 1071) of the whole buffer, odd byte included.
uint16_t InternetChecksum(const Bytes& data);
// Stores the standard checksum of the packet at offset 2, high byte first.
Bytes WithChecksum(Bytes packet);

}  // namespace udp
