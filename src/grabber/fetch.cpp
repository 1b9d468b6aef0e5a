// One document from a web server into a local file: the start of a grab, the request, the
// retries, and the completion with its report line and verdict.
//
// A grab rides on Local Client channels. StartFetch prepares the fetch record and opens the
// first connection; the dispatcher sends the request on connect, the receive routine parses
// the response header and writes the body into ClientOutputFile, and when the connection ends
// the dispatcher calls RetryFetch, then FetchComplete and the crawl step.

#include "grabber/fetch.h"
#include "grabber/grab.h"

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "base/timestamp.h"
#include "channel/channel.h"
#include "channel/sockets.h"
#include "grabber/crawl.h"
#include "grabber/link_lists.h"
#include "grabber/rewrite.h"
#include "grabber/url.h"
#include "platform/files.h"
#include "platform/messages.h"
#include "settings/settings.h"

GrabRecord Grab;

namespace {

// What a request says about its sender, after the request line (HTTP 1.0 only).
constexpr const char* kRequestTail =
    " HTTP/1.0\r\nUser-Agent: Korvel/4.0 (Win32; I)\r\n"
    "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, */*\r\n";

constexpr size_t kPrefixLength = 6;  // so that prefix names stay 8.3

template <size_t N>
void Append(char (&field)[N], const char* text) {
    size_t used = strnlen(field, N - 1);
    snprintf(field + used, N - used, "%s", text);
}

void QuitIfBatch() {
    if (BatchMode) PostQuitMessage(0);
}

void ClearGrabState(int16_t kind) {
    ResetCrawlState();
    Grab.Fetch.NoCrawl = 0;
    Grab.PageCount = 0;
    Grab.ImageCount = 0;
    Grab.Fetch.CrawlFlags = 0;
    if (kind == kFetchImages) {
        Grab.Fetch.CrawlFlags = kCrawlImages;
        Grab.ImageGrab = 1;
    } else if (kind == kFetchLevels) {
        Grab.Fetch.CrawlFlags = kCrawlImages | kCrawlStartPage;
    }
}

// A shown fetch puts the received text on the console; every other kind saves it.
void SetClientMode(int16_t kind) {
    if (kind == kFetchText) {
        Settings.Server.ServerMode = kStdModel;
        Settings.Client.ClientLogFile = 0;
    } else {
        Settings.Server.ServerMode = kHttpBinaryModel;
        Settings.Client.ClientLogFile = 1;
    }
}

// The start page's own local name: after its file name and the index, or after the prefix
// alone (cut to six characters, in the settings too).
const char* StartPageName(int16_t kind, const char* file) {
    if (kind == kFetchText) return "no_name";
    if (Settings.Url.AutoName != 0) return Unix2dosName(file, 0);
    if (strlen(Settings.Url.Prefix) > kPrefixLength) Settings.Url.Prefix[kPrefixLength] = '\0';
    return Unix2dosName(file, -1);
}

// A start page on this PC's disk is copied into the grab's directory.
bool CopyStartPage(const char* base, const char* file) {
    CopyText(Grab.Fetch.connectHost, kLocalHost);
    char source[kUrlBaseSize + kUrlFileSize];
    snprintf(source, sizeof source, "%s%s", base, file);
    if (CopyFile(source, ClientOutputFile)) return true;
    Print(MainWindow, "Unable to find file %s\n", source);
    return false;
}

// What stands in the local file until the document arrives.
void PrepareLocalFile(int16_t kind, bool fromDisk, const UrlRecord& start) {
    if (kind == kFetchSaveAs) {
        if (FILE* file = FileOpen(ClientOutputFile, "w+b")) fclose(file);
    } else if (kind != kFetchText && !fromDisk) {
        Url_Miss(0);
    } else if (kind == kFetchLevels) {
        char work[256];
        PathJoin(work, Settings.Url.HomeDir, "tmp.txt");
        MarkPage(ClientOutputFile, start.host, start.base, kMarkAbsolute, 0, 0, start.port);
        CopyFile(work, ClientOutputFile);
    }
}

// Steps of StartFetch for every kind but a save under a given name: the local name, the copy
// of a start page on the disk, the link lists. False when the grab cannot start.
bool PrepareGrab(int16_t kind, UrlRecord& start, bool& fromDisk) {
    CopyText(start.localName, StartPageName(kind, start.file));
    PathJoin(ClientOutputFile, Settings.Url.HomeDir, start.localName);
    fromDisk = strcmp(start.host, kLocalHost) == 0;
    if (fromDisk && !CopyStartPage(start.base, start.file)) return false;
    if (!OpenLinkLists()) return false;
    GetSet(&start, kSetRecord, 0, Grab.PageList.file);
    CopyText(Grab.ReferenceName, start.localName);
    snprintf(Grab.HomeBase, sizeof Grab.HomeBase, "%s/", Settings.Url.HomeDir);
    ToUnixSlashes(Grab.HomeBase);
    return true;
}

// Writes a text that came from the network (a host, a path, a content type) into the report
// page as text: the characters that would open markup there are written as entities, so that
// a server cannot put its own tags into the page. Ordinary values hold none of them and are
// written byte for byte.
void WriteText(FILE* report, const char* text) {
    for (; *text; ++text) {
        switch (*text) {
            case '<': fputs("&lt;", report); break;
            case '>': fputs("&gt;", report); break;
            case '&': fputs("&amp;", report); break;
            case '"': fputs("&quot;", report); break;
            default: fputc(*text, report);
        }
    }
}

void WriteDocumentUrl(FILE* report, const FetchRecord& f, const char* port) {
    fputs("http://", report);
    WriteText(report, f.host);
    fputs(port, report);
    WriteText(report, f.base);
    WriteText(report, f.file);
}

void WriteReportRecord(FILE* report, const Channel& c) {
    const FetchRecord& f = Grab.Fetch;
    char port[16] = "";
    if (Settings.Url.ProxyHost[0] == '\0' && f.connectPort != 80)
        snprintf(port, sizeof port, ":%u", (unsigned)(int32_t)f.connectPort);
    char stamp[kTimeStampSize];
    TimeStamp((time_t)c.StateTime, stamp);
    fprintf(report, "\r\n<br>%s\r\n<br><a href=\"", stamp);
    WriteDocumentUrl(report, f, port);
    fputs("\">Document ", report);
    WriteDocumentUrl(report, f, port);
    fprintf(report, "</a> <a href= \"%s\">save as %s</a> (length %lu bytes)", BaseName(ClientOutputFile),
            ClientOutputFile, (unsigned long)(c.RxBytes - (uint32_t)(int32_t)f.HeaderBytes));
}

// The completeness test compares the counted header bytes plus the announced length with
// every byte received; a status other than 200 is shown but not judged.
void HeaderVerdict(HWND window, const Channel& c, FILE* report) {
    const FetchRecord& f = Grab.Fetch;
    Print(window, "Status %d [OK->200], Header Length %d bytes, Data Length %ld\n", f.Status, f.HeaderBytes,
          (long)(int32_t)f.ContentLength);
    if (report) {
        fprintf(report, " Status %u", (unsigned)(int32_t)f.Status);
        if (f.ContentType[0] != '\0') {
            fputs(" Content ", report);
            WriteText(report, f.ContentType);
        }
    }
    if (f.ContentLength == kUnknownLength) {
        Print(window, "NO FILELENGTH INFO\n");
    } else if ((uint32_t)(int32_t)f.HeaderBytes + f.ContentLength == c.RxBytes) {
        if (report) fprintf(report, " File_OK");
        Print(window, "FILE IS COMPLETE\n");
    } else {
        if (report) fprintf(report, " File_NOK");
        Print(window, "FILE IS UNCOMPLETE\n");
    }
}

}  // namespace

void TakeGrabTimeouts() {
    ServerSettings& s = Settings.Server;
    s.ServerMode |= EnableTimeout;
    Grab.Timeouts.Saved = {s.LeavingTimeout, s.WaitingTimeout, s.SendingTimeout, s.PurgingTimeout, s.connectionTimeout};
    Grab.Timeouts.Waiting = (int16_t)(Settings.Url.ConnectionTimeout + 1);
    Grab.Timeouts.Sending = s.SendingTimeout;
}

void ResetGrabDefaults() {
    Grab.ReferenceUrl = ReferencePage{};
    ResetCrawlState();
}

int16_t BuildRequest(UrlRecord record) {
    FetchRecord& f = Grab.Fetch;
    CopyText(f.host, record.host);
    CopyText(f.base, record.base);
    f.port = record.port;
    CopyText(f.Request, "GET ");
    f.Status = 0;
    f.HeaderBytes = 0;
    f.ContentLength = kUnknownLength;
    f.HeaderPhase = Settings.Standard.Url == 1 ? kAwaitStatusLine : kHeaderDone;
    f.IsHtml = 1;
    f.ContentType[0] = '\0';
    if (Settings.Url.ProxyHost[0] == '\0') {
        CopyText(f.connectHost, f.host);
        f.connectPort = record.port;
    } else {
        Append(f.Request, "http://");
        Append(f.Request, f.host);
        if (record.port != 80) {
            char port[16];
            snprintf(port, sizeof port, ":%u", (unsigned)(int32_t)record.port);
            Append(f.Request, port);
        }
        CopyText(f.connectHost, Settings.Url.ProxyHost);
        f.connectPort = (int16_t)Settings.Url.Port;
    }
    Append(f.Request, f.base);
    Append(f.Request, f.file);
    if (Settings.Standard.Url == 1) Append(f.Request, kRequestTail);
    return 1;
}

int16_t StartFetch(int16_t kind, const char* url, const char* saveName) {
    ClearGrabState(kind);
    SetClientMode(kind);
    UrlRecord start{};
    char type[kUrlTypeSize];
    if (!URL_Analyser(start.port, url, start.host, type, start.file, start.base, "/")) {
        Print(MainWindow, "URL format error ...\n");
        QuitIfBatch();
        return 0;
    }
    if (Settings.Server.ServerMode & TextMode) {
        Print(MainWindow, "url=%s\n", url);
        Print(MainWindow, "Type=%s, host=%s, port=%u, base=%s file=%s\n", type, start.host,
              (unsigned)(int32_t)start.port, start.base, start.file);
    }
    start.isHtml = 1;
    CopyText(Grab.ReferenceUrl.base, start.base);
    CopyText(Grab.ReferenceUrl.host, start.host);
    Grab.ReferenceUrl.port = start.port;
    CopyText(Grab.Fetch.file, start.file);
    BuildRequest(start);
    Append(Grab.Fetch.Request, "\r\n");

    bool fromDisk = false;
    if (kind == kFetchSaveAs) {
        CopyText(ClientOutputFile, saveName);
        CopyText(Grab.ReferenceName, saveName);
    } else if (!PrepareGrab(kind, start, fromDisk)) {
        QuitIfBatch();
        return 0;
    }
    ClientOpen = 2;
    ClientConnected = 0;
    TakeGrabTimeouts();
    PrepareLocalFile(kind, fromDisk, start);
    Grab.GrabActive = 1;
    Grab.RetriesLeft = fromDisk ? 0 : Settings.Url.Retry;
    if (OpenClient(MainWindow, Grab.Fetch.connectHost, 0, (uint16_t)Grab.Fetch.connectPort) >= 0) return 1;
    if (RetryFetch(-1)) return 1;
    ReleaseLinkLists();
    QuitIfBatch();
    return 0;
}

int16_t RetryFetch(int ch) {
    if (Grab.GrabActive == 0) return 0;
    if (ch >= 0) {
        const Channel& c = Channels[ch];
        // A fetch that received even one byte is never retried.
        if ((c.Fetch && c.Fetch->NoCrawl != 0) || c.RxBytes != 0) return 0;
    }
    for (;;) {
        if (--Grab.RetriesLeft < 0) return 0;
        Print(MainWindow, "URL Retry n\xB0%u...\n", (unsigned)(Settings.Url.Retry - Grab.RetriesLeft));
        if (ch >= 0) Channels[ch].State = kFree;
        ClientOpen = 2;
        ClientConnected = 0;
        if (OpenClient(MainWindow, Grab.Fetch.connectHost, 0, (uint16_t)Grab.Fetch.connectPort) >= 0) return 1;
    }
}

void FetchComplete(HWND window, int ch) {
    const Channel& c = Channels[ch];
    PrintByteCounts(window, c);
    FILE* report = nullptr;
    if (!(Settings.Server.ServerMode & TextMode)) {
        char path[256];
        PathJoin(path, Settings.Url.HomeDir, Settings.Url.Bookmark);
        report = FileOpen(path, "a+b");
    }
    if (report) WriteReportRecord(report, c);
    if (Settings.Standard.Url == 1 && Grab.Fetch.Status != 0) HeaderVerdict(window, c, report);
    if (report) fclose(report);
}
