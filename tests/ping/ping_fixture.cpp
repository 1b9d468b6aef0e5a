#include "ping/ping_fixture.h"

#include "base/timestamp.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"
#include "shell/shell.h"

namespace ping_testing {

void ResetPingState() {
    if (ping::Run.IcmpSocket != INVALID_SOCKET) closesocket(ping::Run.IcmpSocket);
    ping::Run = ping::PingRun{};
    Settings.Ping.Page = 0;
}

void PingTest::SetUp() {
    ShellTest::SetUp();
    ResetPingState();
    platform::UseFakeClock(kNow, 50000);
    CreateMainWindow();
    PingDialog = CreateDialogParamA(hInst, "DIALOG_8", nullptr, PingDlgProc, 0);
    ASSERT_NE(PingDialog, nullptr);
    frontEnd.printed.clear();
}

void PingTest::TearDown() {
    ResetPingState();
    peer::Close(peer);
    ShellTest::TearDown();
}

bool PingTest::UseFakeSocket() {
    peer = testing_support::UseFakeIcmpSocket();
    return peer >= 0;
}

void PingTest::PeerSends(const peer::Bytes& datagram) {
    ASSERT_TRUE(peer::SendTo(peer, peer::LocalPort((int)ping::Run.IcmpSocket), datagram));
}

void PingTest::EngineReads() {
    ASSERT_TRUE(peer::WaitReadable((int)ping::Run.IcmpSocket, 2000)) << "nothing arrived";
    ping::ICMPRead(MainWindow);
}

std::string PingTest::Field(int id) {
    char text[256];
    GetDlgItemTextA(PingDialog, id, text, sizeof text);
    return text;
}

bool PingTest::Enabled(int id) { return IsWindowEnabled(GetDlgItem(PingDialog, id)) != FALSE; }

std::string PingTest::Title() {
    char title[128];
    GetWindowTextA(MainWindow, title, sizeof title);
    return title;
}

std::string PingTest::Stamp() {
    char stamp[kTimeStampSize];
    TimeStamp(CurrentTime(), stamp);
    return stamp;
}

}  // namespace ping_testing
