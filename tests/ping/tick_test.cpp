// The one-second tick: timeouts and resends, automatic runs, the blinking title, the reopening
// of a closed socket and the listener's poll. The tick is called directly, one call a second.

#include <gtest/gtest.h>

#include <cstring>

#include "ping/icmp.h"
#include "ping/ping_fixture.h"
#include "settings/settings.h"
#include "shell/shell.h"

namespace {

using peer::Bytes;
using Numbers = std::vector<int>;

class Tick : public ping_testing::PingTest {
protected:
    void SetUp() override {
        PingTest::SetUp();
        ASSERT_TRUE(UseFakeSocket());
        strcpy(ping::Run.PingHost, "127.0.0.1");
        strcpy(ping::Run.PingData, "abcde");
        ping::Run.PingTimeout = 2;
        ping::Run.PingRetryNumber = 3;
    }
    // A run as the dialog starts it: the retries set, the target set, the first echo sent with
    // the current sequence, which is then counted on.
    void StartRun(int16_t automatic, int16_t retriesLeft) {
        ping::Run.PingAuto = automatic;
        ping::Run.RetriesLeft = retriesLeft;
        ping::Run.IcmpState = ping::TargetSet;
        uint32_t sequence = ping::Run.PingSequence++;
        ASSERT_EQ(ping::SENDICMP(MainWindow, "abcde", 5, ping::MakeEchoTag(5, sequence), 8, ping::Run.TargetAddress), 1);
    }
    void Ticks(int n) {
        for (int i = 0; i < n; ++i) ping::ICMPCheck();
    }
    // The sequence numbers of the echoes the peer received so far.
    Numbers Sequences() {
        for (Bytes echo = PeerReceives(100); !echo.empty(); echo = PeerReceives(100)) {
            EXPECT_EQ(echo.size(), 16u);
            if (echo.size() >= 8) received.push_back(echo[4] | echo[5] << 8);
        }
        return received;
    }
    Numbers received;
};

TEST_F(Tick, ASinglePingWithoutAnswerResendsUntilItsRetriesAreUsedUp) {
    ping::Run.PingSequence = 5;
    StartRun(0, 3);
    Ticks(1);
    EXPECT_EQ(Field(123), "1");
    Ticks(1);  // the first timeout
    EXPECT_EQ(Field(125), "");
    EXPECT_EQ(Field(126), "Timeout, Sent=2");
    EXPECT_EQ(Field(123) + Field(127), "22");
    EXPECT_EQ(Sequences(), (Numbers{5, 6})) << "ConnectICMP counted on, so the resend has the next number";
    Ticks(2);
    EXPECT_EQ(Field(126), "Timeout, Sent=3");
    EXPECT_EQ(Field(127), "1");
    Ticks(2);  // the last timeout ends the run (its fields and sends are checked end to end)
    EXPECT_EQ(ping::Run.IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(ping::Run.IcmpState, 0);
    Ticks(1);
    EXPECT_EQ(ping::Run.PingSent, 3u);
    EXPECT_EQ(frontEnd.printed, "");
}

TEST_F(Tick, AnAutomaticRunGoesOnAfterRepliesAndTimeoutsWithABlinkingTitle) {
    StartRun(1, 3);
    PeerAnswers(PeerReceives());
    EngineReads();
    received.push_back(0);
    Ticks(1);  // the reply moves the run on to the next number
    EXPECT_EQ(Title(), "Ping");
    EXPECT_EQ(ping::Run.PingAlive, 1);
    EXPECT_EQ(Sequences(), (Numbers{0, 2}));
    EXPECT_EQ(Field(123) + Field(127), "23");
    Ticks(1);
    EXPECT_EQ(Title(), "127.0.0.1 is alive");
    Ticks(1);  // timeout: resend
    EXPECT_EQ(Title(), "Ping");
    EXPECT_EQ(ping::Run.PingAlive, 0);
    Ticks(1);
    EXPECT_EQ(Title(), "127.0.0.1 timeout");
    Ticks(4);
    // Three sends of number 2, then the run moves on with its retries renewed.
    EXPECT_EQ(Sequences(), (Numbers{0, 2, 2, 2, 3}));
    EXPECT_EQ(ping::Run.RetriesLeft, 3);
    EXPECT_NE(ping::Run.IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(frontEnd.printed, "");
}

// The command line starts a run without setting the retries: the first number gets one send.
TEST_F(Tick, ARunStartedWithNoRetriesLeftMovesOnAtItsFirstTimeout) {
    ping::Run.PingTimeout = 1;
    StartRun(1, 0);
    Ticks(1);
    EXPECT_EQ(ping::Run.RetriesLeft, 3);
    Ticks(1);
    EXPECT_EQ(Sequences(), (Numbers{0, 2, 2}));
}

TEST_F(Tick, ANegativeTimeoutRunsOutAtTheFirstTick) {
    ping::Run.PingTimeout = -25536;
    StartRun(0, 3);
    Ticks(1);
    EXPECT_EQ(Field(126), "Timeout, Sent=2");
    EXPECT_EQ(Field(123), "-25536");
    EXPECT_EQ(Sequences(), (Numbers{0, 1}));
}

TEST_F(Tick, ASendWithAnUnexpectedStateIsReportedAndMadeAnyway) {
    ping::Run.PingAuto = 1;
    ping::Run.IcmpState = ping::ReplyReceived;  // no target set
    Ticks(1);
    EXPECT_EQ(frontEnd.printed, "ICMPCheck error, SendICMP and ICMPState=0\n");
    EXPECT_EQ(Sequences(), (Numbers{1}));
}

TEST_F(Tick, TheTickPollsTheSocketOfAListener) {
    Settings.Ping.Page = 1;
    ping::Run.PingListen = 1;
    ping::Run.IcmpState = ping::TargetSet;
    PeerSends(Bytes{8, 0, 0, 0, 0x2C, 0, 0, 0, 'h', 'i', 0, 0});
    ASSERT_TRUE(peer::WaitReadable((int)ping::Run.IcmpSocket, 2000));
    Ticks(1);
    EXPECT_EQ(frontEnd.printed, Stamp() + ", from  127.0.0.1\nhi\n");
    EXPECT_EQ(ping::Run.IcmpState, ping::TargetSet) << "a listener never waits for replies";
}

// Without the privilege the socket itself is refused; with it, binding its events to a window
// that does not exist fails instead. Either way the automatic run ends, for good.
using Reopen = ping_testing::PingTest;

TEST_F(Reopen, AReopenThatFailsEndsTheAutomaticRun) {
    SOCKET probe = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    bool raw = probe != INVALID_SOCKET;
    closesocket(probe);
    ping::Run.PingAuto = 1;
    HWND window = MainWindow;
    if (raw) MainWindow = nullptr;
    ping::ICMPCheck();
    MainWindow = window;
    EXPECT_EQ(frontEnd.printed, "ICMPcheck, Unable to open an ICMP socket ...\n");
    EXPECT_EQ(frontEnd.boxes, std::vector<std::string>{raw ? "Korvel: OpenICMP, AsyncSelect error 10022\n"
                                                            : "Korvel: OpenICMP, Socket error 10013 !!!\n"});
    EXPECT_EQ(ping::Run.PingAuto, 0);
    EXPECT_EQ(ping::Run.IcmpSocket, INVALID_SOCKET);
    ping::ICMPCheck();
    EXPECT_EQ(frontEnd.boxes.size(), 1u) << "no second attempt";
}

}  // namespace
