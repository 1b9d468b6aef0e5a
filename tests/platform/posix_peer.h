// The far end of the socket tests, on plain POSIX sockets.
//
// Kept apart from the Winsock layer's names (which are the same as the system's), so this
// header uses plain integers only: descriptors, ports in host order. Every call that waits is
// bounded by a timeout; a failure returns -1 (or false) rather than stopping the test.
#pragma once

#include <cstdint>
#include <string>

namespace peer {

// A listening socket on 127.0.0.1 with an ephemeral port, stored in *port.
int Listen(uint16_t* port);
// A socket bound to 127.0.0.1 that does not listen: a port where connects are refused.
int BoundOnly(uint16_t* port);
// A blocking connect to 127.0.0.1:port. A receive buffer size above 0 is set first.
int Connect(uint16_t port, int receiveBuffer = 0);
// Accepts one connection, waiting at most timeoutMs.
int Accept(int listener, int timeoutMs);
// The local port a descriptor is bound to (host order), or 0.
uint16_t LocalPort(int fd);

bool Write(int fd, const std::string& data);
// Reads whatever is waiting, without blocking, at most maxBytes.
std::string ReadAvailable(int fd, size_t maxBytes = 1 << 20);
// Reads until length bytes came or timeoutMs passed.
std::string ReadExactly(int fd, size_t length, int timeoutMs);
bool ShutdownWrite(int fd);
void Close(int fd);
// Closes with a zero linger, so the other side gets a reset.
void Reset(int fd);

bool IsNonBlocking(int fd);
// The linger setting of a socket: on and seconds.
bool Linger(int fd, int* on, int* seconds);
bool NoDelay(int fd);

}  // namespace peer
