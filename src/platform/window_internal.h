// The record behind a window handle, shared by the message queue and the UI model. Only the
// platform layer includes this header.
#pragma once

#include <string>
#include <vector>

#include "platform/ui.h"
#include "platform/wintypes.h"

struct DeviceContext {
    HWND window = nullptr;
};

struct Window {
    enum class Kind { TopLevel, Dialog, Control };

    Kind kind = Kind::TopLevel;
    WNDPROC proc = nullptr;  // every window has one; dialogs and controls get the UI model's
    std::string title;
    HMENU menu = nullptr;
    HWND parent = nullptr;  // owner of a dialog, dialog of a control
    bool visible = false;
    bool enabled = true;
    DeviceContext dc;
    platform::ScrollState scroll[2];

    // Dialogs.
    DLGPROC dialogProc = nullptr;
    const DialogTemplate* dialogTemplate = nullptr;
    std::vector<HWND> controls;
    bool modal = false;
    bool ended = false;
    INT_PTR result = 0;

    // Controls.
    platform::ControlState control;
};

namespace platform {

// Creates a window record of the given kind and registers it; DestroyWindow releases it.
HWND NewWindow(Window::Kind kind);

// Every live window, in order of creation.
std::vector<HWND> AllWindows();

// The dialog-manager and control procedures of the UI model.
LRESULT DialogManagerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT ControlProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Called by DestroyWindow for the UI model's own clean-up (caret, focus).
void ForgetWindow(HWND window);

}  // namespace platform
