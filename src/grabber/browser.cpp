// The URL Browser dialog ("load"): a page already on the disk is chosen from directory and
// file lists, and its links are listed as absolute URLs, resolved against a typed reference
// URL when there is one. The dialog fetches nothing: it runs the crawl's page and image
// passes over the chosen file, with the crawl's link lists as scratch space, and shows what
// they collected. While it is open, links of every host are listed (Url.All is All) and the
// grab's naming settings are put back when it closes.

#include "grabber/browser.h"
#include "grabber/grab.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "base/app.h"
#include "base/dialog_fields.h"
#include "base/print.h"
#include "channel/sockets.h"
#include "grabber/fetch.h"
#include "grabber/link_lists.h"
#include "grabber/rewrite.h"
#include "grabber/tags.h"
#include "grabber/url.h"
#include "platform/files.h"
#include "platform/messages.h"
#include "settings/settings.h"


namespace {

using namespace layout;

enum : int {
    kDirectories = 101,
    kListingPath = 102,
    kFiles = 103,
    kChosenFile = 104,
    kUnits = 105,
    kExtension = 106,
    kUrls = 107,
    kAnalyse = 108,
    kReference = 109,
    kRefresh = 110,
    kReferenceFromSelection = 112,
    kReferenceReset = 113,
    kBookmarkPath = 114,
    kAddBookmark = 115,
};

// UrlIndex values besides a selection.
constexpr int kNothingAnalysed = -1;
constexpr int kNothingFound = -2;

constexpr size_t kPathLength = 512;
constexpr const char* kScheme = "http://";
const char* const kExtensionTable[] = {"*.html", "*.htm", "*.*"};

// The browser's state lives for the whole run, so the place and pattern are kept between
// openings.
int extensionIndex = 0;
char browsePattern[16] = "*.html";
char browseDir[kPathLength] = ".";
char browseSubPath[kPathLength] = "/";
char browseFile[kPathLength] = "";
int urlIndex = kNothingAnalysed;

// What the dialog changes for its own use and puts back when it closes.
struct SavedNaming {
    int16_t all;
    int16_t autoName;
    char index[4];
};
SavedNaming saved;

std::string ListingPath() { return std::string(browseDir) + browseSubPath + browsePattern; }

std::string ListText(HWND dialog, int id, int item) {
    char text[kPathLength];
    if (SendDlgItemMessageA(dialog, id, LB_GETTEXT, (WPARAM)item, (LPARAM)text) < 0) return "";
    return text;
}

int Selection(HWND dialog, int id) { return (int)SendDlgItemMessageA(dialog, id, LB_GETCURSEL, 0, 0); }

void ListFiles(HWND dialog) {
    char listing[kPathLength];
    CopyText(listing, ListingPath().c_str());
    DlgDirListA(dialog, listing, kFiles, 0, DDL_ARCHIVE | DDL_EXCLUSIVE);
}

void ShowListing(HWND dialog) {
    char listing[kPathLength];
    CopyText(listing, ListingPath().c_str());
    DlgDirListA(dialog, listing, kDirectories, 0, DDL_DIRECTORY | DDL_EXCLUSIVE);
    SendDlgItemMessageA(dialog, kDirectories, LB_SETCURSEL, 0, 0);
    ListFiles(dialog);
    SetDlgItemTextA(dialog, kListingPath, ListingPath().c_str());
}

bool OpenLists() {
    if (!OpenLinkLists()) return false;
    if (Grab.PageList.cache && Grab.ImageList.cache) return true;
    ReleaseLinkLists();
    return false;
}

// The link lists of a running grab would be lost: the browser opens only between grabs.
bool GrabRunning() { return ClientOpen != 0 && Grab.GrabActive != 0; }

void Close(HWND dialog, bool withSelection) {
    GetDlgItemTextA(dialog, kBookmarkPath, Settings.UrlBrowser.Book, sizeof Settings.UrlBrowser.Book);
    Settings.Url.All = saved.all;
    Settings.Url.AutoName = saved.autoName;
    CopyText(Settings.UrlRun.Index, saved.index);
    ReleaseLinkLists();
    if (!withSelection || urlIndex < 0) {
        EndDialog(dialog, 0);
        return;
    }
    CopyText(Grab.SelectedUrl, ListText(dialog, kUrls, urlIndex).c_str());
    EndDialog(dialog, 1);
}

void Open(HWND dialog) {
    saved.all = Settings.Url.All;
    saved.autoName = Settings.Url.AutoName;
    CopyText(saved.index, Settings.UrlRun.Index);
    Settings.Url.All = 1;
    Settings.Url.AutoName = 0;
    urlIndex = kNothingAnalysed;
    if (GrabRunning()) {
        Print(MainWindow, "URL Browser, not available while a grab is running\n");
        Close(dialog, false);
        return;
    }
    if (!OpenLists()) {
        Close(dialog, false);
        return;
    }
    for (const char* extension : kExtensionTable) SendDlgItemMessageA(dialog, kExtension, CB_ADDSTRING, 0, (LPARAM)extension);
    CopyText(browsePattern, kExtensionTable[extensionIndex]);
    SendDlgItemMessageA(dialog, kExtension, CB_SETCURSEL, (WPARAM)extensionIndex, 0);
    char listing[kPathLength];
    CopyText(listing, ListingPath().c_str());
    DlgDirListA(dialog, listing, kDirectories, kListingPath, DDL_DIRECTORY | DDL_EXCLUSIVE);
    GetDlgItemTextA(dialog, kListingPath, browseDir, sizeof browseDir);
    ListFiles(dialog);
    browseFile[0] = '\0';
    SetDlgItemTextA(dialog, kChosenFile, "");
    char units[4] = "*";
    DlgDirListA(dialog, units, kUnits, 0, DDL_DRIVES | DDL_EXCLUSIVE);
    SendDlgItemMessageA(dialog, kDirectories, LB_SETCURSEL, 0, 0);
    SetDlgItemTextA(dialog, kListingPath, ListingPath().c_str());
    SetDlgItemTextA(dialog, kBookmarkPath, Settings.UrlBrowser.Book);
}

// "[..]" climbs one level, but never above the browse directory; "[name]" goes down.
void DirectoryChosen(HWND dialog) {
    std::string item = ListText(dialog, kDirectories, Selection(dialog, kDirectories));
    if (item.size() < 2) return;
    std::string name = item.substr(1, item.size() - 2);
    std::string subPath = browseSubPath;
    if (name == "..") {
        if (subPath != kDirSepText) subPath = subPath.substr(0, subPath.find_last_of(kDirSep, subPath.size() - 2) + 1);
    } else {
        subPath += name + kDirSepText;
    }
    CopyText(browseSubPath, subPath.c_str());
    ShowListing(dialog);
}

void FileChosen(HWND dialog) {
    std::string file = std::string(browseDir) + browseSubPath + ListText(dialog, kFiles, Selection(dialog, kFiles));
    CopyText(browseFile, file.c_str());
    SetDlgItemTextA(dialog, kChosenFile, browseFile);
    SendMessageA(dialog, WM_COMMAND, kAnalyse, 0);
}

// A unit "[-x-]" is the directory "x:", which the path translation reads as the root.
void UnitChosen(HWND dialog) {
    std::string item = ListText(dialog, kUnits, Selection(dialog, kUnits));
    if (item.size() < 5) return;
    snprintf(browseDir, sizeof browseDir, "%c:", item[2]);
    CopyText(browseSubPath, kDirSepText);
    ShowListing(dialog);
}

void ExtensionChosen(HWND dialog) {
    LRESULT selected = SendDlgItemMessageA(dialog, kExtension, CB_GETCURSEL, 0, 0);
    if (selected < 0 || selected >= (LRESULT)(sizeof kExtensionTable / sizeof *kExtensionTable)) return;
    extensionIndex = (int)selected;
    CopyText(browsePattern, kExtensionTable[extensionIndex]);
    ListFiles(dialog);
    SetDlgItemTextA(dialog, kListingPath, ListingPath().c_str());
}

// The page's own URL. Without a reference it is the chosen file on this PC's disk ("2mypc",
// its path without the drive or the leading separator); with one, the reference itself.
std::string PageUrl(const char* host, const char* base, int16_t port, bool referenced) {
    std::string url = std::string(kScheme) + host;
    if (port != 80) url += ":" + std::to_string((unsigned)port);
    url += base;
    if (!referenced) {
        const char* path = browseFile;
        if (path[0] && path[1] == ':') path += 2;
        while (*path == '/' || *path == '\\') ++path;
        url += path;
    }
    for (char& c : url)
        if (c == '\\') c = '/';
    return url;
}

std::string RecordUrl(const UrlRecord& r) {
    std::string url = std::string(kScheme) + r.host;
    if (r.port != 80) url += ":" + std::to_string((unsigned)r.port);
    return url + r.base + r.file;
}

void ListFound(HWND dialog) {
    UrlRecord record;
    for (int16_t i = 0; i < Grab.PageCount; ++i) {
        GetSet(&record, kGetRecord, i, Grab.PageList.file);
        SendDlgItemMessageA(dialog, kUrls, LB_ADDSTRING, 0, (LPARAM)RecordUrl(record).c_str());
    }
    for (int16_t i = 0; i < Grab.ImageCount; ++i) {
        GetSet(&record, kGetRecord, i, Grab.ImageList.file);
        SendDlgItemMessageA(dialog, kUrls, LB_ADDSTRING, 0, (LPARAM)RecordUrl(record).c_str());
    }
    if (Grab.PageCount > 0 || Grab.ImageCount > 0) {
        urlIndex = 0;
        SendDlgItemMessageA(dialog, kUrls, LB_SETCURSEL, 0, 0);
    }
}

void AnalysePage(HWND dialog) {
    urlIndex = kNothingFound;
    SendDlgItemMessageA(dialog, kUrls, LB_RESETCONTENT, 0, 0);
    Settings.Url.All = 1;
    Grab.PageCount = 0;
    Grab.ImageCount = 0;
    Grab.PageList.block = 0;
    Grab.ImageList.block = 0;

    char host[kUrlHostSize] = "2mypc", type[kUrlTypeSize], file[kUrlFileSize], base[kUrlBaseSize] = "/";
    int16_t port = 80;
    char reference[kPathLength];
    GetDlgItemTextA(dialog, kReference, reference, sizeof reference);
    bool referenced = reference[0] != '\0';
    if (referenced) {
        std::string url = std::string(kScheme) + reference;
        if (!URL_Analyser(port, url.c_str(), host, type, file, base, "/")) {
            Print(MainWindow, "Reference URL Format Error !!!\n");
            referenced = false;
            CopyText(host, "2mypc");
            CopyText(base, "/");
            port = 80;
        }
    }
    UrlRecord record{};
    std::string page = PageUrl(host, base, port, referenced);
    if (!URL_Analyser(record.port, page.c_str(), record.host, type, record.file, record.base, "/")) {
        Print(MainWindow, "URL format error ...\n");
        return;
    }
    GetSet(&record, kSetRecord, 0, Grab.PageList.file);
    BrowsePage(browseFile, record.host, record.base, 0, 0, record.port);
    ImgBrowser(browseFile, record.host, record.base, Tags.ImageTags, record.port);
    ListFound(dialog);
}

void ReferenceFromSelection(HWND dialog) {
    if (urlIndex < 0) return;
    CopyText(Grab.SelectedUrl, ListText(dialog, kUrls, urlIndex).c_str());
    SetDlgItemTextA(dialog, kReference, Grab.SelectedUrl + strlen(kScheme));
    AnalysePage(dialog);
}

void AddBookmark(HWND dialog) {
    if (urlIndex < 0) return;
    CopyText(Grab.SelectedUrl, ListText(dialog, kUrls, urlIndex).c_str());
    GetDlgItemTextA(dialog, kBookmarkPath, Settings.UrlBrowser.Book, sizeof Settings.UrlBrowser.Book);
    FILE* book = FileOpen(Settings.UrlBrowser.Book, "a+b");
    if (!book) {
        Print(MainWindow, "UrlBrowser, unable to open file %s !!!\n", Settings.UrlBrowser.Book);
        return;
    }
    fprintf(book, "<a href=\"%s\">%s</a><br>\r\n", Grab.SelectedUrl, Grab.SelectedUrl);
    fclose(book);
}

bool Selected(WPARAM wParam) { return HIWORD(wParam) == LBN_SELCHANGE; }

}  // namespace

const DialogTemplate kUrlBrowserTemplate = {
    "load",
    "URL Browser",
    78,
    22,
    {
        Label("Directory", 2, 1),
        List(kDirectories, 2, 2, 24, 7, true),
        Edit(kListingPath, 28, 1, 48),
        Label("File Name", 28, 2),
        List(kFiles, 28, 3, 28, 6, true),
        Label("Unit", 58, 2),
        List(kUnits, 58, 3, 8, 2, true),
        Label("Extension", 58, 6),
        DropDown(kExtension, 58, 7, 10),
        Edit(kChosenFile, 2, 10, 74),
        List(kUrls, 2, 11, 74, 6),
        Label("Reference Url", 2, 18),
        Label("http://", 16, 18),
        Edit(kReference, 24, 18, 34),
        Button(kRefresh, "refresh", 60, 18, 11),
        Button(kReferenceFromSelection, "Ref=Selected_Url", 2, 19, 20),
        Button(kReferenceReset, "Ref-Reset", 24, 19, 13),
        Edit(kBookmarkPath, 2, 20, 34),
        Button(kAddBookmark, "Add to Bookmark file", 38, 20, 24),
        Button(IDOK, "OK", 64, 20, 6, true),
        Button(IDCANCEL, "Cancel", 64, 19, 10),
    },
};

INT_PTR UrlBrowserDlgProc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    if (message == WM_INITDIALOG) {
        Open(dialog);
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    switch (LOWORD(wParam)) {
        case kDirectories: if (Selected(wParam)) DirectoryChosen(dialog); return TRUE;
        case kFiles: if (Selected(wParam)) FileChosen(dialog); return TRUE;
        case kUnits: if (Selected(wParam)) UnitChosen(dialog); return TRUE;
        case kExtension: if (Selected(wParam)) ExtensionChosen(dialog); return TRUE;
        case kUrls:
            if (Selected(wParam)) urlIndex = Selection(dialog, kUrls);
            return TRUE;
        case kAnalyse: AnalysePage(dialog); return TRUE;
        case kRefresh:
            if (urlIndex != kNothingAnalysed) AnalysePage(dialog);
            return TRUE;
        case kReferenceFromSelection: ReferenceFromSelection(dialog); return TRUE;
        case kReferenceReset:
            SetDlgItemTextA(dialog, kReference, "");
            if (urlIndex != kNothingAnalysed) AnalysePage(dialog);
            return TRUE;
        case kAddBookmark: AddBookmark(dialog); return TRUE;
        case IDOK: Close(dialog, true); return TRUE;
        case IDCANCEL: Close(dialog, false); return TRUE;
    }
    return FALSE;
}
