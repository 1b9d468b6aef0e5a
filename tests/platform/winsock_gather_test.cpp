// Sends made while a message is handled are gathered and given to the system together. What
// the peer must get is unchanged: every byte in order, then the end of the stream, and the
// write events as Winsock gives them, even when the peer stops reading and the program sends
// until it would block, or closes with bytes the system has not taken yet.

#include <string>
#include <vector>

#include "platform/send_gather.h"
#include "platform/winsock_fixture.h"

namespace {

using testing_support::SocketMessage;

// Bytes that show a lost, doubled or misplaced piece.
std::string Pattern(size_t length) {
    std::string text(length, '\0');
    for (size_t i = 0; i < length; ++i) text[i] = (char)('a' + (i * 7 + i / 251) % 26);
    return text;
}

class WinsockGather : public testing_support::WinsockTest {
protected:
    // Sends `text` in pieces of 200 bytes, as the program sends files; stops at the first
    // refusal. Returns the bytes taken.
    static size_t SendPieces(SOCKET s, const std::string& text) {
        size_t at = 0;
        while (at < text.size()) {
            int piece = (int)std::min<size_t>(200, text.size() - at);
            int n = send(s, text.data() + at, piece, 0);
            if (n == SOCKET_ERROR) break;
            at += (size_t)n;
        }
        return at;
    }

    // Runs `handle` inside the first FD_WRITE message of s.
    void OnFirstWrite(SOCKET s, std::function<void()> handle) {
        onMessage = [this, s, handle](const SocketMessage& m) {
            if ((SOCKET)m.wParam == s && WSAGETSELECTEVENT(m.lParam) == FD_WRITE && Count(s, FD_WRITE) == 1) handle();
        };
        ASSERT_TRUE(Until(s, FD_WRITE, 1));
    }
};

TEST_F(WinsockGather, PiecesOfOneMessageReachThePeerInOrderOnceTheMessageIsHandled) {
    auto [s, fd] = Accepted(FD_READ | FD_WRITE | FD_CLOSE);
    std::string text = Pattern(1099);
    size_t taken = 0;
    std::string seenMeanwhile = "not looked at";
    OnFirstWrite(s, [&, s = s, fd = fd] {
        taken = SendPieces(s, text);
        seenMeanwhile = peer::ReadAvailable(fd);
    });
    EXPECT_EQ(taken, text.size());
    EXPECT_EQ(seenMeanwhile, "") << "the pieces wait for the end of the message";
    EXPECT_EQ(peer::ReadExactly(fd, text.size(), 3000), text);
    EXPECT_EQ(peer::ReadAvailable(fd), "");
}

TEST_F(WinsockGather, AClosingMessageSendsItsPiecesThenTheEnd) {
    auto [s, fd] = Accepted(FD_READ | FD_WRITE | FD_CLOSE);
    std::string text = Pattern(5000);
    OnFirstWrite(s, [&, s = s] {
        EXPECT_EQ(SendPieces(s, text), text.size());
        EXPECT_EQ(closesocket(s), 0);
    });
    EXPECT_EQ(peer::ReadExactly(fd, text.size() + 1, 3000), text);
    EXPECT_TRUE(peer::EndsWithin(fd, 1000));
    EXPECT_EQ(platform::LingeringCount(), 0);
}

// A peer with a small window that does not read: the sends fill what the system holds, then
// one is refused. FD_WRITE comes again only once everything owed went out.
TEST_F(WinsockGather, ARefusedSendIsFollowedByOneWriteOnceTheOwedBytesAreGiven) {
    auto [s, fd] = Accepted(FD_READ | FD_WRITE | FD_CLOSE, 4096);
    std::string text = Pattern(8 << 20);
    size_t taken = 0;
    OnFirstWrite(s, [&, s = s] { taken = SendPieces(s, text); });
    ASSERT_LT(taken, text.size()) << "the connection never filled up";
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);

    std::string received;
    auto drain = [&, fd = fd] { received += peer::ReadAvailable(fd); };
    EXPECT_TRUE(PumpUntil([&, s = s] { return Count(s, FD_WRITE) == 2; }, 5000, drain));
    EXPECT_TRUE(PumpUntil([&] { return received.size() >= taken; }, 5000, drain));
    Settle(drain);
    EXPECT_EQ(Count(s, FD_WRITE), 2);
    EXPECT_EQ(received, text.substr(0, taken));
}

// Closing while the system has not taken everything: the socket is gone for the program at
// once, and its bytes still reach a peer that starts reading later, followed by the end.
TEST_F(WinsockGather, BytesOwedAtTheCloseStillReachThePeerThenTheEnd) {
    auto [s, fd] = Accepted(FD_READ | FD_WRITE | FD_CLOSE, 4096);
    std::string text = Pattern(8 << 20);
    size_t taken = 0;
    OnFirstWrite(s, [&, s = s] {
        taken = SendPieces(s, text);
        EXPECT_EQ(closesocket(s), 0);
    });
    ASSERT_LT(taken, text.size()) << "the connection never filled up";
    EXPECT_EQ(platform::OpenSocketCount(), 0);
    EXPECT_EQ(platform::LingeringCount(), 1);

    std::string received;
    auto drain = [&, fd = fd] { received += peer::ReadAvailable(fd); };
    EXPECT_TRUE(PumpUntil([&] { return platform::LingeringCount() == 0; }, 5000, drain));
    received += peer::ReadExactly(fd, taken - std::min(taken, received.size()) + 1, 3000);
    EXPECT_EQ(received.size(), taken);
    EXPECT_TRUE(received == text.substr(0, taken)) << "the bytes came out of order or changed";
    EXPECT_TRUE(peer::EndsWithin(fd, 1000));
}

// Peers that never read must not take the program's descriptors: past kMostLingering, a
// socket closed with bytes owed is closed at once and its bytes are lost.
TEST_F(WinsockGather, AtMostSoManyClosedSocketsLingerAndTheNextClosesAtOnce) {
    const int count = platform::kMostLingering + 1;
    std::vector<Connection> connections;
    for (int i = 0; i < count; ++i) connections.push_back(Accepted(FD_WRITE, 4096));
    std::string text = Pattern(4 << 20);
    std::vector<size_t> taken(count, 0);
    int closed = 0;
    onMessage = [&](const SocketMessage& m) {
        for (int i = 0; i < count; ++i) {
            if ((SOCKET)m.wParam != connections[i].s || taken[i] != 0) continue;
            taken[i] = SendPieces(connections[i].s, text);
            EXPECT_EQ(closesocket(connections[i].s), 0);
            ++closed;
        }
    };
    ASSERT_TRUE(PumpUntil([&] { return closed == count; }, 10000));
    for (int i = 0; i < count; ++i) ASSERT_LT(taken[i], text.size()) << "connection " << i << " never filled up";
    EXPECT_EQ(platform::LingeringCount(), platform::kMostLingering);

    // The last one closed got less than it was told was sent, then the end.
    int last = count - 1;
    std::string lastReceived = peer::ReadExactly(connections[last].fd, taken[last], 2000);
    EXPECT_LT(lastReceived.size(), taken[last]);
    EXPECT_TRUE(peer::EndsWithin(connections[last].fd, 1000));

    // The others still get everything once their peers read.
    std::vector<size_t> received(count, 0);
    auto drain = [&] {
        for (int i = 0; i < last; ++i) received[i] += peer::ReadAvailable(connections[i].fd).size();
    };
    EXPECT_TRUE(PumpUntil([&] { return platform::LingeringCount() == 0; }, 10000, drain));
    for (int i = 0; i < last; ++i) {
        received[i] += peer::ReadExactly(connections[i].fd, taken[i] - std::min(taken[i], received[i]), 2000).size();
        EXPECT_EQ(received[i], taken[i]) << "connection " << i;
    }
}

}  // namespace
