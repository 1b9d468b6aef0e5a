// Interim definitions for the part of the program that is still being built (the web
// grabber and its URL Browser); the grabber says so on the console. This file goes away when
// that part lands.

#include "channel/channel.h"
#include "grabber/crawl.h"
#include "grabber/browser.h"
#include "grabber/fetch.h"
#include "grabber/tags.h"
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

char SelectedUrl[kSelectedUrlSize] = "";
INT_PTR UrlBrowserDlgProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }
