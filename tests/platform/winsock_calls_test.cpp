// The Winsock calls themselves: start-up, error numbers, options, names, and datagrams. (Raw
// ICMP sockets are tested through the ping engine, end to end.)

#include <sys/resource.h>

#include <cstring>
#include <string>

#include "platform/winsock_fixture.h"

namespace {

using testing_support::Failure;
using testing_support::WinsockTest;

std::string Dotted(ULONG value) {
    unsigned char b[4];
    memcpy(b, &value, 4);
    return std::to_string(b[0]) + "." + std::to_string(b[1]) + "." + std::to_string(b[2]) + "." +
           std::to_string(b[3]);
}

// ---------------------------------------------------------------------------------------------
// Start-up.

TEST(WinsockStartup, GrantsOneOneAndCountsStartups) {
    EXPECT_EQ(Failure(WSACleanup()), WSANOTINITIALISED);

    WSADATA data;
    EXPECT_EQ(WSAStartup(0x0001, &data), WSAVERNOTSUPPORTED);  // 1.0
    EXPECT_EQ(WSAStartup(0x0100, &data), WSAVERNOTSUPPORTED);  // 0.1
    EXPECT_EQ(WSACleanup(), SOCKET_ERROR) << "a refused start-up is not counted";

    rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit lowered = saved;
    lowered.rlim_cur = 200;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
    int result = WSAStartup(0x0101, &data);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
    ASSERT_EQ(result, 0);  // (the versions, description and datagram size show in the start-up box)
    EXPECT_STREQ(data.szSystemStatus, "Running");
    EXPECT_EQ(data.iMaxSockets, 200);

    // A later version is asked for: 1.1 is what there is.
    ASSERT_EQ(WSAStartup(0x0202, &data), 0);
    EXPECT_EQ(data.wVersion, 0x0101);
    EXPECT_LE(data.iMaxSockets, 32767);

    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(Failure(WSACleanup()), WSANOTINITIALISED);
    WSASetLastError(1234);
    EXPECT_EQ(WSAGetLastError(), 1234);
}

// ---------------------------------------------------------------------------------------------
// Error numbers and options.

class WinsockCalls : public WinsockTest {};

TEST_F(WinsockCalls, FailuresGiveWinsockNumbers) {
    SOCKADDR_IN same;
    SOCKET server = Bound(&same, true);
    SOCKET second = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(Failure(bind(second, (const SOCKADDR*)&same, sizeof same)), WSAEADDRINUSE);
    EXPECT_EQ(Failure(bind(second, (const SOCKADDR*)&same, 8)), WSAEFAULT);

    uint16_t closedPort;
    ASSERT_GE(Keep(peer::BoundOnly(&closedPort)), 0);
    SOCKADDR_IN refused = Loopback(closedPort);
    EXPECT_EQ(Failure(connect(second, (const SOCKADDR*)&refused, sizeof refused)), WSAECONNREFUSED);

    EXPECT_EQ(Failure(socket(23, SOCK_STREAM, 0)), WSAEAFNOSUPPORT);
    EXPECT_EQ(Failure(socket(AF_INET, 9, 0)), WSAESOCKTNOSUPPORT);
    EXPECT_EQ(Failure(listen(INVALID_SOCKET, 1)), WSAENOTSOCK);
    EXPECT_EQ(accept(second, nullptr, nullptr), INVALID_SOCKET);
    EXPECT_EQ(WSAGetLastError(), WSAEINVAL) << "accept on a socket that does not listen";

    EXPECT_EQ(closesocket(second), 0);
    EXPECT_EQ(closesocket(server), 0);
}

TEST_F(WinsockCalls, RecvWithoutDataWouldBlock) {
    auto [s, fd] = Accepted();
    ULONG on = 1;
    ASSERT_EQ(ioctlsocket(s, FIONBIO, &on), 0);
    char buffer[8];
    EXPECT_EQ(Failure(recv(s, buffer, sizeof buffer, 0)), WSAEWOULDBLOCK);

    ASSERT_TRUE(peer::Write(fd, "abc"));
    ASSERT_TRUE(PumpUntil([&] {
        ULONG waiting = 0;
        return ioctlsocket(s, FIONREAD, &waiting) == 0 && waiting == 3;
    }));
    EXPECT_EQ(recv(s, buffer, sizeof buffer, 2 /* MSG_PEEK */), 3);
    EXPECT_EQ(recv(s, buffer, sizeof buffer, 0), 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_EQ(Failure(recv(s, buffer, sizeof buffer, 0x100)), WSAEOPNOTSUPP);
    closesocket(s);
}

TEST_F(WinsockCalls, OptionsAreTranslatedAndTheTcpLevelLingerIsRefused) {
    SOCKET s = socket(AF_INET, SOCK_STREAM, 0);
    int on = 0, seconds = 0;

    // The linger option asked at the TCP level is no option at all: nothing is set.
    LINGER linger{1, 30};
    EXPECT_EQ(Failure(setsockopt(s, IPPROTO_TCP, 128, (const char*)&linger, sizeof linger)), WSAENOPROTOOPT);
    ASSERT_TRUE(peer::Linger((int)s, &on, &seconds));
    EXPECT_EQ(on, 0);

    LINGER seven{1, 7};
    EXPECT_EQ(setsockopt(s, SOL_SOCKET, SO_LINGER, (const char*)&seven, sizeof seven), 0);
    ASSERT_TRUE(peer::Linger((int)s, &on, &seconds));
    EXPECT_EQ(on, 1);
    EXPECT_EQ(seconds, 7);
    EXPECT_EQ(Failure(setsockopt(s, SOL_SOCKET, SO_LINGER, (const char*)&seven, 2)), WSAEFAULT);

    int yes = 1;
    EXPECT_EQ(setsockopt(s, IPPROTO_TCP, TCP_NODELAY, (const char*)&yes, sizeof yes), 0);
    EXPECT_TRUE(peer::NoDelay((int)s));
    EXPECT_EQ(setsockopt(s, SOL_SOCKET, SO_REUSEADDR, (const char*)&yes, sizeof yes), 0);
    EXPECT_EQ(Failure(setsockopt(s, SOL_SOCKET, 0x1234, (const char*)&yes, sizeof yes)), WSAENOPROTOOPT);
    EXPECT_EQ(Failure(ioctlsocket(s, 0x1234, (ULONG*)&yes)), WSAEINVAL);
    closesocket(s);
}

TEST_F(WinsockCalls, ARestartedServerGetsItsPortBackDuringTimeWait) {
    SOCKADDR_IN same;
    SOCKET server = Bound(&same, true);
    int fd = Keep(peer::Connect(ntohs(same.sin_port)));
    SOCKET a = accept(server, nullptr, nullptr);
    ASSERT_NE(a, INVALID_SOCKET);
    // The server closes first, so its side of the connection lingers in TIME_WAIT.
    closesocket(a);
    EXPECT_EQ(peer::ReadExactly(fd, 1, 2000), "");
    ClosePeer(fd);
    closesocket(server);

    SOCKET again = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(bind(again, (const SOCKADDR*)&same, sizeof same), 0);
    EXPECT_EQ(listen(again, 2), 0);
    closesocket(again);
}

// ---------------------------------------------------------------------------------------------
// Names.

TEST(WinsockNames, InetAddrFollowsTheBsdRules) {
    struct Case {
        const char* text;
        const char* address;  // dotted bytes in network order, or nullptr for INADDR_NONE
    };
    const Case cases[] = {
        {"127.0.0.1", "127.0.0.1"},
        {"10.1.2.3", "10.1.2.3"},
        {"1.2.3", "1.2.0.3"},         // the last part fills the low 16 bits
        {"1.2", "1.0.0.2"},           // ... the low 24 bits
        {"16909060", "1.2.3.4"},      // ... all 32 bits
        {"1.2.65535", "1.2.255.255"},
        {"0x7f.0.0.1", "127.0.0.1"},  // hexadecimal part
        {"010.0.0.1", "8.0.0.1"},     // octal part
        {"1.2.65536", nullptr},
        {"256.0.0.1", nullptr},
        {"1.2.3.4.5", nullptr},
        {"1..2.3", nullptr},
        {"1.2.3.4x", nullptr},
        {"", nullptr},
        {"localhost", nullptr},
    };
    for (const auto& c : cases) {
        ULONG a = inet_addr(c.text);
        if (c.address)
            EXPECT_EQ(Dotted(a), c.address) << c.text;
        else
            EXPECT_EQ(a, INADDR_NONE) << c.text;
    }
    EXPECT_EQ(inet_addr(nullptr), INADDR_NONE);
}

TEST(WinsockNames, GethostbynameGivesIpv4AddressesInNetworkOrder) {
    for (const char* name : {"localhost", "127.0.0.1"}) {
        HOSTENT* h = gethostbyname(name);
        ASSERT_NE(h, nullptr) << name;
        EXPECT_EQ(h->h_addrtype, AF_INET);
        EXPECT_EQ(h->h_length, 4);
        ASSERT_NE(h->h_name, nullptr);
        EXPECT_STRNE(h->h_name, "");
        ASSERT_NE(h->h_aliases, nullptr);
        EXPECT_EQ(h->h_aliases[0], nullptr);
        ASSERT_NE(h->h_addr_list[0], nullptr);
        ULONG first;
        memcpy(&first, h->h_addr_list[0], 4);
        EXPECT_EQ(Dotted(first), "127.0.0.1") << name;
        int count = 0;
        while (count < 17 && h->h_addr_list[count]) ++count;
        EXPECT_LE(count, 16) << "the address list ends with a null pointer";
    }
    EXPECT_EQ(gethostbyname("127.0.0.1")->h_addr_list[1], nullptr);

    WSASetLastError(0);
    EXPECT_EQ(gethostbyname("no-such-host.invalid"), nullptr);
    EXPECT_EQ(WSAGetLastError(), WSAHOST_NOT_FOUND);
}

// ---------------------------------------------------------------------------------------------
// Datagrams.

TEST_F(WinsockCalls, DatagramsArriveWholeOrAreCutWithMsgSize) {
    SOCKET sender = socket(AF_INET, SOCK_DGRAM, 0), receiver = socket(AF_INET, SOCK_DGRAM, 0);
    SOCKADDR_IN any = Loopback(0);
    ASSERT_EQ(bind(sender, (const SOCKADDR*)&any, sizeof any), 0);
    ASSERT_EQ(bind(receiver, (const SOCKADDR*)&any, sizeof any), 0);
    SOCKADDR_IN to = Loopback(peer::LocalPort((int)receiver));
    ASSERT_EQ(WSAAsyncSelect(receiver, window, kMessage, FD_READ), 0);

    ASSERT_EQ(sendto(sender, "ping!", 5, 0, (const SOCKADDR*)&to, sizeof to), 5);
    ASSERT_TRUE(Until(receiver, FD_READ, 1));
    ULONG waiting = 0;
    EXPECT_EQ(ioctlsocket(receiver, FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 5u);
    char buffer[64];
    SOCKADDR_IN from{};
    int length = sizeof from;
    ASSERT_EQ(recvfrom(receiver, buffer, sizeof buffer, 0, (SOCKADDR*)&from, &length), 5);
    EXPECT_EQ(std::string(buffer, 5), "ping!");
    EXPECT_EQ(length, 16);
    EXPECT_EQ(from.sin_addr.S_addr, inet_addr("127.0.0.1"));
    EXPECT_EQ(ntohs(from.sin_port), peer::LocalPort((int)sender));

    ASSERT_EQ(sendto(sender, "0123456789", 10, 0, (const SOCKADDR*)&to, sizeof to), 10);
    ASSERT_TRUE(Until(receiver, FD_READ, 2));
    memset(buffer, 0, sizeof buffer);
    EXPECT_EQ(Failure(recvfrom(receiver, buffer, 4, 0, nullptr, nullptr)), WSAEMSGSIZE);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_EQ(ioctlsocket(receiver, FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 0u) << "the rest of a cut datagram is gone";
    length = 8;
    EXPECT_EQ(Failure(recvfrom(receiver, buffer, sizeof buffer, 0, (SOCKADDR*)&from, &length)), WSAEFAULT);

    closesocket(sender);
    closesocket(receiver);
}

}  // namespace
