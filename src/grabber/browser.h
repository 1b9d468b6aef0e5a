// The URL Browser dialog ("load"): picks a page already on the disk and lists the links it
// holds as absolute URLs, optionally against a reference URL; one can be taken back into the
// URL dialog or appended to the bookmark page.
#pragma once

#include "platform/ui.h"

extern const DialogTemplate kUrlBrowserTemplate;

INT_PTR UrlBrowserDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
