// The crawl driver.
//
// A grab is a chain of single fetches, one at a time; there is no queue and no loop that
// waits. After each fetch the step below runs in this order: the start page of a LEVEL_N grab
// is browsed for its links (once); the images of the page just fetched are listed and fetched
// one by one; the pages of the current level are fetched one by one, and when a level is
// complete its pages are browsed for the next level; after the last level its pages are
// marked to point at the local copies; then the end banner. Each part either returns after
// starting a connection or falls through to the next.
//
// The step can run nested inside itself: a fetch from "2mypc" completes inside OpenClient.
// Every counter and flag is therefore final before OpenClient is called, and nothing is done
// after a successful OpenClient but return.

#include "grabber/crawl.h"
#include "grabber/grab.h"

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "channel/channel.h"
#include "channel/sockets.h"
#include "grabber/fetch.h"
#include "grabber/page_pass.h"
#include "grabber/rewrite.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "settings/settings.h"


namespace {

// The PageList record of the page the crawl works on; it stays as read last.
UrlRecord Page;

bool Browsable(const UrlRecord& r) { return Settings.UrlRun.CheckHtmlHeader == 0 || r.isHtml != 0; }

// A five-digit counter, overwritten in place by the next one.
void Tick(HWND window, int n) { Print(window, "%05d\b\b\b\b\b", n); }

void CopyWorkBack() {
    char work[256];
    GrabFile(work, "tmp.txt");
    CopyFile(work, ClientOutputFile);
}

void UseLocalFile(const UrlRecord& r) { GrabFile(ClientOutputFile, r.localName); }

// Reads PageList record `index` into Page with the fetch's verdict on its type.
void RecordFetchedPage(int16_t index) {
    GetSet(&Page, kGetRecord, index, Grab.PageList.file);
    Page.isHtml = Grab.Fetch.IsHtml;
    GetSet(&Page, kSetRecord, index, Grab.PageList.file);
}

// Opens the connection of the document BuildRequest has prepared. False when no attempt
// could be started: the document is skipped.
bool OpenNext(HWND window) {
    if (OpenClient(window, Grab.Fetch.connectHost, 0, (uint16_t)Grab.Fetch.connectPort) >= 0) return true;
    if (RetryFetch(-1)) return true;
    Print(window, "0 bytes received\n");
    Print(window, "0 bytes sent\n");
    // OpenClient's failure has enabled the Server menu entry.
    EnableMenuItem(GetMenu(window), IDM_SERVER, MF_GRAYED);
    return false;
}

void PrepareFetch(const UrlRecord& r) {
    CopyText(Grab.Fetch.file, r.file);
    UseLocalFile(r);
    BuildRequest(r);
}

// The empty line that ends the request.
void EndRequest() {
    char* request = Grab.Fetch.Request;
    size_t used = strnlen(request, sizeof Grab.Fetch.Request - 1);
    snprintf(request + used, sizeof Grab.Fetch.Request - used, "\r\n");
}

void StartPageStep(HWND window) {
    Grab.Order = 0;
    Grab.Fetch.CrawlFlags &= (uint16_t)~kCrawlStartPage;
    Grab.PageCount = 1;
    Grab.PageIndex = 1;
    Grab.BrowsedUpTo = 1;
    RecordFetchedPage(0);
    if (Browsable(Page)) {
        Print(window, "Browsing Reference Page ...\n");
        BrowsePage(ClientOutputFile, Page.host, Page.base, 0, Settings.UrlRun.AddPageTrailer, Page.port);
        CopyWorkBack();
        Print(window, "Order %d, %d URL(s) detected\n", Grab.Order + 1, Grab.PageCount - 1);
    }
    if (Grab.PageCount > 1) Print(window, "Creating Html Pages... ");
    for (int16_t i = 1; i < Grab.PageCount; ++i) {
        Tick(window, i + 1);
        Url_Miss(i);
    }
    Print(window, "\n");
    if (Grab.PageCount > 1) {
        Grab.Fetch.CrawlFlags |= kCrawlLevels;
        Grab.PageIndex = 1;
    } else {
        Grab.PageCount = 0;
        Grab.PageIndex = 0;
    }
}

// The page just fetched: its record, then its images listed and stand-in files made for
// them. Returns true when a batch of images is to be fetched.
bool ListImages(HWND window) {
    FetchRecord& f = Grab.Fetch;
    // In a LEVEL_N grab the image list grows from page to page; it starts afresh only with
    // the start page.
    if (!(f.CrawlFlags & kCrawlLevels) || Grab.PageIndex == 1) {
        Grab.ImageCount = 0;
        Grab.ImagesDone = 0;
    }
    if (Grab.ImageGrab == 1) {
        RecordFetchedPage(0);
        if (Browsable(Page)) {
            Print(window, "Marking Reference Page ...\n");
            MarkPage(ClientOutputFile, Page.host, Page.base, kMarkAbsolute, 0, Settings.UrlRun.AddPageTrailer, Page.port);
            CopyWorkBack();
        }
    } else if (Grab.PageIndex >= 1) {
        RecordFetchedPage((int16_t)(Grab.PageIndex - 1));
    }
    if (Browsable(Page)) {
        Print(window, "Browsing Image(s) ...\n");
        ImgBrowser(ClientOutputFile, f.host, f.base, Tags.ImageTags, f.port);
        CopyWorkBack();  // whatever the pass wrote, or what tmp.txt last held
        Print(window, "%d image(s) detected\n", Grab.ImageCount - Grab.ImagesDone);
    }
    for (int16_t i = Grab.ImagesDone; i < Grab.ImageCount; ++i) Url_Empty(i, 0);
    bool batch = Grab.ImageCount != Grab.ImagesDone;
    if (batch) {
        f.CrawlFlags |= kCrawlImageBatch;
        Grab.ImagesPending = (int16_t)(Grab.ImageCount - Grab.ImagesDone);
        Grab.ImageIndex = Grab.ImagesDone;
    } else {
        f.CrawlFlags &= (uint16_t)~kCrawlImageBatch;
    }
    Grab.ImagesDone = Grab.ImageCount;
    return batch;
}

// The next image of the batch; false when the batch is over.
bool FetchNextImage(HWND window) {
    for (++Grab.ImageIndex; Grab.ImageIndex <= Grab.ImageCount; ++Grab.ImageIndex) {
        UrlRecord r;
        GetSet(&r, kGetRecord, (int16_t)(Grab.ImageIndex - 1), Grab.ImageList.file);
        PrepareFetch(r);
        Print(window, "\nasking for image %s%s [%d/%d], save as %s\n", Grab.Fetch.base, Grab.Fetch.file, Grab.ImageIndex,
              Grab.ImageCount, ClientOutputFile);
        EndRequest();
        ClientConnected = 0;
        Grab.RetriesLeft = Settings.Url.Retry;
        ClientOpen = 2;
        if (OpenNext(window)) return true;
    }
    return false;
}

CrawlResult ImageStep(HWND window) {
    if (!(Grab.Fetch.CrawlFlags & kCrawlImageBatch) && !ListImages(window)) return CrawlResult::Ended;
    return FetchNextImage(window) ? CrawlResult::Started : CrawlResult::Ended;
}

// Browses the pages of the level just fetched (records BrowsedUpTo .. PageIndex - 2) for the
// next level, and makes stand-by pages for what they found.
void BrowseLevel(HWND window) {
    Print(window, "Browsing Html Pages...");
    for (int16_t j = Grab.BrowsedUpTo; j <= Grab.PageIndex - 2; ++j) {
        GetSet(&Page, kGetRecord, j, Grab.PageList.file);
        if (!Browsable(Page)) continue;
        Tick(window, j);
        UseLocalFile(Page);
        BrowsePage(ClientOutputFile, Page.host, Page.base, j, Settings.UrlRun.AddPageTrailer, Page.port);
        CopyWorkBack();
    }
    Print(window, "\n");
    Grab.BrowsedUpTo = (int16_t)(Grab.PageIndex - 1);
    Print(window, "Order n\xB0%d, %d URL(s) detected\n", Grab.Order + 1, Grab.PageCount - Grab.PageIndex + 1);
    if (Grab.BrowsedUpTo != Grab.PageCount) Print(window, "Creating Html Pages...");
    for (int16_t i = Grab.BrowsedUpTo; i < Grab.PageCount; ++i) {
        Tick(window, i);
        Url_Miss(i);
    }
    Print(window, "\n");
}

// The last level's pages are not browsed: their links are pointed at the local copies where
// those exist, and made absolute elsewhere.
void ClosingStep(HWND window) {
    if (Grab.BrowsedUpTo < Grab.PageIndex - 1) Print(window, "Closing Http Pages ...");
    for (int16_t j = Grab.BrowsedUpTo; j <= Grab.PageIndex - 2; ++j) {
        GetSet(&Page, kGetRecord, j, Grab.PageList.file);
        if (!Browsable(Page)) continue;
        Tick(window, j);
        UseLocalFile(Page);
        MarkPage(ClientOutputFile, Page.host, Page.base, kMarkLocal, j, Settings.UrlRun.AddPageTrailer, Page.port);
        CopyWorkBack();
    }
    Print(window, "\n");
}

CrawlResult LevelStep(HWND window) {
    if (++Grab.PageIndex > Grab.PageCount + 1) return CrawlResult::Ended;
    for (;;) {
        if (Grab.PageIndex == Grab.PageCount + 1) {
            if (++Grab.Order >= Settings.UrlRun.Levels) {
                ClosingStep(window);
                return CrawlResult::Ended;
            }
            BrowseLevel(window);
            if (Grab.PageIndex == Grab.PageCount + 1) {
                ClosingStep(window);  // no new page
                return CrawlResult::Ended;
            }
        }
        GetSet(&Page, kGetRecord, (int16_t)(Grab.PageIndex - 1), Grab.PageList.file);
        if (Grab.Fetch.CrawlFlags & kCrawlImages) Grab.Fetch.CrawlFlags &= (uint16_t)~kCrawlImageBatch;
        PrepareFetch(Page);
        Print(window, "\nasking for document %s%s [%d/%d], save as %s\n", Grab.Fetch.base, Grab.Fetch.file, Grab.PageIndex,
              Grab.PageCount, ClientOutputFile);
        EndRequest();
        ClientOpen = 2;
        ClientConnected = 0;
        Grab.RetriesLeft = Settings.Url.Retry;
        if (OpenNext(window)) return CrawlResult::Started;
        if (++Grab.PageIndex > Grab.PageCount + 1) return CrawlResult::Ended;
    }
}

CrawlResult EndStep(HWND window) {
    Grab.Fetch.CrawlFlags = 0;
    ReleaseLinkLists();
    Print(window, "*************\n");
    Print(window, "* End Of URL* Reference= %s\n", Grab.ReferenceName);
    Print(window, "*************\n");
    if (BatchMode) PostQuitMessage(0);
    return CrawlResult::Ended;
}

}  // namespace

void ResetCrawlState() {
    Grab.ImageGrab = 0;
    Grab.Order = 0;
    Grab.PageIndex = 0;
    Grab.BrowsedUpTo = 0;
    Grab.ImagesDone = 0;
    Grab.ImageIndex = 0;
    Grab.ImagesPending = 0;
    Page = UrlRecord{};
}

CrawlResult CrawlStep(HWND window) {
    if (Grab.Fetch.CrawlFlags & kCrawlStartPage) StartPageStep(window);
    if ((Grab.Fetch.CrawlFlags & kCrawlImages) && ImageStep(window) == CrawlResult::Started)
        return CrawlResult::Started;
    if ((Grab.Fetch.CrawlFlags & kCrawlLevels) && LevelStep(window) == CrawlResult::Started)
        return CrawlResult::Started;
    return EndStep(window);
}
