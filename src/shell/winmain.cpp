// The entry of the program: start-up in a fixed order, the message loop, shutdown.

#include <cstdio>

#include "base/print.h"
#include "channel/channel.h"
#include "channel/sockets.h"
#include "channel/statistics.h"
#include "grabber/fetch.h"
#include "grabber/grab_client.h"
#include "grabber/tags.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "server/roles.h"
#include "settings/settings.h"
#include "shell/cmdline.h"
#include "shell/console.h"
#include "shell/shell.h"

ShellState Shell;

namespace {

void RegisterMainClass(HINSTANCE instance) {
    WNDCLASSEXA cls{};
    cls.cbSize = sizeof cls;
    cls.style = CS_HREDRAW | CS_VREDRAW;
    cls.lpfnWndProc = MainWin;
    cls.hInstance = instance;
    cls.lpszMenuName = "wins";
    cls.lpszClassName = "wins2";
    RegisterClassExA(&cls);
}

// Defaults of the grab that the settings file may override. Taken before the file is read,
// so a [Server] value in the file does not reach the [Url] time limits.
void SetGrabDefaults() {
    UrlSettings& url = Settings.Url;
    url.Port = 80;
    url.Url[0] = '\0';
    ResetGrabDefaults();
    snprintf(url.HomeDir, sizeof url.HomeDir, "%s", "\\tmp");
    snprintf(url.Bookmark, sizeof url.Bookmark, "%s", "kvdir.htm");
    url.ProxyHost[0] = '\0';
    url.Mode = 0;
    url.ConnectionTimeout = 600;
    url.LeavingTimeout = ServerSettings{}.LeavingTimeout;
    url.PurgingTimeout = ServerSettings{}.PurgingTimeout;
}

// The statistics window's test comes first on purpose: the ping window is offered a message
// only after the statistics window has taken it, so its own messages reach it through plain
// dispatch, and a message the statistics window takes is dispatched a second time unless the
// ping window takes it too.
int RunMessageLoop() {
    MSG msg;
    while (GetMessageA(&msg, nullptr, 0, 0)) {
        if (StatisticsDialog && IsDialogMessageA(StatisticsDialog, &msg) && PingDialog &&
            IsDialogMessageA(PingDialog, &msg))
            continue;
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
    return (int)msg.wParam;
}

void ShutDown() {
    if (ping::Run.IcmpSocket != INVALID_SOCKET) ping::CloseICMP();
    CloseServer();
    CloseAllClients();
    CloseWS();
    ConsoleRelease();
}

}  // namespace

int WinMain(HINSTANCE instance, HINSTANCE, char* commandLine, int show) {
    hInst = instance;
    RegisterMainClass(instance);
    SetGrabDefaults();
    LoadSettings();
    Settings.UrlRun.AddPageTrailer = 0;
    MainWindow = CreateWindowExA(0, "wins2", "Korvel", WS_OVERLAPPEDWINDOW | WS_HSCROLL | WS_VSCROLL, CW_USEDEFAULT,
                                 CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, instance, nullptr);
    if (DecodeLine(commandLine, 0)) {
        show = Shell.ShowCommand;
        BatchMode = 1;
    }
    ShowWindow(MainWindow, show);
    UpdateWindow(MainWindow);
    StatisticsDialog = CreateDialogParamA(hInst, "DIALOG_4", MainWindow, StatisticsDlgProc, 0);
    PingDialog = CreateDialogParamA(hInst, "DIALOG_8", nullptr, PingDlgProc, 0);
    InitChannels();
    RegisterServerRoles();
    RegisterGrabRole();
    TAGinit();
    if (StartWinsock() != 1) {
        Print(MainWindow, "%s\n", "!!! Unable to find WSA !!!");
        return 1;
    }
    DecodeLine(commandLine, 1);
    int exitCode = RunMessageLoop();
    ShutDown();
    return exitCode;
}
