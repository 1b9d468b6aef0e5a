// Target decoding: the path to serve, the Mailbox form text and the CGI call text.

#include <gtest/gtest.h>

#include "server/target.h"

namespace {

struct Case {
    const char* target;  // also the path to serve: it is kept as it came
    const char* form;
    const char* call;
    bool query;
    bool cgi;
};

const Case kCases[] = {
    {"/form?name=Jo+Ann&text=Hi%21", "\\form<br>name= Jo Ann<br>text= Hi!", "formnameJoAnntextHi", true, false},
    {"/x?y=1", "\\x<br>y= 1", "xy1", true, false},
    {"/cgi-dosx?a", "\\cgi-dosx<br>a", "cgi-dosx a", true, true},
    {"/cgi-do?a", "\\cgi-do<br>a", "cgi-doa", true, false},
    {"/cgi-dos/x?a", "\\cgi-dos\\x<br>a", "xa", true, false},
    {"/cgi-dosmail?to=bob&text=hi+there", "\\cgi-dosmail<br>to= bob<br>text= hi there",
     "cgi-dosmail to bob text hi there", true, true},
    {"/a%41b", "\\aAb", "ab", false, false},
    {"/cgi-dos?%41%7f%1B%80", "\\cgi-dos<br>A\x7f%1B%80", "cgi-dos A\x7f%1B%80", true, true},
    {"/cgi-dos?a%0Ab%0dc%0ad", "\\cgi-dos<br>a<br>bc<br>d", "cgi-dos a bc d", true, true},
    {"/p?x=%4", "\\p<br>x= ", "px", true, false},
    {"/p?%4&1", "\\p<br><br>A", "p", true, false},
    {"/p?%%41", "\\p<br>A", "p", true, false},
    {"/p?a?b", "\\p<br>a?b", "pa?b", true, false},
    {"/cgi-dos?q?r", "\\cgi-dos<br>q?r", "cgi-dos q?r", true, true},
    {"/p?%zz", "\\p<br>%zz", "p", true, false},
    {"/cgi-dos?a=/b", "\\cgi-dos<br>a= \\b", "b", true, true},
    {"", "", "", false, false},
    // What HTML reads as markup is written as entities in the form text, whether it came raw or
    // escaped; the call text keeps it as it is.
    {"/p?t=%3Cscript%3Ealert(1)%3C%2Fscript%3E", "\\p<br>t= &lt;script&gt;alert(1)&lt;/script&gt;",
     "ptscriptalert(1)script", true, false},
    {"/<b>?q=\"x\"%26%22%3e", "\\&lt;b&gt;<br>q= &quot;x&quot;&amp;&quot;&gt;", "<b>q\"x\"", true, false},
    {"/p?a=%<x", "\\p<br>a= %&lt;x", "pa", true, false},
    {"/cgi-dos?x=%3C&y=<", "\\cgi-dos<br>x= &lt;<br>y= &lt;", "cgi-dos x < y <", true, true},
};

TEST(DecodeTarget, MatchesTheTableOfTargets) {
    for (const Case& c : kCases) {
        DecodedTarget d = DecodeTarget(c.target);
        EXPECT_EQ(d.path, c.target) << c.target;
        EXPECT_EQ(d.form, c.form) << c.target;
        EXPECT_EQ(d.call, c.call) << c.target;
        EXPECT_EQ(d.query, c.query) << c.target;
        EXPECT_EQ(d.cgi, c.cgi) << c.target;
    }
}

TEST(LeavesHome, OnlyADotDotComponentCountsWhicheverSlashSeparatesIt) {
    EXPECT_TRUE(LeavesHome("/../x"));
    EXPECT_TRUE(LeavesHome("/a/../../x"));
    EXPECT_TRUE(LeavesHome("/..\\x"));
    EXPECT_TRUE(LeavesHome("/a\\.."));
    EXPECT_TRUE(LeavesHome(".."));
    EXPECT_FALSE(LeavesHome("/..x/y"));
    EXPECT_FALSE(LeavesHome("/x../y"));
    EXPECT_FALSE(LeavesHome("/.../y"));
    EXPECT_FALSE(LeavesHome("/%2e%2e/y"));
    EXPECT_FALSE(LeavesHome("/a/./b"));
}

TEST(NamesGatewayFile, TheGatewaysWorkingFilesInAnyDirectoryAndCase) {
    for (const char* target : {"/ch0_01", "/ch0_01.url", "/ch24_99.tok", "/ch3.tok", "/ext0.txt", "/ext12.txt",
                               "ch1_00.url", "/sub/ch0_01.url", "\\ch0_01.url", "/./ch0_01.url", "/CH0_01.URL",
                               "/Ext1.TXT", "/ch0_01.url?x=1"})
        EXPECT_TRUE(NamesGatewayFile(target)) << target;
    for (const char* target : {"/", "/ch", "/ch0", "/ch0_1", "/ch0_001", "/ch_01", "/ch0_01.htm", "/ch0_01.url.bak",
                               "/ch0.url", "/chx_01", "/ext.txt", "/ext1.htm", "/text1.txt", "/ch0_01/x", "/mailbox.tmp",
                               "/a?b=/ch0_01.url"})
        EXPECT_FALSE(NamesGatewayFile(target)) << target;
}

}  // namespace
