// URL analysis, base joining and local names.

#include <gtest/gtest.h>

#include <string>

#include "grabber/grab_fixture.h"
#include "grabber/url.h"
#include "settings/settings.h"

namespace {

using grab_testing::GrabTest;

// The analysis as "result type host port base file" (a field left untouched shows as "?").
std::string Analyse(const std::string& url, const char* refBase = "/a/b/") {
    char host[kUrlHostSize] = "?", type[kUrlTypeSize] = "?", file[kUrlFileSize] = "?", base[kUrlBaseSize] = "?";
    int16_t port = 0;
    int16_t result = URL_Analyser(port, url.c_str(), host, type, file, base, refBase);
    return std::to_string(result) + " " + type + " " + host + " " + std::to_string(port) + " " + base + " " + file;
}

using UrlAnalysis = GrabTest;

TEST_F(UrlAnalysis, TheWorkedTableUnderTheBaseAB) {
    const char* const rows[][2] = {
        {"http://srv", "1 http srv 80 / "},
        {"http://srv:8080/d/", "1 http srv 8080 /d/ "},
        {"http://srv/d/x.html", "1 http srv 80 /d/ x.html"},
        {"ftp://srv/d/x.zip", "1 ftp srv 80 /d/ x.zip"},
        {"x.html", "1   80 /a/b/ x.html"},
        {"/x.html", "1   80 / x.html"},
        {"c/x.html", "1   80 /a/b/c/ x.html"},
        {"../x.html", "1   80 /a/ x.html"},
        {"./x.html", "1   80 /a/b/ x.html"},
        {"http:/d/x.html", "1   80 /d/ x.html"},
        {"http:x.html", "1   80 /a/b/ x.html"},
        // Beyond the worked table: ports, hosts and anchors are plain text, and directories.
        {"http://srv:99999/", "1 http srv -31073 / "},           // 16 bits of the scan
        {"http://srv:x/d/", "1 http srv 80 /d/ "},               // a port that does not scan
        {"http://user:pw@srv/d/x.htm", "1 http user 80 /d/ x.htm"},  // cut at the first ':'
        {"http://me@srv/x.htm", "1 http me@srv 80 / x.htm"},
        {"x.html#top", "1   80 /a/b/ x.html#top"},
        {"sub/?q=1", "1   80 /a/b/sub/ ?q=1"},
        {"", "1   80 /a/b/ "},
        {"c/", "1   80 /a/b/c/ "},
        {"/", "1   80 / "},
        {"//", "1   80 / "},  // a single character after the leading '/' gives the root
        {"/d/e/", "1   80 /d/e/ "},
        {"../", "1   80 /a/ "},
        {"http:c/", "1   80 /a/b/c/ "},
    };
    for (const auto& row : rows) EXPECT_EQ(Analyse(row[0]), row[1]) << row[0];
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(UrlAnalysis, RefusedSchemesAndColonsAnywhere) {
    // A relative link with a ':' anywhere is refused: the first ':' always ends a scheme.
    const char* const rows[][2] = {{"ftp://srv/d/", "ftp"}, {"mailto:me", "mailto"}, {"d/a:b.html", "d/a"},
                                   {"ftp:/d/x.zip", "ftp"}, {"ftp://srv", "ftp"},      {"http:/", "http"},
                                   {"http://", "http"},      {"news:", "news"}};
    for (const auto& row : rows) EXPECT_EQ(Analyse(row[0]).find("0 " + std::string(row[1]) + " "), 0u) << row[0];
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(UrlAnalysis, LengthLimitsAndTheirMessages) {
    const std::string f206(206, 'f'), f207(207, 'f'), d204(204, 'd');
    const struct {
        std::string url;
        const char* refBase;
        const char* analysed;  // the result, and the message of a refusal
    } rows[] = {
        {"http://" + std::string(78, 'h') + "/x", "/a/b/", "1"},
        {"http://" + std::string(79, 'h') + "/x", "/a/b/", "0URL_Analyser, host name is too large ...\n"},
        {"/d/" + f206, "/a/b/", "1"},
        {"/d/" + f207, "/a/b/", "0URL_Analyser, file name is too large ...\n"},
        {f207, "/a/b/", "0URL_Analyser,file name is too large ...\n"},  // a bare name: no blank after the comma
        {"/" + d204 + "/x", "/", "1"},  // a server-absolute base of 206
        {"/" + d204 + "d/x", "/", "0URL_Analyser, base name is too large ...\n"},
        {"http://h/" + d204 + "/x", "/a/b/", "1"},
        {"http://h/" + d204 + "d/x", "/a/b/", "0URL_Analyser, base name is too large ...\n"},  // a base of 207
    };
    for (const auto& row : rows) {
        std::string result = Analyse(row.url, row.refBase).substr(0, 1);
        EXPECT_EQ(result + TakePrinted(), row.analysed) << row.url;
    }
    EXPECT_EQ(Analyse("/d/" + f206), "1   80 /d/ " + f206);
}

// ---------------------------------------------------------------------------------------------

std::string Join(const std::string& base, const std::string& refBase) {
    char buffer[kUrlBaseSize];
    snprintf(buffer, sizeof buffer, "%s", base.c_str());
    int16_t result = BaseCheck(buffer, refBase.c_str());
    return std::to_string(result) + " " + buffer;
}

using BaseJoin = GrabTest;

TEST_F(BaseJoin, RelativeBasesJoinTheReferringBase) {
    const char* const rows[][3] = {
        {"/", "/a/b/", "/a/b/"},          {"/c/", "/a/b/", "/a/b/c/"},      {"/./", "/a/b/", "/a/b/"},
        {"/./c/", "/a/b/", "/a/b/c/"},    {"/../", "/a/b/", "/a/"},         {"/../x/", "/a/b/", "/a/x/"},
        {"/../../", "/a/b/", "/"},        {"/.x/", "/a/b/", "/a/b/.x/"},    {"/../c/../d/", "/a/b/", "/a/c/../d/"},
        {"/c/../d/", "/a/b/", "/a/b/c/../d/"}, {"/x/", "", "/x/"},
    };
    for (const auto& row : rows) EXPECT_EQ(Join(row[0], row[1]), std::string("1 ") + row[2]) << row[0] << " under " << row[1];
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(BaseJoin, RefusalsAndTheirMessages) {
    EXPECT_EQ(Join("/../../x/", "/a/")[0], '0');
    EXPECT_EQ(TakePrinted(), "BaseCheck, Url Error (../)\n");
    std::string deep;
    for (int i = 0; i < 19; ++i) deep += "/d";
    EXPECT_EQ(Join("/../x/", deep + "/")[0], '0') << "20 slashes in the referring base";
    EXPECT_EQ(TakePrinted(), "");
    EXPECT_EQ(Join("/../x/", deep.substr(2) + "/"), "1 " + deep.substr(2, deep.size() - 4) + "/x/");
    std::string longBase = "/" + std::string(100, 'b') + "/", longRef = "/" + std::string(103, 'r') + "/";
    EXPECT_EQ(Join(longBase, longRef)[0], '0') << "102 + 105 characters reach 207";
    EXPECT_EQ(TakePrinted(), "BaseCheck, base is greater than 207\n");
    EXPECT_EQ(Join(longBase, longRef.substr(1))[0], '1');
}

// ---------------------------------------------------------------------------------------------

using LocalNames = GrabTest;

TEST_F(LocalNames, TheWorkedNamesFromAFreshIndex) {
    const char* const rows[][2] = {{"Index.HTML", "01index.htm"}, {"welcome.html", "01elcome.htm"}, {"README", "01readme."},
                                   {"", "01noname.htm"},          {"a.b.c", "01a.c"},               {"photo.jpeg", "01photo.jpe"},
                                   {"My Page!.htm", "01mypage.htm"}, {"caf\xe9.gif", "01caf.gif"}};
    for (const auto& row : rows) {
        strcpy(Settings.UrlRun.Index, "00");
        EXPECT_STREQ(Unix2dosName(row[0], 0), row[1]) << row[0];
    }
    EXPECT_EQ(TakePrinted(), "");
    strcpy(Settings.UrlRun.Index, "00");
    EXPECT_STREQ(Unix2dosName("~~~", 0), "01noconv.err");
    EXPECT_EQ(TakePrinted(), "Unix2dosName,no conversion found !!!\n");
}

TEST_F(LocalNames, TheIndexRunsThroughDigitsAndLettersAndGrowsAThirdPlace) {
    std::vector<std::string> seen;
    for (int i = 0; i < 36 * 36 + 40; ++i) {
        AdvanceIndex();
        seen.push_back(Settings.UrlRun.Index);
    }
    EXPECT_EQ(seen[0] + seen[8] + seen[9] + seen[34] + seen[35] + seen[36 * 36 - 2], "01090a0z10zz");
    EXPECT_EQ(seen[36 * 36 - 1], "000") << "both places overflow: a third place, printed last";
    EXPECT_EQ(seen[36 * 36], "010");
    const char* const steps[][2] = {{"zz0", "001"}, {"zzz", "000"}, {"0~", "0\x7f"}};
    for (const auto& step : steps) {  // the third place wraps without a further carry; a typed
        strcpy(Settings.UrlRun.Index, step[0]);  // character counts on by its byte value
        AdvanceIndex();
        EXPECT_STREQ(Settings.UrlRun.Index, step[1]) << step[0];
    }
}

TEST_F(LocalNames, ThreeCharacterIndexesShortenTheStemOrThePrefix) {
    strcpy(Settings.UrlRun.Index, "zz");
    EXPECT_STREQ(Unix2dosName("welcome.html", 0), "000elcom.htm");
    Settings.Url.AutoName = 0;
    strcpy(Settings.Url.Prefix, "korvel");
    strcpy(Settings.UrlRun.Index, "zz");
    EXPECT_STREQ(Unix2dosName("x.gif", 0), "korve000.gif");
    strcpy(Settings.UrlRun.Index, "00");
    EXPECT_STREQ(Unix2dosName("x.gif", 0), "korvel01.gif");
    EXPECT_STREQ(Unix2dosName("x.gif", -1), "korvel.gif");
    EXPECT_STREQ(Settings.UrlRun.Index, "02") << "the index advances even when it is left out";
    strcpy(Settings.Url.Prefix, "a_long_prefix_text");
    EXPECT_STREQ(Unix2dosName("", -1), "a_long_prefix_text.htm") << "the prefix itself is not cut here";
}

}  // namespace
