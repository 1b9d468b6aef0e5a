// The connection core as a peer sees it: the real server, channels and Winsock events on the
// in-memory socket backend. Each row is what a peer sends, what the console shows and what
// the peer gets back, byte for byte.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "base/app.h"
#include "base/textio.h"
#include "base/timestamp.h"
#include "channel/channel.h"
#include "channel/sockets.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "platform/clock.h"
#include "platform/fake_sockets.h"
#include "platform/messages.h"
#include "platform/profile.h"
#include "server/request.h"
#include "settings/settings.h"
#include "support/posix_peer.h"
#include "support/shell_fixture.h"
#include "support/temp_dir.h"

namespace {

using testing_support::ChangeDir;
using testing_support::ScopedEnv;
using testing_support::ShellTest;
using testing_support::TempDir;

constexpr time_t kNow = 1800000000;
constexpr uint16_t kPort = 8080;
constexpr uint16_t kRelayPort = 9090;
constexpr int kRounds = 200;

class Connection : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        platform::UseFakeClock(kNow, 0);
        CreateMainWindow();
        fakenet::Install();
        ASSERT_EQ(StartWinsock(), 1);
        ASSERT_EQ(mkdir(dir.File("site").c_str(), 0755), 0);
        ASSERT_EQ(mkdir(dir.File("site/sub").c_str(), 0755), 0);
        dir.Write("site/a.txt", "hello");
        dir.Write("site/home.htm", "<p>home</p>");
        dir.Write("site/stder.htm", "missing");
        dir.Write("site/stdack.htm", "thanks");
        dir.Write("site/sub/home.htm", "sub home");
        dir.Write("site/p.gif", "GIF");
        dir.Write("site/empty.htm", "");
        dir.Write("site/UP.HTM", "upper");
        dir.Write("site/cgierr.htm", "no program");
        dir.Write("korvel.ini", "[Mime]\nHTM=text/plain\n");
        dir.Write("cgi-dos.map", "cgi-dosgone n h /nonexistent/korvel-program\ncgi-dosx y h prog\ncgi-dosy y h /korvel/programs/with/a/long/name.exe\n");
        platform::FlushProfileCache();
        PipeCounter = 0;
        ServerSettings& s = Settings.Server;
        CopyText(s.HomeDir, "site");
        CopyText(Settings.Url.HomeDir, ".");
        s.ServerPort = kPort;
        s.LeavingTimeout = 0;
        Settings.Standard.Server = 1;
        char stamp[kTimeStampSize];
        TimeStamp(kNow, stamp);
        this->stamp = stamp;
    }
    void TearDown() override {
        for (int fd : peers) peer::Close(fd);
        CloseServer();
        CloseAllClients();
        CloseWS();
        fakenet::Remove();
        ShellTest::TearDown();
    }

    void Open() {
        ASSERT_TRUE(OpenServer());
        frontEnd.printed.clear();
    }
    int Peer(int fd) {
        if (fd >= 0) peers.push_back(fd);
        return fd;
    }
    int Connect() {
        int fd = Peer(fakenet::ConnectToProgram(kPort));
        platform::DispatchPendingEvents(kRounds);
        return fd;
    }
    // Sends `bytes` in pieces of `piece` bytes, letting the program run after each.
    void Send(int fd, const std::string& bytes, size_t piece = 0) {
        if (piece == 0) piece = bytes.size();
        for (size_t at = 0; at < bytes.size(); at += piece) {
            ASSERT_TRUE(peer::Write(fd, bytes.substr(at, piece)));
            platform::DispatchPendingEvents(kRounds);
        }
    }
    static std::string Received(int fd) { return peer::ReadAvailable(fd); }
    // The console text, each time stamp written "<time>" and each visitor's address "<peer>".
    std::string Console() const {
        std::string text = frontEnd.printed;
        for (size_t at = text.find(stamp); at != std::string::npos; at = text.find(stamp, at))
            text.replace(at, stamp.size(), "<time>");
        const std::string visitor = "127.0.0.1:4";  // the backend numbers visitors' ports from 40000
        for (size_t at = text.find(visitor); at != std::string::npos; at = text.find(visitor, at))
            text.replace(at, visitor.size() + 4, "<peer>");
        return text;
    }

    TempDir dir;
    ChangeDir inside{dir.path()};
    std::unique_ptr<ScopedEnv> tz = std::make_unique<ScopedEnv>("TZ", "UTC");
    std::string stamp;
    std::vector<int> peers;
};

// A target of over 200 bytes: the line overflows the 200-byte line buffer into an Extended Cmd.
#define LONG_TARGET                                                                                            \
    "/aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa" \
    "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa" \
    "aaaaaaaaaaaaaaaa"

#define B10 "bbbbbbbbbb"
#define B120 B10 B10 B10 B10 B10 B10 B10 B10 B10 B10 B10 B10
#define B360 B120 B120 B120
#define B480 B360 B120

// The pieces every row's console and reply are made of.
#define LOGIN "Remote Client <0> Login <peer>,<time> \n"
#define LOGOUT "\nRemote Client <0> Logout <peer>,<time> \n"
#define SENT(file) "\nSending file <0> site/" file " ...\n"
#define GET(target) "GET " target " HTTP/1.0\r\n\r\n"
#define SHOWN(target) "GET " target " HTTP/1.0[CR][LF]\n[CR][LF]\n"
#define OK200 "HTTP/1.0 200 Document follows\r\nServer: Korvel/4.0\r\n"
#define TYPED(type) OK200 "MIME-Version: 1.0\r\nContent-Type: " type "\r\n"
#define A_TXT LOGIN SHOWN("/a.txt") SENT("a.txt") LOGOUT

// A request, whole or in pieces, and what comes of it.
struct Exchange {
    const char* name;
    int16_t http10;  // [Standard] Server
    const char* request;
    size_t piece;  // 0: all at once
    const char* console;
    const char* reply;
    uint32_t mode = kHttpModel;
};

const Exchange kExchanges[] = {
    {"a file with its header", 1, GET("/a.txt"), 0, A_TXT "23 bytes received, 77 bytes sent\n",
     OK200 "Content-Length: 5\r\n\r\nhello"},
    {"an HTML page is typed", 1, GET("/home.htm"), 0,
     LOGIN SHOWN("/home.htm") SENT("home.htm") LOGOUT "26 bytes received, 128 bytes sent\n",
     TYPED("text/html") "Content-Length: 11\r\n\r\n<p>home</p>"},
    {"byte by byte", 1, GET("/a.txt"), 1, A_TXT "23 bytes received, 77 bytes sent\n",
     OK200 "Content-Length: 5\r\n\r\nhello"},
    {"HTTP/0.9 answers carry no header", 0, GET("/a.txt"), 0, A_TXT "23 bytes received, 5 bytes sent\n", "hello"},
    {"a directory is its home page", 1, GET("/sub/"), 0,
     LOGIN SHOWN("/sub/") SENT("sub/home.htm") LOGOUT "22 bytes received, 124 bytes sent\n",
     TYPED("text/html") "Content-Length: 8\r\n\r\nsub home"},
    {"a missing file", 1, GET("/nope"), 0,
     LOGIN SHOWN("/nope") "\nHTTP/1.0 404 file requested site/nope was not found\n" SENT("stder.htm") LOGOUT
     "22 bytes received, 7 bytes sent\n",
     "missing"},
    {"a target climbing out of the home directory", 1, GET("/../korvel.ini"), 0,
     LOGIN SHOWN("/../korvel.ini") "\nHTTP/1.0 404 file requested site/../korvel.ini was not found\n" SENT("stder.htm")
     LOGOUT "31 bytes received, 7 bytes sent\n",
     "missing"},
    {"a form post goes to the Mailbox", 1, GET("/post?name=Jo+Ann"), 0,
     LOGIN SHOWN("/post?name=Jo+Ann") SENT("stdack.htm") LOGOUT "34 bytes received, 122 bytes sent\n",
     TYPED("text/html") "Content-Length: 6\r\n\r\nthanks"},
    {"a request line too long for the line buffer", 1, GET(LONG_TARGET), 0,
     LOGIN SHOWN(LONG_TARGET) "Extended Command received\nHTTP/1.0 404 Extended Cmd with no form or cgi\n"
     SENT("stder.htm") LOGOUT "254 bytes received, 7 bytes sent\n",
     "missing"},
    {"another method than GET is not answered", 1, "HEAD /a.txt HTTP/1.0\r\n\r\n", 0,
     LOGIN "HEAD /a.txt HTTP/1.0[CR][LF]\n[CR][LF]\n", ""},
    {"a request line without a version is answered at once, without a header", 1, "GET /a.txt\r\n", 0,
     LOGIN "GET /a.txt[CR][LF]\n" SENT("a.txt") LOGOUT "12 bytes received, 5 bytes sent\n", "hello"},
    {"a GIF", 1, GET("/p.gif"), 0, LOGIN SHOWN("/p.gif") SENT("p.gif") LOGOUT "23 bytes received, 119 bytes sent\n",
     TYPED("image/gif") "Content-Length: 3\r\n\r\nGIF"},
    {"an empty file", 1, GET("/empty.htm"), 0,
     LOGIN SHOWN("/empty.htm") SENT("empty.htm") LOGOUT "27 bytes received, 116 bytes sent\n",
     TYPED("text/html") "Content-Length: 0\r\n\r\n"},
    {"HTM is not htm: its type comes from the [Mime] section", 1, GET("/UP.HTM"), 0,
     LOGIN SHOWN("/UP.HTM") SENT("UP.HTM") LOGOUT "24 bytes received, 122 bytes sent\n",
     TYPED("text/plain") "Content-Length: 5\r\n\r\nupper"},
    {"control bytes shown in text mode", 1, "GET /a.txt HTTP/1.0\r\nX: \x01\xe9\x7f\r\n\r\n", 0,
     LOGIN "GET /a.txt HTTP/1.0[CR][LF]\nX:  x01  xE9  x7F [CR][LF]\n[CR][LF]\n" SENT("a.txt") LOGOUT
     "31 bytes received, 77 bytes sent\n",
     OK200 "Content-Length: 5\r\n\r\nhello"},
    {"without Send And Close one connection carries two requests", 1, GET("/a.txt") GET("/p.gif"), 0,
     LOGIN SHOWN("/a.txt") SHOWN("/p.gif") SENT("a.txt") SENT("p.gif"),
     OK200 "Content-Length: 5\r\n\r\nhello" TYPED("image/gif") "Content-Length: 3\r\n\r\nGIF", kHttpModel & ~SendAndClose},
    {"a CGI key missing from the map gets the error page with status 200", 1, GET("/cgi-dosnone?a=1"), 0,
     LOGIN SHOWN("/cgi-dosnone?a=1") "\nCGI-Call = cgi-dosnone a 1\n" SENT("stder.htm") LOGOUT
     "33 bytes received, 123 bytes sent\n",
     TYPED("text/html") "Content-Length: 7\r\n\r\nmissing"},
    {"a CGI program that does not exist gets the CGI error page", 1, GET("/cgi-dosgone?x"), 0,
     LOGIN SHOWN("/cgi-dosgone?x") "\nCGI-Call = cgi-dosgone x\nExecuting <0> [/nonexistent/korvel-program x] ...\n"
     "CGILauch, WinExec error [2]\n" SENT("cgierr.htm") LOGOUT "31 bytes received, 10 bytes sent\n",
     "no program"},
    {"a CGI key of 360 characters", 1, GET("/cgi-dos" B360 "?x"), 0,
     LOGIN SHOWN("/cgi-dos" B360 "?x") "Extended Command received\n\nCGI-Call = cgi-dos" B360 " x\n" SENT("stder.htm")
     LOGOUT "387 bytes received, 123 bytes sent\n",
     TYPED("text/html") "Content-Length: 7\r\n\r\nmissing"},
    {"a CGI command line over 126 characters", 1, GET("/cgi-dosx?" B120), 0,
     LOGIN SHOWN("/cgi-dosx?" B120) "\nCGI-Call = cgi-dosx " B120
     "\nProcess read, size of cgi command line 137 is greater than 128\n" LOGOUT "147 bytes received, 0 bytes sent\n",
     ""},
    {"a CGI command line over 511 characters from an Extended Cmd", 1, GET("/cgi-dosy?" B480), 0,
     LOGIN SHOWN("/cgi-dosy?" B480) "Extended Command received\n\nCGI-Call = cgi-dosy " B480
     "\nProcessRead, CGI command line is greater than 512\n" LOGOUT "507 bytes received, 0 bytes sent\n",
     ""},
};

TEST_F(Connection, RequestsAndAnswers) {
    for (const Exchange& row : kExchanges) {
        SCOPED_TRACE(row.name);
        Settings.Standard.Server = row.http10;
        Settings.Server.ServerMode = row.mode;
        Open();
        int peer = Connect();
        Send(peer, row.request, row.piece);
        EXPECT_EQ(Console(), row.console);
        EXPECT_EQ(Received(peer), row.reply);
        CloseServer();
    }
    EXPECT_EQ(PipeCounter, 2) << "the refused CGI calls used up their pipe numbers";
}

}  // namespace

// What the server does beside answering: refusing when every channel is busy, relaying to
// another server, and a visitor that goes before its answer.
TEST_F(Connection, BusyChannelsRelayAndHangUps) {
    Settings.Server.HowManyClients = 1;
    Open();
    int first = Connect();
    int second = Connect();
    EXPECT_EQ(Received(second), "HTTP/1.0 502 Service Temporaly Overloaded\r\n");
    EXPECT_EQ(Console(), "Remote Client <0> Login <peer>,<time> \n\nServerMsg, connection and all channels are busy ...\n");
    frontEnd.printed.clear();
    peer::Close(first);
    platform::DispatchPendingEvents(kRounds);
    EXPECT_EQ(Console(), "\nRemote Client <0> Logout <peer>,<time> \n0 bytes received, 0 bytes sent\n");
    frontEnd.printed.clear();
    Settings.Server.LeavingTimeout = 2;
    Send(Connect(), "GET /a.txt HTTP/1.0\r\n\r\n");
    EXPECT_NE(Console().find("Sending file <0> site/a.txt ..."), std::string::npos) << "the slot was free again";
    // A slot that is leaving is taken again only after the leaving time.
    EXPECT_EQ(Received(Connect()), "HTTP/1.0 502 Service Temporaly Overloaded\r\n");
    platform::AdvanceFakeClock(2, 0);
    ChannelTick();
    EXPECT_NE(Console().find("Logout"), std::string::npos);
    EXPECT_EQ(Received(Connect()), "") << "accepted: waiting for its request";
}

TEST_F(Connection, ProxyRelay) {
    ServerSettings& s = Settings.Server;
    ApplyServerModel(1);
    s.ServerProxy = 1;
    CopyText(s.ProxyHost, "127.0.0.1");
    s.ProxyPort = kRelayPort;
    fakenet::Serve(kRelayPort);
    Open();
    int visitor = Connect();
    int origin = Peer(fakenet::TakeConnection(kRelayPort));
    ASSERT_GE(origin, 0);
    Send(visitor, "GET / HTTP/1.0\r\n\r\n");
    EXPECT_EQ(Received(origin), "GET / HTTP/1.0\r\n\r\n");
    Send(origin, "HTTP/1.0 200 OK\r\n\r\nrelayed");
    EXPECT_EQ(Received(visitor), "HTTP/1.0 200 OK\r\n\r\nrelayed");
    peer::Close(origin);
    platform::DispatchPendingEvents(kRounds);
    EXPECT_EQ(Console(),
              "Remote Client <0> Login <peer>,<time> \n\nConnecting Local Client <1> to 127.0.0.1:9090,<time>\n"
              "Local Client <1> Login 127.0.0.1:9090,<time> \n"
              "<1>GET / HTTP/1.0[CR][LF]\n[CR][LF]\n</1><0>HTTP/1.0 200 OK[CR][LF]\n[CR][LF]\nrelayed</0>\n"
              "Remote Client <0> Logout <peer>,<time> \n18 bytes received, 26 bytes sent\n"
              "\nLocal Client <1> Logout 127.0.0.1:9090,<time> \n");
}

// The grab's client on one document: the response as the server sends it, in pieces, and
// what the grab makes of it.
struct Response {
    const char* name;
    std::vector<std::string> pieces;
    const char* console;  // between the login line and the end banner, "@" for the logout line
    const char* saved;
    int16_t isHtml = 1;
};

// What every row's console begins and ends with.
constexpr const char* kGrabStart =
    "\nConnecting Local Client <0> to 127.0.0.1:9090,<time>\nLocal Client <0> Login 127.0.0.1:9090,<time> \n";
constexpr const char* kGrabLogout = "\nLocal Client <0> Logout 127.0.0.1:9090,<time> \n";
constexpr const char* kGrabEnd = "*************\n* End Of URL* Reference= out.htm\n*************\n";

// The lines of the response's header as the grab reports it, and its verdict.
#define EXPECTING(status, length) "Status = " #status ", Data Length to be received = " #length "\n"
#define VERDICT(rx, status, header, length)                                                 \
    "@" #rx " bytes received, 127 bytes sent\nStatus " #status " [OK->200], Header Length " #header \
    " bytes, Data Length " #length "\n"

const Response kResponses[] = {
    {"a whole response", {"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: 5\r\n\r\nhello"},
     EXPECTING(200, 5) "Content-Type: text/html\n" VERDICT(68, 200, 63, 5) "FILE IS COMPLETE\n", "hello"},
    {"the header cut anywhere", {"HTTP/1.0 2", "00 OK\r\nContent-Le", "ngth: 5\r", "\n\r\nhe", "llo"},
     EXPECTING(200, 5) VERDICT(43, 200, 38, 5) "FILE IS COMPLETE\n", "hello"},
    {"a body shorter than announced", {"HTTP/1.0 200 OK\r\nContent-Length: 9\r\n\r\nhello"},
     EXPECTING(200, 9) VERDICT(43, 200, 38, 9) "FILE IS UNCOMPLETE\n", "hello"},
    {"no length", {"HTTP/1.0 404 Not Found\r\n\r\ngone"},
     EXPECTING(404, ?) VERDICT(30, 404, 26, -1) "NO FILELENGTH INFO\n", "gone"},
    {"an error status with its length is judged as any other",
     {"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\ngone"},
     EXPECTING(404, 4) VERDICT(49, 404, 45, 4) "FILE IS COMPLETE\n", "gone"},
    {"lines before the status line are skipped; header names are case-blind, types are not",
     {"garbage before\r\nHTTP/1.0 200 Document follows\r\nCONTENT-LENGTH: 5\r\nContent-Type: Text/HTML\r\nX-Other: 1\r\n\r\nhello"},
     EXPECTING(200, 5) "Content-Type: Text/HTML\n" VERDICT(110, 200, 105, 5) "FILE IS COMPLETE\n", "hello", 0},
    {"no header at all: no verdict", {"just a body\n"}, "@12 bytes received, 127 bytes sent\n", "just a body\n"},
};

TEST_F(Connection, GrabOfOneDocument) {
    Settings.Standard.Url = 1;
    Settings.Url.LeavingTimeout = 0;
    fakenet::Serve(kRelayPort);
    for (const Response& row : kResponses) {
        SCOPED_TRACE(row.name);
        frontEnd.printed.clear();
        ASSERT_EQ(StartFetch(kFetchSaveAs, "http://127.0.0.1:9090/page.htm", "out.htm"), 1);
        platform::DispatchPendingEvents(kRounds);
        int origin = Peer(fakenet::TakeConnection(kRelayPort));
        ASSERT_GE(origin, 0);
        EXPECT_EQ(Received(origin), "GET /page.htm HTTP/1.0\r\nUser-Agent: Korvel/4.0 (Win32; I)\r\n"
                                    "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, */*\r\n\r\n");
        for (const std::string& piece : row.pieces) Send(origin, piece);
        peer::Close(origin);
        platform::DispatchPendingEvents(kRounds);
        std::string console = row.console;
        console.replace(console.find('@'), 1, kGrabLogout);
        EXPECT_EQ(Console(), kGrabStart + console + kGrabEnd);
        EXPECT_EQ(dir.Read("out.htm"), row.saved);
        EXPECT_EQ(Grab.Fetch.IsHtml, row.isHtml);
    }
}

TEST_F(Connection, GrabRetriesARefusedConnection) {
    Settings.Standard.Url = 1;
    Settings.Url.LeavingTimeout = 0;
    Settings.Url.Retry = 2;
    ASSERT_EQ(StartFetch(kFetchSaveAs, "http://127.0.0.1:9091/x.htm", "out.htm"), 1);
    platform::DispatchPendingEvents(kRounds);
    const std::string attempt = "\nConnecting Local Client <0> to 127.0.0.1:9091,<time>\n"
                                "ClientMsg, channel 0 WSAGETSELECTERROR 274D0010 !!!\n"
                                "\nLocal Client <0> Logout 127.0.0.1:9091,<time> \n";
    EXPECT_EQ(Console(), attempt + "URL Retry n\xB0" "1...\n" + attempt + "URL Retry n\xB0" "2...\n" + attempt +
                             "0 bytes received, 0 bytes sent\n" + kGrabEnd);
    EXPECT_TRUE(dir.Exists("out.htm") && dir.Read("out.htm").empty()) << "made, and nothing came";
}
