// Reading and showing the fields of the settings dialogs. A number is taken only when its
// text scans; otherwise the setting keeps its value.
#pragma once

#include <cstdint>
#include <cstdio>

#include "base/textio.h"
#include "platform/ui.h"

// Scans edit `id` with "%hd"; true when a value was converted.
bool ScanSigned(HWND dialog, int id, int16_t& value);
// Scans edit `id` with "%hu", reading at most `limit` - 1 characters of it.
bool ScanUnsigned(HWND dialog, int id, uint16_t& value, int limit = 1000);

// Reads the text of edit `id` (at most `limit` - 1 characters) into a field.
template <size_t N>
void ReadField(HWND dialog, int id, char (&field)[N], int limit) {
    char text[512];
    GetDlgItemTextA(dialog, id, text, limit < (int)sizeof text ? limit : (int)sizeof text);
    CopyText(field, text);
}

void EnableControl(HWND dialog, int id, bool enabled);

// Fills a drop-down list with the two HTTP versions ("HTTP 0.9" at index 0, "HTTP 1.0" at
// index 1) and selects one.
void FillHttpVersions(HWND dialog, int id, int16_t selected);
