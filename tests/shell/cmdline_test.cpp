// The command line: both passes reach the same settings; only pass 1 prints and acts.

#include <gtest/gtest.h>

#include <string>

#include "channel/sockets.h"
#include "ping/icmp.h"
#include "settings/settings.h"
#include "shell/cmdline.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"

namespace {

class CommandLine : public testing_support::MainWindowTest {
protected:
    int16_t Pass0(const std::string& line) { return DecodeLine(line.c_str(), 0); }
};

TEST_F(CommandLine, AnEmptyLineAsksForNothing) {
    EXPECT_EQ(Pass0(""), 0);
    EXPECT_EQ(Shell.ShowCommand, SW_SHOWMINNOACTIVE);
    EXPECT_EQ(frontEnd.printed, "");
}

TEST_F(CommandLine, GrabOptionsSetTheirSettings) {
    EXPECT_EQ(Pass0("-t 45 -retry 3 -udir /g -ubook rep.htm -downpath -u http://h/"), 1);
    EXPECT_EQ(Settings.Url.ConnectionTimeout, 45);
    EXPECT_EQ(Settings.Url.Retry, 3);
    EXPECT_STREQ(Settings.Url.HomeDir, "/g");
    EXPECT_STREQ(Settings.Url.Bookmark, "rep.htm");
    EXPECT_EQ(Settings.Url.All, 3);
    const std::pair<const char*, int16_t> scopes[] = {{"-samepath", 2}, {"-all", 1}, {"-local", 0}};
    for (const auto& [option, all] : scopes) {
        Pass0(option);
        EXPECT_EQ(Settings.Url.All, all) << option;
    }
    // The prefix is cut to six characters and switches automatic names off; -a on again.
    Pass0("-p abcdefgh");
    EXPECT_STREQ(Settings.Url.Prefix, "abcdef");
    EXPECT_EQ(Settings.Url.AutoName, 0);
    Pass0("-p abcdefgh -a");
    EXPECT_EQ(Settings.Url.AutoName, 1);
    // Levels are zeroed before the number is read.
    Pass0("-o 4");
    EXPECT_EQ(Settings.UrlRun.Levels, 4);
    EXPECT_EQ(Pass0("-o x -u http://h/"), 1);
    EXPECT_EQ(Settings.UrlRun.Levels, 0);
    EXPECT_EQ(frontEnd.printed, "") << "pass 0 prints nothing";
}

TEST_F(CommandLine, PassOnePrintsTheBadArgumentsWithTheOffendingWord) {
    DecodeLine("-o x -retry y -http 2 -t -server", 1);
    EXPECT_EQ(frontEnd.printed,
              "option= -o, bad argument x\n"
              "option= -retry, bad argument y\n"
              "option= -http, bad argument 2\n"
              "option= -t, bad argument -server\n");
    EXPECT_EQ(ServerSocket, INVALID_SOCKET) << "-server was the argument of -t";
    EXPECT_EQ(Settings.Standard.Server, 0);
    frontEnd.printed.clear();
    DecodeLine("-sport abc -sdir /srv", 1);
    EXPECT_EQ(Settings.Server.ServerPort, 80);
    EXPECT_STREQ(Settings.Server.HomeDir, "/srv");
    EXPECT_EQ(frontEnd.printed, "") << "a server port that is no number is ignored silently";
}

TEST_F(CommandLine, ServerAndShowOptions) {
    Pass0("-http 1");  // both versions, only for 0 or 1
    EXPECT_EQ(Settings.Standard.Server, 1);
    EXPECT_EQ(Settings.Standard.Url, 1);
    Pass0("-http 0");
    EXPECT_EQ(Settings.Standard.Url, 0);
    Pass0("-sport 8080");
    EXPECT_EQ(Settings.Server.ServerPort, 8080);
    // An action shows the window minimized unless -s is asked.
    Pass0("-sport 1 -ping x");
    EXPECT_EQ(Shell.ShowCommand, SW_SHOWMINNOACTIVE);
    Pass0("-s -ping x");
    EXPECT_EQ(Shell.ShowCommand, SW_SHOWNORMAL);
}

TEST_F(CommandLine, AnActionWithItsArgumentMissingStillCountsOnlyForPing) {
    EXPECT_EQ(Pass0("-u"), 0) << "a final -u starts nothing";
    snprintf(ping::Run.PingHost, sizeof ping::Run.PingHost, "%s", "old");
    EXPECT_EQ(Pass0("-ping"), 1) << "a final -ping pings the current host";
    EXPECT_STREQ(ping::Run.PingHost, "old");
    EXPECT_EQ(Pass0("-ping 127.0.0.1"), 1);
    EXPECT_STREQ(ping::Run.PingHost, "127.0.0.1");
}

TEST_F(CommandLine, AnArgumentIsTakenWhateverItLooksLike) {
    Pass0("-sdir -u");
    EXPECT_STREQ(Settings.Server.HomeDir, "-u");
    Pass0("-n \"quoted\" -udir \"a");
    EXPECT_STREQ(Settings.Url.HomeDir, "\"a");
}

}  // namespace
