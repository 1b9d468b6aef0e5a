// Thin wrappers over the BSD socket calls, with plain integer types.
//
// This is the only file that includes the system socket headers. The Winsock layer reuses the
// names those headers define (socket, bind, the address families, the byte-order helpers...),
// so it reaches the system through the functions below and never sees the originals.
// Addresses and ports are IPv4 values in network byte order. Every call that fails returns -1
// and leaves errno as the system call set it.
//
// How sockets come to be and meet (open, bind, listen, accept, connect, close, and the result
// of a connect) goes through a backend: the system's, or a stand-in that joins the program to
// peers in the same process (fake_sockets.h), as tests and fuzzers do. A stand-in's sockets
// are real descriptors, so sending, receiving and polling stay the system's.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sys {

enum class SocketKind { Stream, Datagram, Raw };

// Flags of the send and receive calls.
enum : int {
    kOutOfBand = 1 << 0,
    kPeek = 1 << 1,
    kDontRoute = 1 << 2,
    kMore = 1 << 3,  // more follows at once: TCP keeps a part segment for it (or for the end)
};

// The calls a backend provides.
struct Backend {
    int (*OpenSocket)(SocketKind kind, int protocol);
    int (*Close)(int fd);
    int (*Bind)(int fd, uint32_t address, uint16_t port);
    int (*Listen)(int fd, int backlog);
    int (*Accept)(int fd, uint32_t* address, uint16_t* port);
    int (*Connect)(int fd, uint32_t address, uint16_t port);
    int (*TakePendingError)(int fd, int* error);
};

// The system's backend, and the one in use (null puts the system's back).
const Backend& SystemBackend();
void UseBackend(const Backend* backend);

int OpenSocket(SocketKind kind, int protocol);
int Close(int fd);
// Reads and drops whatever input is waiting, without blocking (at most `most` bytes).
void DiscardInput(int fd, size_t most);
int Bind(int fd, uint32_t address, uint16_t port);
int Listen(int fd, int backlog);
// The new descriptor is blocking, whatever the listening socket is.
int Accept(int fd, uint32_t* address, uint16_t* port);
int Connect(int fd, uint32_t address, uint16_t port);

// Sending never raises SIGPIPE: a connection that is gone fails with EPIPE instead.
long Send(int fd, const void* data, size_t length, int flags);
long Receive(int fd, void* buffer, size_t length, int flags);
long SendTo(int fd, const void* data, size_t length, int flags, uint32_t address, uint16_t port);
// Receives one datagram and its sender; the part beyond length is lost, as the system does it.
long ReceiveFrom(int fd, void* buffer, size_t length, int flags, uint32_t* address, uint16_t* port);
// Size of the next datagram waiting (0 when none) and its first byte, without taking it.
long NextDatagram(int fd, unsigned char* firstByte);

int SetNonBlocking(int fd, bool on);
int BytesToRead(int fd, int* count);
// Takes the socket's pending error (0 when none); a failed connect leaves its reason there.
int TakePendingError(int fd, int* error);
int SetReuseAddress(int fd, bool on);
int SetLinger(int fd, bool on, int seconds);
int SetNoDelay(int fd, bool on);

// The IPv4 addresses of a host (at most max of them) and its canonical name, cut to
// nameSize - 1 bytes. Returns the number of addresses, or -1 when the name does not resolve.
int LookUpHost(const char* host, uint32_t* addresses, int max, char* name, size_t nameSize);
// Dotted address text with the BSD rules (a.b.c.d, a.b.c, a.b, a; decimal, octal or hex
// parts). Returns 1 and the address, or 0 when the text is not an address.
int ParseAddress(const char* text, uint32_t* address);

uint16_t HostToNetwork16(uint16_t value);
uint16_t NetworkToHost16(uint16_t value);
uint32_t HostToNetwork32(uint32_t value);
uint32_t NetworkToHost32(uint32_t value);

// The soft limit on open descriptors of this process.
long DescriptorLimit();

}  // namespace sys
