// Winsock 1.1 on BSD sockets.
//
// The names, structures, constants and error numbers are Winsock's, because the routines are
// written against them and the console prints the error numbers. WSAAsyncSelect follows
// Winsock 1.1: after it a socket is non-blocking, and each selected event is posted to the
// window once and re-armed by its re-enabling call:
//   FD_READ    when data is waiting; re-armed by recv/recvfrom;
//   FD_ACCEPT  when a connection is pending; re-armed by accept;
//   FD_WRITE   once when the socket is connected, then only after a send failed with
//              WSAEWOULDBLOCK and room came back;
//   FD_CONNECT once when a non-blocking connect ends, the error in the high word;
//   FD_CLOSE   once when the peer closed (after its data was read) or reset the connection.
// lParam = event in the low word, error in the high word. Raw ICMP sockets strip the IP
// header, so a datagram read from them starts with the ICMP header. A stream's sends during a
// message reach the system when the message has been handled (send_gather.h); a send counts
// as done when it is taken, as a send into a system buffer does.
#pragma once

#include "platform/wintypes.h"

typedef uint32_t SOCKET;
constexpr SOCKET INVALID_SOCKET = 0xFFFFFFFFu;
constexpr int SOCKET_ERROR = -1;

enum : long {
    FD_READ = 0x01,
    FD_WRITE = 0x02,
    FD_OOB = 0x04,
    FD_ACCEPT = 0x08,
    FD_CONNECT = 0x10,
    FD_CLOSE = 0x20,
};

#define WSAGETSELECTEVENT(l) LOWORD(l)
#define WSAGETSELECTERROR(l) HIWORD(l)
#define WSAMAKESELECTREPLY(event, error) MAKELONG(event, error)

enum : int {
    AF_INET = 2,
    SOCK_STREAM = 1,
    SOCK_DGRAM = 2,
    SOCK_RAW = 3,
    IPPROTO_ICMP = 1,
    IPPROTO_TCP = 6,
    IPPROTO_UDP = 17,
    SOL_SOCKET = 0xFFFF,
    SO_REUSEADDR = 0x0004,
    SO_LINGER = 0x0080,
    TCP_NODELAY = 0x0001,
};

constexpr long FIONREAD = 0x4004667F;
constexpr long FIONBIO = (long)0x8004667E;
constexpr ULONG INADDR_ANY = 0x00000000u;
constexpr ULONG INADDR_NONE = 0xFFFFFFFFu;

// Winsock error numbers.
enum : int {
    WSAEINTR = 10004,
    WSAEBADF = 10009,
    WSAEACCES = 10013,
    WSAEFAULT = 10014,
    WSAEINVAL = 10022,
    WSAEMFILE = 10024,
    WSAEWOULDBLOCK = 10035,
    WSAEINPROGRESS = 10036,
    WSAEALREADY = 10037,
    WSAENOTSOCK = 10038,
    WSAEDESTADDRREQ = 10039,
    WSAEMSGSIZE = 10040,
    WSAEPROTOTYPE = 10041,
    WSAENOPROTOOPT = 10042,
    WSAEPROTONOSUPPORT = 10043,
    WSAESOCKTNOSUPPORT = 10044,
    WSAEOPNOTSUPP = 10045,
    WSAEAFNOSUPPORT = 10047,
    WSAEADDRINUSE = 10048,
    WSAEADDRNOTAVAIL = 10049,
    WSAENETDOWN = 10050,
    WSAENETUNREACH = 10051,
    WSAENETRESET = 10052,
    WSAECONNABORTED = 10053,
    WSAECONNRESET = 10054,
    WSAENOBUFS = 10055,
    WSAEISCONN = 10056,
    WSAENOTCONN = 10057,
    WSAESHUTDOWN = 10058,
    WSAETIMEDOUT = 10060,
    WSAECONNREFUSED = 10061,
    WSAEHOSTDOWN = 10064,
    WSAEHOSTUNREACH = 10065,
    WSASYSNOTREADY = 10091,
    WSAVERNOTSUPPORTED = 10092,
    WSANOTINITIALISED = 10093,
    WSAHOST_NOT_FOUND = 11001,
    WSATRY_AGAIN = 11002,
    WSANO_RECOVERY = 11003,
    WSANO_DATA = 11004,
};

struct IN_ADDR {
    uint32_t S_addr;  // network byte order
};

struct SOCKADDR {
    uint16_t sa_family;
    char sa_data[14];
};

struct SOCKADDR_IN {
    int16_t sin_family;
    uint16_t sin_port;  // network byte order
    IN_ADDR sin_addr;
    char sin_zero[8];
};
static_assert(sizeof(SOCKADDR_IN) == 16, "a Winsock address is 16 bytes");

struct HOSTENT {
    char* h_name;
    char** h_aliases;
    int16_t h_addrtype;
    int16_t h_length;
    char** h_addr_list;
};

constexpr int WSADESCRIPTION_LEN = 256;
constexpr int WSASYS_STATUS_LEN = 128;
struct WSADATA {
    WORD wVersion;
    WORD wHighVersion;
    char szDescription[WSADESCRIPTION_LEN + 1];
    char szSystemStatus[WSASYS_STATUS_LEN + 1];
    unsigned short iMaxSockets;
    unsigned short iMaxUdpDg;
    char* lpVendorInfo;
};

struct LINGER {
    USHORT l_onoff;
    USHORT l_linger;
};

int WSAStartup(WORD version, WSADATA* data);
int WSACleanup();
int WSAGetLastError();
void WSASetLastError(int error);

SOCKET socket(int family, int type, int protocol);
int bind(SOCKET s, const SOCKADDR* address, int length);
int listen(SOCKET s, int backlog);
SOCKET accept(SOCKET s, SOCKADDR* address, int* length);
int connect(SOCKET s, const SOCKADDR* address, int length);
int send(SOCKET s, const char* buffer, int length, int flags);
int recv(SOCKET s, char* buffer, int length, int flags);
int sendto(SOCKET s, const char* buffer, int length, int flags, const SOCKADDR* to, int toLength);
int recvfrom(SOCKET s, char* buffer, int length, int flags, SOCKADDR* from, int* fromLength);
int closesocket(SOCKET s);
int setsockopt(SOCKET s, int level, int option, const char* value, int length);
int ioctlsocket(SOCKET s, long command, ULONG* argument);
int WSAAsyncSelect(SOCKET s, HWND window, UINT message, long events);

USHORT htons(USHORT value);
USHORT ntohs(USHORT value);
ULONG htonl(ULONG value);
ULONG ntohl(ULONG value);
ULONG inet_addr(const char* text);
HOSTENT* gethostbyname(const char* name);

namespace platform {
// Number of sockets that are open through this layer (tests check for leaks with it).
int OpenSocketCount();
}  // namespace platform
