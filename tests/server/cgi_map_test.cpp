#include "server/cgi_map.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "shell/shell.h"
#include "support/shell_fixture.h"

namespace {

class CgiMapTest : public testing_support::MainWindowTest {
protected:
    // Looks key up in a map holding text. Returns whether it was found; `match` and `line`
    // hold what the search left.
    bool Find(const std::string& text, const std::string& key) {
        contents = text;
        FILE* file = fmemopen(contents.data(), contents.size(), "rb");
        if (!file) return false;  // fmemopen of an empty buffer fails: an empty map
        bool found = FindCgiProgram(MainWindow, file, key.data(), key.size(), line, match);
        fclose(file);
        return found;
    }

    // Words 5 and later of the matching line, as the command line gets them.
    std::string Rest() const { return std::string(line + match.rest, line + match.last + 1); }

    std::string contents;
    char line[kCgiMapLineLimit];
    CgiMapMatch match;
};

TEST_F(CgiMapTest, TheKeyIsComparedExactlyAndAStarMatchesEveryKey) {
    const std::string map =
        "cgi-dosMail y h upper\n"     // case differs
        "cgi-dosmai y h shorter\n"    // a prefix of the key
        "cgi-dosmail2 y h longer\n"   // the key is a prefix of it
        "cgi-dosmail\tn s\tright  a   b\r\n"
        "cgi-dosmail y h second\n";
    ASSERT_TRUE(Find(map, "cgi-dosmail"));
    EXPECT_EQ(match.number, 4);
    EXPECT_STREQ(match.program, "right");
    EXPECT_FALSE(match.wait);
    EXPECT_EQ(match.show, SW_SHOW);
    EXPECT_EQ(Rest(), " a   b\r\n") << "one separator after the program is taken with it";

    ASSERT_TRUE(Find("cgi-dosa y h a\n*anything y h star\ncgi-dosb y h b\n", "cgi-dosb"));
    EXPECT_EQ(match.number, 2);
    EXPECT_STREQ(match.program, "star");
    ASSERT_TRUE(Find("* n n catch-all\n", "cgi-dos"));
    EXPECT_STREQ(match.program, "catch-all");
    EXPECT_FALSE(Find(map, "cgi-dosMAIL"));
    EXPECT_EQ(frontEnd.printed, "");
}

TEST_F(CgiMapTest, WaitAndShowComeFromTheFirstLetterOfWords2And3) {
    struct Case {
        const char* line;
        bool wait;
        int16_t show;
    } cases[] = {
        {"cgi-dosx y h p\n", true, SW_SHOWMINNOACTIVE}, {"cgi-dosx Yes Hidden p\n", true, SW_SHOWMINNOACTIVE},
        {"cgi-dosx n s p\n", false, SW_SHOW},           {"cgi-dosx yy show p\n", true, SW_SHOW},
        {"cgi-dosx wait h p\n", false, SW_SHOWMINNOACTIVE}, {"cgi-dosx 1 0 p\n", false, SW_SHOW},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        ASSERT_TRUE(Find(c.line, "cgi-dosx"));
        EXPECT_EQ(match.wait, c.wait);
        EXPECT_EQ(match.show, c.show);
    }
}

TEST_F(CgiMapTest, TheFirstLineWithoutAWordEndsTheSearch) {
    EXPECT_FALSE(Find("\ncgi-dosx y h p\n", "cgi-dosx"));
    EXPECT_FALSE(Find("cgi-dosa y h a\n   \n* y h p\n", "cgi-dosx"));
    EXPECT_TRUE(Find("* y h p\n \t\r\n", "cgi-dosx")) << "a match before the blank line";
    EXPECT_FALSE(Find("cgi-dosa y h a\n \t\x01\r\ncgi-dosx y h p\n", "cgi-dosx"));
    EXPECT_FALSE(Find("cgi-dosa y h a\n\xe9\xff\ncgi-dosx y h p\n", "cgi-dosx")) << "bytes above 127 separate";
    EXPECT_FALSE(Find("", "cgi-dosx"));
    const char garbage[] = "\0\x01garbage y h x\n\xff\xfe\x80 y\n* y h p\n";
    EXPECT_TRUE(Find(std::string(garbage, sizeof garbage - 1), "cgi-dosq")) << "NUL and control bytes separate too";
    EXPECT_EQ(frontEnd.printed, "");
}

TEST_F(CgiMapTest, LinesLongerThan200CharactersEndTheSearch) {
    // 200 bytes with the line feed is the longest line; one more ends the search.
    std::string longest = "cgi-dosx y h " + std::string(186, 'p') + "\n";
    ASSERT_EQ(longest.size(), 200u);
    ASSERT_TRUE(Find(longest, "cgi-dosx"));
    EXPECT_EQ(std::string(match.program), std::string(186, 'p'));

    std::string tooLong = "cgi-dosa y h " + std::string(187, 'p') + "\n";
    EXPECT_FALSE(Find(tooLong + "cgi-dosx y h p\n", "cgi-dosx"));
    // A last line without a line feed is read as if it had one.
    ASSERT_TRUE(Find("cgi-dosx y h " + std::string(186, 'q'), "cgi-dosx"));
    EXPECT_EQ(std::string(match.program), std::string(186, 'q'));
    EXPECT_FALSE(Find("cgi-dosx y h " + std::string(187, 'q'), "cgi-dosx"));
}

TEST_F(CgiMapTest, MatchingLinesWithMissingWordsAreReportedAndSkipped) {
    const std::string map =
        "cgi-dosx\n"
        "cgi-dosother\n"  // another key: not reported
        "cgi-dosx y\n"
        "*   n\t\n"
        "cgi-dosx y h\n"
        "cgi-dosx y h found extra\n";
    ASSERT_TRUE(Find(map, "cgi-dosx"));
    EXPECT_EQ(match.number, 6);
    EXPECT_STREQ(match.program, "found");
    EXPECT_EQ(frontEnd.printed,
              "cgi-dos file, line 1, word 2 is missing\n"
              "cgi-dos file, line 3, word 3 is missing\n"
              "cgi-dos file, line 4, word 3 is missing\n"
              "cgi-dos file, line 5, word 4 is missing\n");

    frontEnd.printed.clear();
    EXPECT_FALSE(Find("cgi-dosx y h\n", "cgi-dosx"));
    EXPECT_EQ(frontEnd.printed, "cgi-dos file, line 1, word 4 is missing\n");
}

}  // namespace
