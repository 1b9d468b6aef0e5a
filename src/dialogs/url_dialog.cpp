// The URL dialog ("DIALOG_6"): sets up and starts a grab, stops a running one, and takes a URL
// from the clipboard or the URL Browser. The radio buttons, "new", "browse" and "paste" change
// the settings at once; the edits are read only when a grab is started.

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/dialog_fields.h"
#include "base/print.h"
#include "channel/sockets.h"
#include "dialogs/dialogs.h"
#include "grabber/browser.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "platform/messages.h"
#include "settings/settings.h"

namespace {

using namespace layout;

enum : int {
    kOk = 1,
    kCancel = 2,
    kUrl = 121,
    kTimeout = 122,
    kDirectory = 123,
    kPort = 125,
    kPurging = 126,
    kLeaving = 127,
    kProxyHost = 128,
    kLevels = 129,
    kMaxUrl = 130,
    kMaxImages = 131,
    kPrefix = 132,
    kRetry = 133,
    kIndex = 134,
    kStop = 141,
    kText = 142,
    kBinary = 143,
    kOkImages = 148,
    kLevelN = 149,
    kAutoName = 150,
    kUsePrefix = 151,
    kNew = 152,
    kAll = 153,
    kLocal = 154,
    kSamePath = 155,
    kDownPath = 156,
    kVersion = 157,
    kBrowse = 158,
    kCheckHeader = 159,
    kTrailer = 160,
    kPaste = 177,
    kBookmark = 700,
};

constexpr int kClipboardSize = 512;
constexpr const char* kScheme = "http://";

int16_t pendingVersion = 0;
char clipboardText[kClipboardSize];

// Controls usable only while no Local Client or grab is active.
const int kIdleOnly[] = {kOk, kAll, kLocal, kSamePath, kDownPath, kAutoName, kUsePrefix, kCheckHeader, kTrailer};

void ShowFields(HWND dialog) {
    const UrlSettings& u = Settings.Url;
    DlgPrintf(dialog, 0, kUrl, "%s", u.Url);
    DlgPrintf(dialog, 0, kDirectory, "%s", u.HomeDir);
    DlgPrintf(dialog, 0, kBookmark, "%s", u.Bookmark);
    DlgPrintf(dialog, 0, kProxyHost, "%s", u.ProxyHost);
    DlgPrintf(dialog, 0, kPort, "%u", (unsigned)u.Port);
    DlgPrintf(dialog, 0, kTimeout, "%d", u.ConnectionTimeout);
    DlgPrintf(dialog, 0, kRetry, "%u", (unsigned)(int)u.Retry);
    DlgPrintf(dialog, 0, kPurging, "%d", u.PurgingTimeout);
    DlgPrintf(dialog, 0, kLeaving, "%d", u.LeavingTimeout);
    DlgPrintf(dialog, 0, kMaxUrl, "%u", (unsigned)(int)u.MaxURL);
    DlgPrintf(dialog, 0, kMaxImages, "%u", (unsigned)(int)u.MaxIMG);
    DlgPrintf(dialog, 0, kLevels, "%d", Settings.UrlRun.Levels);
    DlgPrintf(dialog, 0, kPrefix, "%s", u.Prefix);
    DlgPrintf(dialog, 0, kIndex, "%s", Settings.UrlRun.Index);
}

void EnableStarts(HWND dialog, bool enabled) {
    EnableControl(dialog, kOkImages, enabled);
    EnableControl(dialog, kLevelN, enabled);
}

void ShowChoices(HWND dialog) {
    const UrlSettings& u = Settings.Url;
    if (u.Mode == 0) {
        CheckRadioButton(dialog, kText, kBinary, kText);
        EnableStarts(dialog, false);
    } else {
        CheckRadioButton(dialog, kText, kBinary, kBinary);
        if (ClientOpen == 0) EnableStarts(dialog, true);
    }
    int scope = u.All == 1 ? kAll : u.All == 2 ? kSamePath : u.All == 3 ? kDownPath : kLocal;
    CheckRadioButton(dialog, kAll, kDownPath, scope);
    CheckRadioButton(dialog, kAutoName, kUsePrefix, u.AutoName != 0 ? kAutoName : kUsePrefix);
    CheckDlgButton(dialog, kCheckHeader, Settings.UrlRun.CheckHtmlHeader != 0);
    CheckDlgButton(dialog, kTrailer, Settings.UrlRun.AddPageTrailer != 0);
}

// Idle (start buttons usable, STOP grey) or busy (only STOP, CANCEL, the edits, the Text and
// Binary choice, the version list and the URL sources).
void ShowActivity(HWND dialog) {
    bool busy = ClientOpen != 0;
    EnableControl(dialog, kStop, busy);
    for (int id : kIdleOnly) EnableControl(dialog, id, !busy);
    if (busy) EnableStarts(dialog, false);
}

void Initialise(HWND dialog) {
    pendingVersion = Settings.Standard.Url == 1 ? 1 : 0;
    FillHttpVersions(dialog, kVersion, pendingVersion);
    ShowFields(dialog);
    ShowChoices(dialog);
    ShowActivity(dialog);
}

void ReadNumbers(HWND dialog) {
    UrlSettings& u = Settings.Url;
    ScanSigned(dialog, kTimeout, u.ConnectionTimeout);
    ScanSigned(dialog, kPurging, u.PurgingTimeout);
    ScanSigned(dialog, kLeaving, u.LeavingTimeout);
    ScanSigned(dialog, kLevels, Settings.UrlRun.Levels);
    if (Settings.UrlRun.Levels <= 0) Settings.UrlRun.Levels = 1;
    uint16_t value;
    if (ScanUnsigned(dialog, kMaxUrl, value)) u.MaxURL = (int16_t)value;
    if (ScanUnsigned(dialog, kMaxImages, value)) u.MaxIMG = (int16_t)value;
    if (ScanUnsigned(dialog, kRetry, value)) u.Retry = (int16_t)value;
}

// Only the first word of the index counts, cut to three characters.
void ReadIndex(HWND dialog) {
    char word[1000];
    if (DlgScanf(dialog, 0, kIndex, "%999s", word) > 0) CopyText(Settings.UrlRun.Index, word, 3);
}

void ReadTexts(HWND dialog) {
    UrlSettings& u = Settings.Url;
    ReadField(dialog, kUrl, u.Url, sizeof u.Url);
    ReadField(dialog, kDirectory, u.HomeDir, sizeof u.HomeDir);
    ReadField(dialog, kProxyHost, u.ProxyHost, sizeof u.ProxyHost);
    ReadField(dialog, kPrefix, u.Prefix, sizeof u.Prefix);
    ReadField(dialog, kBookmark, u.Bookmark, 105);
}

void Start(HWND dialog, int button) {
    Settings.UrlRun.CheckHtmlHeader = IsDlgButtonChecked(dialog, kCheckHeader) ? 1 : 0;
    Settings.UrlRun.AddPageTrailer = IsDlgButtonChecked(dialog, kTrailer) ? 1 : 0;
    int16_t kind = button == kOkImages ? kFetchImages : button == kLevelN ? kFetchLevels
                   : Settings.Url.Mode != 0 ? kFetchBinary : kFetchText;
    Settings.Standard.Url = pendingVersion;
    ReadNumbers(dialog);
    ReadIndex(dialog);
    ScanUnsigned(dialog, kPort, Settings.Url.Port);
    ReadTexts(dialog);
    char url[sizeof kScheme + sizeof Settings.Url.Url];
    snprintf(url, sizeof url, "%s%s", kScheme, Settings.Url.Url);
    EnableControl(dialog, kOk, false);
    EnableStarts(dialog, false);
    if (StartFetch(kind, url, ""))
        EndDialog(dialog, IDOK);
    else
        Initialise(dialog);
}

void SetUrl(HWND dialog, const char* text) {
    CopyText(Settings.Url.Url, text);
    SetDlgItemTextA(dialog, kUrl, Settings.Url.Url);
}

// The seven characters of "http://" are skipped without a test.
void Browse(HWND dialog) {
    INT_PTR result = DialogBoxParamA(hInst, "load", dialog, UrlBrowserDlgProc, 0);
    if (result == -1)
        Print(MainWindow, "Unable to create box !!! \n");
    else if (result != 0)
        SetUrl(dialog, Grab.SelectedUrl + strlen(kScheme));
}

void Paste(HWND dialog) {
    if (const char* text = ReadClipboardText(dialog)) SetUrl(dialog, text);
}

bool Choice(int id) {
    UrlSettings& u = Settings.Url;
    switch (id) {
        case kAutoName: u.AutoName = 1; return true;
        case kUsePrefix: u.AutoName = 0; return true;
        case kAll: u.All = 1; return true;
        case kLocal: u.All = 0; return true;
        case kSamePath: u.All = 2; return true;
        case kDownPath: u.All = 3; return true;
    }
    return false;
}

}  // namespace

const char* ReadClipboardText(HWND window) {
    OpenClipboard(window);
    HANDLE data = GetClipboardData(CF_TEXT);
    if (!data) {
        CloseClipboard();
        return nullptr;
    }
    const char* text = static_cast<const char*>(GlobalLock(data));
    const char* result = nullptr;
    if (text && strlen(text) < kClipboardSize) {
        CopyText(clipboardText, text);
        result = clipboardText;
    }
    GlobalUnlock(data);
    CloseClipboard();
    return result;
}

const DialogTemplate kUrlTemplate = {
    "DIALOG_6",
    "URL",
    78,
    18,
    {
        Label("http://", 2, 1),
        Edit(kUrl, 10, 1, 46),
        Button(kNew, "new", 57, 1, 7),
        Button(kBrowse, "browse", 65, 1, 10),
        Label("HTTP Version", 2, 2),
        DropDown(kVersion, 15, 2, 10),
        Button(kPaste, "paste", 57, 2, 7),
        Label("Directory", 2, 4),
        Edit(kDirectory, 13, 4, 30),
        Radio(kText, "&Text", 46, 4, 9, true),
        Radio(kBinary, "&Binary", 56, 4, 11),
        Label("Bookmark", 2, 5),
        Edit(kBookmark, 13, 5, 30),
        Label("ProxyHost", 2, 6),
        Edit(kProxyHost, 13, 6, 30),
        Label("port", 46, 6),
        Edit(kPort, 51, 6, 7),
        Label("connectionTimeout", 2, 8),
        Edit(kTimeout, 21, 8, 7),
        Label("Retry_Number", 31, 8),
        Edit(kRetry, 46, 8, 7),
        Label("PurgingTimeout", 2, 9),
        Edit(kPurging, 21, 9, 7),
        Label("LeavingTimeout", 31, 9),
        Edit(kLeaving, 46, 9, 7),
        Label("URL-Max", 2, 10),
        Edit(kMaxUrl, 21, 10, 7),
        Label("Images-Max", 31, 10),
        Edit(kMaxImages, 46, 10, 7),
        Radio(kAll, "&All", 2, 12, 8, true),
        Radio(kLocal, "&Local", 11, 12, 9),
        Radio(kSamePath, "&SamePath", 21, 12, 12),
        Radio(kDownPath, "&DownPath", 34, 12, 12),
        Radio(kAutoName, "&AutoNameFile", 2, 13, 17, true),
        Radio(kUsePrefix, "&UsePrefix", 20, 13, 14),
        Edit(kPrefix, 35, 13, 10),
        Label("index", 47, 13),
        Edit(kIndex, 53, 13, 5),
        Check(kCheckHeader, "Check Html Header ", 2, 14, 22),
        Label("(Http 1.0 Only)", 25, 14),
        Check(kTrailer, "Add Page Trailer", 44, 14, 20),
        Button(kOk, "OK", 2, 16, 8, true),
        Button(kOkImages, "OK+IMG", 11, 16, 10),
        Button(kLevelN, "LEVEL_N", 22, 16, 11),
        Label("N=", 34, 16),
        Edit(kLevels, 37, 16, 5),
        Button(kStop, "STOP", 45, 16, 8),
        Button(kCancel, "CANCEL", 55, 16, 10),
    },
};

INT_PTR UrlDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) {
        Initialise(dialog);
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    int id = LOWORD(wParam);
    if (Choice(id)) return TRUE;
    switch (id) {
        case kOk:
        case kOkImages:
        case kLevelN: Start(dialog, id); return TRUE;
        case kCancel: EndDialog(dialog, IDCANCEL); return TRUE;
        case kStop:
            Grab.GrabActive = 0;
            CloseAllClients();
            EndDialog(dialog, IDOK);
            return TRUE;
        case kText:
            Settings.Url.Mode = 0;
            EnableStarts(dialog, false);
            return TRUE;
        case kBinary:
            Settings.Url.Mode = 1;
            EnableStarts(dialog, true);
            return TRUE;
        case kNew: SetUrl(dialog, ""); return TRUE;
        case kVersion:
            if (HIWORD(wParam) == CBN_SELCHANGE) {
                LRESULT selected = SendDlgItemMessageA(dialog, kVersion, CB_GETCURSEL, 0, 0);
                if (selected >= 0) pendingVersion = (int16_t)selected;
            }
            return TRUE;
        case kBrowse: Browse(dialog); return TRUE;
        case kPaste: Paste(dialog); return TRUE;
    }
    return FALSE;
}
