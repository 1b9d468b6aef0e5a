// The CGI gateway inside the server, for what the end-to-end tests cannot reach: pipe numbers
// past 99, the failures of the request steps, the command line limits at their edges, CGIMax
// counting, and the CGI states of leaving and sending channels. The channels have no socket,
// so closing one prints the CloseSocket line.

#include "server/cgi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include "base/textio.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "platform/clock.h"
#include "server/request.h"
#include "server/send.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"
#include "support/temp_dir.h"

using testing_support::ChangeDir;
using testing_support::LeasesWork;
using testing_support::TempDir;

namespace {

using States = std::pair<int, int>;  // a channel's state and CGI state
const std::string kNoSocket = "CloseSocket, socket == INVALID_SOCKET\n";

// The working directory is a fresh directory holding cgi-dos.map; the home directory is its
// sub-directory "korvel", named relatively.
class CgiTest : public testing_support::ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        CreateMainWindow();
        ASSERT_EQ(mkdir(dir.File("korvel").c_str(), 0755), 0);
        CopyText(Settings.Server.HomeDir, "korvel");
        Settings.Server.ServerMode = kHttpModel;
        PipeCounter = 0;
        frontEnd.printed.clear();
    }
    void TearDown() override {
        for (Channel& c : Channels)
            if (c.SendFile) fclose(c.SendFile);
        InitChannels();
        PipeCounter = 0;
        platform::UseRealClock();
        ShellTest::TearDown();
    }

    void Map(const std::string& text) { dir.Write("cgi-dos.map", text); }

    // The CGI steps of a request line as the dispatcher sees them: the channel is closed when
    // they ask for it. True when the request goes on.
    bool RequestLine(int ch, const char* call, const char* line) {
        ChannelStatus status = CgiRequestLine(MainWindow, ch, call, line);
        if (status == ChannelStatus::Close) CloseChannel(ch);
        return status == ChannelStatus::GoOn;
    }
    // The next block of a sending channel, closed when the send asks for it.
    void SendBlock(int ch) {
        if (SendBlockOfData(MainWindow, ch) == ChannelStatus::Close) CloseChannel(ch);
    }

    static States StatesOf(int ch) { return {Channels[ch].State, Channels[ch].CgiState}; }
    // A connected channel between requests, as a client left it.
    void Waiting(int ch) {
        Channel& c = Channels[ch];
        c.Role = RoleFor(RoleKind::RemoteClient);
        c.State = kWaiting;
        c.Connected = 1;
        c.Socket = INVALID_SOCKET;
        c.StateTime = ChannelNow();
    }

    TempDir dir;
    ChangeDir inside{dir.path()};
};

// The request steps.

TEST_F(CgiTest, PipeNumbersRunFrom01To99ThenStartAgainAt00) {
    Map("cgi-dosx y h prog\n");
    auto call = [&](int ch) {
        Waiting(ch);
        EXPECT_TRUE(RequestLine(ch, "cgi-dosx a", "GET /cgi-dosx?a\r\n"));
        if (Channels[ch].SendFile) fclose(Channels[ch].SendFile);
        Channels[ch].SendFile = nullptr;
        return std::string(Channels[ch].PipeName);
    };
    EXPECT_EQ(call(0), "ch0_01.tok") << "the first waited call after start-up";
    EXPECT_STREQ(Channels[0].CgiCommand, "prog korvel/ch0_01 a");
    PipeCounter = 98;
    EXPECT_EQ(call(0), "ch0_99.tok");
    EXPECT_EQ(call(11), "ch11_00.tok");
    EXPECT_STREQ(Channels[11].CgiCommand, "prog korvel/ch11_00 a");
    EXPECT_EQ(call(0), "ch0_01.tok");
    EXPECT_TRUE(dir.Exists("korvel/ch11_00.url"));
    EXPECT_TRUE(dir.Exists("korvel/ch0_99"));
}

TEST_F(CgiTest, WithoutAMapTheRequestEndsAndSendAndCloseClosesTheChannel) {
    Waiting(0);
    EXPECT_FALSE(RequestLine(0, "cgi-dosx a", "GET /cgi-dosx?a HTTP/1.0\r\n"));
    EXPECT_EQ(TakePrinted(), "\nCGI-Call = cgi-dosx a\nProcessRequest, Unable to open cgi-dos.map\n" + kNoSocket);
    EXPECT_EQ(Channels[0].State, kLeaving);

    Settings.Server.ServerMode &= ~SendAndClose;
    Waiting(1);
    EXPECT_FALSE(RequestLine(1, "cgi-dosx a", "GET /cgi-dosx?a HTTP/1.0\r\n"));
    EXPECT_EQ(TakePrinted(), "\nCGI-Call = cgi-dosx a\nProcessRequest, Unable to open cgi-dos.map\n");
    EXPECT_EQ(Channels[1].State, kWaiting);
}

TEST_F(CgiTest, ATokFileThatCannotBeMadeEndsTheRequest) {
    Map("cgi-dosx y h prog\n");
    CopyText(Settings.Server.HomeDir, "nowhere");
    Waiting(0);
    EXPECT_FALSE(RequestLine(0, "cgi-dosx a", "GET /cgi-dosx?a HTTP/1.0\r\n"));
    EXPECT_EQ(frontEnd.printed,
              "\nCGI-Call = cgi-dosx a\nProcessRequest, Unable to create the pipe file nowhere/ch0_01.tok\n" + kNoSocket);
    EXPECT_EQ(Channels[0].State, kLeaving);
    EXPECT_FALSE(Channels[0].RequestFlags & kRequestCgi);
    EXPECT_EQ(PipeCounter, 1) << "the number is used up";
}

TEST_F(CgiTest, AUrlFileThatCannotBeMadeIsReportedAndTheCallGoesOn) {
    Map("cgi-dosx y h prog\n");
    ASSERT_EQ(mkdir(dir.File("korvel/ch0_01.url").c_str(), 0755), 0);
    Waiting(0);
    EXPECT_TRUE(RequestLine(0, "cgi-dosx a", "GET /cgi-dosx?a HTTP/1.0\r\n"));
    EXPECT_EQ(frontEnd.printed, "\nCGI-Call = cgi-dosx a\nProcessRequest, Unable to open korvel/ch0_01.url\n");
    EXPECT_EQ(Channels[0].SendFile, nullptr);
    EXPECT_TRUE(Channels[0].RequestFlags & kRequestCgi);
    EXPECT_STREQ(Channels[0].CgiCommand, "prog korvel/ch0_01 a");
}

// The command line "p a...a" of a call whose argument text is a blank and n letters.
class CommandLengthTest : public CgiTest {
protected:
    void SetUp() override {
        CgiTest::SetUp();
        Map("cgi-dosx n h p\n");
    }
    bool Call(size_t letters) {
        Waiting(0);
        strcpy(Channels[0].CgiCommand, "previous");
        call = "cgi-dosx " + std::string(letters, 'a');
        frontEnd.printed.clear();
        return RequestLine(0, call.c_str(), "GET /cgi-dosx?a HTTP/1.0\r\n");
    }
    // What was printed after the call line (which Print cuts at 999 characters).
    std::string Printed() const {
        size_t callLine = std::min<size_t>(("\nCGI-Call = " + call + "\n").size(), 999);
        return frontEnd.printed.substr(callLine);
    }
    std::string call;
};

TEST_F(CommandLengthTest, ProgramsStartWithAtMost126Characters) {
    ASSERT_TRUE(Call(124));
    EXPECT_EQ(strlen(Channels[0].CgiCommand), 126u);
    EXPECT_EQ(Printed(), "");
    EXPECT_EQ(Channels[0].State, kWaiting);

    EXPECT_FALSE(Call(125));
    EXPECT_EQ(Printed(), "Process read, size of cgi command line 127 is greater than 128\n" + kNoSocket);
    EXPECT_EQ(Channels[0].State, kLeaving);
    EXPECT_EQ(Channels[0].CgiCommand, "p " + std::string(125, 'a')) << "kept before the check";
}

TEST_F(CommandLengthTest, CommandLinesOver511CharactersAreRefusedFirst) {
    EXPECT_FALSE(Call(509));
    EXPECT_EQ(Printed(), "Process read, size of cgi command line 511 is greater than 128\n" + kNoSocket);
    EXPECT_EQ(strlen(Channels[0].CgiCommand), 199u) << "cut to the field";

    EXPECT_FALSE(Call(510));
    EXPECT_EQ(Printed(), "ProcessRead, CGI command line is greater than 512\n" + kNoSocket);
    EXPECT_STREQ(Channels[0].CgiCommand, "previous");
    EXPECT_TRUE(Channels[0].RequestFlags & kRequestCgi);

    EXPECT_FALSE(Call(4000));
    EXPECT_EQ(Printed(), "ProcessRead, CGI command line is greater than 512\n" + kNoSocket);
}

// CGILauch.

class LaunchTest : public CgiTest {
protected:
    void SetUp() override {
        CgiTest::SetUp();
        platform::UseFakeClock(1800000000, 0);
        Waiting(2);
        Channels[2].StateTime = 1700000000;
        Channels[2].CgiWait = 1;
        Channels[2].CgiShow = SW_SHOWMINNOACTIVE;
    }
};

TEST_F(LaunchTest, CgiMaxRunningProgramsDelayTheCallLeavingChannelsIncluded) {
    Settings.CGI.CGIMax = 2;
    Settings.Server.HowManyClients = 5;
    strcpy(Channels[2].CgiCommand, "prog korvel/ch2_03 a");
    Channels[0].State = kSending;
    Channels[0].CgiState = kPipeCgi;
    Channels[4].State = kLeaving;
    Channels[4].CgiState = kPipeCgi;
    Channels[1].State = kSending;
    Channels[1].CgiState = kCgiDelayed;  // delayed calls do not count
    Channels[7].State = kSending;
    Channels[7].CgiState = kPipeCgi;  // beyond HowManyClients: never looked at

    EXPECT_EQ(CGILauch(MainWindow, 2), 0);
    EXPECT_EQ(TakePrinted(), "Delaying <2> [prog korvel/ch2_03 a] ...\n");
    EXPECT_EQ(StatesOf(2), States(kSending, kCgiDelayed));
    EXPECT_EQ(Channels[2].StateTime, 1700000000u) << "the delay counts from the end of the request";

    Settings.CGI.CGIMax = 0;
    Channels[0].CgiState = Channels[4].CgiState = kCgiNone;
    EXPECT_EQ(CGILauch(MainWindow, 2), 0);
    EXPECT_EQ(TakePrinted(), "Delaying <2> [prog korvel/ch2_03 a] ...\n") << "CGIMax 0 delays every call";
}

// CGICheck, CloseChannel and LeavingCheck: a leaving channel whose program runs.

class LeavingCgiTest : public CgiTest {
protected:
    void SetUp() override {
        CgiTest::SetUp();
        Channels[4].Role = RoleFor(RoleKind::RemoteClient);
        Channels[4].State = kLeaving;
        Channels[4].Socket = INVALID_SOCKET;
        Channels[4].CgiState = kPipeCgi;
        strcpy(Channels[4].PipeName, "ch4_03.tok");
        dir.Write("korvel/ch4_03.tok", "");
    }
};

TEST_F(LeavingCgiTest, CGICheckWaitsForTheTokFileToHoldSomething) {
    EXPECT_EQ(CGICheck(MainWindow, 4), 0);
    EXPECT_EQ(TakePrinted(), "CGICheck <4>, State=Leaving, Waiting cgi response\n");
    EXPECT_EQ(Channels[4].CgiState, kPipeCgi);

    dir.Write("korvel/ch4_03.tok", "NULL");
    EXPECT_EQ(CGICheck(MainWindow, 4), 1);
    EXPECT_EQ(TakePrinted(), "");
    EXPECT_EQ(Channels[4].CgiState, kCgiNone);

    EXPECT_EQ(CGICheck(MainWindow, 4), 1);
    EXPECT_EQ(TakePrinted(), "CGICheck <4>, and not PIPE_CGI state \n");
}

TEST_F(LeavingCgiTest, CGICheckWaitsWhileTheTokFileIsBeingWritten) {
    if (!LeasesWork(dir.File("korvel/ch4_03.tok"))) GTEST_SKIP() << "this file system grants no read leases";
    FILE* writer = fopen(dir.File("korvel/ch4_03.tok").c_str(), "ab");
    ASSERT_NE(writer, nullptr);
    fputs("korvel/ch4_03", writer);
    fflush(writer);
    EXPECT_EQ(CGICheck(MainWindow, 4), 0);
    EXPECT_EQ(TakePrinted(), "CGICheck <4>, State=Leaving, pipefile korvel/ch4_03.tok Permission Denied\n");
    EXPECT_EQ(Channels[4].CgiState, kPipeCgi);
    fclose(writer);
    EXPECT_EQ(CGICheck(MainWindow, 4), 1);

    // A .tok file that is gone is waited for without a word.
    Channels[4].CgiState = kPipeCgi;
    strcpy(Channels[4].PipeName, "ch4_04.tok");
    TakePrinted();
    EXPECT_EQ(CGICheck(MainWindow, 4), 0);
    EXPECT_EQ(TakePrinted(), "");
}

TEST_F(LeavingCgiTest, WithCGISynchroAClosedChannelKeepsCountingAsARunningProgram) {
    Waiting(3);
    Channels[3].CgiState = kPipeCgi;
    CloseChannel(3);
    EXPECT_EQ(StatesOf(3), States(kLeaving, kPipeCgi));

    Settings.CGI.CGISynchro = 0;
    Waiting(5);
    Channels[5].CgiState = kPipeCgi;
    CloseChannel(5);
    EXPECT_EQ(Channels[5].CgiState, kCgiNone);

    Settings.CGI.CGISynchro = 1;
    Waiting(6);
    Channels[6].CgiState = kCgiDelayed;
    CloseChannel(6);
    EXPECT_EQ(Channels[6].CgiState, kCgiNone) << "only a running program is kept";
}

TEST_F(LeavingCgiTest, LeavingCheckPollsTheAnswerAndWaitsTheSendingTimeout) {
    Settings.Server.LeavingTimeout = 2;
    Settings.Server.SendingTimeout = 10;
    LeavingCheck(4, 0, 9);
    EXPECT_EQ(frontEnd.printed, "CGICheck <4>, State=Leaving, Waiting cgi response\n");
    EXPECT_EQ(Channels[4].State, kLeaving) << "9 s is past the leaving time but not the sending time";

    dir.Write("korvel/ch4_03.tok", "korvel/ch4_03");
    LeavingCheck(4, 0, 9);
    EXPECT_EQ(StatesOf(4), States(kLeaving, kCgiNone)) << "this check still counted the sending time";
    LeavingCheck(4, 0, 9);
    EXPECT_EQ(Channels[4].State, kFree);

    // With no answer at all, the sending time ends it.
    Channels[4].State = kLeaving;
    Channels[4].CgiState = kPipeCgi;
    dir.Write("korvel/ch4_03.tok", "");
    LeavingCheck(4, 0, 10);
    EXPECT_EQ(StatesOf(4), States(kFree, kCgiNone));
}

// SendBlockOfData: the pending CGI states of a sending channel.

class PendingCgiTest : public CgiTest {
protected:
    void SetUp() override {
        CgiTest::SetUp();
        Waiting(3);
        Channels[3].State = kSending;
        Channels[3].CgiState = kPipeCgi;
        strcpy(Channels[3].PipeName, "ch3_05.tok");
        dir.Write("korvel/ch3_05.tok", "");
    }
};

TEST_F(PendingCgiTest, AnAwaitedAnswerIsPolledUntilItsTokFileIsComplete) {
    SendBlock(3);
    EXPECT_EQ(TakePrinted(), "Waiting cgi response on channel3\n");

    if (LeasesWork(dir.File("korvel/ch3_05.tok"))) {
        FILE* writer = fopen(dir.File("korvel/ch3_05.tok").c_str(), "ab");
        ASSERT_NE(writer, nullptr);
        SendBlock(3);
        EXPECT_EQ(TakePrinted(), "SendBlockOfData, pipefile korvel/ch3_05.tok Permission Denied\n");
        fclose(writer);
    }

    ASSERT_EQ(remove(dir.File("korvel/ch3_05.tok").c_str()), 0);
    SendBlock(3);
    EXPECT_EQ(TakePrinted(), "SendBlockOfData, pipefile (korvel/ch3_05.tok) error [2]\n");
    EXPECT_EQ(StatesOf(3), States(kSending, kPipeCgi)) << "an awaited answer is waited for whatever the error";
}

TEST_F(PendingCgiTest, ADelayedCallIsTriedAgainAtEverySend) {
    Settings.CGI.CGIMax = 1;
    Channels[0].State = kLeaving;
    Channels[0].CgiState = kPipeCgi;
    Channels[3].CgiState = kCgiDelayed;
    strcpy(Channels[3].CgiCommand, "c:\\no\\such\\program");
    SendBlock(3);
    SendBlock(3);
    EXPECT_EQ(TakePrinted(), "Delaying <3> [c:\\no\\such\\program] ...\nDelaying <3> [c:\\no\\such\\program] ...\n");
    EXPECT_EQ(Channels[3].CgiState, kCgiDelayed);

    // The running program answered: the call starts, fails, and its error page is sent.
    Channels[0].CgiState = kCgiNone;
    SendBlock(3);
    EXPECT_EQ(TakePrinted(), "Executing <3> [c:\\no\\such\\program] ...\nCGILauch, WinExec error [2]\n"
                             "\nSendaFile,the requested file korvel/cgierr.htm doesn't exist[errno= 2]\n" + kNoSocket);
    EXPECT_EQ(Channels[3].CgiState, kCgiNone);
}

}  // namespace
