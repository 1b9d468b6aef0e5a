// Whole grabs inside the program's own message loop, over real loopback sockets: the shown and
// saved single documents, LEVEL_N with its phases in order, STOP, and a start page on
// this PC's disk whose crawl runs nested inside OpenClient.

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/sockets.h"
#include "grabber/fetch.h"
#include "grabber/grab_fixture.h"
#include "grabber/link_lists.h"
#include "grabber/site_server.h"
#include "platform/messages.h"
#include "platform/winsock.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/temp_dir.h"

namespace {

using grab_testing::GrabTest;
using grab_testing::SiteServer;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

const char* const kTail =
    " HTTP/1.0\r\nUser-Agent: Korvel/4.0 (Win32; I)\r\n"
    "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, */*\r\n\r\n";

class GrabSession : public GrabTest {
protected:
    void SetUp() override {
        GrabTest::SetUp();
        WSADATA data;
        ASSERT_EQ(WSAStartup(0x0101, &data), 0);
        Settings.Url.LeavingTimeout = 0;
        Settings.Url.Retry = 0;
        Settings.Standard.Url = 1;
    }
    void TearDown() override {
        WSACleanup();
        GrabTest::TearDown();
    }
    std::string Url(const std::string& path) { return "http://127.0.0.1:" + std::to_string(site.port()) + path; }
    // The port as the grabber writes it: a signed 16-bit number widened with its sign, so a
    // port above 32767 (every ephemeral port of Linux) prints as a large number.
    std::string PortText() { return std::to_string((uint32_t)(int32_t)(int16_t)site.port()); }
    std::string WrittenUrl(const std::string& path) { return "http://127.0.0.1:" + PortText() + path; }
    // Runs the message loop until the console has shown text (at most 10 s).
    bool RunUntil(const std::string& text) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (frontEnd.printed.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            MSG msg;
            if (!GetMessageA(&msg, nullptr, 0, 0)) break;
            DispatchMessageA(&msg);
        }
        return frontEnd.printed.find(text) != std::string::npos;
    }
    // One turn of the loop: the next message, or the next tick.
    void RunOnce() {
        MSG msg;
        if (GetMessageA(&msg, nullptr, 0, 0)) DispatchMessageA(&msg);
    }
    // Each piece must appear after the one before it.
    static void ExpectInOrder(const std::string& text, const std::vector<std::string>& pieces) {
        size_t at = 0;
        for (const std::string& piece : pieces) {
            size_t found = text.find(piece, at);
            ASSERT_NE(found, std::string::npos) << "missing, or out of order: " << piece << "\nin:\n" << text;
            at = found + piece.size();
        }
    }
    static size_t Count(const std::string& text, const std::string& piece) {
        size_t n = 0;
        for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++n;
        return n;
    }

    SiteServer site;
};

TEST_F(GrabSession, TextKindShowsTheDocumentAndSavesOnlyItsBody) {
    site.Serve("/t.htm", SiteServer::Http10("<p>hi</p>\r\n"));
    ASSERT_EQ(StartFetch(kFetchText, Url("/t.htm").c_str(), ""), 1);
    ASSERT_TRUE(RunUntil("*************\n* End Of URL* Reference= no_name\n*************\n"));
    ExpectInOrder(frontEnd.printed,
                  {"url=" + Url("/t.htm") + "\n", "Type=http, host=127.0.0.1, port=" + PortText() + ", base=/ file=t.htm\n",
                   "HTTP/1.0 200 OK[CR][LF]\n", "<p>hi</p>[CR][LF]\n", "bytes sent\n",
                   "Status 200 [OK->200], Header Length 64 bytes, Data Length 11\nFILE IS COMPLETE\n"});
    EXPECT_EQ(ReadFile(HomeFile("no_name")), "<p>hi</p>\r\n");
    EXPECT_FALSE(home.Exists("kvdir.htm")) << "a shown document is not reported";
    ASSERT_EQ(site.Requests().size(), 1u);
    EXPECT_EQ(site.Requests()[0], std::string("GET /t.htm") + kTail);
    EXPECT_EQ(Settings.Server.ServerMode, kStdModel | EnableTimeout);
}

TEST_F(GrabSession, BinaryKindOverHttp09SavesTheWholeAnswer) {
    Settings.Standard.Url = 0;
    site.Serve("/doc.htm", "<html>whole answer, no header</html>");
    ASSERT_EQ(StartFetch(kFetchBinary, Url("/doc.htm").c_str(), ""), 1);
    ASSERT_TRUE(RunUntil("* End Of URL* Reference= 01doc.htm\n"));
    EXPECT_EQ(site.Requests().at(0), "GET /doc.htm\r\n");
    EXPECT_EQ(ReadFile(HomeFile("01doc.htm")), "<html>whole answer, no header</html>");
    EXPECT_EQ(frontEnd.printed.find("Status"), std::string::npos) << "no header, no verdict";
    EXPECT_NE(ReadFile(HomeFile("kvdir.htm")).find("save as " + HomeFile("01doc.htm") + "</a> (length 36 bytes)"),
              std::string::npos);
    EXPECT_EQ(Settings.Server.ServerMode, kHttpBinaryModel | EnableTimeout);
    EXPECT_EQ(Settings.Server.LeavingTimeout, 2) << "the server's own time limits are back";
}

TEST_F(GrabSession, LevelOneFetchesPagesAndImagesInOrderThenClosesTheLevel) {
    site.Serve("/index.htm", SiteServer::Http10("<a href=a.htm>a</a><a href=b.htm>b</a><img src=i.gif>"));
    site.Serve("/a.htm", SiteServer::Http10("<a href=b.htm>b</a><a href=c.htm#x>c</a><img src=j.gif>"));
    site.Serve("/b.htm", SiteServer::Http10("<a href=index.htm>home</a>"));
    site.Serve("/i.gif", SiteServer::Http10("GIF-i", "image/gif"));
    site.Serve("/j.gif", SiteServer::Http10("GIF-j", "image/gif"));
    Levels = 1;
    ASSERT_EQ(StartFetch(kFetchLevels, Url("/index.htm").c_str(), ""), 1);
    ASSERT_TRUE(RunUntil("* End Of URL*"));
    std::string h = home.path();
    ExpectInOrder(frontEnd.printed,
                  {"Browsing Reference Page ...\n", "Order 1, 2 URL(s) detected\n",
                   "Creating Html Pages... 00002\b\b\b\b\b00003\b\b\b\b\b\n", "Browsing Image(s) ...\n",
                   "1 image(s) detected\n", "\nasking for image /i.gif [1/1], save as " + h + "/04i.gif\n",
                   "FILE IS COMPLETE\n", "\nasking for document /a.htm [2/3], save as " + h + "/02a.htm\n",
                   "Browsing Image(s) ...\n1 image(s) detected\n",
                   "\nasking for image /j.gif [2/2], save as " + h + "/05j.gif\n",
                   "\nasking for document /b.htm [3/3], save as " + h + "/03b.htm\n",
                   "Browsing Image(s) ...\n0 image(s) detected\n",
                   "Closing Http Pages ...00001\b\b\b\b\b00002\b\b\b\b\b\n",
                   "*************\n* End Of URL* Reference= 01index.htm\n*************\n"});
    EXPECT_EQ(ReadFile(HomeFile("01index.htm")), "<a href=\"02a.htm\">a</a><a href=\"03b.htm\">b</a><img src=\"04i.gif\">");
    EXPECT_EQ(ReadFile(HomeFile("02a.htm")),
              "<a href=\"03b.htm\">b</a><a href=\"" + WrittenUrl("/c.htm#x") + "\">c</a><img src=\"05j.gif\">");
    EXPECT_EQ(ReadFile(HomeFile("03b.htm")), "<a href=\"01index.htm\">home</a>");
    EXPECT_EQ(ReadFile(HomeFile("05j.gif")), "GIF-j");
    EXPECT_EQ(Count(ReadFile(HomeFile("kvdir.htm")), " File_OK"), 5u);
    EXPECT_EQ(PageList.file, nullptr) << "the lists are released at the end";
}

TEST_F(GrabSession, OnceTheImageLimitIsReachedAPageTakesWhatTheWorkFileLastHeld) {
    site.Serve("/index.htm", SiteServer::Http10("<a href=a.htm>a</a><img src=i.gif> tail"));
    site.Serve("/a.htm", SiteServer::Http10("<p>page a</p><img src=j.gif>"));
    site.Serve("/i.gif", SiteServer::Http10("GIF-i", "image/gif"));
    Settings.Url.MaxIMG = 1;
    Levels = 1;
    ASSERT_EQ(StartFetch(kFetchLevels, Url("/index.htm").c_str(), ""), 1);
    ASSERT_TRUE(RunUntil("* End Of URL*"));
    EXPECT_EQ(ReadFile(HomeFile("01index.htm")), "<a href=\"02a.htm\">a</a><img src=\"03i.gif\"");
    // The image pass of a.htm wrote nothing, so a.htm took the start page's head from tmp.txt;
    // the closing pass then found no page 02a.htm under a.htm's name and made the link absolute.
    EXPECT_EQ(ReadFile(HomeFile("02a.htm")), "<a href=\"" + WrittenUrl("/02a.htm") + "\">a</a><img src=\"03i.gif\"");
    EXPECT_EQ(site.Requests().size(), 3u) << "j.gif is never asked for";
}

TEST_F(GrabSession, StopDuringAnImageStillReportsItAndEndsWithTheBanner) {
    site.Serve("/p.htm", SiteServer::Http10("<img src=big.gif>"));
    site.Serve("/big.gif", "HTTP/1.0 200 OK\r\nContent-Type: image/gif\r\nContent-Length: 1000\r\n\r\n" +
                               std::string(100, 'g'), true);
    ASSERT_EQ(StartFetch(kFetchImages, Url("/p.htm").c_str(), ""), 1);
    ASSERT_TRUE(RunUntil("Data Length to be received = 1000\n"));
    for (int i = 0; i < 200 && Channels[0].RxBytes < 166; ++i) RunOnce();
    ASSERT_EQ(Channels[0].RxBytes, 166u) << "the header and the first 100 bytes";
    GrabActive = 0;
    CloseAllClients();
    site.Release();
    const std::string& out = frontEnd.printed;
    ExpectInOrder(out, {"Marking Reference Page ...\n", "asking for image /big.gif [1/1]",
                        "Status 200 [OK->200], Header Length 66 bytes, Data Length 1000\nFILE IS UNCOMPLETE\n",
                        "*************\n* End Of URL* Reference= 01p.htm\n"});
    EXPECT_EQ(Count(out, "URL Retry"), 0u);
    std::string report = ReadFile(HomeFile("kvdir.htm"));
    EXPECT_NE(report.find("(length 100 bytes) Status 200 Content image/gif File_NOK"), std::string::npos) << report;
    EXPECT_EQ(PageList.file, nullptr);
}

TEST_F(GrabSession, AStartPageOnThisDiskIsCrawledInsideOpenClient) {
    TempDir pages;
    WriteFile(pages.File("start.htm"),
              "<a href=local.htm>here</a> <a href=\"" + Url("/remote.htm") + "\">there</a> <img src=pic.gif>");
    site.Serve("/remote.htm", SiteServer::Http10("<a href=start.htm>back</a>"));
    Settings.Url.Retry = 3;
    Levels = 1;
    std::string url = "http://2mypc" + pages.path() + "/start.htm";
    ASSERT_EQ(StartFetch(kFetchLevels, url.c_str(), ""), 1);
    // The start page was processed before StartFetch returned; only the network fetch waits.
    std::string before = frontEnd.printed;
    ExpectInOrder(before, {"Browsing Reference Page ...\n", "Order 1, 1 URL(s) detected\n",
                           "Browsing Image(s) ...\n0 image(s) detected\n",
                           "\nasking for document /remote.htm [2/2], save as " + HomeFile("02remote.htm") + "\n"});
    EXPECT_EQ(before.find("URL Retry"), std::string::npos) << "a start page from the disk is never retried";
    ASSERT_TRUE(RunUntil("* End Of URL* Reference= 01start.htm\n"));
    EXPECT_EQ(ReadFile(HomeFile("01start.htm")),
              "<a href=\"file:///c|" + pages.path() + "/local.htm\">here</a> <a href=\"02remote.htm\">there</a> "
              "<img src=\"file:///c|" + pages.path() + "/pic.gif\">");
    EXPECT_EQ(ReadFile(HomeFile("02remote.htm")), "<a href=\"" + WrittenUrl("/start.htm") + "\">back</a>");
}

TEST_F(GrabSession, GrabsThatCannotStartSaySoAndReleaseEverything) {
    EXPECT_EQ(StartFetch(kFetchLevels, "mailto:me", ""), 0);
    EXPECT_EQ(TakePrinted(), "URL format error ...\n");
    EXPECT_EQ(StartFetch(kFetchLevels, "http://2mypc/no/such/page.htm", ""), 0);
    EXPECT_EQ(TakePrinted(), "CopyFile, unable to open source file /no/such/page.htm\n"
                             "Unable to find file /no/such/page.htm\n");
    strcpy(Settings.Url.HomeDir, "/nonexistent-korvel-dir");
    EXPECT_EQ(StartFetch(kFetchBinary, Url("/x.htm").c_str(), ""), 0);
    EXPECT_EQ(TakePrinted(), "Unable to open file http.tmp\n");
    EXPECT_EQ(PageList.file, nullptr);
    EXPECT_EQ(ImageList.file, nullptr);
}

}  // namespace
