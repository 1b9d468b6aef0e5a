// The Server dialog ("DIALOG_2"): the server's settings, and opening or closing it. The
// configuration model radio buttons store their preset at once and reload every field, so
// text typed before such a click is lost.

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
    kProxyFlag = 142,
    kLogFlag = 143,
    kHttp = 144,
    kProxy = 145,
    kStd = 146,
    kPanel = 147,
    kVersion = 148,
    kPort = 121,
    kHomeDir = 122,
    kProxyPort = 123,
    kProxyHost = 124,
    kLogFile = 125,
    kMailbox = 126,
};
constexpr int kTextLimit = 80;

// The HTTP version chosen in the list, stored only when Open is pressed.
int16_t pendingVersion = 0;

void Initialise(HWND dialog) {
    ServerSettings& s = Settings.Server;
    pendingVersion = Settings.Standard.Server == 1 ? 1 : 0;
    FillHttpVersions(dialog, kVersion, pendingVersion);
    ApplyServerModel(s.ServerDef);
    DlgPrintf(dialog, 0, kPort, "%hu", s.ServerPort);
    DlgPrintf(dialog, 0, kHomeDir, "%s", s.HomeDir);
    DlgPrintf(dialog, 0, kProxyPort, "%hu", (unsigned short)s.ProxyPort);
    DlgPrintf(dialog, 0, kProxyHost, "%s", s.ProxyHost);
    DlgPrintf(dialog, 0, kLogFile, "%s", s.ServerLogFilename);
    DlgPrintf(dialog, 0, kMailbox, "%s", s.Mailbox);
    bool open = ServerSocket != INVALID_SOCKET;
    EnableControl(dialog, kClose, open);
    EnableControl(dialog, kOpen, !open);
    CheckDlgButton(dialog, kProxyFlag, s.ServerProxy != 0);
    CheckDlgButton(dialog, kLogFlag, s.ServerLog != 0);
    CheckRadioButton(dialog, kHttp, kPanel, kHttp + s.ServerDef);
}

void RefuseValue(HWND dialog, const char* text) {
    MessageBoxA(nullptr, text, "korvel", MB_OK);
    EndDialog(dialog, IDCANCEL);
}

// Everything read before a port that does not scan is kept; the server stays closed.
void Open(HWND dialog) {
    ServerSettings& s = Settings.Server;
    Settings.Standard.Server = pendingVersion;
    s.ServerProxy = IsDlgButtonChecked(dialog, kProxyFlag) ? 1 : 0;
    s.ServerLog = IsDlgButtonChecked(dialog, kLogFlag) ? 1 : 0;
    ReadField(dialog, kHomeDir, s.HomeDir, kTextLimit);
    ReadField(dialog, kProxyHost, s.ProxyHost, kTextLimit);
    ReadField(dialog, kLogFile, s.ServerLogFilename, kTextLimit);
    ReadField(dialog, kMailbox, s.Mailbox, kTextLimit);
    if (!ScanUnsigned(dialog, kPort, s.ServerPort)) return RefuseValue(dialog, "ServerPort: not an allowed value");
    uint16_t proxyPort;
    if (!ScanUnsigned(dialog, kProxyPort, proxyPort)) return RefuseValue(dialog, "ProxyPort: not an allowed value");
    s.ProxyPort = (int16_t)proxyPort;
    OpenServer();
    EndDialog(dialog, IDOK);
}

void ChooseModel(HWND dialog, int id) {
    ServerSettings& s = Settings.Server;
    switch (id) {
        case kHttp:
            s.ServerPort = 80;
            s.ServerProxy = 0;
            s.ServerDef = 0;
            break;
        case kProxy:
            s.ProxyPort = (int16_t)s.ServerPort;
            s.ServerProxy = 1;
            s.ServerDef = 1;
            break;
        case kStd:
            s.ServerProxy = 0;
            s.ServerDef = 2;
            break;
        case kPanel:
            s.ServerProxy = 0;
            s.ServerDef = 3;
            break;
    }
    Initialise(dialog);
}

void VersionChanged(HWND dialog, WPARAM wParam) {
    if (HIWORD(wParam) != CBN_SELCHANGE) return;
    LRESULT selected = SendDlgItemMessageA(dialog, kVersion, CB_GETCURSEL, 0, 0);
    if (selected >= 0) pendingVersion = (int16_t)selected;
}

}  // namespace

const DialogTemplate kServerTemplate = {
    "DIALOG_2",
    "Server",
    62,
    15,
    {
        Group("Configuration Model", 2, 1, 24, 7),
        Radio(kHttp, "&Http", 4, 2, 10, true),
        Radio(kProxy, "&Proxy", 4, 3, 10),
        Radio(kStd, "&Std", 4, 4, 10),
        Radio(kPanel, "&Panel", 4, 5, 10),
        DropDown(kVersion, 15, 2, 10),
        Label("ServerDir", 28, 1),
        Edit(kHomeDir, 28, 2, 32),
        Label("Server Port", 28, 3),
        Edit(kPort, 28, 4, 8),
        Label("Mailbox name", 40, 3),
        Edit(kMailbox, 40, 4, 20),
        Check(kLogFlag, "LogFile", 2, 9, 12),
        Edit(kLogFile, 15, 9, 45),
        Check(kProxyFlag, "ServerProxy", 2, 10, 14),
        Label("ProxyPort", 17, 10),
        Edit(kProxyPort, 27, 10, 7),
        Label("ProxyHost", 35, 10),
        Edit(kProxyHost, 45, 10, 15),
        Button(kOpen, "Open", 10, 12, 10, true),
        Button(kClose, "Close", 26, 12, 10),
        Button(kCancel, "Cancel", 42, 12, 10),
    },
};

INT_PTR ServerDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) {
        Initialise(dialog);
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    int id = LOWORD(wParam);
    switch (id) {
        case kOpen: Open(dialog); return TRUE;
        case kClose:
            CloseServer();
            EndDialog(dialog, IDOK);
            return TRUE;
        case kCancel: EndDialog(dialog, IDCANCEL); return TRUE;
        case kHttp:
        case kProxy:
        case kStd:
        case kPanel: ChooseModel(dialog, id); return TRUE;
        case kVersion: VersionChanged(dialog, wParam); return TRUE;
    }
    return FALSE;
}
