// The headless front end, for scripts, servers and tests.
//
// Every byte that the console printer formats goes to standard output unchanged (shown visibly
// when it is a control byte and standard output is a terminal), buffered and flushed whenever
// the message loop is about to wait, and every 50 ms while it is busy. Output is never waited
// for: when standard output takes nothing, at most 1 MiB is kept and the rest dropped, and
// standard error says how many bytes were lost; a message box is one line
// "CAPTION: TEXT" on standard error; SIGINT and SIGTERM destroy the main window, so the
// normal shutdown runs. The main window is 120 x 25 cells. Without a script, a command-line
// action that cannot start (a server that cannot listen, say) ends the run the same way, and
// the program's exit status then says so. The PING window's send, reply and statistics lines
// go to standard error too, one line each time one of them changes, even while the window is
// hidden (as it is for -ping).
#pragma once

#include <cstdint>
#include <string>

#include "platform/event_source.h"
#include "platform/frontend.h"

namespace headless {

class HeadlessFrontEnd : public platform::FrontEnd, public platform::EventSource {
public:
    HeadlessFrontEnd();
    ~HeadlessFrontEnd() override;

    // FrontEnd
    void Printed(const char* text, size_t length) override;
    bool DrawsWindows() const override { return false; }
    int MessageBox(HWND owner, const char* text, const char* caption, UINT type) override;
    void ShowHelp(const char* file) override;
    void CommandLineActionFailed() override;
    void WindowShown(HWND window, bool visible) override;

    // EventSource: the signal pipe.
    void AddDescriptors(std::vector<pollfd>& fds) override;
    void HandleEvents(const pollfd* fds, size_t count) override;
    void BeforeBlock() override;

    void Flush();

    // Whether a failed command-line action ends the run (true unless a script drives it).
    void EndWhenTheActionFails(bool end) { endWhenActionFails_ = end; }
    // True when a failed command-line action ended the run.
    bool EndedByAFailedAction() const { return endedByFailedAction_; }

    // The recent console output, kept only while a script may wait for it.
    void KeepPrintedText() { keepPrinted_ = true; }
    const std::string& PrintedText() const { return printed_; }
    // A line of the PING window changed (field 124, 125 or 126).
    void PingLine(int field, const char* text);
    // The modeless dialog shown last, for scripts.
    HWND LastShownModeless() const { return lastShownModeless_; }

private:
    void WriteOut(int waitMs);
    void ReportDropped();

    std::string pending_;
    int64_t pendingSince_ = 0;
    uint64_t dropped_ = 0;
    bool toTerminal_ = false;
    std::string printed_;
    bool keepPrinted_ = false;
    HWND lastShownModeless_ = nullptr;
    bool endWhenActionFails_ = true;
    std::string pingLines_[3];
    bool endedByFailedAction_ = false;
    int signalPipe_[2] = {-1, -1};
};

}  // namespace headless
