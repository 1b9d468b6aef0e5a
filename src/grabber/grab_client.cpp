#include "grabber/grab.h"
#include "grabber/grab_client.h"

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "channel/channel.h"
#include "channel/role.h"
#include "channel/sockets.h"
#include "grabber/crawl.h"
#include "grabber/fetch.h"
#include "grabber/link_lists.h"
#include "platform/files.h"
#include "server/roles.h"
#include "server/send.h"
#include "settings/settings.h"

int16_t ParseResponseHeader(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (!c.Fetch) return 0;
    FetchRecord& f = *c.Fetch;
    f.HeaderBytes = (int16_t)(f.HeaderBytes + c.LineLength);
    int16_t last = (int16_t)c.LineLength;
    char word[kLineSize];
    if (f.HeaderPhase == kAwaitStatusLine && c.LineLength >= 4 && strncmp(c.Line, "HTTP", 4) == 0) {
        f.HeaderPhase = kReadingHeader;
        int16_t position = 0;
        NextWord(c.Line, position, last, word, sizeof word);
        if (NextWord(c.Line, position, last, word, sizeof word) > 0) sscanf(word, "%hd", &f.Status);
    }
    if (f.HeaderPhase != kReadingHeader) return 0;
    int16_t position = 0;
    if (NextWord(c.Line, position, last, word, sizeof word) == 0) {
        f.HeaderPhase = kHeaderDone;
        return 0;
    }
    for (char* p = word; *p; ++p)
        if (*p >= 'A' && *p <= 'Z') *p = (char)(*p - 'A' + 'a');
    char value[kLineSize];
    if (strcmp(word, "content-length:") == 0) {
        long length;
        if (NextWord(c.Line, position, last, value, sizeof value) > 0 && sscanf(value, "%ld", &length) == 1)
            f.ContentLength = (uint32_t)length;
    } else if (strcmp(word, "content-type:") == 0) {
        if (NextWord(c.Line, position, last, value, sizeof value) > 0) {
            if (strcmp(value, "text/html") != 0) f.IsHtml = 0;
            CopyText(f.ContentType, value);
        }
    }
    return 0;
}

void ProgressLine(int ch, uint32_t elapsed) {
    const Channel& c = Channels[ch];
    const FetchRecord* f = c.Fetch;
    if (!f || f->NoCrawl != 0 || Settings.Standard.Url != 1 || f->Status != 200) return;
    uint32_t length = f->ContentLength;
    if (length == kUnknownLength || length == 0) return;
    uint32_t received = c.RxBytes - (uint32_t)(int32_t)f->HeaderBytes;
    uint32_t percent = received * 100 / length;
    uint32_t rate = elapsed != 0 ? received / elapsed : 0;
    uint32_t remaining = rate != 0 ? (length - received) / rate : 99999;
    if ((int32_t)remaining > 99999 || (int32_t)remaining < 0) remaining = 99999;
    Print(MainWindow, "%03lu%c [%05lu Bytes/s] of %lu bytes, %05lu s %c", (unsigned long)percent, '%',
          (unsigned long)rate, (unsigned long)length, (unsigned long)remaining, 1);
}

void SwapInGrabTimeouts() {
    ServerSettings& s = Settings.Server;
    s.connectionTimeout = Settings.Url.ConnectionTimeout;
    s.WaitingTimeout = Grab.Timeouts.Waiting;
    s.LeavingTimeout = Settings.Url.LeavingTimeout;
    s.PurgingTimeout = Settings.Url.PurgingTimeout;
    s.SendingTimeout = Grab.Timeouts.Sending;
}

void RestoreServerTimeouts() {
    ServerSettings& s = Settings.Server;
    const ServerTimeouts& saved = Grab.Timeouts.Saved;
    s.LeavingTimeout = saved.Leaving;
    s.WaitingTimeout = saved.Waiting;
    s.SendingTimeout = saved.Sending;
    s.PurgingTimeout = saved.Purging;
    s.connectionTimeout = saved.Connection;
}

namespace {

// The response header of a grab ended: what follows in this block is body, and the output
// file is created afresh for it.
void HeaderDone(HWND window, Channel& c, const char* rest, int restLength) {
    FetchRecord& f = *c.Fetch;
    if (c.RxLogFile) fclose(c.RxLogFile);
    c.RxLogFile = nullptr;
    if (!(Settings.Server.ServerMode & ShowReceivedData) && f.Status != 0) {
        Print(window, "Status = %d", f.Status);
        if (f.ContentLength == kUnknownLength)
            Print(window, ", Data Length to be received = ?");
        else
            Print(window, ", Data Length to be received = %ld", (long)(int32_t)f.ContentLength);
        if (f.ContentType[0] != '\0') Print(window, "\nContent-Type: %s", f.ContentType);
        Print(window, "\n");
    }
    // The body is written over what the document's file holds (usually nothing by now): a
    // file emptied again would be forced out to the disk when the body is closed.
    c.RxLogFile = FileOpenAnew(ClientOutputFile);
    if (c.RxLogFile && restLength > 0) fwrite(rest, 1, (size_t)restLength, c.RxLogFile);
}

bool HeaderPending(const Channel& c) { return c.Fetch && c.Fetch->HeaderPhase != kHeaderDone; }

bool HeaderLine(HWND window, int ch, const char* rest, int restLength) {
    Channel& c = Channels[ch];
    ParseResponseHeader(window, ch);
    if (!c.Fetch || c.Fetch->HeaderPhase != kHeaderDone) return false;
    HeaderDone(window, c, rest, restLength);
    return true;
}

// A buffer-full line of a grab's header: a first line this long means there is no header at
// all and everything is body.
bool LongHeaderLine(int ch, int length) {
    FetchRecord& f = *Channels[ch].Fetch;
    if (f.HeaderPhase == kAwaitStatusLine) {
        f.HeaderPhase = kHeaderDone;
        return true;
    }
    f.HeaderBytes = (int16_t)(f.HeaderBytes + length);
    return false;
}

ChannelStatus SendRequest(HWND window, int ch) {
    const Channel& c = Channels[ch];
    if (!c.Fetch) return ChannelStatus::Wait;
    return SendaBuf(window, ch, c.Fetch->Request, (int16_t)strlen(c.Fetch->Request));
}

void Taken(int ch) {
    Channels[ch].Fetch = &Grab.Fetch;
    SwapInGrabTimeouts();
}

// The end of a fetch: retry it, or complete it and take the crawl's next step. Returns true
// when a new connection was started.
bool EndFetch(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (RetryFetch(ch)) return true;
    FetchComplete(window, ch);
    if (CrawlStep(window) == CrawlResult::Started) return true;
    if (c.Fetch) RestoreServerTimeouts();
    c.Fetch = nullptr;
    return false;
}

LogoutResult Logout(HWND window, int ch) {
    Channel& c = Channels[ch];
    if (!c.Fetch) {
        PrintByteCounts(window, c);
    } else if (c.Fetch->NoCrawl != 0) {
        PrintByteCounts(window, c);
        RestoreServerTimeouts();
        c.Fetch = nullptr;
    } else if (EndFetch(window, ch)) {
        return LogoutResult::FetchGoesOn;
    }
    return LogoutResult::Ended;
}

// Closing every Local Client stops the crawl: no further step is taken, and once the grab's
// connection is closed its link lists are given back.
void Abandon(int ch, bool closed) {
    FetchRecord* f = Channels[ch].Fetch;
    if (!f || f->NoCrawl != 0) return;
    f->CrawlFlags = 0;
    if (closed) ReleaseLinkLists();
}

// A grab's connection receives and sends through the server's routines.
const ChannelRole kGrabChannel = {
    ReceiveOnChannel, SendOnChannel, SendRequest,
    HeaderPending, HeaderLine, LongHeaderLine,
    Taken, Logout, Abandon,
    CheckCgiOfChannel, ProgressLine,
};

}  // namespace

void RegisterGrabRole() { RegisterRole(RoleKind::Grab, &kGrabChannel); }
