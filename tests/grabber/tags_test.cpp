// The tag tables (built-in and tag.map) and the scanner Detect.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "grabber/grab_fixture.h"
#include "grabber/tags.h"
#include "support/temp_dir.h"

namespace {

using grab_testing::GrabTest;
using testing_support::ReadFile;
using testing_support::WriteFile;

std::string Entries(const TagTable& t) {
    std::string text;
    for (int i = 0; i < t.Count; ++i)
        text += std::string("[") + t.Tag[i] + "|" + t.Attribute[i] + "|" + std::to_string(t.CommentOut[i]) + "|" +
                std::to_string(t.TagLength[i]) + "|" + std::to_string(t.AttributeLength[i]) + "]";
    return text;
}

class TagMap : public GrabTest {
protected:
    std::string Load(const std::string& content) {
        WriteFile(HomeFile("tag.map"), content);
        TakePrinted();
        TAGinit();
        return TakePrinted();
    }
    // What loading printed, then the Url and Image tables.
    std::string Loaded(const std::string& content) {
        std::string printed = Load(content);
        return printed + Entries(Tags.UrlTags) + "/" + Entries(Tags.ImageTags);
    }
};

TEST_F(TagMap, WithoutTheFileTheBuiltInTablesStay) {
    EXPECT_EQ(TAGinit(), 0);
    EXPECT_EQ(TakePrinted(), "TAGinit, Unable to open tag.map\n");
    EXPECT_EQ(Entries(Tags.UrlTags), "[<a |href=|0|3|5][<area |href=|0|6|5]");
    EXPECT_EQ(Entries(Tags.MarkTags), "[<form |action= |0|6|8][<base ||1|6|0]");
    EXPECT_EQ(Entries(Tags.ImageTags), "[<img |src=|0|5|4][<body |background=|0|6|11][<input |src=|0|7|4]");
    EXPECT_EQ(std::string(Tags.UrlTags.Kind) + Tags.MarkTags.Kind + Tags.ImageTags.Kind, "UrlMarkImage");
}

TEST_F(TagMap, LinesReplaceTheTablesAndCommentsAreSkipped) {
    EXPECT_EQ(Load("* comment\r\n; another\n\nU <a href=\r\nU <frame src= extra words\nM <base x= Y\n"
                   "M <meta content= N\nI <img\tsrc=\n"),
              "");
    EXPECT_EQ(Entries(Tags.UrlTags), "[<a |href=|0|3|5][<frame |src=|0|7|4]");
    EXPECT_EQ(Entries(Tags.MarkTags), "[<base |x=|1|6|2][<meta |content=|0|6|8]");
    EXPECT_EQ(Entries(Tags.ImageTags), "[<img |src=|0|5|4]");
    EXPECT_STREQ(Tags.UrlTags.Kind, "Url") << "the kind word is never read from the file";
}

TEST_F(TagMap, AnEmptyOrCommentOnlyFileEmptiesEveryTable) {
    for (const char* content : {"", "* only a comment\n; and another\n", "   \n"}) {
        SCOPED_TRACE(content);
        Load(content);
        EXPECT_EQ(Tags.UrlTags.Count + Tags.MarkTags.Count + Tags.ImageTags.Count, 0);
    }
    Load(std::string(200, 'U') + "\nU <a href=\n");
    EXPECT_EQ(Tags.UrlTags.Count + Tags.MarkTags.Count + Tags.ImageTags.Count, 0) << "a first LF beyond byte 200 ends the reading";
}

TEST_F(TagMap, BadLinesStopTheReadingWithTheirMessage) {
    // The entries read so far stay.
    EXPECT_EQ(Loaded("U <a href=\n* c\nu <img src=\nI <img src=\n"), "TAGinit, line 3  1\xB0word bad type u\n[<a |href=|0|3|5]/");
    EXPECT_EQ(Loaded("I <img src=\nU\nU <a href=\n"), "TAGinit, line 2 missing 2\xB0word\n/[<img |src=|0|5|4]");
    EXPECT_EQ(Load("U <a\n"), "TAGinit, line 1 missing 3\xB0word\n");
    EXPECT_EQ(Load("Xylophone <a href=\n"), "TAGinit, line 1  1\xB0word bad type Xylophone\n");
}

TEST_F(TagMap, ALongLineEndsTheReadingSilentlyAndALastLineNeedsNoFeed) {
    EXPECT_EQ(Loaded("U <a href=\nU <area href=" + std::string(200, ' ') + "\nI <img src=\n"), "[<a |href=|0|3|5]/");
    EXPECT_EQ(Loaded("U <a href=\nI <img src= Y"), "[<a |href=|0|3|5]/[<img |src=|1|5|4]");
}

TEST_F(TagMap, FullTablesAndLongWordsAreLeftOutAndTheReadingGoesOn) {
    std::string content;
    for (int i = 0; i < 12; ++i) content += "U <t" + std::to_string(i) + " href=\n";
    content += "U <" + std::string(17, 'x') + " a=\n";  // 18 characters: fits with its blank
    content += "I <" + std::string(18, 'x') + " a=\n";  // 19: too long
    content += "I <img " + std::string(20, 'a') + "\n";  // an attribute of 20
    content += "I <img " + std::string(19, 'a') + "\n";
    EXPECT_EQ(Load(content),
              "TAGinit, line 11 table Url is full\nTAGinit, line 12 table Url is full\n"
              "TAGinit, line 13 table Url is full\nTAGinit, line 14 word too long\n"
              "TAGinit, line 15 word too long\n");
    EXPECT_EQ(Tags.UrlTags.Count, 10);
    EXPECT_STREQ(Tags.UrlTags.Tag[9], "<t9 ");
    ASSERT_EQ(Tags.ImageTags.Count, 1);
    EXPECT_EQ(std::string(Tags.ImageTags.Attribute[0]), std::string(19, 'a'));
}

// ---------------------------------------------------------------------------------------------

// A page in a file, scanned into an output file, as the rewriting passes do.
class Scanner : public GrabTest {
protected:
    void Page(const std::string& text) {
        WriteFile(HomeFile("page.htm"), text);
        in = fopen(HomeFile("page.htm").c_str(), "rb");
        out = fopen(HomeFile("out.htm").c_str(), "w+b");
        ASSERT_TRUE(in && out);
    }
    void TearDown() override {
        if (in) fclose(in);
        if (out) fclose(out);
        GrabTest::TearDown();
    }
    int16_t Tag(const TagTable& table = Tags.UrlTags) { return Detect(in, table, 0, 1, 0, nullptr, 0, out, 1, &entry, DetectTag); }
    int16_t Attribute(const TagTable& table = Tags.UrlTags) {
        return Detect(in, table, 0, 0, 0, nullptr, 0, out, 1, &entry, DetectAttribute);
    }
    int16_t Value(int16_t outMax = kDetectValueSize) {
        value[0] = '\0';
        return Detect(in, Tags.UrlTags, 0, 0, 1, value, outMax, out, 1, &entry, DetectValue);
    }
    // A page scanned up to the value of its first link.
    void AtValue(const std::string& page) {
        Page(page);
        ASSERT_GT(Tag(), 0);
        ASSERT_GT(Attribute(), 0);
    }
    // The value of the first link, terminator included, or "" when none is found.
    std::string FirstValue(const std::string& page) {
        Page(page);
        while (Tag() > 0) {
            int16_t a = Attribute();
            if (a == 0) return "";
            if (a < 0) continue;
            return Value() > 0 ? value : "";
        }
        return "";
    }
    std::string Output() {
        fflush(out);
        return ReadFile(HomeFile("out.htm"));
    }

    FILE* in = nullptr;
    FILE* out = nullptr;
    int16_t entry = -1;
    char value[kDetectValueSize];
};

TEST_F(Scanner, TheWorkedExampleAndItsRewrite) {
    Page("x <A HREF = \"x.htm\">y");
    EXPECT_EQ(Tag(), 3);
    EXPECT_EQ(entry, 0);
    EXPECT_EQ(Attribute(), 6);
    EXPECT_EQ(Value(), 8);
    EXPECT_STREQ(value, "x.htm\"");
    fseek(out, -8, SEEK_CUR);
    fputs("\"new\"", out);
    int16_t end = Tag();
    EXPECT_EQ(end, 0);
    std::string text = Output();
    EXPECT_EQ(text.substr(0, 17), "x <A HREF =\"new\">") << "the rest of the old bytes is cut by the caller";
}

TEST_F(Scanner, TagsNeedTheirBlank) {
    EXPECT_EQ(FirstValue("<a\nhref=x.htm>"), "x.htm\"") << "LF is a blank";
    EXPECT_EQ(FirstValue("<a\r\n\thref=x.htm>"), "x.htm\"");
    EXPECT_EQ(FirstValue("<a>x</a><body>"), "");
    EXPECT_EQ(FirstValue("<<a href=x>"), "") << "the second '<' resets the candidate";
    EXPECT_EQ(FirstValue("<AREA HREF=y>"), "y\"");
    Page("<a\xb0 href=x>");
    EXPECT_EQ(Tag(), 4) << "an ignored byte inside the tag is still counted";
    Page("<" + std::string(30, 'a') + " <a href=x>");
    EXPECT_GT(Tag(), 0) << "an over-long candidate is dropped and the next '<' starts again";
}

TEST_F(Scanner, AttributesAreMatchedWithoutRetryAndWithoutQuotes) {
    EXPECT_EQ(FirstValue("<a hhref=\"x\"><a href=z>"), "z\"") << "hhref= misses: the failing byte is not retried";
    EXPECT_EQ(FirstValue("<a title=\"href=y\" href=\"x\">"), "y\"\"") << "y\" and the terminator";
    Page("<a name=x>text <a href=y>");
    EXPECT_GT(Tag(), 0);
    EXPECT_EQ(Attribute(), -1);
    EXPECT_EQ(Tag(), 3);
    EXPECT_GT(Attribute(), 0);
    EXPECT_EQ(FirstValue("<a HREF = \"x\">"), "x\"");
}

TEST_F(Scanner, ValuesEndAtQuotesBlanksOrTheClosingBracket) {
    EXPECT_EQ(FirstValue("<a href=x y>"), "x\"");
    EXPECT_EQ(FirstValue("<a href=\"my page.htm\">"), "mypage.htm\"");
    EXPECT_EQ(FirstValue("<a href='x.htm\">"), "x.htm\"") << "either quote closes";
    EXPECT_EQ(FirstValue("<a href=\"x.htm'>"), "x.htm'") << "the closing quote is kept as read";
    EXPECT_EQ(FirstValue("<a href=\"\" title=y>"), "title=y\"") << "the second quote opens again";
    EXPECT_EQ(FirstValue("<a href=MiXeD.HTM>"), "MiXeD.HTM\"") << "values keep their case";
    EXPECT_EQ(FirstValue("<a href=caf\xe9.htm>"), "caf.htm\"") << "bytes from 0x80 up are dropped";
    AtValue("<a href=\"x>y\">");
    EXPECT_EQ(Value(), 2) << "the quote and x; the '>' is given back";
    EXPECT_STREQ(value, "x\"");
    EXPECT_EQ(fgetc(in), '>');
    EXPECT_EQ(ftell(out), 10) << "and taken off the output";
}

TEST_F(Scanner, TooLargeValuesAndTheEndOfThePage) {
    std::string v494(494, 'v');
    EXPECT_EQ(FirstValue("<a href=" + v494 + ">"), v494 + "\"");
    TakePrinted();
    AtValue("<a href=" + std::string(495, 'v') + "><a href=next>");
    EXPECT_EQ(Value(), -2);
    EXPECT_EQ(TakePrinted(), "Detect, Url size greater than 496 !!!\n");
    EXPECT_EQ(Tag(), 3) << "the scan goes on with the next tag";
    EXPECT_EQ(FirstValue("<a href=\"cut"), "");
    AtValue("<a href=\"cut");
    EXPECT_EQ(Value(), 0);
    AtValue("<a href=\"" + std::string(40000, '\x80') + "x\">");
    EXPECT_EQ(Value(), -2) << "a value spread over more bytes than a 16-bit step back reaches";
}

TEST_F(Scanner, TheBuiltInMarkTableNeverFindsAFormButAlwaysABase) {
    Page("<form action=\"x\"><base href=\"y\">");
    EXPECT_EQ(Tag(Tags.MarkTags), 6);
    EXPECT_EQ(entry, 0);
    EXPECT_EQ(Attribute(Tags.MarkTags), -1) << "the attribute's trailing blank never matches";
    EXPECT_EQ(Tag(Tags.MarkTags), 6);
    EXPECT_EQ(entry, 1);
    EXPECT_EQ(Attribute(Tags.MarkTags), 1) << "an empty attribute matches the first significant byte";
}

}  // namespace
