#include "support/program_state.h"

#include <cstring>

#include "base/textio.h"

#include "channel/channel.h"
#include "channel/sockets.h"
#include "channel/statistics.h"
#include "grabber/crawl.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "grabber/grab_client.h"
#include "grabber/link_lists.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "server/roles.h"
#include "settings/settings.h"
#include "shell/console.h"
#include "shell/shell.h"
#include "shell/view.h"
#include "support/posix_peer.h"

namespace testing_support {

void ResetProgramState() {
    if (IsWindow(MainWindow)) DestroyWindow(MainWindow);
    platform::ResetWindows();
    platform::ResetUi();
    ConsoleRelease();
    Console = ConsoleScreen{};
    View = ConsoleView{};
    Settings = SettingsRecord{};
    Settings.UrlRun.Levels = 1;
    strcpy(Settings.UrlRun.Index, "00");
    Settings.UrlRun.CheckHtmlHeader = 1;
    Settings.UrlRun.AddPageTrailer = 0;
    ClientOpen = 0;
    ClientConnected = 0;
    MainWindow = nullptr;
    StatisticsDialog = nullptr;
    PingDialog = nullptr;
    BatchMode = 0;
    Shell.ShowCommand = SW_SHOWMINNOACTIVE;
    Shell.LastSize = 0;
    for (auto& proc : Shell.DialogProcedures) proc = nullptr;
    memset(Channels, 0, sizeof Channels);
    InitChannels();
    RegisterServerRoles();
    RegisterGrabRole();
    for (Channel& c : Channels) c.Socket = INVALID_SOCKET;
    ServerSocket = INVALID_SOCKET;
    CloseServerLog();
    ClientOutputFile[0] = '\0';
    ping::Run = ping::PingRun{};
}

void ResetGrabState() {
    ReleaseLinkLists();
    Grab = GrabRecord{};
    ResetCrawlState();
    strcpy(Settings.UrlRun.Index, "00");
}

UrlRecord Record(const char* host, const char* base, const char* file, int16_t port, const char* localName) {
    UrlRecord r{};
    CopyText(r.host, host);
    CopyText(r.base, base);
    CopyText(r.file, file);
    CopyText(r.localName, localName);
    r.port = port;
    return r;
}

int UseFakeIcmpSocket() {
    uint16_t peerPort = 0;
    int peerFd = peer::OpenUdp(&peerPort);
    SOCKET s = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (s != INVALID_SOCKET) ping::Run.IcmpSocket = s;  // closed with the engine's state
    SOCKADDR_IN& target = ping::Run.TargetAddress;
    target = SOCKADDR_IN{};
    target.sin_family = AF_INET;
    target.sin_addr.S_addr = inet_addr("127.0.0.1");
    ULONG nonBlocking = 1;
    if (peerFd < 0 || s == INVALID_SOCKET || bind(s, (const SOCKADDR*)&target, sizeof target) != 0 ||
        ioctlsocket(s, FIONBIO, &nonBlocking) != 0) {
        peer::Close(peerFd);
        return -1;
    }
    target.sin_port = htons(peerPort);
    return peerFd;
}

void PumpMessages(int limit) {
    while (platform::QueuedMessageCount() > 0 && limit-- > 0) {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) break;
        DispatchMessageA(&msg);
    }
}

void CreateProgramWindow() {
    WNDCLASSEXA cls{};
    cls.cbSize = sizeof cls;
    cls.lpfnWndProc = MainWin;
    cls.lpszMenuName = "wins";
    cls.lpszClassName = "wins2";
    RegisterClassExA(&cls);
    MainWindow = CreateWindowExA(0, "wins2", "Korvel", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace testing_support
