// The output lines of a run, for the PING dialog and for whoever else watches them.
#include <cstdarg>
#include <cstdio>

#include "base/print.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"

namespace ping {

namespace {

constexpr int kLineSize = 1000;  // as much as the dialog fields take

PingLineWatcher lineWatcher = nullptr;

}  // namespace

void WatchPingLines(PingLineWatcher watcher) { lineWatcher = watcher; }

bool PingLinesRead() { return Run.PingVisible || lineWatcher; }

void ShowPingLine(int field, const char* format, ...) {
    char text[kLineSize];
    va_list args;
    va_start(args, format);
    if (vsnprintf(text, sizeof text, format, args) < 0) text[0] = '\0';
    va_end(args);
    if (Run.PingVisible) DlgPrintf(PingDialog, field, 0, "%s", text);
    if (lineWatcher) lineWatcher(field, text);
}

}  // namespace ping
