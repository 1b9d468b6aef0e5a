#include "frontend/headless/headless.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "ping/icmp.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace headless {

namespace {

constexpr size_t kFlushAbove = 64 * 1024;
// Console output that standard output has not taken yet is kept up to this size; past it,
// output is dropped (and counted) rather than the program stopping to wait for a reader.
constexpr size_t kOutputLimit = 1024 * 1024;
// While the program is busy, output older than this is written out at the next poll.
constexpr int64_t kFlushAfterMs = 50;
// How long the end of the program waits for standard output to take what is left.
constexpr int kLastFlushMs = 2000;
// The text a waitfor can see: the most recent output, enough for any console line.
constexpr size_t kKeepPrinted = 4 * 1024 * 1024;

int signalWriteEnd = -1;
HeadlessFrontEnd* pingLinesTo = nullptr;

void OnSignal(int) {
    if (signalWriteEnd >= 0) {
        char byte = 1;
        ssize_t ignored = write(signalWriteEnd, &byte, 1);
        (void)ignored;
    }
}

// A regular file or /dev/null takes every write at once; a pipe, socket or terminal may not.
bool NeverBlocks(int fd) {
    static int known[3] = {-1, -1, -1};  // per standard descriptor: -1 not looked at yet, 0 or 1
    if (fd < 0 || fd > 2) return false;
    if (known[fd] < 0) {
        struct stat info, null;
        bool found = fstat(fd, &info) == 0;
        bool devNull = found && S_ISCHR(info.st_mode) && stat("/dev/null", &null) == 0 && info.st_rdev == null.st_rdev;
        known[fd] = found && (S_ISREG(info.st_mode) || devNull) ? 1 : 0;
    }
    return known[fd] == 1;
}

// Writes what fd takes without waiting longer than waitMs in all; returns the bytes written.
size_t WriteReady(int fd, const char* data, size_t length, int waitMs) {
    size_t written = 0;
    if (NeverBlocks(fd)) {
        while (written < length) {
            ssize_t n = write(fd, data + written, length - written);
            if (n <= 0) break;
            written += (size_t)n;
        }
        return written;
    }
    int64_t deadline = platform::MonotonicMs() + waitMs;
    while (written < length) {
        pollfd out{fd, POLLOUT, 0};
        int left = (int)std::max<int64_t>(0, deadline - platform::MonotonicMs());
        if (poll(&out, 1, left) <= 0 || (out.revents & (POLLERR | POLLHUP | POLLNVAL))) break;
        // A pipe that polls writable takes PIPE_BUF bytes without blocking.
        ssize_t n = write(fd, data + written, std::min<size_t>(length - written, PIPE_BUF));
        if (n <= 0) break;
        written += (size_t)n;
    }
    return written;
}

// A control byte written to a terminal would drive it (clear it, retitle it, make it answer);
// there it is shown as ^X, and DEL and the C1 bytes likewise.
void AppendVisible(std::string& out, const char* text, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        unsigned char c = (unsigned char)text[i];
        if (c == '\n' || c == '\t' || (c >= 32 && c < 127) || c > 159) {
            out += (char)c;
        } else if (c == 127) {
            out += "^?";
        } else if (c < 32) {
            out += '^';
            out += (char)(c + 64);
        } else {
            out += "M-^";
            out += (char)(c - 128 + 64);
        }
    }
}

void WriteAll(int fd, const char* data, size_t length) {
    while (length > 0) {
        ssize_t n = write(fd, data, length);
        if (n <= 0) return;
        data += n;
        length -= (size_t)n;
    }
}

void PingLineShown(int field, const char* text) {
    if (pingLinesTo) pingLinesTo->PingLine(field, text);
}

}  // namespace

HeadlessFrontEnd::HeadlessFrontEnd() {
    toTerminal_ = isatty(STDOUT_FILENO) != 0;
    pingLinesTo = this;
    ping::WatchPingLines(PingLineShown);
    if (pipe(signalPipe_) == 0) {
        fcntl(signalPipe_[0], F_SETFL, O_NONBLOCK);
        fcntl(signalPipe_[1], F_SETFL, O_NONBLOCK);
        fcntl(signalPipe_[0], F_SETFD, FD_CLOEXEC);
        fcntl(signalPipe_[1], F_SETFD, FD_CLOEXEC);
        signalWriteEnd = signalPipe_[1];
        struct sigaction action {};
        action.sa_handler = OnSignal;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);
    }
}

HeadlessFrontEnd::~HeadlessFrontEnd() {
    ping::WatchPingLines(nullptr);
    pingLinesTo = nullptr;
    WriteOut(kLastFlushMs);
    ReportDropped();
    signalWriteEnd = -1;
    for (int fd : signalPipe_)
        if (fd >= 0) close(fd);
}

void HeadlessFrontEnd::Printed(const char* text, size_t length) {
    if (pending_.empty()) pendingSince_ = platform::MonotonicMs();
    size_t before = pending_.size();
    if (toTerminal_)
        AppendVisible(pending_, text, length);
    else
        pending_.append(text, length);
    if (pending_.size() > kOutputLimit) {
        dropped_ += pending_.size() - std::max(before, kOutputLimit);
        pending_.resize(std::max(before, kOutputLimit));
    }
    if (keepPrinted_) {
        printed_.append(text, length);
        if (printed_.size() > 2 * kKeepPrinted) printed_.erase(0, printed_.size() - kKeepPrinted);
    }
    if (pending_.size() > kFlushAbove) Flush();
}

void HeadlessFrontEnd::Flush() {
    WriteOut(0);
    if (pending_.empty()) ReportDropped();
}

void HeadlessFrontEnd::WriteOut(int waitMs) {
    if (pending_.empty()) return;
    size_t written = WriteReady(STDOUT_FILENO, pending_.data(), pending_.size(), waitMs);
    pending_.erase(0, written);
    pendingSince_ = platform::MonotonicMs();
}

void HeadlessFrontEnd::ReportDropped() {
    if (dropped_ == 0) return;
    char line[160];
    int n = snprintf(line, sizeof line,
                     "korvel: %llu bytes of console output were dropped: standard output was not being read\n",
                     (unsigned long long)dropped_);
    WriteReady(STDERR_FILENO, line, (size_t)n, 0);
    dropped_ = 0;
}

// One line on standard error: the line ends of the text become blanks.
int HeadlessFrontEnd::MessageBox(HWND, const char* text, const char* caption, UINT) {
    Flush();
    std::string line = std::string(caption) + ": " + text;
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    for (char& c : line)
        if (c == '\n' || c == '\r') c = ' ';
    line += '\n';
    WriteAll(STDERR_FILENO, line.data(), line.size());
    return IDOK;
}

// A line that did not change, or became empty (the reply line after a timeout), prints
// nothing. A page-mode message comes from the network: its control characters become blanks,
// so that it stays one line and cannot drive the terminal.
void HeadlessFrontEnd::PingLine(int field, const char* text) {
    size_t index = (size_t)(field - ping::kSendField);
    if (index >= sizeof pingLines_ / sizeof pingLines_[0] || pingLines_[index] == text) return;
    pingLines_[index] = text;
    if (*text == '\0') return;
    Flush();
    std::string line = text;
    for (char& c : line)
        if ((unsigned char)c < 32 || c == 127) c = ' ';
    line += '\n';
    WriteAll(STDERR_FILENO, line.data(), line.size());
}

void HeadlessFrontEnd::ShowHelp(const char*) {
    static const char kHelp[] = "korvel: help: run `korvel --help` or read `man korvel`\n";
    WriteAll(STDERR_FILENO, kHelp, sizeof kHelp - 1);
}

// The main window is closed from the message loop, once the command line is done, so the
// shutdown is the one that SIGTERM gives.
void HeadlessFrontEnd::CommandLineActionFailed() {
    if (!endWhenActionFails_) return;
    endedByFailedAction_ = true;
    if (IsWindow(MainWindow)) PostMessageA(MainWindow, WM_CLOSE, 0, 0);
}

void HeadlessFrontEnd::WindowShown(HWND window, bool visible) {
    if (visible && !platform::IsModalDialog(window) && platform::DialogTemplateOf(window)) lastShownModeless_ = window;
}

// While the loop is busy it never blocks, so output that has waited long enough goes out here.
void HeadlessFrontEnd::AddDescriptors(std::vector<pollfd>& fds) {
    if (!pending_.empty() && platform::MonotonicMs() - pendingSince_ >= kFlushAfterMs) Flush();
    if (signalPipe_[0] >= 0) fds.push_back(pollfd{signalPipe_[0], POLLIN, 0});
}

void HeadlessFrontEnd::HandleEvents(const pollfd* fds, size_t count) {
    if (count == 0 || !(fds[0].revents & POLLIN)) return;
    char drain[16];
    while (read(signalPipe_[0], drain, sizeof drain) > 0) {
    }
    if (IsWindow(MainWindow)) DestroyWindow(MainWindow);
}

void HeadlessFrontEnd::BeforeBlock() { Flush(); }

}  // namespace headless
