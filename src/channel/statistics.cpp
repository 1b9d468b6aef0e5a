// The Statistics window: thirteen text lines refreshed every second while it is shown.

#include "channel/statistics.h"

#include <algorithm>

#include "base/app.h"
#include "base/print.h"
#include "base/timestamp.h"
#include "channel/channel.h"
#include "platform/clock.h"
#include "platform/messages.h"
#include "settings/settings.h"

namespace {

constexpr int kFirstLine = 121;
constexpr int kShownChannels = 9;

ControlTemplate Line(int id, int16_t y) { return ControlTemplate{id, ControlKind::Edit, "", 1, y, 72, 1}; }

// Each state is shown as an 8-byte entry, padded with NUL.
const char kStateText[6][8] = {"   free", "waiting", "sending", "leaving", "purging", "PreWait"};

const char* StateText(const Channel& c) {
    if (c.State == kWaiting && c.Connected == 0) return kStateText[kPreWait];
    return c.State < kPreWait ? kStateText[c.State] : "";
}

long Since(uint32_t now, uint32_t then, bool free) {
    if (free) return 0;
    long difference = (long)(int32_t)(now - then);
    return difference < 0 ? 0 : difference;
}

void Refresh(HWND dialog) {
    uint32_t now = ChannelNow();
    char stamp[kTimeStampSize];
    TimeStamp((time_t)now, stamp);
    int used = 0;
    for (int ch = 0; ch < ChannelsInUse(); ++ch)
        if (Channels[ch].State != kFree) ++used;
    DlgPrintf(dialog, 0, kFirstLine, "%s", stamp);
    DlgPrintf(dialog, 1, kFirstLine, "%d Channels are used", used);
    DlgPrintf(dialog, 2, kFirstLine, "%d Channels are free", Settings.Server.HowManyClients - used);
    DlgPrintf(dialog, 3, kFirstLine, "Ch. State .tCNX.Time.Rx Bytes.Tx Bytes.Connected to");
    int rows = std::min<int>(Settings.Server.HowManyClients, kShownChannels);
    for (int ch = 0; ch < rows; ++ch) {
        const Channel& c = Channels[ch];
        bool free = c.State == kFree;
        DlgPrintf(dialog, 4 + ch, kFirstLine, "%2d %7s %4ld %4ld %8lu %8lu %d.%d.%d.%d:%u", ch, StateText(c),
                  Since(now, c.ConnectTime, free), Since(now, c.StateTime, free), (unsigned long)c.RxBytes,
                  (unsigned long)c.TxBytes, c.PeerAddress[0], c.PeerAddress[1], c.PeerAddress[2], c.PeerAddress[3],
                  (unsigned)c.PeerPort);
    }
}

}  // namespace

HWND StatisticsDialog = nullptr;

const DialogTemplate kStatisticsTemplate = {
    "DIALOG_4",
    "Statistics",
    74,
    16,
    {Line(121, 0), Line(122, 1), Line(123, 2), Line(124, 3), Line(125, 4), Line(126, 5), Line(127, 6), Line(128, 7),
     Line(129, 8), Line(130, 9), Line(131, 10), Line(132, 11), Line(133, 12), Line(134, 13)},
};

INT_PTR StatisticsDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
        case WM_INITDIALOG:
            return TRUE;
        case WM_CLOSE:
            SendMessageA(MainWindow, WM_COMMAND, IDM_STATISTICS_CLOSED, 0);
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wParam) == IDCANCEL) {
                EndDialog(dialog, 0);
                return TRUE;
            }
            return FALSE;
        case WM_TIMER:
            Refresh(dialog);
            return TRUE;
    }
    return FALSE;
}
