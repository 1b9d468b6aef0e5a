// The headless front end's standard output when it is a terminal: control bytes that would
// drive the terminal are shown as text.

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <string>

#include "frontend/headless/headless.h"

namespace {

// Runs `print` with standard output on a new pseudo-terminal; returns what the terminal got.
template <typename Body>
std::string OnTerminal(Body print) {
    int master = -1, slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return "no terminal";
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    dup2(slave, STDOUT_FILENO);
    print();
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(slave);
    std::string shown;
    char buffer[4096];
    pollfd in{master, POLLIN, 0};
    for (int i = 0; i < 100 && poll(&in, 1, 100) > 0; ++i) {
        ssize_t n = read(master, buffer, sizeof buffer);
        if (n <= 0) break;
        shown.append(buffer, (size_t)n);
    }
    close(master);
    return shown;
}

TEST(HeadlessOutput, ControlBytesReachATerminalOnlyAsVisibleText) {
    std::string shown = OnTerminal([] {
        headless::HeadlessFrontEnd frontEnd;
        const char text[] = "msg \x1b]0;owned\x07\x1b[2J\x9b\x7f tab\tend\n";
        frontEnd.Printed(text, sizeof text - 1);
        frontEnd.Flush();
    });
    // The terminal turns the line feed into CR LF.
    EXPECT_EQ(shown, "msg ^[]0;owned^G^[[2JM-^[^? tab\tend\r\n");
}

}  // namespace
