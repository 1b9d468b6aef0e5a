#include "support/shell_fixture.h"

#include "platform/clock.h"
#include "platform/messages.h"
#include "shell/console.h"
#include "shell/shell.h"

namespace testing_support {

void ShellTest::SetUp() {
    ResetProgramState();
    platform::SetFrontEnd(&frontEnd);
    RegisterResources();
}

void ShellTest::TearDown() {
    ResetProgramState();
    platform::UseRealClock();
    platform::SetFrontEnd(nullptr);
}

void ShellTest::CreateMainWindow(int cellsWide, int cellsHigh) {
    frontEnd.width = cellsWide;
    frontEnd.height = cellsHigh;
    CreateProgramWindow();
}

std::string ShellTest::Row(int r) const {
    const char* row = ConsoleRow(r);
    if (!row) return "";
    std::string text(row, kConsoleColumns);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

}  // namespace testing_support
