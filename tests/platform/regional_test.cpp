#include <gtest/gtest.h>
#include <locale.h>

#include "platform/profile.h"
#include "support/temp_dir.h"

using testing_support::ScopedEnv;
using testing_support::TempDir;

namespace {

// The regional settings with a settings file of the test's own and a chosen time locale.
class RegionalTest : public testing::Test {
protected:
    void SetUp() override {
        platform::FlushProfileCache();
        platform::SetRegionalSettingsFile((dir.path() + "\\korvel.ini").c_str());
    }
    void TearDown() override {
        platform::SetRegionalSettingsFile(nullptr);
        platform::FlushProfileCache();
    }

    std::string Text(const char* key, const char* defaultText = "(default)", const char* section = "intl") {
        char buffer[32];
        GetProfileStringA(section, key, defaultText, buffer, sizeof buffer);
        return buffer;
    }

    TempDir dir;
    ScopedEnv all{"LC_ALL", "C"};
    ScopedEnv time{"LC_TIME", nullptr};
    ScopedEnv lang{"LANG", nullptr};
};

TEST_F(RegionalTest, IntlSectionOfTheSettingsFileWins) {
    dir.Write("korvel.ini", "[Server]\nMode=1cb\n[INTL]\niDate=1\nsDate=.\ns1159=vorm\niTime = 1\n");
    EXPECT_EQ(GetProfileIntA("intl", "iDate", 0), 1u);
    EXPECT_EQ(GetProfileIntA("Intl", "ITIME", 0), 1u);
    EXPECT_EQ(Text("sDate", "/"), ".");
    EXPECT_EQ(Text("s1159", "AM"), "vorm");
    EXPECT_EQ(Text("s2359", "PM"), "PM");  // a key the section lacks: the default
}

TEST_F(RegionalTest, DefaultsWithoutFileOrRealLocaleAndForOtherSections) {
    for (const char* locale : {"C", "POSIX", "C.UTF-8", "C.utf8", "", "xx_NOWHERE.UTF-8"}) {
        ScopedEnv chosen("LC_ALL", locale);
        EXPECT_EQ(std::to_string(GetProfileIntA("intl", "iDate", 0)) + std::to_string(GetProfileIntA("intl", "iTime", 7)) +
                      Text("sDate", "/") + Text("sTime", ":") + Text("s2359", "PM"),
                  "07/:PM")
            << locale;
    }
    dir.Write("korvel.ini", "[windows]\niDate=2\n[intl]\niDate=1\n");
    EXPECT_EQ(GetProfileIntA("windows", "iDate", 5), 5u);
    EXPECT_EQ(Text("iDate", "x", "windows"), "x");
    EXPECT_EQ(Text("iDate", "x", nullptr), "x");
}

// The values a locale's formats imply, "-" where a format implies none (a separator that is not
// a single byte).
TEST(RegionalFormats, DerivedFromDateAndTimeFormats) {
    const struct {
        platform::LocaleTimeFormats formats;
        const char* values;  // iDate|sDate|iTime|sTime|s1159|S2359
    } rows[] = {
        {{"%m/%d/%y", "%r", "AM", "PM"}, "0|/|0|:|AM|PM"},
        {{"%d.%m.%Y", "%T", "", ""}, "1|.|1|:||"},
        {{"%F", "%H.%M.%S", "fm", "em"}, "2|-|1|.|fm|em"},
        {{"%D", "%R", "AM", "PM"}, "0|/|1|:|AM|PM"},
        {{"%-m/%-d/%Y", "%I:%M:%S %p", "AM", "PM"}, "0|/|0|:|AM|PM"},
        {{"%e %b %Y", "%k:%M", "", ""}, "1| |1|:||"},
        {{"%Ey-%m-%d", "%l.%M %p", "a", "p"}, "2|-|0|.|a|p"},
        {{"%Y\xe5\xb9\xb4%m\xe6\x9c\x88%d\xe6\x97\xa5", "%H\xe6\x99\x82%M", "", ""}, "2|-|1|:||"},
        {{"%d%m%Y", "%H%M%S", "", ""}, "1|-|1|:||"},
    };
    for (const auto& row : rows) {
        std::string values;
        for (const char* key : {"iDate", "sDate", "iTime", "sTime", "s1159", "S2359"}) {
            std::string value;
            values += (values.empty() ? "" : "|") +
                      (platform::RegionalValueFromFormats(row.formats, key, &value) ? value : std::string("-"));
        }
        EXPECT_EQ(values, row.values) << row.formats.dateFormat << " " << row.formats.timeFormat;
    }
    std::string value = "unchanged";
    EXPECT_FALSE(platform::RegionalValueFromFormats(rows[0].formats, "sList", &value));
    EXPECT_EQ(value, "unchanged");
}

// A real locale, when this machine has one of those we know the conventions of.
TEST_F(RegionalTest, RealLocaleAnswersWhenTheFileDoesNot) {
    struct Known {
        const char* name;
        UINT iDate;
        const char* sDate;
        UINT iTime;
    };
    const Known known[] = {
        {"en_US.UTF-8", 0, "/", 0}, {"en_US.utf8", 0, "/", 0}, {"de_DE.UTF-8", 1, ".", 1},
        {"de_DE.utf8", 1, ".", 1},  {"sv_SE.UTF-8", 2, "-", 1}, {"sv_SE.utf8", 2, "-", 1},
    };
    const Known* found = nullptr;
    for (const Known& k : known) {
        locale_t locale = newlocale(LC_TIME_MASK, k.name, (locale_t)0);
        if (!locale) continue;
        freelocale(locale);
        found = &k;
        break;
    }
    if (!found) GTEST_SKIP() << "none of en_US, de_DE, sv_SE is installed (locale -a)";

    ScopedEnv chosen("LC_ALL", nullptr);
    ScopedEnv timeLocale("LC_TIME", found->name);
    EXPECT_EQ(GetProfileIntA("intl", "iDate", 9), found->iDate);
    EXPECT_EQ(GetProfileIntA("intl", "iTime", 9), found->iTime);
    EXPECT_EQ(Text("sDate", "?"), found->sDate);
    EXPECT_EQ(Text("sTime", "?"), ":");

    dir.Write("korvel.ini", "[intl]\niDate=2\n");
    EXPECT_EQ(GetProfileIntA("intl", "iDate", 9), 2u);  // the file still wins
}

}  // namespace
