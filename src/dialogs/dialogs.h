// The modal dialogs through which the user edits the settings and drives the tools:
// Configuration, Server, Client, Edit command, Save options, and the URL dialog of a grab.
#pragma once

#include "platform/ui.h"

extern const DialogTemplate kConfigurationTemplate;  // "DIALOG_1"
extern const DialogTemplate kServerTemplate;         // "DIALOG_2"
extern const DialogTemplate kClientTemplate;         // "DIALOG_3"
extern const DialogTemplate kEditCommandTemplate;    // "DIALOG_5"
extern const DialogTemplate kUrlTemplate;            // "DIALOG_6"
extern const DialogTemplate kSaveOptionsTemplate;    // "DIALOG_7"

INT_PTR ConfigurationDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
INT_PTR ServerDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
INT_PTR ClientDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
INT_PTR EditCommandDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
INT_PTR SaveOptionsDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
INT_PTR UrlDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

// The clipboard's text when there is one shorter than 512 characters, else null.
const char* ReadClipboardText(HWND window);
