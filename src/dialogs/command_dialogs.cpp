// The two small dialogs: EDIT A COMMAND ("DIALOG_5"), which sends a typed line to every
// connected channel, and SAVE OPTIONS ("DIALOG_7").

#include <cstring>

#include "base/app.h"
#include "base/dialog_fields.h"
#include "base/print.h"
#include "channel/channel.h"
#include "dialogs/dialogs.h"
#include "platform/messages.h"
#include "server/send.h"
#include "settings/settings.h"

namespace {

using namespace layout;

enum : int { kSendAndQuit = 1, kSend = 142, kCommand = 121 };
constexpr int kCommandLimit = 80;

// The command goes out only with "Echo Keyboard to Clients": it is shown on its own line and
// sent, followed by CR LF, to every channel in use.
void SendCommand(HWND dialog) {
    char command[kCommandLimit + 3];
    GetDlgItemTextA(dialog, kCommand, command, kCommandLimit);
    if (!(Settings.Server.ServerMode & EchoKeyboard)) return;
    Print(MainWindow, "%s\n", command);
    strcat(command, "\r\n");
    // The user's command is no event of a channel, so a send that ends one closes it here.
    for (int ch = 0; ch < ChannelsInUse(); ++ch)
        if (Channels[ch].State != kFree && SendaBuf(MainWindow, ch, command, (int16_t)strlen(command)) == ChannelStatus::Close)
            CloseChannel(ch);
}

}  // namespace

const DialogTemplate kEditCommandTemplate = {
    "DIALOG_5",
    "EDIT A COMMAND",
    60,
    7,
    {
        Edit(kCommand, 2, 1, 56),
        Button(kSendAndQuit, "Send And Quit", 4, 4, 16, true),
        Button(kSend, "Send", 23, 4, 12),
        Button(IDCANCEL, "CANCEL", 38, 4, 12),
    },
};

const DialogTemplate kSaveOptionsTemplate = {
    "DIALOG_7",
    "SAVE OPTIONS",
    40,
    6,
    {
        Label("Save the settings to korvel.ini?", 4, 1),
        Button(IDOK, "YES", 8, 3, 8, true),
        Button(IDCANCEL, "NO", 22, 3, 8),
    },
};

INT_PTR EditCommandDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) {
        SetDlgItemTextA(dialog, kCommand, "");
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    switch (LOWORD(wParam)) {
        case kSendAndQuit:
            SendCommand(dialog);
            EndDialog(dialog, IDOK);
            return TRUE;
        case kSend:
            SendCommand(dialog);
            SetDlgItemTextA(dialog, kCommand, "");
            return TRUE;
        case IDCANCEL:
            EndDialog(dialog, IDCANCEL);
            return TRUE;
    }
    return FALSE;
}

INT_PTR SaveOptionsDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) return TRUE;
    if (message != WM_COMMAND) return FALSE;
    switch (LOWORD(wParam)) {
        case IDOK:
            SaveSettings();
            EndDialog(dialog, IDOK);
            return TRUE;
        case IDCANCEL:
            EndDialog(dialog, IDCANCEL);
            return TRUE;
    }
    return FALSE;
}
