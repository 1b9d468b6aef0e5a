// A test window that records the socket messages it gets, and a bounded message pump.
//
// Every test runs the real message loop: GetMessageA blocks in poll() on the sockets, and a
// 20 ms timer makes it return regularly, so each pump is bounded by wall time. The far end of
// each connection is plain POSIX (support/posix_peer.h).
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "platform/messages.h"
#include "platform/winsock.h"
#include "support/posix_peer.h"

namespace testing_support {

// The Winsock error number of a call that failed (returned SOCKET_ERROR or INVALID_SOCKET), or
// 0 when it returned anything else.
template <typename T>
int Failure(T result) {
    return result == (T)SOCKET_ERROR ? WSAGetLastError() : 0;
}

struct SocketMessage {
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
};

class WinsockTest : public ::testing::Test {
protected:
    static constexpr UINT kMessage = WM_USER + 2;

    void SetUp() override;
    void TearDown() override;

    // Runs the message loop until done() holds or timeoutMs passed; eachTurn runs after every
    // dispatched message. Returns done().
    bool PumpUntil(const std::function<bool()>& done, int timeoutMs = 3000,
                   const std::function<void()>& eachTurn = {});
    // Runs the loop for 150 ms, so that a test can see what did not come.
    void Settle(const std::function<void()>& eachTurn = {}) { PumpUntil([] { return false; }, 150, eachTurn); }
    // Pumps until s has had `count` messages of `event`.
    bool Until(SOCKET s, long event, int count) { return PumpUntil([=] { return Count(s, event) == count; }); }

    // The lParam of every socket message for s, in order.
    std::vector<LPARAM> EventsFor(SOCKET s) const;
    int Count(SOCKET s, long event) const;

    // A Winsock socket accepted from a POSIX client (fd), selecting `events` (none: it stays
    // blocking), closed when the test ends. receiveBuffer, when above 0, is the client's
    // receive buffer size.
    struct Connection {
        SOCKET s;
        int fd;
    };
    Connection Accepted(long events = 0, int receiveBuffer = 0);
    // A descriptor of the POSIX side, closed when the test ends unless the test closed it.
    int Keep(int fd);
    void ClosePeer(int fd, bool reset = false);
    // A socket bound to an ephemeral port of 127.0.0.1, listening when asked; its address.
    SOCKET Bound(SOCKADDR_IN* address, bool listening);

    static SOCKADDR_IN Loopback(uint16_t port);

    HWND window = nullptr;
    std::vector<SocketMessage> messages;
    // Runs inside the window procedure for every socket message, after it was recorded.
    std::function<void(const SocketMessage&)> onMessage;

private:
    static LRESULT Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static WinsockTest* current;
    std::vector<int> peerFds;
    std::vector<SOCKET> sockets;
};

}  // namespace testing_support
