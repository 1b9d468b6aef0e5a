// POSIX entry: reads the program's own "--" options, picks the front end (the terminal when
// standard input and output are one, else headless), registers the resources and hands the
// remaining words, joined by single blanks, to WinMain as the command line.

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "frontend/headless/headless.h"
#include "frontend/headless/script.h"
#ifdef KORVEL_HAVE_TUI
#include "frontend/tui/tui.h"
#endif
#include "platform/event_source.h"
#include "platform/frontend.h"
#include "shell/shell.h"

struct Instance {};

namespace {

const char kUsage[] =
    "usage: korvel [--headless] [--script FILE] [WORD...]\n"
    "       korvel --help | --version\n"
    "\n"
    "korvel is a network toolkit: an HTTP/1.0 file server (with proxy relay, form Mailbox\n"
    "and a CGI gateway), a web grabber that mirrors a site for offline reading, a raw TCP\n"
    "client and an ICMP ping. Its settings are in korvel.ini in the working directory.\n"
    "\n"
    "In a terminal korvel shows its menus, console and dialogs full screen (F10 opens the\n"
    "menu bar, Help > Show Help explains the keys; see also man korvel).\n"
    "\n"
    "Options of the program itself:\n"
    "  --headless      no terminal interface: console output on standard output, message\n"
    "                  boxes on standard error; SIGINT/SIGTERM shut down cleanly\n"
    "                  (also chosen when standard input or output is not a terminal)\n"
    "  --script FILE   run the user actions of FILE (implies --headless)\n"
    "  --help          this text\n"
    "  --version       the version\n"
    "\n"
    "Command-line words (at most 126 characters in all):\n"
    "  -server              open the HTTP server\n"
    "  -sdir DIR            server home directory      -sport N   server port\n"
    "  -http 0|1            HTTP version of the server and the grabber (0.9 or 1.0)\n"
    "  -u URL               grab URL (page and N levels, see -o), then quit\n"
    "  -ud URL              grab URL and keep running\n"
    "  -o N                 levels to follow (0: the page and its images)\n"
    "  -n NAME              save the single document under NAME\n"
    "  -udir DIR            grab directory             -ubook NAME  report page name\n"
    "  -all | -local | -samepath | -downpath    which links a grab follows\n"
    "  -t SECONDS           connection time limit of a grab\n"
    "  -retry N             retries of a grab          -p PREFIX / -a   file naming\n"
    "  -ping HOST           ping HOST repeatedly\n"
    "  -s                   show the window normally when an action is given\n";

// Exit statuses beyond 0 (a normal end): 1 the network could not start, or the command line's
// action could not (headless, without a script); 2 a usage error; 3 and 4 a script's waitfor
// or expect failed.
constexpr int kActionFailedStatus = 1;
constexpr int kUsageStatus = 2;

struct Options {
    bool headless = false;
    const char* script = nullptr;
    std::string commandLine;
};

// Returns -1 to go on, or an exit code.
int ParseOptions(int argc, char** argv, Options& options) {
    int i = 1;
    for (; i < argc && strncmp(argv[i], "--", 2) == 0; ++i) {
        if (strcmp(argv[i], "--") == 0) {
            ++i;
            break;
        } else if (strcmp(argv[i], "--headless") == 0) {
            options.headless = true;
        } else if (strcmp(argv[i], "--script") == 0 && i + 1 < argc) {
            options.script = argv[++i];
            options.headless = true;
        } else if (strcmp(argv[i], "--help") == 0) {
            fputs(kUsage, stdout);
            return 0;
        } else if (strcmp(argv[i], "--version") == 0) {
            printf("korvel %s\n", KORVEL_VERSION);
            return 0;
        } else {
            fprintf(stderr, "korvel: unknown option %s (try --help)\n", argv[i]);
            return kUsageStatus;
        }
    }
    for (; i < argc; ++i) {
        if (!options.commandLine.empty()) options.commandLine += ' ';
        options.commandLine += argv[i];
    }
    return -1;
}

Instance instance;

#ifdef KORVEL_HAVE_TUI
// Returns false, having run nothing, when the terminal cannot be taken.
bool RunTerminal(Options& options, int& code) {
    tui::TerminalFrontEnd frontEnd;
    if (!frontEnd.Start()) return false;
    platform::SetFrontEnd(&frontEnd);
    platform::AddEventSource(&frontEnd);
    code = WinMain(&instance, nullptr, options.commandLine.data(), SW_SHOWNORMAL);
    platform::RemoveEventSource(&frontEnd);
    platform::SetFrontEnd(nullptr);
    frontEnd.Stop();
    return true;
}
#endif

int RunHeadless(Options& options) {
    headless::HeadlessFrontEnd frontEnd;
    platform::SetFrontEnd(&frontEnd);
    platform::AddEventSource(&frontEnd);
    std::vector<std::string> lines;
    if (options.script && !headless::ScriptRunner::Load(options.script, lines)) {
        fprintf(stderr, "korvel: cannot read script %s\n", options.script);
        return kUsageStatus;
    }
    std::unique_ptr<headless::ScriptRunner> script;
    frontEnd.EndWhenTheActionFails(options.script == nullptr);
    if (options.script) {
        script = std::make_unique<headless::ScriptRunner>(frontEnd, lines);
        platform::AddEventSource(script.get());
    }

    int code = WinMain(&instance, nullptr, options.commandLine.data(), SW_SHOWNORMAL);
    frontEnd.Flush();
    if (script) platform::RemoveEventSource(script.get());
    platform::RemoveEventSource(&frontEnd);
    platform::SetFrontEnd(nullptr);
    if (code == 0 && frontEnd.EndedByAFailedAction()) code = kActionFailedStatus;
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    Options options;
    int early = ParseOptions(argc, argv, options);
    if (early >= 0) return early;
    RegisterResources();
#ifdef KORVEL_HAVE_TUI
    int code = 0;
    if (!options.headless && isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && RunTerminal(options, code)) return code;
#endif
    return RunHeadless(options);
}
