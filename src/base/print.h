// Output of the program: Print to the console (and the server log file while it is open),
// and the formatted reading and writing of dialog fields.
#pragma once

#include <cstdint>
#include <cstdio>

#include "platform/wintypes.h"

// Formats like printf (at most 999 characters), puts the characters (up to the first NUL) on
// the console through MSG_PUTTEXT, and copies them to the log sink when one is set. Returns
// the formatted length.
int16_t Print(HWND window, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The file that receives a copy of everything printed (the server log while the server keeps
// one), or null for none. Its owner opens and closes it.
void SetPrintLog(FILE* file);

// Replaces the whole text of dialog item base + offset with the formatted text.
int16_t DlgPrintf(HWND dialog, int base, int offset, const char* format, ...) __attribute__((format(printf, 4, 5)));

// Scans the text of dialog item base + offset (at most 999 characters) with format into out.
// Returns the scan result: -1 for an empty item, the number of converted fields otherwise.
int DlgScanf(HWND dialog, int base, int offset, const char* format, void* out);
