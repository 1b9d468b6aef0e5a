// The application shell: the entry WinMain, the main window's procedure MainWin through which
// every event of the program passes, and the process-wide shell state.
#pragma once

#include <cstdint>

#include "base/app.h"
#include "platform/wintypes.h"

extern int16_t ShowCommand;  // how the window is first shown when the command line acts
extern uint32_t LastSize;    // lParam of the last size message, replayed by Find

// The six modal dialogs' procedures, installed at window creation: Configuration, Server,
// Client, Edit command, Save options, URL.
enum DialogSlot { kConfigurationDialog, kServerDialog, kClientDialog, kEditDialog, kSaveDialog, kUrlDialog };
extern DLGPROC DialogProcedures[6];

int WinMain(HINSTANCE instance, HINSTANCE previous, char* commandLine, int show);
LRESULT MainWin(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Registers the menu and dialog templates of the program (its resources) with the platform.
void RegisterResources();
