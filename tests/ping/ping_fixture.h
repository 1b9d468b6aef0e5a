// The ping engine's test bench: the real main window and PING dialog, a fake clock, and a UDP
// socket standing in for the raw ICMP socket, with a peer socket that plays the pinged host.
// Every ping setting and counter is put back to its start-up value around each test.
#pragma once

#include <string>

#include "platform/winsock.h"
#include "support/posix_peer.h"
#include "support/shell_fixture.h"

namespace ping_testing {

// The engine's state as the program starts.
void ResetPingState();

class PingTest : public testing_support::ShellTest {
protected:
    static constexpr time_t kNow = 1800000000;

    void SetUp() override;
    void TearDown() override;

    // Puts a non-blocking UDP socket in the place of the raw socket and aims TargetAddress at
    // the peer, as if ConnectICMP had set the target. False when the sockets cannot be made.
    bool UseFakeSocket();

    // The peer's side; it answers an echo like a host: type 0, the rest as it came.
    void PeerSends(const peer::Bytes& datagram);
    peer::Bytes PeerReceives(int timeoutMs = 2000) { return peer::Receive(peer, timeoutMs); }
    void PeerAnswers(peer::Bytes echo) {
        echo[0] = 0;
        PeerSends(peer::WithChecksum(echo));
    }
    // Lets the engine read one datagram once it has arrived.
    void EngineReads();

    std::string Field(int id);
    bool Enabled(int id);
    std::string Title();
    std::string Stamp();

    int peer = -1;
};

}  // namespace ping_testing
