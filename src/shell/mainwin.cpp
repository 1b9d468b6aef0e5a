// The main window's procedure: the one dispatcher through which every event of the program
// passes. The order of the tests is part of the design: the channel range comes first, so with
// more than 18 channels in use the ICMP message 1044 is taken as channel 18's.

#include <cstdio>

#include "base/print.h"
#include "channel/channel.h"
#include "channel/dispatch.h"
#include "channel/sockets.h"
#include "channel/statistics.h"
#include "dialogs/dialogs.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/console.h"
#include "shell/shell.h"
#include "shell/view.h"

namespace {

bool IsChannelMessage(UINT message) {
    return message >= MSG_CHANNEL0 && message < MSG_CHANNEL0 + (UINT)ChannelsInUse();
}

void IcmpMessage(HWND window, LPARAM lParam) {
    if (HIWORD(lParam) != 0) {
        // The line was always written with the size letter before the width ("%l8.8X"): the
        // conversion ends at the letter and the rest is plain text, so no number appears.
        Print(window, "MainWin, ICMP_msg, WSAGETSELECTERROR=8.8X\n");
        return;
    }
    if (ping::Run.IcmpSocket == INVALID_SOCKET) return;
    ping::ICMPRead(window);
}

void RunModal(HWND window, const char* templateName, DialogSlot slot) {
    if (DialogBoxParamA(hInst, templateName, window, Shell.DialogProcedures[slot], 0) == -1)
        Print(window, "Unable to create %s !!! \n", templateName);
}

void ShowStatistics(HWND window) {
    SetTimer(StatisticsDialog, kTickTimer, kTickMs, nullptr);
    EnableMenuItem(GetMenu(window), IDM_HIDE_STATISTICS, MF_ENABLED);
    EnableMenuItem(GetMenu(window), IDM_SHOW_STATISTICS, MF_GRAYED);
    ShowWindow(StatisticsDialog, SW_SHOW);
}

void HideStatistics(HWND window) {
    KillTimer(StatisticsDialog, kTickTimer);
    EnableMenuItem(GetMenu(window), IDM_SHOW_STATISTICS, MF_ENABLED);
    EnableMenuItem(GetMenu(window), IDM_HIDE_STATISTICS, MF_GRAYED);
    ShowWindow(StatisticsDialog, SW_HIDE);
}

void Command(HWND window, int id) {
    switch (id) {
        case IDM_FIND: SendMessageA(window, WM_SIZE, 0, (LPARAM)Shell.LastSize); break;
        case IDM_CONFIGURATION: RunModal(window, "DIALOG_1", kConfigurationDialog); break;
        case IDM_SERVER: RunModal(window, "DIALOG_2", kServerDialog); break;
        case IDM_CLIENT: RunModal(window, "DIALOG_3", kClientDialog); break;
        case IDM_SHOW_STATISTICS: ShowStatistics(window); break;
        case IDM_HIDE_STATISTICS:
        case IDM_STATISTICS_CLOSED: HideStatistics(window); break;
        case IDM_SHOW_HELP: WinHelpA(window, "korvel32.hlp", HELP_CONTENTS, 0); break;
        case IDM_EDIT: RunModal(window, "DIALOG_5", kEditDialog); break;
        case IDM_URL: RunModal(window, "DIALOG_6", kUrlDialog); break;
        case IDM_SAVE: RunModal(window, "DIALOG_7", kSaveDialog); break;
        case IDM_PING:
            ping::Run.PingVisible = 1;
            ShowWindow(PingDialog, SW_SHOW);
            break;
        case IDM_PING_CLOSED:
            ping::Run.PingVisible = 0;
            ShowWindow(PingDialog, SW_HIDE);
            break;
        default: break;
    }
}

void InstallDialogProcedures() {
    Shell.DialogProcedures[kConfigurationDialog] = ConfigurationDlgProc;
    Shell.DialogProcedures[kServerDialog] = ServerDlgProc;
    Shell.DialogProcedures[kClientDialog] = ClientDlgProc;
    Shell.DialogProcedures[kEditDialog] = EditCommandDlgProc;
    Shell.DialogProcedures[kSaveDialog] = SaveOptionsDlgProc;
    Shell.DialogProcedures[kUrlDialog] = UrlDlgProc;
}

void Create(HWND window, LPARAM lParam) {
    MeasureFont(window);
    hInst = reinterpret_cast<const CREATESTRUCTA*>(lParam)->hInstance;
    InstallDialogProcedures();
    EnableMenuItem(GetMenu(window), IDM_SHOW_STATISTICS, MF_ENABLED);
    EnableMenuItem(GetMenu(window), IDM_HIDE_STATISTICS, MF_GRAYED);
    SetTimer(window, kTickTimer, kTickMs, nullptr);
    View.escapeState = -1;
}

void Tick() {
    ChannelTick();
    ping::ICMPCheck();
}

}  // namespace

LRESULT MainWin(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    // Printed text is never a socket event, however many channels the settings ask for (a
    // negative count makes every number from MSG_CHANNEL0 up look like a channel's).
    if (message == MSG_PUTTEXT) {
        ConsolePutText(window, (const char*)lParam, (size_t)wParam);
        return 0;
    }
    if (IsChannelMessage(message)) {
        ClientMsg(window, (int)(message - MSG_CHANNEL0), (uint32_t)lParam);
        return 0;
    }
    switch (message) {
        case MSG_SERVER: ServerMsg(window, MSG_SERVER, lParam); return 0;
        case MSG_ICMP: IcmpMessage(window, lParam); return 0;
        case WM_PAINT: OnPaint(window); return 0;
        case WM_CREATE: Create(window, lParam); return 0;
        case WM_DESTROY: PostQuitMessage(0); return 0;
        case WM_SIZE: OnSize(window, lParam); return 0;
        case WM_SETFOCUS: OnSetFocus(window); return 0;
        case WM_KILLFOCUS: OnKillFocus(window); return 0;
        case WM_COMMAND:
            if (LOWORD(wParam) <= IDM_PING_CLOSED) Command(window, LOWORD(wParam));
            return 0;
        case WM_KEYDOWN: OnKeyDown(window, wParam); return 0;
        case WM_CHAR: OnChar(window, wParam, lParam); return 0;
        case MSG_PUTCHAR: ConsolePutChar(window, (int)LOWORD(wParam), (int16_t)LOWORD(lParam)); return 0;
        case WM_TIMER:
            if (wParam == kTickTimer) Tick();
            return 0;
        case WM_HSCROLL: OnHorizontalScroll(window, wParam); return 0;
        case WM_VSCROLL: OnVerticalScroll(window, wParam); return 0;
        default: return DefWindowProcA(window, message, wParam, lParam);
    }
}
