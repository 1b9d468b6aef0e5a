// Interim definitions for the parts of the program that are still being built (the ping
// engine, the web grabber, the CGI gateway, the settings dialogs). Each says so on the
// console. This file shrinks as those parts land and then goes away.

#include "channel/channel.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
#include "server/cgi.h"
#include "server/request.h"
#include "settings/dialogs.h"
#include "settings/settings.h"
#include "shell/print.h"
#include "shell/shell.h"

bool CgiRequestLine(HWND window, int ch, const char*, const char*) {
    Print(window, "The CGI gateway is not part of this build yet\n");
    HomePath(SendPath[ch], "stder.htm");
    return true;
}
int16_t CGILauch(HWND, int) { return 0; }
int16_t CGICheck(HWND, int) { return 1; }

namespace ping {
int16_t CloseICMP() { return 1; }
int16_t ICMPRead(HWND) { return 0; }
void ICMPCheck() {}
}  // namespace ping
int16_t IcmpBox() {
    Print(MainWindow, "Ping is not part of this build yet\n");
    return 0;
}
INT_PTR PingDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

INT_PTR ConfigurationDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR ServerDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR ClientDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR EditCommandDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR SaveOptionsDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR UrlDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
