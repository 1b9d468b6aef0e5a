// The HTML scanner and every rewriting pass, over a page as a crawl treats it: browsed for
// pages, browsed for images, the placeholders of what it listed, then marked for local
// reading and marked absolute. Each pass reads the page and writes tmp.txt in Url.HomeDir,
// which is copied over the page before the next one, as the crawl does.
//
// Input: two option bytes, then the page.
// First: 1 the page comes from this PC's disk ("2mypc", in the grab's own directory), 2 at most
// three pages and three images are listed, 4 a tag.map with more tags (some commented out)
// replaces the built-in tables, 8 every page gets its trailer.
// Second: its low two bits are the link scope (Url.All), 4 gives the page the port 8080, 8 the
// link lists work without their caches (as when they cannot be allocated).

#include <string>

#include "base/textio.h"
#include "fuzz/harness.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "grabber/link_lists.h"
#include "grabber/rewrite.h"
#include "grabber/tags.h"
#include "grabber/url.h"
#include "settings/settings.h"
#include "support/program_state.h"

namespace {

constexpr const char* kRichTagMap =
    "; pages, marks and images of a richer site\r\n"
    "U <a href=\n"
    "U <area href=\n"
    "U <frame src=\n"
    "U <iframe src=\n"
    "M <base href= Y\n"
    "M <form action=\n"
    "M <meta content= Y\n"
    "I <img src=\n"
    "I <body background=\n"
    "I <input src=\n"
    "I <script src=\n"
    "I <link href=\n";

constexpr const char* kPage = "page.htm";

struct PageSite {
    const char* host;
    const char* base;
    int16_t port;
};

void StartGrabOf(const PageSite& site, bool cached) {
    CopyText(Grab.ReferenceUrl.host, site.host);
    CopyText(Grab.ReferenceUrl.base, site.base);
    Grab.ReferenceUrl.port = site.port;
    if (!OpenLinkLists()) return;
    if (!cached) {
        for (LinkList* list : {&Grab.PageList, &Grab.ImageList}) {
            delete[] list->cache;
            list->cache = nullptr;
        }
    }
    UrlRecord start = testing_support::Record(site.host, site.base, "index.htm", site.port, "01index.htm");
    start.isHtml = 1;
    GetSet(&start, kSetRecord, 0, Grab.PageList.file);
    Grab.PageCount = 1;
    CopyText(Settings.UrlRun.Index, "01");
}

// What a pass wrote in tmp.txt becomes the page.
void TakeOutput() {
    std::string work = fuzzing::WorkDir() + "/tmp.txt";
    CopyFile(work.c_str(), kPage);
}

void Passes(const PageSite& site, int16_t trailer) {
    BrowsePage(kPage, site.host, site.base, 0, trailer, site.port);
    TakeOutput();
    ImgBrowser(kPage, site.host, site.base, Tags.ImageTags, site.port);
    TakeOutput();
    for (int16_t i = 1; i < Grab.PageCount; ++i) Url_Miss(i);
    for (int16_t i = 0; i < Grab.ImageCount; ++i) Url_Empty(i, 0);
    MarkPage(kPage, site.host, site.base, kMarkLocal, 0, trailer, site.port);
    TakeOutput();
    MarkPage(kPage, site.host, site.base, kMarkAbsolute, 0, 0, site.port);
    TakeOutput();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::Input in(data, size);
    unsigned options = fuzzing::Options(in);
    unsigned more = fuzzing::Options(in);
    fuzzing::BeginInput();
    if (options & 4) {
        fuzzing::WriteFile("tag.map", kRichTagMap);
        TAGinit();
    }
    if (options & 2) {
        Settings.Url.MaxURL = 3;
        Settings.Url.MaxIMG = 3;
    }
    Settings.Url.All = (int16_t)(more & 3);
    CopyText(Settings.Url.HomeDir, fuzzing::WorkDir().c_str());
    snprintf(Grab.HomeBase, sizeof Grab.HomeBase, "%s/", fuzzing::WorkDir().c_str());
    bool fromDisk = (options & 1) != 0;
    PageSite site{fromDisk ? kLocalHost : "127.0.0.1", fromDisk ? Grab.HomeBase : "/a/b/",
                  (int16_t)((more & 4) ? 8080 : 80)};
    StartGrabOf(site, (more & 8) == 0);
    fuzzing::WriteFile(kPage, in.Rest());
    if (Grab.PageList.file) Passes(site, (options & 8) ? 1 : 0);
    fuzzing::EndInput();
    return 0;
}
