#include "ping/ping_fixture.h"

#include <unistd.h>

#include <cstring>

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
    using namespace ping;
    if (Run.IcmpSocket != INVALID_SOCKET) closesocket(Run.IcmpSocket);
    Run.IcmpSocket = INVALID_SOCKET;
    Run.PingHost[0] = '\0';
    Run.PingData[0] = '\0';
    Run.PingTimeout = 5;
    Run.PingRetryNumber = 10;
    Run.PingAuto = 0;
    Run.ShowEcho = 1;
    Run.PingVisible = 1;
    Settings.Ping.Page = 0;
    Run.PingListen = 0;
    Run.IcmpType = 8;
    Run.IcmpState = 0;
    Run.PingSequence = 0;
    Run.LastTag = 0;
    Run.IcmpLength = 0;
    memset(Run.RxBuffer, 0, sizeof Run.RxBuffer);
    Run.RxLength = 0;
    Run.PingSent = Run.PingReceived = Run.PingTotalTime = 0;
    Run.SendTime = 0;
    Run.WaitedSeconds = 0;
    Run.RetriesLeft = 0;
    Run.PingAlive = 0;
    Run.TitleBlink = 0;
    Run.TargetAddress = SOCKADDR_IN{};
}

void PingTest::SetUp() {
    ShellTest::SetUp();
    ResetPingState();
    platform::UseFakeClock(kNow, kStartMs);
    CreateMainWindow();
    PingDialog = CreateDialogParamA(hInst, "DIALOG_8", nullptr, PingDlgProc, 0);
    ASSERT_NE(PingDialog, nullptr);
    frontEnd.printed.clear();
}

void PingTest::TearDown() {
    ResetPingState();
    peer::Close(peer);
    platform::UseRealClock();
    ShellTest::TearDown();
}

bool PingTest::UseFakeSocket() {
    peer = peer::OpenUdp(&peerPort);
    SOCKET s = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (peer < 0 || s == INVALID_SOCKET) return false;
    SOCKADDR_IN local{};
    local.sin_family = AF_INET;
    local.sin_addr.S_addr = inet_addr("127.0.0.1");
    ULONG nonBlocking = 1;
    if (bind(s, (const SOCKADDR*)&local, sizeof local) != 0 || ioctlsocket(s, FIONBIO, &nonBlocking) != 0) return false;
    ping::Run.IcmpSocket = s;
    ping::Run.TargetAddress.sin_family = AF_INET;
    ping::Run.TargetAddress.sin_port = htons(peerPort);
    ping::Run.TargetAddress.sin_addr.S_addr = inet_addr("127.0.0.1");
    return true;
}

bool PingTest::RawSocketsAllowed() {
    SOCKET s = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (s == INVALID_SOCKET) return false;
    closesocket(s);
    return true;
}

void PingTest::PeerSends(const peer::Bytes& datagram) {
    ASSERT_TRUE(peer::SendTo(peer, peer::LocalPort((int)ping::Run.IcmpSocket), datagram));
}

peer::Bytes PingTest::PeerReceives(int timeoutMs) { return peer::Receive(peer, timeoutMs); }

void PingTest::PeerAnswers(const peer::Bytes& echo) {
    ASSERT_GE(echo.size(), 8u);
    peer::Bytes reply = echo;
    reply[0] = 0;
    PeerSends(peer::WithChecksum(reply));
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

bool PingTest::Checked(int id) { return IsDlgButtonChecked(PingDialog, id) == BST_CHECKED; }

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
