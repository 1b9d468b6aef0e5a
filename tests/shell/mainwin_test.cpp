// The main window's routing: the order in which message numbers are tested, the menu
// commands, the statistics window's two states, and the modal dialogs' failure lines.

#include <gtest/gtest.h>

#include "channel/channel.h"
#include "channel/statistics.h"
#include "ping/ping_dialog.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"

namespace {

class MainWindowRouting : public testing_support::MainWindowTest {
protected:
    void SetUp() override {
        MainWindowTest::SetUp();
        StatisticsDialog = CreateDialogParamA(hInst, "DIALOG_4", MainWindow, StatisticsDlgProc, 0);
    }
    bool Enabled(int id) { return platform::MenuItemEnabled(GetMenu(MainWindow), id); }
};

// 1044 is the ICMP socket's message, but the channel range is tested first.
TEST_F(MainWindowRouting, WithNineteenChannelsTheIcmpMessageIsChannelEighteens) {
    LPARAM errorEvent = MAKELONG(FD_READ, 10054);
    Settings.Server.HowManyClients = 9;
    SendMessageA(MainWindow, MSG_ICMP, 0, errorEvent);
    EXPECT_EQ(TakePrinted(), "MainWin, ICMP_msg, WSAGETSELECTERROR=8.8X\n");
    Settings.Server.HowManyClients = 19;
    SendMessageA(MainWindow, MSG_ICMP, 0, errorEvent);
    EXPECT_EQ(frontEnd.printed, "\nClientMsg, channel 18 WSAGETSELECTERROR 27460001 !!!\n");
}

TEST_F(MainWindowRouting, AChannelMessageAboveTheChannelsInUseReachesTheDefaultProcedure) {
    SendMessageA(MainWindow, MSG_ICMP, 0, MAKELONG(FD_READ, 0));  // no ICMP socket is open: ignored
    Settings.Server.HowManyClients = 3;
    EXPECT_EQ(SendMessageA(MainWindow, MSG_CHANNEL0 + 5, 0, MAKELONG(FD_READ, 10054)), 0);
    EXPECT_EQ(frontEnd.printed, "");
    SendMessageA(MainWindow, MSG_CHANNEL0 + 2, 0, MAKELONG(FD_READ, 10054));
    EXPECT_EQ(frontEnd.printed, "\nClientMsg, channel 2 WSAGETSELECTERROR 27460001 !!!\n");
}

TEST_F(MainWindowRouting, ShowAndHideStatisticsSwapTheMenuStatesAndTheWindow) {
    EXPECT_TRUE(Enabled(IDM_SHOW_STATISTICS));
    EXPECT_FALSE(Enabled(IDM_HIDE_STATISTICS));
    SendMessageA(MainWindow, WM_COMMAND, IDM_SHOW_STATISTICS, 0);
    SendMessageA(MainWindow, WM_COMMAND, IDM_SHOW_STATISTICS, 0);
    EXPECT_FALSE(Enabled(IDM_SHOW_STATISTICS));
    EXPECT_TRUE(Enabled(IDM_HIDE_STATISTICS));
    EXPECT_TRUE(IsWindowVisible(StatisticsDialog));
    SendMessageA(MainWindow, WM_COMMAND, IDM_STATISTICS_CLOSED, 0);
    EXPECT_TRUE(Enabled(IDM_SHOW_STATISTICS));
    EXPECT_FALSE(Enabled(IDM_HIDE_STATISTICS));
    EXPECT_FALSE(IsWindowVisible(StatisticsDialog));
    EXPECT_FALSE(KillTimer(StatisticsDialog, kTickTimer)) << "hiding stops the window's timer";
    SendMessageA(MainWindow, WM_COMMAND, IDM_SHOW_STATISTICS, 0);
    SendMessageA(StatisticsDialog, WM_CLOSE, 0, 0);  // its close box hides it through the main window
    EXPECT_FALSE(IsWindowVisible(StatisticsDialog));
    EXPECT_TRUE(Enabled(IDM_SHOW_STATISTICS));
}

TEST_F(MainWindowRouting, AModalDialogThatCannotBeCreatedIsNamedOnTheConsole) {
    Shell.DialogProcedures[kConfigurationDialog] = nullptr;
    SendMessageA(MainWindow, WM_COMMAND, IDM_CONFIGURATION, 0);
    EXPECT_EQ(frontEnd.printed, "Unable to create DIALOG_1 !!! \n");
}

TEST_F(MainWindowRouting, ShowHelpOpensTheHelpFile) {
    SendMessageA(MainWindow, WM_COMMAND, IDM_SHOW_HELP, 0);
    ASSERT_EQ(frontEnd.help.size(), 1u);
    EXPECT_EQ(frontEnd.help[0], "korvel32.hlp");
}

TEST_F(MainWindowRouting, OnlyTimerOneTicks) {
    Settings.Server.HowManyClients = 1;
    Channels[0].State = kLeaving;
    Channels[0].StateTime = ChannelNow() - 100;
    Channels[0].Socket = INVALID_SOCKET;
    SendMessageA(MainWindow, WM_TIMER, 2, 0);
    EXPECT_EQ(Channels[0].State, kLeaving);
    SendMessageA(MainWindow, WM_TIMER, kTickTimer, 0);
    EXPECT_EQ(Channels[0].State, kFree) << "the tick freed the leaving channel";
    EXPECT_NE(frontEnd.printed.find("Remote Client <0> Logout"), std::string::npos);
}

TEST_F(MainWindowRouting, TheStatisticsWindowShowsNineChannelsAndCountsThemAll) {
    platform::UseFakeClock(1800000000, 0);
    Settings.Server.HowManyClients = 12;
    for (int ch = 0; ch < 12; ++ch) {
        Channels[ch].State = kWaiting;
        Channels[ch].Connected = ch == 1 ? 0 : 1;
        Channels[ch].ConnectTime = ChannelNow();
        Channels[ch].StateTime = ChannelNow() + 5;
        Channels[ch].RxBytes = 1234;
        Channels[ch].TxBytes = 99;
        Channels[ch].PeerAddress[0] = 127;
        Channels[ch].PeerAddress[3] = 1;
        Channels[ch].PeerPort = 8080;
    }
    Channels[2].State = kFree;
    SendMessageA(StatisticsDialog, WM_TIMER, kTickTimer, 0);
    std::string shown;
    for (int id : {122, 123, 124, 125, 126, 127, 133, 134}) shown += platform::FindControl(StatisticsDialog, id)->text + "\n";
    EXPECT_EQ(shown,
              "11 Channels are used\n1 Channels are free\nCh. State .tCNX.Time.Rx Bytes.Tx Bytes.Connected to\n"
              " 0 waiting    0    0     1234       99 127.0.0.1:8080\n"
              " 1 PreWait    0    0     1234       99 127.0.0.1:8080\n"
              " 2    free    0    0     1234       99 127.0.0.1:8080\n"
              " 8 waiting    0    0     1234       99 127.0.0.1:8080\n"
              "\n");  // channels 9 and above never appear
}

}  // namespace
