// The request, the completion report's record, the retries' refusals, and the file routines of
// the grabber. (The verdicts are tested end to end.)

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/textio.h"
#include "base/timestamp.h"
#include "channel/channel.h"
#include "channel/sockets.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "grabber/grab_fixture.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/temp_dir.h"

namespace {

using grab_testing::GrabTest;
using testing_support::ReadFile;
using testing_support::WriteFile;

const char* const kTail =
    " HTTP/1.0\r\nUser-Agent: Korvel/4.0 (Win32; I)\r\n"
    "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, */*\r\n";

class Requests : public GrabTest {
protected:
    std::string Build(const UrlRecord& r) {
        CopyText(Grab.Fetch.file, r.file);
        EXPECT_EQ(BuildRequest(r), 1);
        return std::string(Grab.Fetch.Request) + "\r\n";
    }
};

TEST_F(Requests, TheThreeFormsByteForByte) {
    UrlRecord r = Record("srv", "/d/", "x.html", 8080, "01x.htm");
    Settings.Standard.Url = 1;
    EXPECT_EQ(Build(r), std::string("GET /d/x.html") + kTail + "\r\n");
    EXPECT_STREQ(Grab.Fetch.connectHost, "srv");
    EXPECT_EQ(Grab.Fetch.connectPort, 8080);
    EXPECT_EQ(Grab.Fetch.HeaderPhase, kAwaitStatusLine);

    strcpy(Settings.Url.ProxyHost, "proxy.lan");
    Settings.Url.Port = 3128;
    EXPECT_EQ(Build(r), std::string("GET http://srv:8080/d/x.html") + kTail + "\r\n");
    EXPECT_STREQ(Grab.Fetch.connectHost, "proxy.lan");
    EXPECT_EQ(Grab.Fetch.connectPort, 3128);
    r.port = 80;
    EXPECT_EQ(Build(r), std::string("GET http://srv/d/x.html") + kTail + "\r\n");
    r.port = -31073;
    EXPECT_EQ(Build(r), std::string("GET http://srv:4294936223/d/x.html") + kTail + "\r\n")
        << "the signed port widened with its sign";

    Settings.Url.ProxyHost[0] = '\0';
    Settings.Standard.Url = 0;
    r.port = 80;
    EXPECT_EQ(Build(r), "GET /d/x.html\r\n");
    EXPECT_EQ(Grab.Fetch.HeaderPhase, kHeaderDone) << "HTTP 0.9: no header is expected";
}

TEST_F(Requests, EveryRequestStartsWithAFreshResponseState) {
    Grab.Fetch.Status = 404;
    Grab.Fetch.HeaderBytes = 99;
    Grab.Fetch.ContentLength = 5;
    Grab.Fetch.IsHtml = 0;
    strcpy(Grab.Fetch.ContentType, "image/gif");
    Build(Record("h", "/", "", 80, ""));
    const FetchRecord& f = Grab.Fetch;
    EXPECT_EQ(std::to_string(f.Status) + " " + std::to_string(f.HeaderBytes) + " " + std::to_string(f.ContentLength) +
                  " " + std::to_string(f.IsHtml) + " [" + f.ContentType + "]",
              "0 0 " + std::to_string(kUnknownLength) + " 1 []");
}

// ---------------------------------------------------------------------------------------------

class Completion : public GrabTest {
protected:
    void SetUp() override {
        GrabTest::SetUp();
        Settings.Standard.Url = 1;
        Settings.Server.ServerMode = kHttpBinaryModel;
        Channel& c = Channels[2];
        c.StateTime = 1000000;
        c.TxBytes = 120;
        CopyText(Grab.Fetch.host, "srv");
        CopyText(Grab.Fetch.base, "/d/");
        CopyText(Grab.Fetch.file, "x.htm");
        Grab.Fetch.connectPort = 8080;
        Grab.Fetch.Status = 200;
        Grab.Fetch.HeaderBytes = 100;
        snprintf(ClientOutputFile, sizeof ClientOutputFile, "%s/01x.htm", home.path().c_str());
    }
    std::string Complete(uint32_t received, uint32_t announced) {
        Channels[2].RxBytes = received;
        Grab.Fetch.ContentLength = announced;
        FetchComplete(MainWindow, 2);
        return TakePrinted();
    }
    std::string Report() { return ReadFile(HomeFile("kvdir.htm")); }
    static std::string Stamp() {
        char stamp[kTimeStampSize];
        TimeStamp(1000000, stamp);
        return stamp;
    }
    std::string ReportRecord(const char* tail, uint32_t length) {
        return std::string("\r\n<br>") + Stamp() + "\r\n<br><a href=\"http://srv:8080/d/x.htm\">Document http://srv:8080/d/x.htm</a> <a href= \"01x.htm\">save as " +
               ClientOutputFile + "</a> (length " + std::to_string(length) + " bytes)" + tail;
    }
};

TEST_F(Completion, AWholeBodyIsJudgedCompleteAndTheContentTypeIsReported) {
    strcpy(Grab.Fetch.ContentType, "text/html");
    EXPECT_EQ(Complete(1100, 1000),
              "1100 bytes received, 120 bytes sent\n"
              "Status 200 [OK->200], Header Length 100 bytes, Data Length 1000\nFILE IS COMPLETE\n");
    EXPECT_EQ(Report(), ReportRecord(" Status 200 Content text/html File_OK", 1000));
}

TEST_F(Completion, WhatTheServerSentIsWrittenAsTextIntoTheReport) {
    strcpy(Grab.Fetch.ContentType, "text/html<script>alert(\"&\")</script>");
    CopyText(Grab.Fetch.file, "x.htm<b>");
    Complete(1100, 1000);
    EXPECT_EQ(Report(), std::string("\r\n<br>") + Stamp() +
                            "\r\n<br><a href=\"http://srv:8080/d/x.htm&lt;b&gt;\">Document http://srv:8080/d/x.htm&lt;b&gt;</a> "
                            "<a href= \"01x.htm\">save as " + ClientOutputFile + "</a> (length 1000 bytes) Status 200 "
                            "Content text/html&lt;script&gt;alert(&quot;&amp;&quot;)&lt;/script&gt; File_OK");
}

TEST_F(Completion, ThroughAProxyTheReportNamesNoPort) {
    strcpy(Settings.Url.ProxyHost, "proxy");
    Complete(1100, 1000);
    EXPECT_NE(Report().find(">Document http://srv/d/x.htm</a>"), std::string::npos) << Report();
}

TEST_F(Completion, HttpZeroNineHasNoVerdict) {
    Settings.Standard.Url = 0;
    Grab.Fetch.HeaderBytes = 0;
    EXPECT_EQ(Complete(50, kUnknownLength), "50 bytes received, 120 bytes sent\n");
    EXPECT_EQ(Report(), ReportRecord("", 50));
}

TEST_F(Completion, RetriesAreRefusedOnceAByteArrivedOrAfterStop) {
    Channels[2].Fetch = &Grab.Fetch;
    // Each row is a reason to refuse: stopped, a byte arrived, no crawl, no retries left.
    const struct {
        int16_t active;
        uint32_t received;
        int16_t noCrawl, retriesLeft;
    } rows[] = {{0, 0, 0, 5}, {1, 1, 0, 5}, {1, 0, 1, 5}, {1, 0, 0, 0}};
    for (const auto& row : rows) {
        Grab.GrabActive = row.active;
        Channels[2].RxBytes = row.received;
        Grab.Fetch.NoCrawl = row.noCrawl;
        Grab.RetriesLeft = row.retriesLeft;
        EXPECT_EQ(RetryFetch(2), 0) << row.active << row.received << row.noCrawl << row.retriesLeft;
    }
    EXPECT_EQ(Grab.RetriesLeft, -1);
    EXPECT_EQ(TakePrinted(), "");
    Channels[2].Fetch = nullptr;
}

// ---------------------------------------------------------------------------------------------

using FileRoutines = GrabTest;

TEST_F(FileRoutines, CopyFileCopiesEveryByteAndReportsWhatItCannotOpen) {
    std::string content;
    for (int i = 0; i < 1300; ++i) content += (char)(i * 7);
    WriteFile(HomeFile("a.bin"), content);
    WriteFile(HomeFile("b.bin"), std::string(5000, 'x'));
    EXPECT_EQ(CopyFile(HomeFile("a.bin").c_str(), HomeFile("b.bin").c_str()), 1);
    EXPECT_EQ(ReadFile(HomeFile("b.bin")), content);
    EXPECT_EQ(CopyFile(HomeFile("none").c_str(), HomeFile("c.bin").c_str()), 0);
    EXPECT_EQ(TakePrinted(), "CopyFile, unable to open source file " + HomeFile("none") + "\n");
    EXPECT_EQ(CopyFile(HomeFile("a.bin").c_str(), HomeFile("no/dir/c.bin").c_str()), 0);
    EXPECT_EQ(TakePrinted(), "CopyFile, unable to open destination file " + HomeFile("no/dir/c.bin") + "\n");
}

TEST_F(FileRoutines, CheckFileEndCutsAtTheCurrentPosition) {
    std::string target = HomeFile("page.htm"), scratch = HomeFile("cut.tmp");
    FILE* file = fopen(target.c_str(), "w+b");
    std::string text(1500, 'a');
    fwrite(text.data(), 1, text.size(), file);
    fseek(file, 1100, SEEK_SET);
    EXPECT_EQ(CheckFileEnd(file, target.c_str(), scratch.c_str()), 1);
    EXPECT_EQ(ReadFile(target), std::string(1100, 'a'));
    file = fopen(target.c_str(), "r+b");
    fseek(file, 0, SEEK_END);
    EXPECT_EQ(CheckFileEnd(file, target.c_str(), scratch.c_str()), 0) << "already at the end";
    file = fopen(target.c_str(), "r+b");
    fseek(file, 10, SEEK_SET);
    EXPECT_EQ(CheckFileEnd(file, target.c_str(), HomeFile("no/dir/x").c_str()), -1);
    EXPECT_EQ(TakePrinted(), "CheckFileEnd, unable to open destination file " + HomeFile("no/dir/x") + "\n");
    EXPECT_EQ(ReadFile(target).size(), 1100u);
}

TEST_F(FileRoutines, PathsAndSlashes) {
    char buffer[16];
    EXPECT_STREQ(PathJoin(buffer, "\\tmp", "01x.htm"), "\\tmp/01x.htm");
    EXPECT_STREQ(PathJoin(buffer, "/a-long-directory", "name"), "/a-long-directo") << "cut to the buffer";
    EXPECT_STREQ(BaseName("c:\\tmp/dir\\01x.htm"), "01x.htm");
    EXPECT_STREQ(BaseName("/tmp/x/"), "");
    EXPECT_STREQ(BaseName("page.htm"), "page.htm");
    char text[] = "a/b\\c/";
    ToDosSlashes(text);
    EXPECT_STREQ(text, "a\\b\\c\\");
    ToUnixSlashes(text);
    EXPECT_STREQ(text, "a/b/c/");
}

}  // namespace
