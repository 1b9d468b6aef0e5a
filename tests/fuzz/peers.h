// The far ends of the program's connections in the connection targets: visitors that
// connect to the server, and the servers that the program's Local Clients reach (a proxy's
// origin, a grab's web server). Everything runs on the in-memory socket backend, so a step is
// a write or a close by a peer, then the program's pending events.
#pragma once

#include <cstdint>
#include <string>

namespace fuzzing {

class Peers {
public:
    static constexpr int kCount = 8;

    Peers() {
        for (int& fd : fds_) fd = -1;
    }
    ~Peers() { CloseAll(); }
    Peers(const Peers&) = delete;
    Peers& operator=(const Peers&) = delete;

    int Get(int index) const { return fds_[index % kCount]; }
    // A visitor connects to the program's port into slot `index` (closing the one there).
    void Connect(int index, uint16_t port);
    // Connections the program made to `port` fill the free slots from `first` on.
    void TakeConnections(uint16_t port, int first);

    void Write(int index, const std::string& bytes);
    void Close(int index);
    void HalfClose(int index);
    void CloseAll();
    // Reads and drops what the program sent to every peer.
    void Drain();

private:
    int fds_[kCount];
};

// Sends what the socket takes now: a program that does not read must not stop the peer.
void Send(int fd, const std::string& bytes);
// Lets the program handle what is pending (bounded).
void RunProgram();
// The clock moves on by `seconds` and the one-second tick of the main window runs.
void Tick(int seconds);

}  // namespace fuzzing
