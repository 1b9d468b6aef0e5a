// Setting a target: the dotted-address reader, and ConnectICMP's failures.

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

// Texts that are no names fail in the dotted reader: "127.0.1" would be 127.0.0.1 to the
// system's resolver, but has three pieces. (Successful targets are tested end to end.)
TEST_F(Connect, AnUnresolvableHostEndsTheRunOnTheConsoleAndANullOneInABox) {
    ASSERT_TRUE(UseFakeSocket());
    ping::Run.PingAuto = 1;
    SetWindowTextA(MainWindow, "Ping");
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "127.0.1", "", 0), 0);
    EXPECT_EQ(frontEnd.printed, "PING, Unable to Resolve 127.0.1\n");
    EXPECT_EQ(ping::Run.IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(ping::Run.PingAuto, 0);
    EXPECT_EQ(Title(), "Korvel");
    EXPECT_TRUE(frontEnd.boxes.empty());
    EXPECT_EQ(ping::ConnectICMP(MainWindow, "127.0.0.1", "", 0), 0) << "nothing happens on a closed socket";

    frontEnd.printed.clear();
    for (const char* host : {"0.0.0.0", "0..0.0.0"}) {
        peer::Close(peer);
        ASSERT_TRUE(UseFakeSocket());
        ping::Run.PingAuto = 1;
        EXPECT_EQ(ping::ConnectICMP(MainWindow, host, "", 0), 0);
        EXPECT_EQ(frontEnd.boxes, std::vector<std::string>{"korvel: ConnectICMP, Nul address Error\n"}) << host;
        EXPECT_EQ(ping::Run.IcmpSocket, INVALID_SOCKET);
        EXPECT_EQ(ping::Run.PingAuto, 0);
        frontEnd.boxes.clear();
    }
    EXPECT_EQ(frontEnd.printed, "");
}

}  // namespace
