// The ping engine's test bench: the real main window and PING dialog, a fake clock, and a UDP
// socket standing in for the raw ICMP socket, with a peer socket that plays the pinged host.
// Every ping setting and counter is put back to its start-up value around each test.
#pragma once

#include <string>

#include "support/posix_peer.h"
#include "platform/winsock.h"
#include "support/shell_fixture.h"

namespace ping_testing {

// The engine's state as the program starts.
void ResetPingState();

class PingTest : public testing_support::ShellTest {
protected:
    static constexpr time_t kNow = 1800000000;
    static constexpr DWORD kStartMs = 50000;

    void SetUp() override;
    void TearDown() override;

    // Puts a non-blocking UDP socket in the place of the raw socket and aims TargetAddress at
    // the peer, as if ConnectICMP had set the target. False when the sockets cannot be made.
    bool UseFakeSocket();
    // A raw ICMP socket opened by the engine itself; false (the test should skip) without the
    // privilege.
    static bool RawSocketsAllowed();

    // The peer's side.
    void PeerSends(const peer::Bytes& datagram);
    peer::Bytes PeerReceives(int timeoutMs = 2000);
    // The peer answers the echo it received like a host: type 0, the rest as it came.
    void PeerAnswers(const peer::Bytes& echo);
    // Lets the engine read one datagram once it has arrived.
    void EngineReads();

    std::string Field(int id);
    bool Enabled(int id);
    bool Checked(int id);
    std::string Title();
    std::string Stamp();

    int peer = -1;
    uint16_t peerPort = 0;
};

}  // namespace ping_testing
