#include "server/timestamp.h"

#include <cstring>
#include <gtest/gtest.h>

#include "platform/profile.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using testing_support::ScopedEnv;
using testing_support::TempDir;

namespace {

// Monday 16 November 2026, UTC.
const time_t kAfternoon = 1794837909;  // 14:05:09
const time_t kMidnight = 1794787200;   // 00:00:00
const time_t kNoon = 1794830400;       // 12:00:00
const time_t kLastSecond = 1794873599; // 23:59:59
const time_t kMarch2005 = 1110186487;  // Monday 7 March 2005, 09:08:07

// Local time is UTC for these tests, and the regional settings come from the test's own file
// (the C locale adds nothing).
class TimeStampTest : public testing::Test {
protected:
    void SetUp() override {
        tzset();
        platform::FlushProfileCache();
        platform::SetRegionalSettingsFile((dir.path() + "\\korvel.ini").c_str());
    }
    void TearDown() override {
        platform::SetRegionalSettingsFile(nullptr);
        platform::FlushProfileCache();
    }
    ~TimeStampTest() override {
        tz.reset();  // the old zone back before the C library reads it again
        tzset();
    }

    // Rewrites of the same size may fall within one tick of the file system's clock, where
    // the profile cache cannot see them; these tests are about the formatting.
    void Intl(const std::string& lines) {
        dir.Write("korvel.ini", "[Server]\nMode=1cb\n[intl]\n" + lines);
        platform::FlushProfileCache();
    }

    std::string Stamp(time_t time) {
        char out[kTimeStampSize];
        memset(out, '#', sizeof out);
        int16_t length = TimeStamp(time, out);
        EXPECT_EQ(length, (int16_t)strlen(out));
        return out;
    }

    TempDir dir;
    std::unique_ptr<ScopedEnv> tz = std::make_unique<ScopedEnv>("TZ", "UTC");
    ScopedEnv all{"LC_ALL", "C"};
};

TEST_F(TimeStampTest, DefaultsGiveMonthDayYearAndTheTwelveHourClock) {
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 -   2:05:09 PM  ");
    Intl("iTime=0\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 -   2:05:09 PM  ");
}

TEST_F(TimeStampTest, DayMonthYearWithTheTwentyFourHourClock) {
    Intl("iDate=1\niTime=1\nsDate=.\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  16.11.26 - 14:05:09  ");
    EXPECT_EQ(Stamp(kMidnight), " Mon  16.11.26 - 00:00:00  ");
    EXPECT_EQ(Stamp(kLastSecond), " Mon  16.11.26 - 23:59:59  ");
}

TEST_F(TimeStampTest, MidnightAndNoonOnTheTwelveHourClock) {
    EXPECT_EQ(Stamp(kMidnight), " Mon  11/16/26 -   12:00:00 AM  ");
    EXPECT_EQ(Stamp(kNoon), " Mon  11/16/26 -   12:00:00 PM  ");
    EXPECT_EQ(Stamp(kLastSecond), " Mon  11/16/26 -   11:59:59 PM  ");
    Intl("iTime=2\n");  // anything but 1 is the 12-hour clock
    EXPECT_EQ(Stamp(kNoon), " Mon  11/16/26 -   12:00:00 PM  ");
}

TEST_F(TimeStampTest, YearFirstAndSmallNumbers) {
    Intl("iDate=2\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  26/11/16 -   2:05:09 PM  ");
    EXPECT_EQ(Stamp(kMarch2005), " Mon  5/03/07 -   9:08:07 AM  ");
    Intl("iDate=1\n");
    EXPECT_EQ(Stamp(kMarch2005), " Mon  7/03/05 -   9:08:07 AM  ");
    Intl("iDate=7\n");
    EXPECT_EQ(Stamp(kMarch2005), " Mon  3/07/05 -   9:08:07 AM  ");
}

TEST_F(TimeStampTest, SeparatorsKeepOneCharacterAndSuffixesFour) {
    Intl("sDate=-/-\nsTime=.:\ns1159=morning\ns2359=\"p.m.\"\n");
    EXPECT_EQ(Stamp(kMarch2005), " Mon  3-07-05 -   9.08.07 morn  ");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11-16-26 -   2.05.09 p.m.  ");
}

TEST_F(TimeStampTest, EmptyValuesAreUsedAsTheyAre) {
    Intl("sDate=\ns2359=\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  111626 -   2:05:09   ");
}

TEST_F(TimeStampTest, SettingsAreReadOnEveryCall) {
    Intl("iTime=1\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 - 14:05:09  ");
    Intl("iTime=0\ns2359=pm\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 -   2:05:09 pm  ");
}

}  // namespace
