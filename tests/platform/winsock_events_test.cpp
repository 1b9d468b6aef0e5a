// The asynchronous-select events over real loopback connections, delivered by the real
// message loop: which event comes, with which error word, and how often.

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/winsock_fixture.h"

namespace {

using testing_support::Failure;
using testing_support::SocketMessage;
using Events = std::vector<LPARAM>;

LPARAM Reply(long event, int error = 0) { return WSAMAKESELECTREPLY(event, error); }

class WinsockEvents : public testing_support::WinsockTest {
protected:
    std::string Receive(SOCKET s, int length) {
        std::string buffer((size_t)length, '\0');
        int n = recv(s, &buffer[0], length, 0);
        return n >= 0 ? buffer.substr(0, (size_t)n) : "<error " + std::to_string(WSAGetLastError()) + ">";
    }
    // A socket of this process connecting to `port`, selecting FD_CONNECT and FD_CLOSE; the
    // connect is under way.
    SOCKET Connecting(uint16_t port) {
        SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_EQ(WSAAsyncSelect(s, window, kMessage, FD_CONNECT | FD_CLOSE), 0);
        SOCKADDR_IN to = Loopback(port);
        EXPECT_EQ(Failure(connect(s, (const SOCKADDR*)&to, sizeof to)), WSAEWOULDBLOCK);
        EXPECT_TRUE(Until(s, FD_CONNECT, 1));
        Settle();
        return s;
    }
};

TEST_F(WinsockEvents, AcceptIsPostedOncePerAcceptCall) {
    SOCKADDR_IN address;
    SOCKET listener = Bound(&address, false);
    // The server selects before it listens; the events start with the listen.
    ASSERT_EQ(WSAAsyncSelect(listener, window, kMessage, FD_ACCEPT), 0);
    ASSERT_EQ(listen(listener, 2), 0);
    uint16_t port = ntohs(address.sin_port);
    int first = Keep(peer::Connect(port));
    ASSERT_GE(Keep(peer::Connect(port)), 0);

    // Two clients wait, but only one FD_ACCEPT comes until accept is called.
    ASSERT_TRUE(Until(listener, FD_ACCEPT, 1));
    Settle();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].message, kMessage);
    EXPECT_EQ(messages[0].wParam, (WPARAM)listener);
    EXPECT_EQ(messages[0].lParam, Reply(FD_ACCEPT));

    SOCKADDR_IN from{};
    int length = sizeof from;
    SOCKET a = accept(listener, (SOCKADDR*)&from, &length);
    ASSERT_NE(a, INVALID_SOCKET);
    EXPECT_EQ(length, 16);
    EXPECT_EQ(from.sin_family, AF_INET);
    EXPECT_EQ(from.sin_addr.S_addr, inet_addr("127.0.0.1"));
    EXPECT_EQ(ntohs(from.sin_port), peer::LocalPort(first));

    ASSERT_TRUE(Until(listener, FD_ACCEPT, 2));
    SOCKET b = accept(listener, nullptr, nullptr);
    ASSERT_NE(b, INVALID_SOCKET);
    Settle();
    EXPECT_EQ(Count(listener, FD_ACCEPT), 2);

    // Nothing pending: the call fails, and it re-enables FD_ACCEPT all the same.
    EXPECT_EQ(Failure(accept(listener, nullptr, nullptr)), WSAEWOULDBLOCK);
    Keep(peer::Connect(port));
    EXPECT_TRUE(Until(listener, FD_ACCEPT, 3));
    SOCKET c = accept(listener, nullptr, nullptr);
    EXPECT_NE(c, INVALID_SOCKET);

    EXPECT_EQ(EventsFor(a), Events{}) << "an accepted socket selects nothing by itself";
    for (SOCKET s : {a, b, c, listener}) closesocket(s);
}

TEST_F(WinsockEvents, AcceptedSocketIsBlockingAndSilentUntilItsOwnSelect) {
    auto [s, fd] = Accepted();
    ASSERT_NE(s, INVALID_SOCKET);
    EXPECT_FALSE(peer::IsNonBlocking((int)s));
    ASSERT_TRUE(peer::Write(fd, "early"));
    Settle();
    EXPECT_EQ(EventsFor(s), Events{});

    // Selecting makes it non-blocking; the waiting data and the room to write are reported.
    ASSERT_EQ(WSAAsyncSelect(s, window, kMessage, FD_READ | FD_WRITE | FD_CLOSE), 0);
    EXPECT_TRUE(peer::IsNonBlocking((int)s));
    ASSERT_TRUE(PumpUntil([&, s = s] { return Count(s, FD_READ) == 1 && Count(s, FD_WRITE) == 1; }));
    Settle();
    EXPECT_EQ(EventsFor(s).size(), 2u);
    EXPECT_EQ(Receive(s, 64), "early");
}

TEST_F(WinsockEvents, ReadIsPostedOncePerBurstAndAgainAfterEachRecv) {
    auto [s, fd] = Accepted(FD_READ | FD_CLOSE);
    ASSERT_TRUE(peer::Write(fd, "hello"));
    ASSERT_TRUE(peer::Write(fd, "world"));
    ASSERT_TRUE(Until(s, FD_READ, 1));
    Settle();
    EXPECT_EQ(EventsFor(s), Events{Reply(FD_READ)});

    // A partial read leaves data, so FD_READ comes again.
    EXPECT_EQ(Receive(s, 3), "hel");
    ASSERT_TRUE(Until(s, FD_READ, 2));
    EXPECT_EQ(Receive(s, 64), "loworld");
    Settle();
    EXPECT_EQ(Count(s, FD_READ), 2) << "nothing is left to read";
    EXPECT_EQ(Receive(s, 1), "<error 10035>");

    // The failed recv re-enabled the event: the next data is reported.
    ASSERT_TRUE(peer::Write(fd, "again"));
    ASSERT_TRUE(Until(s, FD_READ, 3));
    EXPECT_EQ(Receive(s, 64), "again");
    EXPECT_EQ(EventsFor(s), (Events{Reply(FD_READ), Reply(FD_READ), Reply(FD_READ)}));
}

TEST_F(WinsockEvents, WriteComesOnceAndAgainOnlyAfterWouldBlock) {
    auto [s, fd] = Accepted(FD_READ | FD_WRITE | FD_CLOSE, 4096);  // a small window fills up soon
    ASSERT_TRUE(Until(s, FD_WRITE, 1));
    EXPECT_EQ(EventsFor(s), Events{Reply(FD_WRITE)});

    // Successful sends do not re-enable FD_WRITE.
    std::string chunk(16384, 'x');
    for (int i = 0; i < 2; ++i) ASSERT_EQ(send(s, chunk.data(), 100, 0), 100);
    size_t sent = 200;
    Settle();
    EXPECT_EQ(Count(s, FD_WRITE), 1);

    bool blocked = false;
    for (int i = 0; i < 20000 && !blocked; ++i) {
        int n = send(s, chunk.data(), (int)chunk.size(), 0);
        blocked = n == SOCKET_ERROR;
        if (!blocked) sent += (size_t)n;
    }
    ASSERT_TRUE(blocked) << "the connection never filled up";
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);

    size_t drained = 0;
    auto drain = [&, fd = fd] { drained += peer::ReadAvailable(fd).size(); };
    ASSERT_TRUE(PumpUntil([&, s = s] { return Count(s, FD_WRITE) == 2; }, 5000, drain));
    ASSERT_TRUE(PumpUntil([&] { return drained == sent; }, 5000, drain));
    Settle(drain);
    EXPECT_EQ(Count(s, FD_WRITE), 2);
    EXPECT_EQ(drained, sent);
}

TEST_F(WinsockEvents, ConnectEndsWithOneConnectCarryingTheErrorInTheHighWord) {
    uint16_t port;
    int listener = Keep(peer::Listen(&port));
    ASSERT_GE(listener, 0);
    SOCKET s = Connecting(port);
    EXPECT_EQ(EventsFor(s), Events{Reply(FD_CONNECT)}) << "FD_WRITE is not selected yet";

    // Selecting FD_WRITE on the connected socket gives exactly one.
    ASSERT_EQ(WSAAsyncSelect(s, window, kMessage, FD_READ | FD_WRITE | FD_CLOSE), 0);
    ASSERT_TRUE(Until(s, FD_WRITE, 1));
    Settle();
    EXPECT_EQ(EventsFor(s), (Events{Reply(FD_CONNECT), Reply(FD_WRITE)}));

    int fd = Keep(peer::Accept(listener, 2000));
    ASSERT_GE(fd, 0);
    const std::string request = "GET / HTTP/1.0\r\n\r\n";
    EXPECT_EQ(send(s, request.data(), (int)request.size(), 0), (int)request.size());
    EXPECT_EQ(peer::ReadExactly(fd, request.size(), 2000), request);
    closesocket(s);

    ASSERT_GE(Keep(peer::BoundOnly(&port)), 0);  // bound, not listening: connects are refused
    s = Connecting(port);
    EXPECT_EQ(EventsFor(s), Events{Reply(FD_CONNECT, WSAECONNREFUSED)}) << "no FD_CLOSE after a failed connect";
    EXPECT_EQ(WSAGETSELECTERROR(EventsFor(s)[0]), 10061);
    closesocket(s);
}

TEST_F(WinsockEvents, GracefulCloseWaitsUntilTheDataWasRead) {
    auto [s, fd] = Accepted(FD_READ | FD_CLOSE);
    ASSERT_TRUE(peer::Write(fd, "0123456789"));
    ClosePeer(fd);
    ASSERT_TRUE(Until(s, FD_READ, 1));
    Settle();
    EXPECT_EQ(EventsFor(s), Events{Reply(FD_READ)}) << "the close must wait for the unread data";

    EXPECT_EQ(Receive(s, 4), "0123");
    ASSERT_TRUE(Until(s, FD_READ, 2));
    Settle();
    EXPECT_EQ(Count(s, FD_CLOSE), 0);

    EXPECT_EQ(Receive(s, 64), "456789");
    ASSERT_TRUE(Until(s, FD_CLOSE, 1));
    Settle();
    EXPECT_EQ(EventsFor(s), (Events{Reply(FD_READ), Reply(FD_READ), Reply(FD_CLOSE)}));
    EXPECT_EQ(Receive(s, 64), "") << "end of stream";
}

// How a peer leaves: data and close in one go (read in the window procedure), a close without
// data, and a reset, which is reported at once without waiting for the data to be read.
TEST_F(WinsockEvents, ThePeerLeaves) {
    const struct {
        const char* data;
        bool reset;
        Events closes;
    } rows[] = {
        {"GET /index.htm HTTP/1.0\r\n\r\n", false, {Reply(FD_READ), Reply(FD_CLOSE)}},
        {"", false, {Reply(FD_CLOSE)}},
        {"never read", true, {Reply(FD_CLOSE, WSAECONNRESET)}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.data);
        auto [s, fd] = Accepted();
        std::string received;
        onMessage = [&, s = s](const SocketMessage& m) {
            if (WSAGETSELECTEVENT(m.lParam) == FD_READ && !row.reset) received += Receive(s, 256);
        };
        ASSERT_EQ(WSAAsyncSelect(s, window, kMessage, FD_READ | FD_CLOSE), 0);
        ASSERT_TRUE(!*row.data || peer::Write(fd, row.data));
        ClosePeer(fd, row.reset);
        ASSERT_TRUE(Until(s, FD_CLOSE, 1));
        Settle();
        Events events = EventsFor(s), closes;
        std::copy_if(events.begin(), events.end(), std::back_inserter(closes),
                     [&](LPARAM l) { return !row.reset || WSAGETSELECTEVENT(l) == FD_CLOSE; });
        EXPECT_EQ(closes, row.closes);
        EXPECT_EQ(received, row.reset ? "" : row.data);
    }
}

TEST_F(WinsockEvents, MaskZeroCancelsAndAReselectReportsWhatWaits) {
    auto [s, fd] = Accepted(FD_READ | FD_WRITE | FD_CLOSE);
    ASSERT_TRUE(Until(s, FD_WRITE, 1));
    ULONG blocking = 0;
    EXPECT_EQ(ioctlsocket(s, FIONBIO, &blocking), SOCKET_ERROR) << "a selected socket stays non-blocking";
    EXPECT_EQ(WSAGetLastError(), WSAEINVAL);

    ASSERT_EQ(WSAAsyncSelect(s, window, 0, 0), 0);
    EXPECT_TRUE(peer::IsNonBlocking((int)s));
    ASSERT_TRUE(peer::Write(fd, "late"));
    ClosePeer(fd);
    Settle();
    EXPECT_EQ(EventsFor(s), Events{Reply(FD_WRITE)});
    ULONG waiting = 0;
    EXPECT_EQ(ioctlsocket(s, FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 4u);
    EXPECT_EQ(ioctlsocket(s, FIONBIO, &blocking), 0);
    EXPECT_FALSE(peer::IsNonBlocking((int)s));

    // A new selection, with a new message number, reports the data and then the close.
    constexpr UINT kOther = kMessage + 5;
    std::string received;
    onMessage = [&, s = s](const SocketMessage& m) {
        if (m.message == kOther && WSAGETSELECTEVENT(m.lParam) == FD_READ) received += Receive(s, 64);
    };
    ASSERT_EQ(WSAAsyncSelect(s, window, kOther, FD_READ | FD_CLOSE), 0);
    ASSERT_TRUE(Until(s, FD_CLOSE, 1));
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[1].message, kOther);
    EXPECT_EQ(messages[1].lParam, Reply(FD_READ));
    EXPECT_EQ(messages[2].message, kOther);
    EXPECT_EQ(messages[2].lParam, Reply(FD_CLOSE));
    EXPECT_EQ(received, "late");
}

TEST_F(WinsockEvents, ClosesocketStopsEventsAndReleasesTheSocket) {
    auto [s, fd] = Accepted(FD_READ | FD_CLOSE);
    EXPECT_EQ(platform::OpenSocketCount(), 1);
    ASSERT_TRUE(peer::Write(fd, "unseen"));
    EXPECT_EQ(closesocket(s), 0);
    EXPECT_EQ(platform::OpenSocketCount(), 0);
    Settle();
    EXPECT_EQ(messages.size(), 0u);

    EXPECT_EQ(Failure(closesocket(s)), WSAENOTSOCK);
    EXPECT_EQ(Receive(s, 1), "<error 10038>");
    EXPECT_EQ(peer::ReadExactly(fd, 1, 2000), "") << "the far side sees the close";
}

TEST_F(WinsockEvents, NoMessageReachesADestroyedWindow) {
    auto [s, fd] = Accepted(FD_READ | FD_CLOSE);
    // A second window keeps the loop turning; nothing may be queued for the dead one.
    HWND other = CreateWindowExA(0, "SocketTestWindow", "other", 0, 0, 0, 80, 25, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(other, nullptr);
    SetTimer(other, 1, 20, nullptr);
    ASSERT_TRUE(DestroyWindow(window));
    window = nullptr;
    ASSERT_TRUE(peer::Write(fd, "orphan"));
    ClosePeer(fd);
    Settle();
    EXPECT_EQ(messages.size(), 0u);
    EXPECT_EQ(platform::QueuedMessageCount(), 0u);
    DestroyWindow(other);
}

}  // namespace
