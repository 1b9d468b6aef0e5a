#include "frontend/headless/headless.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "ping/icmp.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace headless {

namespace {

constexpr size_t kFlushAbove = 64 * 1024;
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
    Flush();
    signalWriteEnd = -1;
    for (int fd : signalPipe_)
        if (fd >= 0) close(fd);
}

void HeadlessFrontEnd::Printed(const char* text, size_t length) {
    pending_.append(text, length);
    if (keepPrinted_) {
        printed_.append(text, length);
        if (printed_.size() > 2 * kKeepPrinted) printed_.erase(0, printed_.size() - kKeepPrinted);
    }
    if (pending_.size() > kFlushAbove) Flush();
}

void HeadlessFrontEnd::Flush() {
    if (pending_.empty()) return;
    WriteAll(STDOUT_FILENO, pending_.data(), pending_.size());
    pending_.clear();
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

void HeadlessFrontEnd::AddDescriptors(std::vector<pollfd>& fds) {
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
