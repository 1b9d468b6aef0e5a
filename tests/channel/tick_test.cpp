// The one-second tick: per-state time limits in 16-bit arithmetic, the polling of waiting
// channels, the connection-age limits, and the grab's progress line.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "channel/channel.h"
#include "channel/role.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "grabber/grab_client.h"
#include "platform/clock.h"
#include "server/receive.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"

namespace {

constexpr time_t kNow = 1800000000;

class ChannelTimeLimits : public testing_support::MainWindowTest {
protected:
    void SetUp() override {
        MainWindowTest::SetUp();
        platform::UseFakeClock(kNow, 0);
        Settings.Server.ServerMode = kHttpModel & ~ModeDuplex;  // an invalid socket is reported
    }
    Channel& Take(int ch, uint16_t state, int idle, int age = 0, uint16_t connected = 1) {
        Channel& c = Channels[ch];
        c.Role = RoleFor(RoleKind::RemoteClient);
        c.State = state;
        c.Connected = connected;
        c.StateTime = (uint32_t)(kNow - idle);
        c.ConnectTime = (uint32_t)(kNow - age);
        c.Socket = INVALID_SOCKET;
        return c;
    }
    int Polls() {
        int count = 0;
        for (size_t at = frontEnd.printed.find("and INVALID SOCKET"); at != std::string::npos;
             at = frontEnd.printed.find("and INVALID SOCKET", at + 1))
            ++count;
        return count;
    }
};

TEST_F(ChannelTimeLimits, WithoutTimeoutsAWaitingChannelIsPolledEverySecondForEver) {
    Settings.Server.ServerMode &= ~EnableTimeout;
    Take(0, kWaiting, 10000, 10000);
    for (int i = 0; i < 3; ++i) ChannelTick();
    EXPECT_EQ(Polls(), 3);
    EXPECT_EQ(Channels[0].State, kWaiting);
    Take(1, kWaiting, 100, 100, 0);
    ChannelTick();
    EXPECT_EQ(Channels[1].State, kWaiting) << "a connect that never completes stays PreWait";
}

// Each row: a channel in a state for `idle` seconds, connected `age` seconds ago, and its state
// after one tick. The differences are taken in 16 bits.
TEST_F(ChannelTimeLimits, EachStateHasItsLimit) {
    const struct {
        const char* why;
        bool timeouts;
        int16_t connectionTimeout;
        uint16_t state;
        int idle, age;
        uint16_t connected, after;
    } rows[] = {
        {"waiting, a second before the limit", true, 120, kWaiting, 59, 10, 1, kWaiting},
        {"waiting at the limit: FD_CLOSE", true, 120, kWaiting, 60, 10, 1, kPurging},
        {"the difference wraps negative past 32767 s", true, 32767, kWaiting, 32768 + 60, 10, 1, kWaiting},
        {"a connect not yet given up", true, 120, kWaiting, 0, 29, 0, kWaiting},
        {"every connection ends at the connection timeout however busy", true, 120, kSending, 0, 120, 1, kFree},
        {"leaving, without timeouts", false, 120, kLeaving, 1, 0, 1, kLeaving},
        {"leaving expires even without timeouts", false, 120, kLeaving, 2, 0, 1, kFree},
        {"purging, a second before the limit", true, 120, kPurging, 59, 0, 1, kPurging},
        {"the purging limit closes a channel that cannot be drained", true, 120, kPurging, 60, 0, 1, kLeaving},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.why);
        Settings.Server.ServerMode = row.timeouts ? (kHttpModel & ~ModeDuplex) : (kHttpModel & ~ModeDuplex & ~EnableTimeout);
        Settings.Server.connectionTimeout = row.connectionTimeout;
        Take(0, row.state, row.idle, row.age, row.connected).TxCount = 0;
        frontEnd.printed.clear();
        ChannelTick();
        EXPECT_EQ(Channels[0].State, row.after);
        if (row.state == kPurging && row.after == kPurging) {
            EXPECT_EQ(Polls(), 1) << "the drain is tried every second";
        }
    }
}

TEST_F(ChannelTimeLimits, AConnectThatDoesNotCompleteIsGivenUpAfterThePreWaitingTime) {
    Take(0, kWaiting, 0, 30, 0);
    ChannelTick();
    EXPECT_NE(Channels[0].State, kWaiting);
    EXPECT_NE(frontEnd.printed.find("Remote Client <0> Logout"), std::string::npos);
}

TEST_F(ChannelTimeLimits, ChannelsBeyondTheChannelsInUseAreNeverTouched) {
    Settings.Server.HowManyClients = 3;
    Take(3, kLeaving, 1000);
    ChannelTick();
    EXPECT_EQ(Channels[3].State, kLeaving);
}

class Progress : public ChannelTimeLimits {
protected:
    void SetUp() override {
        ChannelTimeLimits::SetUp();
        memset(&Grab.Fetch, 0, sizeof Grab.Fetch);
        Grab.Fetch.Status = 200;
        Grab.Fetch.HeaderBytes = 100;
        Grab.Fetch.ContentLength = 1000;
        Settings.Standard.Url = 1;
        Channels[0].Fetch = &Grab.Fetch;
        Channels[0].RxBytes = 600;
    }
};

TEST_F(Progress, TheLineOverwritesItselfWithCharacterOne) {
    ProgressLine(0, 10);
    EXPECT_EQ(TakePrinted(), "050% [00050 Bytes/s] of 1000 bytes, 00010 s \x01");
    ProgressLine(0, 0);
    EXPECT_EQ(frontEnd.printed, "050% [00000 Bytes/s] of 1000 bytes, 99999 s \x01");
}

TEST_F(Progress, NothingIsPrintedWithoutAKnownLengthAndStatus200) {
    Grab.Fetch.ContentLength = kUnknownLength;
    ProgressLine(0, 10);
    Grab.Fetch.ContentLength = 1000;
    Grab.Fetch.Status = 404;
    ProgressLine(0, 10);
    Grab.Fetch.Status = 200;
    Settings.Standard.Url = 0;
    ProgressLine(0, 10);
    Settings.Standard.Url = 1;
    Grab.Fetch.NoCrawl = 1;
    ProgressLine(0, 10);
    EXPECT_EQ(frontEnd.printed, "");
}

}  // namespace
