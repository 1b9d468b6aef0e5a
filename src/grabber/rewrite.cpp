// The rewriting passes.
//
// UrlMarker makes the links of a page absolute, or points them at the local copies that
// PageList has; it is how a page is prepared to be read from the disk without being crawled
// further. UrlBrowser is the crawl's page pass: within the link scope (Url.All) it lists every
// new page, up to Url.MaxURL, and gives its link the local name. ImgBrowser does the same for
// images, up to Url.MaxIMG, and stops the page right there when the limit is reached.

#include "grabber/grab.h"
#include "grabber/rewrite.h"

#include <cstring>

#include "base/textio.h"
#include "grabber/fetch.h"
#include "grabber/link_lists.h"
#include "grabber/page_pass.h"
#include "settings/settings.h"

namespace {

bool IsLocalHost(const char* host) { return strcmp(host, kLocalHost) == 0; }

void MarkLink(PagePass& pass, const char* host, const char* base, int16_t mode, int16_t port) {
    const char* value = pass.Value();
    Link link;
    if (value[0] == '#' || !AnalyseLink(value, base, link)) return;
    if (!link.relative && (mode == kMarkAbsolute || !IsHttp(link))) return;
    if (link.relative) CompleteLink(link, host, port);
    UrlRecord entry;
    char anchor[kUrlFileSize] = "";
    bool found = false;
    if (mode == kMarkLocal) {
        Link plain = link;
        SplitAnchor(plain.file, anchor);
        found = FindRecord(Grab.PageList, Grab.PageCount, plain, &entry);
    }
    FILE* out = pass.Rewrite();
    if (found)
        fprintf(out, "%s%s", entry.localName, anchor);
    else
        WriteFullLink(out, link);  // the anchor stays in the file part
    fputc('"', out);
}

// A link outside the scope of the grab: the same host as the start page is required unless
// Url.All is 1 (All); SamePath wants the start page's base, DownPath a base below it.
enum Scope { kInScope, kOtherHost, kOtherPath };

Scope LinkScope(const Link& link) {
    if (Settings.Url.All == 1) return kInScope;
    if (strcmp(link.host, Grab.ReferenceUrl.host) != 0) return kOtherHost;
    const char* start = Grab.ReferenceUrl.base;
    if (Settings.Url.All == 2 && strcmp(link.base, start) != 0) return kOtherPath;
    if (Settings.Url.All == 3 && strncmp(link.base, start, strlen(start)) != 0) return kOtherPath;
    return kInScope;
}

void BrowseLink(PagePass& pass, const char* host, const char* base, int16_t port) {
    const char* value = pass.Value();
    Link link;
    if (value[0] == '#' || !AnalyseLink(value, base, link)) return;
    if (!link.relative && !IsHttp(link)) return;
    bool localPage = IsLocalHost(host);
    if (link.relative) {
        if (localPage) return;
        CompleteLink(link, host, port);
    }
    if (!localPage) {
        Scope scope = LinkScope(link);
        if (scope == kOtherHost) return;
        if (scope == kOtherPath) {
            FILE* out = pass.Rewrite();
            WriteAbsolute(out, link.host, link.port, link.base, link.file);
            fputc('"', out);
            return;
        }
    }
    char anchor[kUrlFileSize];
    SplitAnchor(link.file, anchor);
    UrlRecord entry;
    bool found = FindRecord(Grab.PageList, Grab.PageCount, link, &entry);
    // The start page is entry 0, so the list can hold Url.MaxURL pages besides it.
    bool added = !found && Grab.PageCount <= Settings.Url.MaxURL;
    if (added) {
        entry = NewRecord(link, Unix2dosName(link.file, 1));
        GetSet(&entry, kSetRecord, Grab.PageCount, Grab.PageList.file);
    }
    FILE* out = pass.Rewrite();
    if (found || added)
        fprintf(out, "%s%s", entry.localName, anchor);
    else
        WriteAbsolute(out, link.host, link.port, link.base, link.file);
    fputc('"', out);
    if (added) ++Grab.PageCount;
}

// Returns true when the image limit has been reached with this link.
bool ImageLink(PagePass& pass, const char* host, const char* base, int16_t port, bool& rewrote) {
    Link link;
    if (!AnalyseLink(pass.Value(), base, link)) return false;
    if (!link.relative && !IsHttp(link)) return false;
    bool relative = link.relative;
    if (relative) CompleteLink(link, host, port);
    FILE* out = pass.Rewrite();
    rewrote = true;
    if (relative && IsLocalHost(host)) {
        WriteFullLink(out, link);
        fputc('"', out);
        return false;
    }
    UrlRecord entry;
    bool added = !FindRecord(Grab.ImageList, Grab.ImageCount, link, &entry);
    if (added) {
        entry = NewRecord(link, Unix2dosName(link.file, 0));
        GetSet(&entry, kSetRecord, Grab.ImageCount, Grab.ImageList.file);
    }
    fprintf(out, "%s\"", entry.localName);
    if (!added) return false;
    ++Grab.ImageCount;
    return Grab.ImageCount >= Settings.Url.MaxIMG;
}

}  // namespace

void SplitAnchor(char* file, char* anchor) {
    anchor[0] = '\0';
    if (file[0] == '\0') return;
    if (char* hash = strchr(file, '#')) {
        snprintf(anchor, kUrlFileSize, "%s", hash);
        *hash = '\0';
    }
}

int16_t UrlMarker(const char* page, const char* host, const char* base, int16_t mode, int16_t trailerIndex,
                  int16_t trailer, const TagTable& table, int16_t port) {
    PagePass pass(table);
    if (!pass.Open(page, true, "UrlMarker unable to open %s\n", "UrlMarker unable to open %s\n")) return 0;
    while (pass.NextTag()) {
        if (table.CommentOut[pass.Entry()]) {
            pass.CommentOut();
            continue;
        }
        PagePass::ValueResult read = pass.ReadValue();
        if (read == PagePass::kPageEnd) break;
        if (read == PagePass::kValueRead) MarkLink(pass, host, base, mode, port);
    }
    pass.Finish(trailer, trailerIndex);
    return 1;
}

int16_t UrlBrowser(const char* page, const char* host, const char* base, int16_t trailerIndex, int16_t trailer,
                   const TagTable& table, int16_t port) {
    PagePass pass(table);
    if (!pass.Open(page, true, "UrlBrowser, Unable to open %s\n", "UrlBrowser, Unable to open %s\n")) return 0;
    while (pass.NextTag()) {
        PagePass::ValueResult read = pass.ReadValue();
        if (read == PagePass::kPageEnd) break;
        if (read == PagePass::kValueRead) BrowseLink(pass, host, base, port);
    }
    pass.Finish(trailer, trailerIndex);
    return 1;
}

int16_t ImgBrowser(const char* page, const char* host, const char* base, const TagTable& table, int16_t port) {
    if (Grab.ImageCount >= Settings.Url.MaxIMG) return 0;
    PagePass pass(table);
    if (!pass.Open(page, false, "ImgBrowser, Unable to open %s\n", "ImgBrowser Unable to open %s\n")) return 0;
    bool rewrote = false;
    while (pass.NextTag()) {
        PagePass::ValueResult read = pass.ReadValue();
        if (read == PagePass::kPageEnd) break;
        // A page with more images than the limit keeps only its head.
        if (read == PagePass::kValueRead && ImageLink(pass, host, base, port, rewrote)) break;
    }
    pass.Finish(0, 0);
    return rewrote ? 1 : 0;
}

int16_t MarkPage(const char* page, const char* host, const char* base, int16_t mode, int16_t trailerIndex,
                 int16_t trailer, int16_t port) {
    char first[256], second[256];
    GrabFile(first, "tmp.txt");
    GrabFile(second, "tmp2.txt");
    UrlMarker(page, host, base, kMarkAbsolute, trailerIndex, 0, Tags.MarkTags, port);
    CopyFile(first, second);
    return UrlMarker(second, host, base, mode, trailerIndex, trailer, Tags.UrlTags, port);
}

int16_t BrowsePage(const char* page, const char* host, const char* base, int16_t trailerIndex, int16_t trailer,
                   int16_t port) {
    char first[256], second[256];
    GrabFile(first, "tmp.txt");
    GrabFile(second, "tmp2.txt");
    UrlMarker(page, host, base, kMarkAbsolute, trailerIndex, 0, Tags.MarkTags, port);
    CopyFile(first, second);
    return UrlBrowser(second, host, base, trailerIndex, trailer, Tags.UrlTags, port);
}
