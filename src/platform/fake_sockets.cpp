// The in-memory socket backend (see fake_sockets.h).
//
// Each stream socket the program opens is the near end of a socket pair whose far end the
// backend keeps. A listening socket uses its far end as a doorbell: one byte written there per
// waiting connection makes the listening descriptor readable, which the Winsock layer turns
// into FD_ACCEPT. A connect hands the far end to the served port's queue (or notes a refusal,
// reported as the connect's pending error).

#include "platform/fake_sockets.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <map>

#include "platform/sys_sockets.h"

namespace fakenet {

namespace {

constexpr uint32_t kLoopback = 0x0100007F;  // 127.0.0.1 in network byte order
constexpr uint16_t kFirstPeerPort = 40000;

struct FakeSocket {
    int farEnd = -1;          // closed once it is handed to a peer
    uint16_t boundPort = 0;   // host byte order
    bool listening = false;
    int pendingError = 0;     // the result of the last connect
    std::deque<int> waiting;  // a listening socket's connections, near ends, not yet accepted
};

std::map<int, FakeSocket> sockets;             // by the program's descriptor
std::map<uint16_t, std::deque<int>> served;   // far ends of the program's connections, by port
uint16_t nextPeerPort = kFirstPeerPort;

uint16_t ToHost(uint16_t networkPort) { return sys::NetworkToHost16(networkPort); }

bool Pair(int (&ends)[2]) { return socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0; }

void CloseQuietly(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

FakeSocket* Find(int fd) {
    auto it = sockets.find(fd);
    return it == sockets.end() ? nullptr : &it->second;
}

int Fail(int error) {
    errno = error;
    return -1;
}

int OpenSocket(sys::SocketKind kind, int protocol) {
    if (kind != sys::SocketKind::Stream) return sys::SystemBackend().OpenSocket(kind, protocol);
    int ends[2];
    if (!Pair(ends)) return -1;
    sockets[ends[0]].farEnd = ends[1];
    return ends[0];
}

int Close(int fd) {
    FakeSocket* s = Find(fd);
    if (!s) return sys::SystemBackend().Close(fd);
    CloseQuietly(s->farEnd);
    for (int& waiting : s->waiting) CloseQuietly(waiting);
    sockets.erase(fd);
    return close(fd);
}

int Bind(int fd, uint32_t address, uint16_t port) {
    FakeSocket* s = Find(fd);
    if (!s) return sys::SystemBackend().Bind(fd, address, port);
    for (const auto& entry : sockets)
        if (entry.second.listening && entry.second.boundPort == ToHost(port)) return Fail(EADDRINUSE);
    s->boundPort = ToHost(port);
    return 0;
}

int Listen(int fd, int backlog) {
    FakeSocket* s = Find(fd);
    if (!s) return sys::SystemBackend().Listen(fd, backlog);
    s->listening = true;
    return 0;
}

int Accept(int fd, uint32_t* address, uint16_t* port) {
    FakeSocket* s = Find(fd);
    if (!s) return sys::SystemBackend().Accept(fd, address, port);
    if (!s->listening) return Fail(EINVAL);
    if (s->waiting.empty()) return Fail(EAGAIN);
    char bell;
    if (read(fd, &bell, 1) != 1) return Fail(EAGAIN);
    int accepted = s->waiting.front();
    s->waiting.pop_front();
    if (address) *address = kLoopback;
    if (port) *port = sys::HostToNetwork16(nextPeerPort++);
    return accepted;
}

// The connect always completes at once; a port not served leaves its refusal as the pending
// error, as a loopback connect to a closed port does.
int Connect(int fd, uint32_t address, uint16_t port) {
    FakeSocket* s = Find(fd);
    if (!s) return sys::SystemBackend().Connect(fd, address, port);
    auto queue = served.find(ToHost(port));
    if (queue == served.end() || s->farEnd < 0) {
        s->pendingError = ECONNREFUSED;
        return 0;
    }
    queue->second.push_back(s->farEnd);
    s->farEnd = -1;
    return 0;
}

int TakePendingError(int fd, int* error) {
    FakeSocket* s = Find(fd);
    if (!s) return sys::SystemBackend().TakePendingError(fd, error);
    *error = s->pendingError;
    s->pendingError = 0;
    return 0;
}

const sys::Backend kFake = {OpenSocket, Close, Bind, Listen, Accept, Connect, TakePendingError};

}  // namespace

void Install() {
    Remove();
    sys::UseBackend(&kFake);
}

void Remove() {
    for (auto& entry : sockets) {
        CloseQuietly(entry.second.farEnd);
        for (int& waiting : entry.second.waiting) CloseQuietly(waiting);
    }
    sockets.clear();
    for (auto& entry : served)
        for (int& far : entry.second) CloseQuietly(far);
    served.clear();
    nextPeerPort = kFirstPeerPort;
    sys::UseBackend(nullptr);
}

int ConnectToProgram(uint16_t port) {
    for (auto& entry : sockets) {
        FakeSocket& listener = entry.second;
        if (!listener.listening || listener.boundPort != port || listener.farEnd < 0) continue;
        int ends[2];
        if (!Pair(ends)) return -1;
        const char bell = 1;
        if (write(listener.farEnd, &bell, 1) != 1) {
            close(ends[0]);
            close(ends[1]);
            return -1;
        }
        listener.waiting.push_back(ends[0]);
        return ends[1];
    }
    return -1;
}

void Serve(uint16_t port) { served[port]; }

void StopServing(uint16_t port) {
    auto queue = served.find(port);
    if (queue == served.end()) return;
    for (int& far : queue->second) CloseQuietly(far);
    served.erase(queue);
}

int TakeConnection(uint16_t port) {
    auto queue = served.find(port);
    if (queue == served.end() || queue->second.empty()) return -1;
    int far = queue->second.front();
    queue->second.pop_front();
    return far;
}

}  // namespace fakenet
