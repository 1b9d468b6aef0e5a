// Interim definitions for the parts of the program that are still being built (the ping
// engine, the web grabber, the CGI gateway, the settings dialogs). Each says so on the
// console. This file shrinks as those parts land and then goes away.

#include "channel/channel.h"
#include "grabber/crawl.h"
#include "grabber/fetch.h"
#include "grabber/tags.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
#include "server/cgi.h"
#include "server/request.h"
#include "settings/dialogs.h"
#include "settings/settings.h"
#include "shell/print.h"
#include "shell/shell.h"

FetchRecord TheFetch;
int16_t GrabActive = 0;
int16_t RetriesLeft = 0;

void ResetGrabDefaults() {}
int16_t TAGinit() { return 0; }

int16_t StartFetch(int16_t, const char*, const char*) {
    Print(MainWindow, "The web grabber is not part of this build yet\n");
    if (BatchMode) PostQuitMessage(0);
    return 0;
}
int16_t RetryFetch(int) { return 0; }
void FetchComplete(HWND, int) {}
CrawlResult CrawlStep(HWND) { return CrawlResult::Ended; }
void ReleaseLinkLists() {}

bool CgiRequestLine(HWND window, int ch, const char*, const char*) {
    Print(window, "The CGI gateway is not part of this build yet\n");
    HomePath(SendPath[ch], "stder.htm");
    return true;
}
int16_t CGILauch(HWND, int) { return 0; }
int16_t CGICheck(HWND, int) { return 1; }

INT_PTR ConfigurationDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR ServerDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR ClientDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR EditCommandDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR SaveOptionsDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
INT_PTR UrlDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
