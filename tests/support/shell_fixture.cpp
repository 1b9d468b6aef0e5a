#include "support/shell_fixture.h"

#include <cstring>

#include "channel/channel.h"
#include "channel/sockets.h"
#include "channel/statistics.h"
#include "grabber/grab_client.h"
#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "server/roles.h"
#include "settings/settings.h"
#include "shell/console.h"
#include "shell/shell.h"
#include "shell/view.h"

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
    WNDCLASSEXA cls{};
    cls.cbSize = sizeof cls;
    cls.lpfnWndProc = MainWin;
    cls.lpszMenuName = "wins";
    cls.lpszClassName = "wins2";
    RegisterClassExA(&cls);
    MainWindow = CreateWindowExA(0, "wins2", "Korvel", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
}

void ShellTest::Pump(int limit) {
    while (platform::QueuedMessageCount() > 0 && limit-- > 0) {
        MSG msg;
        if (!GetMessageA(&msg, nullptr, 0, 0)) break;
        DispatchMessageA(&msg);
    }
}

std::string ShellTest::Row(int r) const {
    const char* row = ConsoleRow(r);
    if (!row) return "";
    std::string text(row, kConsoleColumns);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

}  // namespace testing_support
