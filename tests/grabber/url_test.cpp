// URL analysis, base joining and local names.

#include <gtest/gtest.h>

#include <string>

#include "grabber/grab_fixture.h"
#include "grabber/url.h"
#include "settings/settings.h"

namespace {

using grab_testing::GrabTest;

struct Analysed {
    int16_t result;
    int16_t port;
    std::string host, type, file, base;
};

Analysed Analyse(const std::string& url, const char* refBase = "/a/b/") {
    Analysed a;
    char host[kUrlHostSize] = "?", type[kUrlTypeSize] = "?", file[kUrlFileSize] = "?", base[kUrlBaseSize] = "?";
    a.result = URL_Analyser(a.port, url.c_str(), host, type, file, base, refBase);
    a.host = host;
    a.type = type;
    a.file = file;
    a.base = base;
    return a;
}

using UrlAnalysis = GrabTest;

TEST_F(UrlAnalysis, TheWorkedTableUnderTheBaseAB) {
    struct Row {
        const char* url;
        const char* type;
        const char* host;
        int16_t port;
        const char* base;
        const char* file;
        int16_t result;
    };
    const Row rows[] = {
        {"http://srv", "http", "srv", 80, "/", "", 1},
        {"http://srv:8080/d/", "http", "srv", 8080, "/d/", "", 1},
        {"http://srv/d/x.html", "http", "srv", 80, "/d/", "x.html", 1},
        {"ftp://srv/d/x.zip", "ftp", "srv", 80, "/d/", "x.zip", 1},
        {"x.html", "", "", 80, "/a/b/", "x.html", 1},
        {"/x.html", "", "", 80, "/", "x.html", 1},
        {"c/x.html", "", "", 80, "/a/b/c/", "x.html", 1},
        {"../x.html", "", "", 80, "/a/", "x.html", 1},
        {"./x.html", "", "", 80, "/a/b/", "x.html", 1},
        {"http:/d/x.html", "", "", 80, "/d/", "x.html", 1},
        {"http:x.html", "", "", 80, "/a/b/", "x.html", 1},
        // Beyond the worked table: ports, hosts and anchors are plain text, and directories.
        {"http://srv:99999/", "http", "srv", (int16_t)(99999 & 0xFFFF), "/", "", 1},  // 16 bits of the scan
        {"http://srv:x/d/", "http", "srv", 80, "/d/", "", 1},              // a port that does not scan
        {"http://user:pw@srv/d/x.htm", "http", "user", 80, "/d/", "x.htm", 1},  // cut at the first ':'
        {"http://me@srv/x.htm", "http", "me@srv", 80, "/", "x.htm", 1},
        {"x.html#top", "", "", 80, "/a/b/", "x.html#top", 1},
        {"sub/?q=1", "", "", 80, "/a/b/sub/", "?q=1", 1},
        {"", "", "", 80, "/a/b/", "", 1},
        {"c/", "", "", 80, "/a/b/c/", "", 1},
        {"/", "", "", 80, "/", "", 1},
        {"//", "", "", 80, "/", "", 1},  // a single character after the leading '/' gives the root
        {"/d/e/", "", "", 80, "/d/e/", "", 1},
        {"../", "", "", 80, "/a/", "", 1},
        {"http:c/", "", "", 80, "/a/b/c/", "", 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        Analysed a = Analyse(row.url);
        EXPECT_EQ(a.result, row.result);
        EXPECT_EQ(a.type, row.type);
        EXPECT_EQ(a.host, row.host);
        EXPECT_EQ(a.port, row.port);
        EXPECT_EQ(a.base, row.base);
        EXPECT_EQ(a.file, row.file);
    }
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(UrlAnalysis, RefusedSchemesAndColonsAnywhere) {
    struct Row {
        const char* url;
        const char* type;
    };
    // A relative link with a ':' anywhere is refused: the first ':' always ends a scheme.
    const Row rows[] = {{"ftp://srv/d/", "ftp"}, {"mailto:me", "mailto"}, {"d/a:b.html", "d/a"},
                        {"ftp:/d/x.zip", "ftp"}, {"ftp://srv", "ftp"},      {"http:/", "http"},
                        {"http://", "http"},      {"news:", "news"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        Analysed a = Analyse(row.url);
        EXPECT_EQ(a.result, 0);
        EXPECT_EQ(a.type, row.type);
    }
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(UrlAnalysis, LengthLimitsAndTheirMessages) {
    std::string host78(78, 'h'), host79(79, 'h');
    EXPECT_EQ(Analyse("http://" + host78 + "/x").result, 1);
    EXPECT_EQ(TakePrinted(), "");
    EXPECT_EQ(Analyse("http://" + host79 + "/x").result, 0);
    EXPECT_EQ(TakePrinted(), "URL_Analyser, host name is too large ...\n");

    std::string file206(206, 'f'), file207(207, 'f');
    Analysed a = Analyse("/d/" + file206);
    EXPECT_EQ(a.result, 1);
    EXPECT_EQ(a.file, file206);
    EXPECT_EQ(Analyse("/d/" + file207).result, 0);
    EXPECT_EQ(TakePrinted(), "URL_Analyser, file name is too large ...\n");
    EXPECT_EQ(Analyse(file207).result, 0);
    EXPECT_EQ(TakePrinted(), "URL_Analyser,file name is too large ...\n") << "a bare name: no blank after the comma";

    std::string dir205(204, 'd');  // "/" + dir + "/" makes a server-absolute base of 206
    EXPECT_EQ(Analyse("/" + dir205 + "/x", "/").result, 1);
    EXPECT_EQ(Analyse("/" + dir205 + "d/x", "/").result, 0);
    EXPECT_EQ(TakePrinted(), "URL_Analyser, base name is too large ...\n");
    EXPECT_EQ(Analyse("http://h/" + std::string(204, 'd') + "/x").result, 1);
    EXPECT_EQ(Analyse("http://h/" + std::string(205, 'd') + "/x").result, 0) << "a base of 207 characters";
    EXPECT_EQ(TakePrinted(), "URL_Analyser, base name is too large ...\n");
}

// ---------------------------------------------------------------------------------------------

std::pair<int16_t, std::string> Join(const std::string& base, const char* refBase) {
    char buffer[kUrlBaseSize];
    snprintf(buffer, sizeof buffer, "%s", base.c_str());
    int16_t result = BaseCheck(buffer, refBase);
    return {result, buffer};
}

using BaseJoin = GrabTest;

TEST_F(BaseJoin, RelativeBasesJoinTheReferringBase) {
    struct Row {
        const char* base;
        const char* refBase;
        const char* joined;
    };
    const Row rows[] = {
        {"/", "/a/b/", "/a/b/"},          {"/c/", "/a/b/", "/a/b/c/"},      {"/./", "/a/b/", "/a/b/"},
        {"/./c/", "/a/b/", "/a/b/c/"},    {"/../", "/a/b/", "/a/"},         {"/../x/", "/a/b/", "/a/x/"},
        {"/../../", "/a/b/", "/"},        {"/.x/", "/a/b/", "/a/b/.x/"},    {"/../c/../d/", "/a/b/", "/a/c/../d/"},
        {"/c/../d/", "/a/b/", "/a/b/c/../d/"}, {"/x/", "", "/x/"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.base) + " under " + row.refBase);
        auto [result, joined] = Join(row.base, row.refBase);
        EXPECT_EQ(result, 1);
        EXPECT_EQ(joined, row.joined);
    }
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(BaseJoin, RefusalsAndTheirMessages) {
    EXPECT_EQ(Join("/../../x/", "/a/").first, 0);
    EXPECT_EQ(TakePrinted(), "BaseCheck, Url Error (../)\n");
    std::string deep;
    for (int i = 0; i < 19; ++i) deep += "/d";
    EXPECT_EQ(Join("/../x/", (deep + "/").c_str()).first, 0) << "20 slashes in the referring base";
    EXPECT_EQ(TakePrinted(), "");
    EXPECT_EQ(Join("/../x/", (deep.substr(2) + "/").c_str()).second, deep.substr(2, deep.size() - 4) + "/x/");
    std::string longBase = "/" + std::string(100, 'b') + "/";
    std::string longRef = "/" + std::string(103, 'r') + "/";
    EXPECT_EQ(Join(longBase, longRef.c_str()).first, 0) << "102 + 105 characters reach 207";
    EXPECT_EQ(TakePrinted(), "BaseCheck, base is greater than 207\n");
    EXPECT_EQ(Join(longBase, longRef.substr(1).c_str()).first, 1);
}

// ---------------------------------------------------------------------------------------------

using LocalNames = GrabTest;

TEST_F(LocalNames, TheWorkedNamesFromAFreshIndex) {
    struct Row {
        const char* name;
        const char* dosName;
    };
    const Row rows[] = {{"Index.HTML", "01index.htm"}, {"welcome.html", "01elcome.htm"}, {"README", "01readme."},
                        {"", "01noname.htm"},          {"a.b.c", "01a.c"},               {"photo.jpeg", "01photo.jpe"},
                        {"My Page!.htm", "01mypage.htm"}, {"caf\xe9.gif", "01caf.gif"}};
    for (const Row& row : rows) {
        strcpy(Settings.UrlRun.Index, "00");
        EXPECT_STREQ(Unix2dosName(row.name, 0), row.dosName) << row.name;
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
    EXPECT_EQ(seen[0], "01");
    EXPECT_EQ(seen[8], "09");
    EXPECT_EQ(seen[9], "0a");
    EXPECT_EQ(seen[34], "0z");
    EXPECT_EQ(seen[35], "10");
    EXPECT_EQ(seen[36 * 36 - 2], "zz");
    EXPECT_EQ(seen[36 * 36 - 1], "000") << "both places overflow: a third place, printed last";
    EXPECT_EQ(seen[36 * 36], "010");
    strcpy(Settings.UrlRun.Index, "zz0");
    AdvanceIndex();
    EXPECT_STREQ(Settings.UrlRun.Index, "001");
    strcpy(Settings.UrlRun.Index, "zzz");
    AdvanceIndex();
    EXPECT_STREQ(Settings.UrlRun.Index, "000") << "the third place wraps without a further carry";
    strcpy(Settings.UrlRun.Index, "0~");
    AdvanceIndex();
    EXPECT_STREQ(Settings.UrlRun.Index, "0\x7f") << "a typed character counts on by its byte value";
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
