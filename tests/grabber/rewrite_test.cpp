// The rewriting passes over saved pages and the stand-in files. (The link scopes and limits are
// tested end to end.)

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/textio.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "grabber/grab_fixture.h"
#include "grabber/link_lists.h"
#include "grabber/rewrite.h"
#include "settings/settings.h"
#include "support/temp_dir.h"

namespace {

using grab_testing::GrabTest;
using testing_support::ReadFile;
using testing_support::WriteFile;

const char* const kTrailerTail =
    "<center>Page saved by korvel, the network toolkit</center>"
    "<center><A HREF=\"ftp://ftp.korvel.org/pub/korvel/\">ftp.korvel.org</A>-or-"
    "<A HREF=\"ftp://mirror.korvel.org/pub/korvel/\">mirror.korvel.org</A></center><HR>";

class Rewriting : public GrabTest {
protected:
    void SetUp() override {
        GrabTest::SetUp();
        ASSERT_TRUE(OpenLinkLists());
        CopyText(Grab.ReferenceUrl.host, "srv");
        CopyText(Grab.ReferenceUrl.base, "/a/");
        Grab.ReferenceUrl.port = 80;
        UrlRecord start = Record("srv", "/a/", "index.htm", 80, "01index.htm");
        GetSet(&start, kSetRecord, 0, Grab.PageList.file);
        Grab.PageCount = 1;
        strcpy(Settings.UrlRun.Index, "01");  // the start page took 01
    }
    std::string PagePath() { return HomeFile("page.htm"); }
    std::string Marked(const std::string& page, const char* host, const char* base, int16_t mode, int16_t port,
                       const TagTable& table = Tags.UrlTags) {
        WriteFile(PagePath(), page);
        EXPECT_EQ(UrlMarker(PagePath().c_str(), host, base, mode, 0, 0, table, port), 1);
        return ReadFile(HomeFile("tmp.txt"));
    }
    std::string Browsed(const std::string& page, const char* host = "srv", const char* base = "/a/",
                        int16_t port = 80) {
        WriteFile(PagePath(), page);
        EXPECT_EQ(UrlBrowser(PagePath().c_str(), host, base, 0, 0, Tags.UrlTags, port), 1);
        return ReadFile(HomeFile("tmp.txt"));
    }
    std::string Images(const std::string& page, const char* host = "srv", const char* base = "/a/",
                       int16_t port = 80, int16_t expected = 1) {
        WriteFile(PagePath(), page);
        EXPECT_EQ(ImgBrowser(PagePath().c_str(), host, base, Tags.ImageTags, port), expected);
        return ReadFile(HomeFile("tmp.txt"));
    }
    std::string Entry(LinkList& list, int16_t index) {
        UrlRecord r;
        GetSet(&r, kGetRecord, index, list.file);
        return std::string(r.localName) + " " + r.host + ":" + std::to_string(r.port) + r.base + r.file + " " +
               std::to_string(r.isHtml);
    }
};

TEST_F(Rewriting, MarkingMakesRelativeLinksAbsoluteAndLeavesTheRest) {
    EXPECT_EQ(Marked("<a href=\"b.htm#s\"> <a href=\"http://server2/z.htm\"> <a href=\"#top\"> <a href=mailto:x>"
                     " <A HREF=../up.htm title=x> <a href=ftp:x>",
                     "server1", "/a/", kMarkAbsolute, 8080),
              "<a href=\"http://server1:8080/a/b.htm#s\"> <a href=\"http://server2/z.htm\"> <a href=\"#top\">"
              " <a href=mailto:x> <A HREF=\"http://server1:8080/up.htm\" title=x> <a href=ftp:x>");
    EXPECT_EQ(Marked("<a href=\"http://srv:81/z.htm\">", "srv", "/a/", kMarkAbsolute, 80),
              "<a href=\"http://srv:81/z.htm\">");
}

TEST_F(Rewriting, TheMarkerPassCommentsOutBaseTags) {
    EXPECT_EQ(Marked("<BASE HREF=\"http://x/\"><form action=\"f\">", "srv", "/a/", kMarkAbsolute, 80, Tags.MarkTags),
              "<!base HREF=\"http://x/\"><form action=\"f\">");
}

TEST_F(Rewriting, MarkingForLocalReadingUsesTheListedCopies) {
    UrlRecord r = Record("srv", "/a/", "b.htm", 80, "02b.htm");
    GetSet(&r, kSetRecord, 1, Grab.PageList.file);
    Grab.PageCount = 2;
    EXPECT_EQ(Marked("<a href=b.htm#s><a href=c.htm#s><a href=\"http://srv/a/b.htm\"><a href=\"http://srv:80/a/b.htm\">"
                     "<a href=/a/b.htm><a href=\"ftp://srv/a/b.htm\"><a href=index.htm>",
                     "srv", "/a/", kMarkLocal, 80),
              "<a href=\"02b.htm#s\"><a href=\"http://srv/a/c.htm#s\"><a href=\"02b.htm\"><a href=\"02b.htm\">"
              "<a href=\"02b.htm\"><a href=\"ftp://srv/a/b.htm\"><a href=\"01index.htm\">");
}

TEST_F(Rewriting, LinksOfPagesOnThisDiskBecomeLocalNamesOrFileUrls) {
    EXPECT_EQ(Marked("<a href=x.htm><a href=../y.htm>", kLocalHost, Grab.HomeBase, kMarkAbsolute, 80),
              "<a href=\"x.htm\"><a href=\"file:///c|" + home.path().substr(0, home.path().rfind('/') + 1) +
                  "y.htm\">");
}

TEST_F(Rewriting, BrowsingListsNewPagesOnceAndNamesThemLocally) {
    EXPECT_EQ(Browsed("<a href=b.htm#one> <a href=\"b.htm#two\"> <a href=sub/c.htm> <a href=\"#x\">"
                      " <a href=\"http://other/o.htm\"> <a href=index.htm> <a href=mailto:me> <a href=http://srv:81/p.htm>"),
              "<a href=\"02b.htm#one\"> <a href=\"02b.htm#two\"> <a href=\"03c.htm\"> <a href=\"#x\">"
              " <a href=\"http://other/o.htm\"> <a href=\"01index.htm\"> <a href=mailto:me> <a href=\"04p.htm\">");
    EXPECT_EQ(Grab.PageCount, 4);
    EXPECT_EQ(Entry(Grab.PageList, 1), "02b.htm srv:80/a/b.htm 0");
    EXPECT_EQ(Entry(Grab.PageList, 2), "03c.htm srv:80/a/sub/c.htm 0");
    EXPECT_EQ(Entry(Grab.PageList, 3), "04p.htm srv:81/p.htm 0") << "another port of the same host is local";
}

TEST_F(Rewriting, ALocalPageListsOnlyItsAbsoluteHttpLinks) {
    Settings.Url.All = 0;
    EXPECT_EQ(Browsed("<a href=rel.htm><a href=http://far/x.htm><a href=ftp://far/y>", kLocalHost, "/pages/"),
              "<a href=rel.htm><a href=\"02x.htm\"><a href=ftp://far/y>");
    EXPECT_EQ(Entry(Grab.PageList, 1), "02x.htm far:80/x.htm 0");
}

TEST_F(Rewriting, ImagesAreListedOnceEach) {
    EXPECT_EQ(Images("<img src=a.gif><IMG SRC=\"a.gif\"><body background=bg.jpg><input src=/i/b.gif>"
                     "<img src=http://cdn:8000/c.gif><img src=ftp://x/d.gif>"),
              "<img src=\"02a.gif\"><IMG SRC=\"02a.gif\"><body background=\"03bg.jpg\"><input src=\"04b.gif\">"
              "<img src=\"05c.gif\"><img src=ftp://x/d.gif>");
    EXPECT_EQ(Grab.ImageCount, 4);
    EXPECT_EQ(Entry(Grab.ImageList, 0), "02a.gif srv:80/a/a.gif 0");
    EXPECT_EQ(Entry(Grab.ImageList, 2), "04b.gif srv:80/i/b.gif 0");
    EXPECT_EQ(Entry(Grab.ImageList, 3), "05c.gif cdn:8000/c.gif 0");
}

TEST_F(Rewriting, ImagesOfALocalPageStayOnTheDisk) {
    EXPECT_EQ(Images("<img src=a.gif><img src=../b.gif><img src=http://h/c.gif>", kLocalHost, Grab.HomeBase),
              "<img src=\"a.gif\"><img src=\"file:///c|" + home.path().substr(0, home.path().rfind('/') + 1) +
                  "b.gif\"><img src=\"02c.gif\">");
    EXPECT_EQ(Grab.ImageCount, 1);
}

TEST_F(Rewriting, TooLargeValuesStayAndTheScanGoesOn) {
    std::string big(600, 'v');
    EXPECT_EQ(Browsed("<a href=" + big + "><a href=b.htm>"), "<a href=" + big + "><a href=\"02b.htm\">");
    EXPECT_EQ(TakePrinted(), "Detect, Url size greater than 496 !!!\n");
}

TEST_F(Rewriting, PagesAndImagesGetTheirStandIns) {
    UrlRecord r = Record("srv", "/a/", "b.htm", 8080, "02b.htm");
    GetSet(&r, kSetRecord, 1, Grab.PageList.file);
    r = Record("srv", "/i/", "p.gif", 80, "03p.gif");
    GetSet(&r, kSetRecord, 0, Grab.ImageList.file);
    EXPECT_EQ(Url_Miss(1), 1);
    EXPECT_EQ(ReadFile(HomeFile("02b.htm")),
              std::string("<HR><center> URL: http://srv:8080/a/b.htm</center>") + kTrailerTail);
    WriteFile(HomeFile("03p.gif"), "old");
    EXPECT_EQ(Url_Empty(0, 0), 1);
    EXPECT_EQ(ReadFile(HomeFile("03p.gif")), "");
    EXPECT_EQ(TakePrinted(), "");
    strcpy(Settings.Url.HomeDir, "/nonexistent-korvel-dir");
    EXPECT_EQ(Url_Empty(1, 1), 0);
    EXPECT_EQ(TakePrinted(), "Url_Empty unable to open /nonexistent-korvel-dir/02b.htm\n");
    EXPECT_EQ(Url_Miss(1), 0);
    EXPECT_EQ(TakePrinted(), "Url_Miss unable to open /nonexistent-korvel-dir/tmp.txt\n");
}

TEST_F(Rewriting, PassesThatCannotOpenTheirFilesSaySo) {
    std::string none = HomeFile("none.htm");
    EXPECT_EQ(UrlMarker(none.c_str(), "srv", "/", 0, 0, 0, Tags.UrlTags, 80), 0);
    EXPECT_EQ(TakePrinted(), "UrlMarker unable to open " + none + "\n");
    EXPECT_EQ(UrlBrowser(none.c_str(), "srv", "/", 0, 0, Tags.UrlTags, 80), 0);
    EXPECT_EQ(TakePrinted(), "UrlBrowser, Unable to open " + none + "\n");
    EXPECT_EQ(ImgBrowser(none.c_str(), "srv", "/", Tags.ImageTags, 80), 0);
    EXPECT_EQ(TakePrinted(), "ImgBrowser, Unable to open " + none + "\n");
    WriteFile(PagePath(), "<img src=a.gif>");
    strcpy(Settings.Url.HomeDir, "/nonexistent-korvel-dir");
    EXPECT_EQ(ImgBrowser(PagePath().c_str(), "srv", "/", Tags.ImageTags, 80), 0);
    EXPECT_EQ(TakePrinted(), "ImgBrowser Unable to open /nonexistent-korvel-dir/tmp.txt\n");
}

TEST_F(Rewriting, MarkAndBrowseRunTheMarkerPassFirstAndAppendTheTrailer) {
    WriteFile(PagePath(), "<base href=\"http://x/\"><a href=b.htm>");
    EXPECT_EQ(BrowsePage(PagePath().c_str(), "srv", "/a/", 0, 1, 80), 1);
    EXPECT_EQ(ReadFile(HomeFile("tmp.txt")), std::string("<!base href=\"http://x/\"><a href=\"02b.htm\">") +
                                                 "<HR><center> URL: http://srv/a/index.htm</center>" + kTrailerTail);
    EXPECT_EQ(MarkPage(PagePath().c_str(), "srv", "/a/", kMarkLocal, 0, 0, 80), 1);
    EXPECT_EQ(ReadFile(HomeFile("tmp.txt")), "<!base href=\"http://x/\"><a href=\"02b.htm\">");
}

TEST_F(Rewriting, AnchorsAreSplitAtTheFirstHash) {
    char file[kUrlFileSize] = "x.htm#a#b", anchor[kUrlFileSize] = "?";
    SplitAnchor(file, anchor);
    EXPECT_STREQ(file, "x.htm");
    EXPECT_STREQ(anchor, "#a#b");
    char plain[kUrlFileSize] = "y.htm";
    SplitAnchor(plain, anchor);
    EXPECT_STREQ(anchor, "");
}

}  // namespace
