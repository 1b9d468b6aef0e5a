// The Configuration dialog ("DIALOG_1"): the channel limits and the behaviour flags.

#include "base/dialog_fields.h"
#include "base/print.h"
#include "channel/sockets.h"
#include "dialogs/dialogs.h"
#include "platform/messages.h"
#include "settings/settings.h"

namespace {

using namespace layout;

constexpr int kFirstFlag = 141;
constexpr int kFlagCount = 9;
constexpr int kTextMode = 144;
constexpr int kBinaryMode = 145;
constexpr int kMaxClients = 121;
constexpr int16_t kMostClients = 25;

struct TimeoutField {
    int id;
    int16_t ServerSettings::*field;
};

const TimeoutField kTimeouts[] = {
    {122, &ServerSettings::LeavingTimeout},    {123, &ServerSettings::WaitingTimeout},
    {124, &ServerSettings::SendingTimeout},    {125, &ServerSettings::connectionTimeout},
    {127, &ServerSettings::PurgingTimeout},    {128, &ServerSettings::PreWaitingTimeout},
};

void Initialise(HWND dialog) {
    uint32_t mode = Settings.Server.ServerMode;
    for (int bit = 0; bit < kFlagCount; ++bit) CheckDlgButton(dialog, kFirstFlag + bit, (mode >> bit) & 1);
    DlgPrintf(dialog, 0, kMaxClients, "%hd", Settings.Server.HowManyClients);
    for (const TimeoutField& t : kTimeouts) DlgPrintf(dialog, 0, t.id, "%hd", Settings.Server.*t.field);
    // The channel count cannot change under open connections.
    EnableControl(dialog, kMaxClients, ServerSocket == INVALID_SOCKET && ClientOpen == 0);
}

// No lower bound: 0 or a negative number is taken as it is.
void Accept(HWND dialog) {
    int16_t clients;
    if (ScanSigned(dialog, kMaxClients, clients)) Settings.Server.HowManyClients = clients >= kMostClients ? kMostClients : clients;
    for (const TimeoutField& t : kTimeouts) ScanSigned(dialog, t.id, Settings.Server.*t.field);
    uint32_t mode = Settings.Server.ServerMode;
    for (int bit = 0; bit < kFlagCount; ++bit) {
        if (IsDlgButtonChecked(dialog, kFirstFlag + bit))
            mode |= 1u << bit;
        else
            mode &= ~(1u << bit);
    }
    Settings.Server.ServerMode = mode;
}

// Text Mode and Binary Mode are kept opposite while the dialog is open.
void KeepOpposite(HWND dialog, int clicked, int other) {
    CheckDlgButton(dialog, other, IsDlgButtonChecked(dialog, clicked) ? BST_UNCHECKED : BST_CHECKED);
}

}  // namespace

const DialogTemplate kConfigurationTemplate = {
    "DIALOG_1",
    "Configuration",
    64,
    14,
    {
        Check(141, "Send And Close", 2, 1, 28),
        Check(142, "Show Received Data", 2, 2, 28),
        Check(143, "Echo Keyboard to Clients", 2, 3, 28),
        Check(144, "Text Mode", 2, 4, 28),
        Check(145, "Binary Mode", 2, 5, 28),
        Check(146, "Show Received Commands", 2, 6, 28),
        Check(147, "Execute Received Commands", 2, 7, 28),
        Check(148, "Mode Duplex", 2, 8, 28),
        Check(149, "Enable Timeout", 2, 9, 28),
        Label("Max. Clients for server", 32, 1),
        Edit(121, 56, 1, 6),
        Label("1...25", 56, 2),
        Label("Waiting Timeout", 32, 3),
        Edit(123, 56, 3, 6),
        Label("Leaving Timeout", 32, 4),
        Edit(122, 56, 4, 6),
        Label("Sending Timeout", 32, 5),
        Edit(124, 56, 5, 6),
        Label("Connection Timeout", 32, 6),
        Edit(125, 56, 6, 6),
        Label("PurgingTimeout", 32, 7),
        Edit(127, 56, 7, 6),
        Label("PreWaitingTimeout", 32, 8),
        Edit(128, 56, 8, 6),
        Button(IDOK, "OK", 18, 11, 10, true),
        Button(IDCANCEL, "CANCEL", 34, 11, 10),
    },
};

INT_PTR ConfigurationDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) {
        Initialise(dialog);
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    switch (LOWORD(wParam)) {
        case IDOK:
            Accept(dialog);
            EndDialog(dialog, IDOK);
            return TRUE;
        case IDCANCEL:
            EndDialog(dialog, IDCANCEL);
            return TRUE;
        case kTextMode:
            KeepOpposite(dialog, kTextMode, kBinaryMode);
            return TRUE;
        case kBinaryMode:
            KeepOpposite(dialog, kBinaryMode, kTextMode);
            return TRUE;
    }
    return FALSE;
}
