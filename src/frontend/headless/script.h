// Scripts of user actions for the headless front end (korvel --headless --script FILE).
//
// One action a line, run through the program's own message loop: a line is taken only when
// the loop is idle, so the effects of the previous one (a dialog opening, a connection being
// made) have happened. Verbs:
//   menu ID            a menu command (ignored, with a note, when the item is greyed)
//   dialog [NAME]      later verbs act on the open dialog with that template name; without a
//                      name, on the innermost modal dialog, else the last shown modeless one
//   set ID TEXT        a control's text          check ID 0|1   a check box or radio button
//   select ID INDEX    a list or drop-down item  click ID       a button
//   clipboard TEXT     what the user copied      type TEXT      typed characters (WM_CHAR)
//   key VK             a key (WM_KEYDOWN)        wait SECONDS   let the program run
//   waitfor TEXT       until the console has printed TEXT since the last waitfor matched
//                      (at most 10 s, else exit 3)
//   expect ID TEXT     the control's text must be TEXT, else exit 4
//   dump               every control of the open dialogs, and the menu, to standard error
//   quit               close the main window (the normal shutdown runs)
// TEXT may hold \r, \n, \t, \\ and \xHH. Blank lines are skipped, and so are comments: a line
// whose first word starts with #, or the rest of a line from a # that starts a word.
// A line that cannot be carried out (unknown verb, missing or greyed control) ends the
// program with exit code 2.
#pragma once

#include <string>
#include <vector>

#include "frontend/headless/headless.h"
#include "platform/event_source.h"

namespace headless {

class ScriptRunner : public platform::EventSource {
public:
    ScriptRunner(HeadlessFrontEnd& frontEnd, std::vector<std::string> lines);

    // Reads a script file; false when it cannot be read.
    static bool Load(const char* path, std::vector<std::string>& lines);

    void AddDescriptors(std::vector<pollfd>&) override {}
    void HandleEvents(const pollfd*, size_t) override {}
    int WakeAfterMs() override;
    bool Idle() override;

private:
    bool Ready();
    void Run(const std::string& line);
    [[noreturn]] void Fail(int exitCode, const std::string& message);
    HWND TargetDialog();
    int Number(const std::string& word);
    int64_t Milliseconds(const std::string& seconds);
    void Dump();

    HeadlessFrontEnd& frontEnd_;
    std::vector<std::string> lines_;
    size_t next_ = 0;
    int64_t waitUntil_ = 0;
    std::string waitText_;
    int64_t waitDeadline_ = 0;
    size_t searchFrom_ = 0;
    std::string targetName_;
};

// Decodes the escapes of a script TEXT.
std::string Unescape(const std::string& text);

}  // namespace headless
