// The URL Browser dialog ("load"): picks a page already on the disk and lists the links it
// holds as absolute URLs, optionally against a reference URL; one can be taken back into the
// URL dialog or appended to the bookmark page.
#pragma once

#include "platform/ui.h"

constexpr int kSelectedUrlSize = 512;

// The URL chosen in the browser, "http://" included.
extern char SelectedUrl[kSelectedUrlSize];

extern const DialogTemplate kUrlBrowserTemplate;

INT_PTR UrlBrowserDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
