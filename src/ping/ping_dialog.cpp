// The PING dialog: the user's panel for the echo engine. It lives for the whole run, hidden or
// shown; a refresh (WM_INITDIALOG, also sent by the engine when it closes its socket) gives it
// its busy look while a run is on and its idle look otherwise. The ping box starts every run,
// from the dialog's two start buttons and from the command line.

#include "ping/ping_dialog.h"

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "ping/icmp.h"
#include "platform/messages.h"

namespace {

using namespace ping;

enum : int {
    kOnceButton = IDOK,
    kQuitButton = IDCANCEL,
    kHostField = 121,
    kDataField = 122,
    kTimeoutField = kCountdownField,
    kRetryField = kRetriesField,
    kStopButton = 141,
    kShowEchoBox = 142,
    kAutoButton = 143,
};

ControlTemplate Label(const char* text, int16_t x, int16_t y, int16_t width) {
    return ControlTemplate{-1, ControlKind::Static, text, x, y, width, 1};
}

ControlTemplate Field(int id, int16_t x, int16_t y, int16_t width) {
    return ControlTemplate{id, ControlKind::Edit, "", x, y, width, 1};
}

ControlTemplate Button(int id, const char* text, int16_t x, bool isDefault = false) {
    return ControlTemplate{id, ControlKind::Button, text, x, 9, 13, 1, false, isDefault};
}

// The controls that only an idle dialog offers.
constexpr int kIdleControls[] = {kOnceButton, kAutoButton, kShowEchoBox, kHostField, kDataField, kTimeoutField, kRetryField};

void Refresh(HWND dialog) {
    if (!Run.PingVisible) return;
    bool busy = Run.IcmpSocket != INVALID_SOCKET || Run.PingAuto;
    EnableWindow(GetDlgItem(dialog, kStopButton), busy);
    for (int id : kIdleControls) EnableWindow(GetDlgItem(dialog, id), !busy);
    DlgPrintf(dialog, kHostField, 0, "%s", Run.PingHost);
    DlgPrintf(dialog, kDataField, 0, "%s", Run.PingData);
    // Both settings are signed 16-bit and shown unsigned: -25536 reads 4294941760.
    DlgPrintf(dialog, kTimeoutField, 0, "%u", (unsigned)Run.PingTimeout);
    DlgPrintf(dialog, kRetryField, 0, "%u", (unsigned)Run.PingRetryNumber);
    CheckDlgButton(dialog, kShowEchoBox, Run.ShowEcho ? BST_CHECKED : BST_UNCHECKED);
}

// A field that does not read as a number keeps the setting it had. "%hu" wraps: 70000 is 4464,
// and 40000 is kept as -25536.
void ScanSetting(HWND dialog, int id, int16_t* setting) {
    unsigned short value = 0;
    if (DlgScanf(dialog, id, 0, "%hu", &value) == 1) *setting = (int16_t)value;
}

void Start(HWND dialog) {
    for (int id : {kSendField, kReplyField, kMessageField}) SetDlgItemTextA(dialog, id, "");
    Run.ShowEcho = IsDlgButtonChecked(dialog, kShowEchoBox) ? 1 : 0;
    GetDlgItemTextA(dialog, kHostField, Run.PingHost, kPingTextSize);
    GetDlgItemTextA(dialog, kDataField, Run.PingData, kPingTextSize);
    ScanSetting(dialog, kTimeoutField, &Run.PingTimeout);
    ScanSetting(dialog, kRetryField, &Run.PingRetryNumber);
    Run.RetriesLeft = Run.PingRetryNumber;
    IcmpBox();
    Refresh(dialog);
}

BOOL Command(HWND dialog, int id) {
    switch (id) {
        case kOnceButton:
            Run.PingAuto = 0;
            Start(dialog);
            return TRUE;
        case kAutoButton:
            Run.PingAuto = 1;
            Start(dialog);
            return TRUE;
        case kStopButton:
            Run.PingAuto = 0;
            CloseICMP();
            Refresh(dialog);
            return TRUE;
        case kQuitButton:
            SendMessageA(MainWindow, WM_COMMAND, IDM_PING_CLOSED, 0);
            EndDialog(dialog, 0);
            return TRUE;
        case kHostField:
        case kDataField:
        case kTimeoutField:
        case kShowEchoBox:
            return TRUE;
        default:
            return FALSE;
    }
}

}  // namespace

HWND PingDialog = nullptr;

const DialogTemplate kPingDialogTemplate = {
    "DIALOG_8",
    "PING",
    78,
    11,
    {
        Label("Host", 1, 0, 11),
        Field(kHostField, 13, 0, 40),
        Label("Data", 1, 2, 11),
        Field(kDataField, 13, 2, 40),
        Label("Timeout", 1, 4, 11),
        Field(kTimeoutField, 13, 4, 11),
        Label("RetryNumber", 26, 4, 11),
        Field(kRetryField, 38, 4, 11),
        {kShowEchoBox, ControlKind::CheckBox, "Show Echo", 52, 4, 15, 1},
        Field(kSendField, 1, 6, 76),
        Field(kReplyField, 1, 7, 76),
        Field(kMessageField, 1, 8, 76),
        Button(kOnceButton, "PING Once", 1, true),
        Button(kAutoButton, "PING Auto", 16),
        Button(kStopButton, "STOP", 31),
        Button(kQuitButton, "QUIT", 46),
    },
};

INT_PTR PingDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
        case WM_INITDIALOG:
            Refresh(dialog);
            return TRUE;
        case WM_CLOSE:
            SendMessageA(MainWindow, WM_COMMAND, IDM_PING_CLOSED, 0);
            return TRUE;
        case WM_COMMAND: {
            int id = LOWORD(wParam);
            return id >= 1 && id <= kAutoButton ? Command(dialog, id) : FALSE;
        }
    }
    return FALSE;
}

int16_t IcmpBox() {
    if (!OpenICMP(MainWindow, &Run.IcmpSocket)) {
        Print(MainWindow, "ICMP Box, Unable to open an ICMP socket...\n");
        Run.PingAuto = 0;
        return 0;
    }
    Run.WaitedSeconds = 0;
    Run.PingSent = 0;
    Run.PingReceived = 0;
    Run.PingTotalTime = 0;
    // The sequence goes on from run to run.
    auto length = (int16_t)strlen(Run.PingData);
    Run.IcmpLength = length;
    ConnectICMP(MainWindow, Run.PingHost, Run.PingData, length);
    return 1;
}
