// Interim definitions for the parts of the program that are still being built (the ping
// engine, the web grabber and its URL Browser). Each says so on the console. This file
// shrinks as those parts land and then goes away.

#include "channel/channel.h"
#include "grabber/crawl.h"
#include "grabber/browser.h"
#include "grabber/fetch.h"
#include "grabber/tags.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/messages.h"
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


char SelectedUrl[kSelectedUrlSize] = "";
INT_PTR UrlBrowserDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
