// What a stream socket was given to send and the system has not taken yet.
//
// The program sends files in pieces of a couple of hundred bytes. Handed to the system one by
// one, every piece is a system call and a pass through the TCP stack, so the Winsock layer
// gathers the pieces a socket sends while one message is handled and gives them to the system
// together (winsock.cpp says when). What the system does not take at once is owed: it goes out
// first, before anything sent later, as soon as the socket has room.
//
// A socket that the program closes while it still owes bytes is not closed yet: it stays open,
// out of the program's sight, until the system has taken them, the peer is gone, or
// kLingerLimitMs have passed; then it is closed as a graceful close would close it. That is
// what the system does itself with the unsent data of a closed socket. Like the system under
// pressure, it keeps at most kMostLingering of them: beyond that a socket closes at once and
// what it owed is lost, so that peers that never read cannot take the program's descriptors.
#pragma once

#include <cstddef>
#include <vector>

namespace platform {

class SendGather {
public:
    enum class Given {
        All,     // the system took everything; nothing is owed
        Part,    // its buffer is full: the rest is owed
        Failed,  // the connection refused it (errno says why); the bytes are dropped
    };

    bool Owes() const { return taken_ < bytes_.size(); }
    size_t Owed() const { return bytes_.size() - taken_; }
    void Add(const char* data, size_t length);
    // Hands the system as much as it takes without blocking. Before a close, `closing` lets
    // the last part segment wait for the end of the stream, so that both go out together.
    Given GiveTo(int fd, bool closing = false);

private:
    void Forget();

    std::vector<char> bytes_;
    size_t taken_ = 0;  // the front already taken by the system
};

constexpr int kLingerLimitMs = 60000;
constexpr int kMostLingering = 64;
// A graceful close first drops at most this much unread input (see FinishClose).
constexpr size_t kDiscardAtClose = 256 * 1024;

// Closes fd once it has given `owed` (see above).
void CloseWhenGiven(int fd, SendGather owed);
// Closes at once every socket still waiting to give its bytes (the last WSACleanup).
void CloseLingeringNow();
// How many closed sockets are still giving their bytes.
int LingeringCount();

}  // namespace platform
