// The settings dialogs driven as a user drives them: fields typed, boxes ticked, buttons
// clicked. Each dialog is created from its real template with its real procedure.

#include <gtest/gtest.h>

#include <string>

#include "channel/channel.h"
#include "channel/sockets.h"
#include "dialogs/dialogs.h"
#include "grabber/link_lists.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/shell_fixture.h"
#include "support/temp_dir.h"

namespace {

class Dialogs : public testing_support::MainWindowTest {
protected:
    HWND Open(const char* name, DLGPROC proc) {
        HWND dialog = CreateDialogParamA(nullptr, name, MainWindow, proc, 0);
        EXPECT_NE(dialog, nullptr);
        ShowWindow(dialog, SW_SHOW);
        return dialog;
    }
    std::string Text(HWND dialog, int id) { return platform::FindControl(dialog, id)->text; }
    bool Enabled(HWND dialog, int id) { return platform::FindControl(dialog, id)->enabled; }
    // The check states of the buttons, as '1' and '0'.
    static std::string Checks(HWND dialog, std::initializer_list<int> ids) {
        std::string states;
        for (int id : ids) states += IsDlgButtonChecked(dialog, id) ? '1' : '0';
        return states;
    }
    void Click(HWND dialog, int id) {
        ASSERT_TRUE(platform::UserClick(dialog, id)) << "control " << id;
        Pump();
    }
    void Type(HWND dialog, int id, const std::string& text) { ASSERT_TRUE(platform::UserSetText(dialog, id, text)); }
};

TEST_F(Dialogs, ConfigurationCutsTheClientCountAt25ButHasNoLowerBound) {
    HWND d = Open("DIALOG_1", ConfigurationDlgProc);
    EXPECT_EQ(Text(d, 121), "9");
    EXPECT_EQ(Text(d, 128), "30");
    Type(d, 121, "40");
    Type(d, 123, "x7");
    Type(d, 124, "-5");
    Click(d, IDOK);
    EXPECT_EQ(Settings.Server.HowManyClients, 25);
    EXPECT_EQ(Settings.Server.WaitingTimeout, 60) << "a field that does not scan keeps its value";
    EXPECT_EQ(Settings.Server.SendingTimeout, -5);
    EXPECT_FALSE(IsWindowVisible(d));
    d = Open("DIALOG_1", ConfigurationDlgProc);
    Type(d, 121, "0");
    Click(d, IDOK);
    EXPECT_EQ(Settings.Server.HowManyClients, 0);
}

TEST_F(Dialogs, ConfigurationStoresTheNineFlagsAndKeepsTheHigherBits) {
    Settings.Server.ServerMode = 0x12200 | 0x1CB;
    HWND d = Open("DIALOG_1", ConfigurationDlgProc);
    EXPECT_EQ(Checks(d, {141, 143}), "10");
    Click(d, 141);  // Send And Close off
    Click(d, 143);  // Echo Keyboard on
    Click(d, IDOK);
    EXPECT_EQ(Settings.Server.ServerMode, (0x12200u | 0x1CB | 0x004) & ~0x001u);
    d = Open("DIALOG_1", ConfigurationDlgProc);
    Click(d, 149);
    Click(d, IDCANCEL);
    EXPECT_EQ(Settings.Server.ServerMode & 0x100, 0x100u) << "CANCEL changes nothing";
}

TEST_F(Dialogs, TextAndBinaryModeStayOpposite) {
    Settings.Server.ServerMode = 0x008 | 0x010;  // both ticked: only the stored value can do that
    HWND d = Open("DIALOG_1", ConfigurationDlgProc);
    Click(d, 144);  // Text Mode off
    EXPECT_EQ(Checks(d, {144, 145}), "01");
    Click(d, 145);  // Binary off, so Text on
    EXPECT_EQ(Checks(d, {144, 145}), "10");
    Click(d, 144);
    EXPECT_EQ(Checks(d, {144, 145}), "01");
}

TEST_F(Dialogs, TheClientCountAndTheServerButtonsFollowTheListeningSocket) {
    Settings.Server.ServerPort = 0;
    for (bool open : {true, false}) {
        if (open) {
            ASSERT_TRUE(OpenServer());
        } else {
            CloseServer();
        }
        EXPECT_EQ(Enabled(Open("DIALOG_1", ConfigurationDlgProc), 121), !open);
        HWND server = Open("DIALOG_2", ServerDlgProc);
        EXPECT_EQ(Enabled(server, 1), !open) << "Open";
        EXPECT_EQ(Enabled(server, 2), open) << "Close";
    }
}

TEST_F(Dialogs, ServerModelsReloadTheFieldsAndApplyTheirPresetAtOnce) {
    Settings.Server.ServerPort = 8080;
    HWND d = Open("DIALOG_2", ServerDlgProc);
    EXPECT_TRUE(IsDlgButtonChecked(d, 147)) << "the default model is Panel";
    EXPECT_EQ(platform::FindControl(d, 148)->items, (std::vector<std::string>{"HTTP 0.9", "HTTP 1.0"}));
    EXPECT_EQ(Text(d, 148), "HTTP 0.9");
    Type(d, 122, "typed but lost");
    Click(d, 145);  // Proxy
    EXPECT_EQ(Settings.Server.ProxyPort, 8080);
    EXPECT_EQ(Settings.Server.ServerProxy, 1);
    EXPECT_EQ(Settings.Server.ServerMode, 0x18Au);
    EXPECT_TRUE(IsDlgButtonChecked(d, 142));
    EXPECT_EQ(Text(d, 122), "\\korvel");
    EXPECT_EQ(Text(d, 123), "8080");
    Click(d, 144);  // Http
    EXPECT_EQ(Settings.Server.ServerPort, 80);
    EXPECT_EQ(Settings.Server.ServerProxy, 0);
    EXPECT_EQ(Settings.Server.ServerMode, 0x1CBu);
    EXPECT_EQ(Text(d, 121), "80");
    EXPECT_EQ(platform::FindControl(d, 148)->items.size(), 2u) << "the list is not filled twice";
}

TEST_F(Dialogs, ServerOpenStopsAtAPortThatDoesNotScan) {
    HWND d = Open("DIALOG_2", ServerDlgProc);
    ASSERT_TRUE(platform::UserSelect(d, 148, 1));
    Pump();
    Type(d, 126, "box");
    Type(d, 121, "8123");
    Type(d, 123, "");
    Click(d, 1);
    EXPECT_EQ(frontEnd.boxes, (std::vector<std::string>{"korvel: ProxyPort: not an allowed value"}));
    EXPECT_EQ(Settings.Server.ServerPort, 8123);
    EXPECT_STREQ(Settings.Server.Mailbox, "box");
    EXPECT_EQ(Settings.Standard.Server, 1);
    EXPECT_EQ(ServerSocket, INVALID_SOCKET);
    d = Open("DIALOG_2", ServerDlgProc);
    Type(d, 121, "port");
    Click(d, 1);
    EXPECT_EQ(frontEnd.boxes.back(), "korvel: ServerPort: not an allowed value");
}

TEST_F(Dialogs, ClientPanelShowsHttpBinaryChecked) {
    HWND d = Open("DIALOG_3", ClientDlgProc);
    EXPECT_TRUE(IsDlgButtonChecked(d, 147));
    Click(d, 147);
    EXPECT_EQ(Checks(d, {146, 147}), "10");
    EXPECT_EQ(Settings.Client.ClientDef, 2);
    EXPECT_EQ(Settings.Server.ServerMode, 0x094u);
    Click(d, 145);
    EXPECT_EQ(Settings.Server.ServerMode, 0x08Eu);
    EXPECT_EQ(Settings.Client.ClientLogFile, 0);
}

TEST_F(Dialogs, ClientRefusesAPortThatIsNoNumber) {
    HWND d = Open("DIALOG_3", ClientDlgProc);
    Click(d, 142);
    Type(d, 121, "http");
    Click(d, 1);
    EXPECT_EQ(frontEnd.boxes, (std::vector<std::string>{"korvel: Port: not an allowed value"}));
    EXPECT_EQ(Settings.Client.ClientLogFile, 1) << "read before the port";
    EXPECT_EQ(ClientOpen, 0);
    EXPECT_FALSE(IsWindowVisible(d));
}

TEST_F(Dialogs, EditACommandSendsNothingWithoutEchoButStillEmptiesTheField) {
    HWND d = Open("DIALOG_5", EditCommandDlgProc);
    Type(d, 121, "hello");
    Click(d, 142);
    EXPECT_EQ(Text(d, 121), "");
    EXPECT_EQ(frontEnd.printed, "");
    EXPECT_TRUE(IsWindowVisible(d));
    Click(d, IDCANCEL);
    EXPECT_FALSE(IsWindowVisible(d));
}

TEST_F(Dialogs, UrlDialogLooksIdleOrBusyByTheClientFlag) {
    HWND d = Open("DIALOG_6", UrlDlgProc);
    EXPECT_TRUE(Enabled(d, 1));
    EXPECT_FALSE(Enabled(d, 141));
    EXPECT_FALSE(Enabled(d, 148)) << "Text mode greys OK+IMG";
    EXPECT_EQ(Checks(d, {154, 150}), "11") << "Local, AutoNameFile";
    Click(d, 143);
    EXPECT_TRUE(Enabled(d, 148) && Enabled(d, 149));
    EXPECT_EQ(Settings.Url.Mode, 1);
    Click(d, 153);
    EXPECT_EQ(Settings.Url.All, 1);
    Click(d, IDCANCEL);
    EXPECT_EQ(Settings.Url.All, 1) << "radio buttons change the settings at once";
    ClientOpen = 1;
    d = Open("DIALOG_6", UrlDlgProc);
    EXPECT_TRUE(Enabled(d, 141));
    for (int id : {1, 148, 149, 153, 154, 155, 156, 150, 151, 159, 160}) EXPECT_FALSE(Enabled(d, id)) << id;
    EXPECT_TRUE(Enabled(d, 142));
    EXPECT_TRUE(Enabled(d, 121));
}

TEST_F(Dialogs, UrlDialogTakesTheClipboardAndNewEmptiesTheUrl) {
    HWND d = Open("DIALOG_6", UrlDlgProc);
    Click(d, 177);
    EXPECT_EQ(Text(d, 121), "") << "no text on the clipboard";
    platform::SetClipboardText(std::string(600, 'a'));
    Click(d, 177);
    EXPECT_EQ(Text(d, 121), "") << "512 characters or more are refused";
    platform::SetClipboardText(std::string(511, 'b'));
    Click(d, 177);
    EXPECT_EQ(Text(d, 121), std::string(495, 'b')) << "cut to the field";
    EXPECT_EQ(std::string(Settings.Url.Url), std::string(495, 'b'));
    Click(d, 152);
    EXPECT_EQ(Text(d, 121), "");
    EXPECT_STREQ(Settings.Url.Url, "");
}

TEST_F(Dialogs, UrlDialogVersionIsStoredOnlyByAStart) {
    HWND d = Open("DIALOG_6", UrlDlgProc);
    ASSERT_TRUE(platform::UserSelect(d, 157, 1));
    Pump();
    Click(d, IDCANCEL);
    EXPECT_EQ(Settings.Standard.Url, 0);
}

// A start reads the edits: the index keeps only the first three characters of its first word,
// and "N=" is at least 1. The grab goes to a port where nobody listens.
TEST_F(Dialogs, AStartReadsTheIndexAndTheLevelsByTheirRules) {
    testing_support::TempDir home;
    snprintf(Settings.Url.HomeDir, sizeof Settings.Url.HomeDir, "%s", home.path().c_str());
    struct Typed {
        const char* index;
        const char* levels;
        const char* wantIndex;
        int16_t wantLevels;
    };
    const Typed cases[] = {{"12345", "0", "123", 1}, {"a b", "", "a", 1}, {"", "4", "a", 4}, {"zz", "-3", "zz", 1}};
    for (const Typed& t : cases) {
        HWND d = Open("DIALOG_6", UrlDlgProc);
        Type(d, 121, "127.0.0.1:1/x.htm");
        Type(d, 134, t.index);
        Type(d, 129, t.levels);
        Click(d, 1);
        EXPECT_STREQ(Settings.UrlRun.Index, t.wantIndex) << t.index;
        EXPECT_EQ(Settings.UrlRun.Levels, t.wantLevels) << t.levels;
        EXPECT_FALSE(IsWindowVisible(d)) << "the grab started, so the dialog closed";
        CloseAllClients();
        ReleaseLinkLists();
        ClientOpen = 0;
    }
}

}  // namespace
