// korvel.ini: the loader's limits and 16-bit storage, and the writer's order and formats.

#include <gtest/gtest.h>

#include <string>

#include "ping/icmp.h"
#include "platform/profile.h"
#include "settings/settings.h"
#include "support/shell_fixture.h"
#include "support/temp_dir.h"

namespace {

using testing_support::ChangeDir;
using testing_support::TempDir;

class SettingsFile : public ::testing::Test {
protected:
    void SetUp() override { testing_support::ResetProgramState(); }
    void TearDown() override {
        testing_support::ResetProgramState();
        platform::FlushProfileCache();
    }
    void Load(const std::string& ini) {
        dir.Write("korvel.ini", ini);
        platform::FlushProfileCache();
        LoadSettings();
    }

    TempDir dir;
    ChangeDir cd{dir.path()};
};

TEST_F(SettingsFile, WithoutAFileEveryFieldHasItsDefault) {
    LoadSettings();
    const ServerSettings& s = Settings.Server;
    EXPECT_EQ(s.ServerMode, 0x1CBu);
    EXPECT_EQ(std::to_string(s.ServerPort) + " " + std::to_string(s.HowManyClients) +
                  " " + std::to_string(s.connectionTimeout) + " " + s.HomeDir + " " + s.ServerLogFilename + " " +
                  Settings.Client.ClientFile + " " + Settings.Url.FilePrefix + " " + Settings.UrlBrowser.Book + " " +
                  std::to_string(Settings.Url.MaxURL) + " " + std::to_string(Settings.CGI.CGISynchro) + " " +
                  std::to_string(Settings.Ping.Page),
              "80 9 120 \\korvel \\korvel\\server.log \\korvel\\file.tmp file:///c| \\korvel\\kvbook.htm 127 1 0");
}

TEST_F(SettingsFile, NumbersAreStoredInSixteenBitsWithoutRangeChecks) {
    Load("[Server]\nServerPort=70000\nHowManyClients=30\nLeavingTimeout=-1\nWaitingTimeout=abc\n"
         "[Url]\nPort=65535\nRetry=70001\n");
    const ServerSettings& s = Settings.Server;
    EXPECT_EQ(std::vector<int>({s.ServerPort, s.HowManyClients, s.LeavingTimeout, s.WaitingTimeout, Settings.Url.Port,
                                Settings.Url.Retry}),
              std::vector<int>({4464, 30, -1, 0, 65535, 4465}))
        << "a present key that is not a number reads as 0";
}

TEST_F(SettingsFile, TextsAreCutToTheirReadLimits) {
    std::string hundred(100, 'h');
    Load("[Server]\nHomeDir=" + hundred + "\n[Url]\nProxyHost=" + hundred + "\nPrefix=" + hundred + "\nUrl=" +
         std::string(600, 'u') + "\nHomeDir=" + std::string(200, 'd') + "\n");
    EXPECT_EQ(std::string(Settings.Server.HomeDir), std::string(79, 'h'));
    EXPECT_EQ(std::string(Settings.Url.ProxyHost), std::string(79, 'h')) << "read with a limit of 80";
    EXPECT_EQ(std::string(Settings.Url.Prefix), std::string(19, 'h'));
    EXPECT_EQ(std::string(Settings.Url.Url), std::string(495, 'u'));
    EXPECT_EQ(std::string(Settings.Url.HomeDir), std::string(104, 'd'));
}

TEST_F(SettingsFile, ServerModeIsHexadecimalAndUrlModeDecimal) {
    Load("[Server]\nMode=1ff\n[Url]\nMode=10\n");
    EXPECT_EQ(Settings.Server.ServerMode, 0x1FFu);
    EXPECT_EQ(Settings.Url.Mode, 10);
    Settings = SettingsRecord{};
    Load("[Server]\nMode=zz\n");
    EXPECT_EQ(Settings.Server.ServerMode, 0x1CBu) << "text that does not scan keeps the value";
}

TEST_F(SettingsFile, PageModeNeedsExactlyLowerCaseYes) {
    Load("[Ping]\nPage=Yes\n");
    EXPECT_EQ(Settings.Ping.Page, 0);
    Load("[Ping]\nPage=yes\n");
    EXPECT_EQ(Settings.Ping.Page, 1);
}

TEST_F(SettingsFile, TheCgiSynchronisationIsReadFromOneKeyAndWrittenToAnother) {
    Load("[CGI]\nCGISynchro=0\nGCISynchro=5\n");
    EXPECT_EQ(Settings.CGI.CGISynchro, 0);
    SaveSettings();
    platform::FlushProfileCache();
    std::string saved = dir.Read("korvel.ini");
    EXPECT_NE(saved.find("CGISynchro=0\n"), std::string::npos);
    EXPECT_NE(saved.find("GCISynchro=0\n"), std::string::npos);
}

TEST_F(SettingsFile, ANewFileHoldsTheKeysInTheOrderTheyAreWritten) {
    Settings.Server.LeavingTimeout = -1;
    Settings.Server.ServerProxy = -1;
    Settings.Server.ProxyPort = -2;
    SaveSettings();
    EXPECT_EQ(dir.Read("korvel.ini"),
              "[Server]\nMode=1cb\nServerPort=80\nLeavingTimeout=4294967295\nWaitingTimeout=60\n"
              "PreWaitingTimeout=30\nSendingTimeout=60\nPurgingTimeout=60\nconnectionTimeout=120\n"
              "ServerProxy=-1\nProxyHost=me\nProxyPort=4294967294\nMailbox=mailbox\nHomeDir=\\korvel\n"
              "ServerLog=0\nServerLogFilename=\\korvel\\server.log\nServerDef=3\nHowManyClients=9\n"
              "\n[Client]\nClientPort=80\nClientHost=me\nClientLogFile=0\nClientFile=\\korvel\\file.tmp\n"
              "ClientDef=3\n"
              "\n[Url]\nPort=80\nRetry=10\nMaxURL=127\nMaxIMG=127\nMode=0\nAll=0\nAutoName=1\nPrefix=korvel\n"
              "ConnectionTimeout=600\nLeavingTimeout=2\nPurgingTimeout=60\nHomeDir=\\tmp\nProxyHost=\n"
              "file:=file:///c|\nUrl=\nBookmark=kvdir.htm\n"
              "\n[UrlBrowser]\nBook=\\korvel\\kvbook.htm\n"
              "\n[CGI]\nCGIMax=1\nGCISynchro=1\n"
              "\n[Standard]\nServer=0\nUrl=0\n");
}

TEST_F(SettingsFile, ASavedFileLoadsBackToTheSameSettings) {
    Settings.Server.ServerPort = 8080;
    Settings.Server.ServerMode = 0x12345;
    Settings.Url.All = 3;
    snprintf(Settings.Url.Url, sizeof Settings.Url.Url, "%s", "srv/a b.htm");
    Settings.Standard.Url = 1;
    SaveSettings();
    SettingsRecord saved = Settings;
    Settings = SettingsRecord{};
    platform::FlushProfileCache();
    LoadSettings();
    EXPECT_EQ(Settings.Server.ServerPort, saved.Server.ServerPort);
    EXPECT_EQ(Settings.Server.ServerMode, saved.Server.ServerMode);
    EXPECT_EQ(Settings.Url.All, 3);
    EXPECT_STREQ(Settings.Url.Url, "srv/a b.htm");
    EXPECT_EQ(Settings.Standard.Url, 1);
}

TEST_F(SettingsFile, BinaryBytesAndMissingSectionsLoseNothing) {
    Load("\x01\x02garbage\n[Server\nServerPort=81\n[Server]\n\x7f\xff=\xfe\nServerPort=82\n"
         "[Client]\nClientHost=\xe9t\xe9\n");
    EXPECT_EQ(Settings.Server.ServerPort, 81) << "a header without its bracket still opens the section";
    EXPECT_STREQ(Settings.Client.ClientHost, "\xe9t\xe9");
    EXPECT_EQ(Settings.Url.MaxIMG, 127);
}

}  // namespace
