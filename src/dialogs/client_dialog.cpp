// The Client dialog ("DIALOG_3"): the interactive Local Client, a raw TCP connection whose
// received data shows on the console and goes to its log file, and to which typed keys and
// edited commands are sent.

#include "base/app.h"
#include "base/dialog_fields.h"
#include "base/print.h"
#include "channel/sockets.h"
#include "dialogs/dialogs.h"
#include "platform/messages.h"
#include "settings/settings.h"

namespace {

using namespace layout;

enum : int {
    kOpen = 1,
    kClose = 2,
    kCancel = 141,
    kLogFlag = 142,
    kStd = 144,
    kHttpText = 145,
    kHttpBinary = 146,
    kPanel = 147,
    kPort = 121,
    kLogFile = 122,
    kHost = 123,
};
constexpr int kTextLimit = 80;

void Initialise(HWND dialog) {
    ClientSettings& c = Settings.Client;
    DlgPrintf(dialog, 0, kPort, "%hu", (unsigned short)c.ClientPort);
    DlgPrintf(dialog, 0, kLogFile, "%s", c.ClientFile);
    DlgPrintf(dialog, 0, kHost, "%s", c.ClientHost);
    CheckDlgButton(dialog, kLogFlag, c.ClientLogFile != 0);
    EnableControl(dialog, kClose, ClientOpen != 0);
    EnableControl(dialog, kOpen, ClientOpen == 0);
    ApplyClientModel(c.ClientDef);
    CheckRadioButton(dialog, kStd, kPanel, kStd + c.ClientDef);
}

void Open(HWND dialog) {
    ClientSettings& c = Settings.Client;
    c.ClientLogFile = IsDlgButtonChecked(dialog, kLogFlag) ? 1 : 0;
    uint16_t port;
    if (!ScanUnsigned(dialog, kPort, port, kTextLimit)) {
        MessageBoxA(nullptr, "Port: not an allowed value", "korvel", MB_OK);
        EndDialog(dialog, IDCANCEL);
        return;
    }
    c.ClientPort = (int16_t)port;
    ReadField(dialog, kLogFile, c.ClientFile, kTextLimit);
    ReadField(dialog, kHost, c.ClientHost, kTextLimit);
    ClientOpen = 1;
    ClientConnected = 0;
    EnableControl(dialog, kOpen, false);
    CopyText(ClientOutputFile, c.ClientFile);
    OpenClient(MainWindow, c.ClientHost, 0, (uint16_t)c.ClientPort);
    EndDialog(dialog, IDOK);
}

// "&Panel" stores the HttpBinary model, so after the reload it is "&HttpBinary" that shows
// checked; only the default model ever shows "&Panel". Kept as the program has always done.
void ChooseModel(HWND dialog, int id) {
    ClientSettings& c = Settings.Client;
    switch (id) {
        case kStd:
            c.ClientDef = 0;
            c.ClientLogFile = 0;
            break;
        case kHttpText:
            c.ClientDef = 1;
            c.ClientLogFile = 0;
            break;
        case kHttpBinary:
            c.ClientDef = 2;
            c.ClientLogFile = 1;
            break;
        case kPanel:
            c.ClientDef = 2;
            break;
    }
    Initialise(dialog);
}

}  // namespace

const DialogTemplate kClientTemplate = {
    "DIALOG_3",
    "Client",
    60,
    13,
    {
        Group("Configuration Model", 2, 1, 22, 6),
        Radio(kStd, "&Std", 4, 2, 16, true),
        Radio(kHttpText, "&HttpText", 4, 3, 16),
        Radio(kHttpBinary, "&HttpBinary", 4, 4, 16),
        Radio(kPanel, "&Panel", 4, 5, 16),
        Label("Connect to host", 26, 1),
        Edit(kHost, 26, 2, 32),
        Label("Port", 26, 3),
        Edit(kPort, 26, 4, 8),
        Check(kLogFlag, "Enable Log File", 2, 8, 20),
        Label("Log File", 24, 8),
        Edit(kLogFile, 33, 8, 25),
        Button(kOpen, "OPEN", 8, 10, 10, true),
        Button(kClose, "CLOSE", 24, 10, 10),
        Button(kCancel, "CANCEL", 40, 10, 10),
    },
};

INT_PTR ClientDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) {
        Initialise(dialog);
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    int id = LOWORD(wParam);
    switch (id) {
        case kOpen: Open(dialog); return TRUE;
        case kClose:
            CloseAllClients();
            EndDialog(dialog, IDOK);
            return TRUE;
        case kCancel: EndDialog(dialog, IDCANCEL); return TRUE;
        case kStd:
        case kHttpText:
        case kHttpBinary:
        case kPanel: ChooseModel(dialog, id); return TRUE;
    }
    return FALSE;
}
