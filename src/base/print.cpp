#include "base/print.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/format.h"
#include "platform/frontend.h"
#include "platform/messages.h"
#include "platform/ui.h"

namespace {

constexpr int kFormatBuffer = 1000;

// Formats into buffer, cut at 999 characters; returns the formatted length.
int Format(char (&buffer)[kFormatBuffer], const char* format, va_list args) {
    int length = FormatText(buffer, sizeof buffer, format, args);
    if (length < 0) {
        buffer[0] = '\0';
        return 0;
    }
    return length < kFormatBuffer ? length : kFormatBuffer - 1;
}

FILE* logSink = nullptr;

}  // namespace

void SetPrintLog(FILE* file) { logSink = file; }

int16_t Print(HWND window, const char* format, ...) {
    char buffer[kFormatBuffer];
    va_list args;
    va_start(args, format);
    int length = Format(buffer, format, args);
    va_end(args);
    int sent = (int)strnlen(buffer, (size_t)length);
    SendMessageA(window, MSG_PUTTEXT, (WPARAM)sent, (LPARAM)buffer);
    platform::TheFrontEnd().Printed(buffer, (size_t)sent);
    if (logSink) fwrite(buffer, 1, (size_t)sent, logSink);
    return (int16_t)length;
}

int16_t DlgPrintf(HWND dialog, int base, int offset, const char* format, ...) {
    char buffer[kFormatBuffer];
    va_list args;
    va_start(args, format);
    int length = Format(buffer, format, args);
    va_end(args);
    SendDlgItemMessageA(dialog, base + offset, EM_SETSEL, 0, -1);
    SendDlgItemMessageA(dialog, base + offset, EM_REPLACESEL, 0, (LPARAM)buffer);
    return (int16_t)length;
}

int DlgScanf(HWND dialog, int base, int offset, const char* format, void* out) {
    char buffer[kFormatBuffer];
    memset(buffer, 0, sizeof buffer);
    GetDlgItemTextA(dialog, base + offset, buffer, kFormatBuffer);
    return sscanf(buffer, format, out);
}
