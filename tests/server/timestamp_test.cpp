#include "base/timestamp.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

#include "platform/profile.h"
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

// Each row's [intl] lines are written before its time is formatted, so the settings are read on
// every call.
TEST_F(TimeStampTest, TheRegionalSettingsShapeTheStamp) {
    const struct {
        const char* intl;
        time_t time;
        const char* stamp;
    } rows[] = {
        {"", kAfternoon, " Mon  11/16/26 -   2:05:09 PM  "},  // month/day/year, the 12-hour clock
        {"iTime=0\n", kAfternoon, " Mon  11/16/26 -   2:05:09 PM  "},
        {"", kMidnight, " Mon  11/16/26 -   12:00:00 AM  "},
        {"", kNoon, " Mon  11/16/26 -   12:00:00 PM  "},
        {"", kLastSecond, " Mon  11/16/26 -   11:59:59 PM  "},
        {"iTime=2\n", kNoon, " Mon  11/16/26 -   12:00:00 PM  "},  // anything but 1 is the 12-hour clock
        {"iDate=1\niTime=1\nsDate=.\n", kAfternoon, " Mon  16.11.26 - 14:05:09  "},
        {"iDate=1\niTime=1\nsDate=.\n", kMidnight, " Mon  16.11.26 - 00:00:00  "},
        {"iDate=1\niTime=1\nsDate=.\n", kLastSecond, " Mon  16.11.26 - 23:59:59  "},
        {"iDate=2\n", kAfternoon, " Mon  26/11/16 -   2:05:09 PM  "},
        {"iDate=2\n", kMarch2005, " Mon  5/03/07 -   9:08:07 AM  "},
        {"iDate=1\n", kMarch2005, " Mon  7/03/05 -   9:08:07 AM  "},
        {"iDate=7\n", kMarch2005, " Mon  3/07/05 -   9:08:07 AM  "},
        // Separators keep one character, suffixes four; empty values are used as they are.
        {"sDate=-/-\nsTime=.:\ns1159=morning\ns2359=\"p.m.\"\n", kMarch2005, " Mon  3-07-05 -   9.08.07 morn  "},
        {"sDate=-/-\nsTime=.:\ns1159=morning\ns2359=\"p.m.\"\n", kAfternoon, " Mon  11-16-26 -   2.05.09 p.m.  "},
        {"sDate=\ns2359=\n", kAfternoon, " Mon  111626 -   2:05:09   "},
        {"iTime=1\n", kAfternoon, " Mon  11/16/26 - 14:05:09  "},
        {"iTime=0\ns2359=pm\n", kAfternoon, " Mon  11/16/26 -   2:05:09 pm  "},
    };
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 -   2:05:09 PM  ") << "without a file";
    for (const auto& row : rows) {
        Intl(row.intl);
        EXPECT_EQ(Stamp(row.time), row.stamp) << row.intl << " at " << row.time;
    }
}

// The format is kept between stamps, but never past a change: an edit of the file (here of
// another size, so that it shows within one tick of the file system's clock), another file,
// or the file's removal.
TEST_F(TimeStampTest, TheNextStampFollowsAnyChangeOfTheRegionalSettings) {
    dir.Write("korvel.ini", "[intl]\niTime=1\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 - 14:05:09  ");
    dir.Write("korvel.ini", "[intl]\niTime=1\nsTime=.\n");
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 - 14.05.09  ");
    TempDir other;
    other.Write("korvel.ini", "[intl]\niDate=1\n");
    platform::SetRegionalSettingsFile((other.path() + "\\korvel.ini").c_str());
    EXPECT_EQ(Stamp(kAfternoon), " Mon  16/11/26 -   2:05:09 PM  ");
    std::remove(other.File("korvel.ini").c_str());
    EXPECT_EQ(Stamp(kAfternoon), " Mon  11/16/26 -   2:05:09 PM  ");
}

}  // namespace
