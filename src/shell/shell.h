// The application shell: the entry WinMain, the main window's procedure MainWin through which
// every event of the program passes, and the process-wide shell state.
#pragma once

#include <cstdint>

#include "base/app.h"
#include "platform/wintypes.h"

// The six modal dialogs: Configuration, Server, Client, Edit command, Save options, URL.
enum DialogSlot { kConfigurationDialog, kServerDialog, kClientDialog, kEditDialog, kSaveDialog, kUrlDialog };

// What the shell keeps of the window between messages.
struct ShellState {
    int16_t ShowCommand = SW_SHOWMINNOACTIVE;  // how the window is first shown when the command line acts
    uint32_t LastSize = 0;                     // lParam of the last size message, replayed by Find
    DLGPROC DialogProcedures[6] = {};          // the modal dialogs' procedures, installed at window creation
};

extern ShellState Shell;

int WinMain(HINSTANCE instance, HINSTANCE previous, char* commandLine, int show);
LRESULT MainWin(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Registers the menu and dialog templates of the program (its resources) with the platform.
void RegisterResources();
