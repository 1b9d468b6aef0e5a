// The PING dialog: its idle and busy looks, reading its fields at Start, its commands, and the
// ping box.

#include <gtest/gtest.h>

#include <cstring>

#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "ping/ping_fixture.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace {

using ping_testing::PingTest;

constexpr int kIdleOnly[] = {1, 143, 142, 121, 122, 123, 127};

class PingDialogTest : public PingTest {
protected:
    void Refresh() { SendMessageA(PingDialog, WM_INITDIALOG, 0, 0); }
    void Click(int id) {
        ASSERT_TRUE(platform::UserClick(PingDialog, id)) << id;
        Pump();
    }
    void Type(int id, const char* text) { ASSERT_TRUE(platform::UserSetText(PingDialog, id, text)) << id; }
    void ExpectLook(bool busy) {
        EXPECT_EQ(Enabled(141), busy);
        for (int id : kIdleOnly) EXPECT_EQ(Enabled(id), !busy) << id;
        EXPECT_TRUE(Enabled(2)) << "QUIT always";
    }
    // Leaves a socket open, so that the ping box refuses to start another run.
    void HoldSocket() { ASSERT_TRUE(UseFakeSocket()); }
    // Clicks a start button while a socket is held, then lets the socket go and refreshes.
    void StartRefused(int button) {
        HoldSocket();
        Click(button);
        ExpectLook(true);
        closesocket(ping::Run.IcmpSocket);
        ping::Run.IcmpSocket = INVALID_SOCKET;
        peer::Close(peer);
        peer = -1;
        Refresh();
    }
};

TEST_F(PingDialogTest, RefreshShowsTheSettingsInTheIdleOrBusyLook) {
    strcpy(ping::Run.PingHost, "example");
    strcpy(ping::Run.PingData, "payload");
    ping::Run.PingRetryNumber = 7;
    ping::Run.ShowEcho = 0;
    Refresh();
    ExpectLook(false);
    EXPECT_EQ(Field(121), "example");
    EXPECT_EQ(Field(122), "payload");
    EXPECT_EQ(Field(123), "5");
    EXPECT_EQ(Field(127), "7");
    EXPECT_FALSE(IsDlgButtonChecked(PingDialog, 142));

    ping::Run.PingAuto = 1;
    ping::Run.ShowEcho = 1;
    Refresh();
    ExpectLook(true);
    EXPECT_TRUE(IsDlgButtonChecked(PingDialog, 142));
    ping::Run.PingAuto = 0;
    HoldSocket();
    Refresh();
    ExpectLook(true);
}

TEST_F(PingDialogTest, AHiddenDialogIsNotRefreshed) {
    ping::Run.PingVisible = 0;
    strcpy(ping::Run.PingHost, "new");
    ping::Run.PingAuto = 1;
    Refresh();
    EXPECT_EQ(Field(121), "");
    ExpectLook(false);
}

// Start reads every field (host and data cut to 79 characters). A socket is held open
// meanwhile, so that the ping box refuses to start a run and the fields show what was read;
// then the dialog is made idle again.
TEST_F(PingDialogTest, StartReadsTheFieldsAndKeepsSettingsThatDoNotRead) {
    SetDlgItemTextA(PingDialog, 124, "send");
    SetDlgItemTextA(PingDialog, 125, "reply");
    SetDlgItemTextA(PingDialog, 126, "stats");
    Type(121, "10.1.2.3");
    Type(122, "data");
    Type(123, "abc");
    Type(127, "4");
    Click(142);  // clears Show Echo
    StartRefused(1);
    EXPECT_STREQ(ping::Run.PingHost, "10.1.2.3");
    EXPECT_STREQ(ping::Run.PingData, "data");
    EXPECT_EQ(ping::Run.PingTimeout, 5) << "\"abc\" is no number";
    EXPECT_EQ(Field(123), "5");
    EXPECT_EQ(ping::Run.PingRetryNumber, 4);
    EXPECT_EQ(ping::Run.RetriesLeft, 4);
    EXPECT_EQ(ping::Run.ShowEcho, 0);
    for (int id : {124, 125, 126}) EXPECT_EQ(Field(id), "") << id;
    EXPECT_EQ(frontEnd.printed, "ICMP Box, Unable to open an ICMP socket...\n");
    EXPECT_EQ(ping::Run.PingAuto, 0);

    Type(123, "70000");
    Type(127, "");
    StartRefused(1);
    EXPECT_EQ(ping::Run.PingTimeout, 4464) << "read as an unsigned short";
    EXPECT_EQ(Field(123), "4464");
    EXPECT_EQ(ping::Run.PingRetryNumber, 4) << "an empty field keeps the setting";
    Type(123, "40000");
    StartRefused(143);
    EXPECT_EQ(ping::Run.PingTimeout, -25536);
    EXPECT_EQ(Field(123), "4294941760");
    EXPECT_EQ(ping::Run.PingAuto, 0) << "PING Auto asked, the ping box refused";
    Type(121, std::string(100, 'h').c_str());
    Type(122, std::string(100, 'd').c_str());
    StartRefused(1);
    EXPECT_EQ(std::string(ping::Run.PingHost), std::string(79, 'h')) << "cut to 79 characters";
    EXPECT_EQ(std::string(ping::Run.PingData), std::string(79, 'd'));
}

TEST_F(PingDialogTest, StopEndsTheRunAndQuitOnlyHidesTheDialog) {
    SendMessageA(MainWindow, WM_COMMAND, IDM_PING, 0);
    HoldSocket();
    ping::Run.PingAuto = 1;
    ping::Run.IcmpState = ping::TargetSet;
    SetWindowTextA(MainWindow, "Ping");
    Refresh();
    ExpectLook(true);

    Click(2);  // QUIT: the run goes on behind the hidden dialog
    EXPECT_FALSE(IsWindowVisible(PingDialog));
    EXPECT_EQ(ping::Run.PingVisible, 0);
    EXPECT_NE(ping::Run.IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(ping::Run.PingAuto, 1);

    SendMessageA(MainWindow, WM_COMMAND, IDM_PING, 0);
    EXPECT_TRUE(IsWindowVisible(PingDialog));
    Click(141);
    EXPECT_EQ(ping::Run.PingAuto, 0);
    EXPECT_EQ(ping::Run.IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(Title(), "Korvel");
    ExpectLook(false);
}

TEST_F(PingDialogTest, TheCloseBoxHidesTheDialogThroughTheMainWindow) {
    SendMessageA(MainWindow, WM_COMMAND, IDM_PING, 0);
    platform::UserCloseDialog(PingDialog);
    Pump();
    EXPECT_FALSE(IsWindowVisible(PingDialog));
    EXPECT_EQ(ping::Run.PingVisible, 0);
    EXPECT_TRUE(IsWindow(PingDialog)) << "it lives for the whole run";
}

}  // namespace
