// Setting a target: the dotted-address reader, and ConnectICMP's failures and successes.

#include <gtest/gtest.h>

#include <array>

#include "ping/icmp.h"
#include "ping/ping_fixture.h"
#include "platform/messages.h"
#include "shell/shell.h"

namespace {

using ping_testing::PingTest;

struct DottedCase {
    const char* text;
    int count;
    std::array<uint8_t, 4> address;
};

TEST(DottedAddress, PiecesAreCutAtDotsAndBlanksAndFailedPiecesRunIntoTheNext) {
    const DottedCase cases[] = {
        {"1.2.3.4", 4, {1, 2, 3, 4}},
        {"1..2.3.4", 4, {1, 2, 3, 4}},        // an empty piece does not read, and is empty
        {"10.0.0.1.7", 4, {10, 0, 0, 1}},     // pieces after the fourth are ignored
        {"1.2.3", 3, {1, 2, 3, 0}},
        {"1 2 3 4", 4, {1, 2, 3, 4}},         // blanks cut too
        {" 1.2.3.4 ", 4, {1, 2, 3, 4}},
        {"300.1.2.3.4", 4, {1, 2, 3, 4}},     // reads, but out of range: dropped, not kept
        {"-1.1.2.3.4", 4, {1, 2, 3, 4}},
        {"1.2x.3.4", 4, {1, 2, 3, 4}},        // "%hd" stops at the x
        {"x.1.2.3.4", 0, {0, 0, 0, 0}},       // "x", "x1", "x12", ... never read
        {"1.x.2.3.4", 1, {1, 0, 0, 0}},
        {"0.0.0.0", 4, {0, 0, 0, 0}},
        {"", 0, {0, 0, 0, 0}},
        {"....", 0, {0, 0, 0, 0}},
        {"1.2.3.4.5.6.7", 4, {1, 2, 3, 4}},
    };
    for (const DottedCase& c : cases) {
        std::array<uint8_t, 4> address = {0, 0, 0, 0};
        EXPECT_EQ(ping::DottedAddress(c.text, address.data()), c.count) << '"' << c.text << '"';
        EXPECT_EQ(address, c.address) << '"' << c.text << '"';
    }
}

TEST(DottedAddress, AnOverlongPieceIsCutToTheBuffer) {
    std::string text(500, '7');
    uint8_t address[4] = {};
    EXPECT_EQ(ping::DottedAddress((text + ".1.2.3.4").c_str(), address), 4);
}

class Connect : public PingTest {};

TEST_F(Connect, WithoutAnOpenSocketNothingHappens) {
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "127.0.0.1", "", 0), 0);
    EXPECT_EQ(ping::IcmpState, 0);
    EXPECT_EQ(frontEnd.printed, "");
}

// Texts that are not names fail in the dotted reader: "127.0.1" would be 127.0.0.1 to the
// system's resolver, but has three pieces.
TEST_F(Connect, AnUnresolvableHostEndsTheRunOnTheConsole) {
    ASSERT_TRUE(UseFakeSocket());
    ping::PingAuto = 1;
    SetWindowTextA(MainWindow, "Ping");
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "127.0.1", "", 0), 0);
    EXPECT_EQ(frontEnd.printed, "PING, Unable to Resolve 127.0.1\n");
    EXPECT_EQ(ping::IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(ping::PingAuto, 0);
    EXPECT_EQ(Title(), "Korvel");
    EXPECT_TRUE(frontEnd.boxes.empty());
}

TEST_F(Connect, TheNullAddressWithoutPageModeIsRefusedInABox) {
    for (const char* host : {"0.0.0.0", "0..0.0.0"}) {
        ASSERT_TRUE(UseFakeSocket());
        ping::PingAuto = 1;
        EXPECT_EQ(ping::ConnectICMP(MainWindow, host, "", 0), 0);
        EXPECT_EQ(frontEnd.boxes, std::vector<std::string>{"korvel: ConnectICMP, Nul address Error\n"}) << host;
        EXPECT_EQ(ping::IcmpSocket, INVALID_SOCKET);
        EXPECT_EQ(ping::PingAuto, 0);
        frontEnd.boxes.clear();
        udp::Close(peer);
    }
    EXPECT_EQ(frontEnd.printed, "");
}

TEST_F(Connect, TheNullAddressInPageModeMakesAListenerThatSendsNothing) {
    if (!RawSocketsAllowed()) GTEST_SKIP() << "raw ICMP sockets need root or CAP_NET_RAW";
    ping::PingPage = 1;
    ping::PingAuto = 1;
    ASSERT_EQ(ping::OpenICMP(MainWindow, &ping::IcmpSocket), 1);
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "0.0.0.0", "hello", 5), 1);
    EXPECT_EQ(ping::PingListen, 1);
    EXPECT_EQ(ping::PingAuto, 0);
    EXPECT_EQ(ping::IcmpLength, 0);
    EXPECT_EQ(ping::IcmpState, ping::TargetSet);
    EXPECT_EQ(ping::PingSent, 0u);
    EXPECT_EQ(ping::PingSequence, 0u);
    ping::CloseICMP();
    EXPECT_EQ(ping::PingListen, 0);
}

// Each of these reaches 127.0.0.1 and sends the first echo there with the current sequence.
TEST_F(Connect, DottedTextsAreReadForgivinglyAndTheFirstEchoGoesOut) {
    if (!RawSocketsAllowed()) GTEST_SKIP() << "raw ICMP sockets need root or CAP_NET_RAW";
    for (const char* host : {"127.0.0.1", "127..0.0.1", "127.0.0.1.7", "127 0 0 1"}) {
        ping::PingSequence = 41;
        ping::PingSent = 0;
        ASSERT_EQ(ping::OpenICMP(MainWindow, &ping::IcmpSocket), 1);
        EXPECT_EQ(ping::ConnectICMP(MainWindow, host, "abcde", 5), 1) << host;
        EXPECT_EQ(ping::TargetAddress.sin_addr.S_addr, inet_addr("127.0.0.1")) << host;
        EXPECT_EQ(ping::TargetAddress.sin_port, 0);
        EXPECT_EQ(ping::IcmpState, ping::TargetSet | ping::RequestPending);
        EXPECT_EQ(ping::IcmpType, 8);
        EXPECT_EQ(ping::LastTag, 0xC0C00029u) << "sent with sequence 41";
        EXPECT_EQ(ping::PingSequence, 42u) << "then counted on";
        EXPECT_EQ(ping::PingSent, 1u);
        EXPECT_EQ(ping::IcmpLength, 16);
        ping::CloseICMP();
    }
    EXPECT_EQ(frontEnd.printed, "");
}

TEST_F(Connect, ADollarHostInPageModeIsSentEchoReplies) {
    if (!RawSocketsAllowed()) GTEST_SKIP() << "raw ICMP sockets need root or CAP_NET_RAW";
    ping::PingPage = 1;
    ASSERT_EQ(ping::OpenICMP(MainWindow, &ping::IcmpSocket), 1);
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "$127.0.0.1", "hi", 2), 1);
    EXPECT_EQ(ping::IcmpType, 0);
    EXPECT_EQ(ping::TargetAddress.sin_addr.S_addr, inet_addr("127.0.0.1"));
    ping::CloseICMP();

    // A plain host asks for echo requests again.
    ASSERT_EQ(ping::OpenICMP(MainWindow, &ping::IcmpSocket), 1);
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "127.0.0.1", "hi", 2), 1);
    EXPECT_EQ(ping::IcmpType, 8);
}

}  // namespace
