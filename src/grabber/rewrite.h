// Page rewriting: the passes that stream a saved page through Detect and give its links new
// values, as the local copy's name, an absolute URL, a file: URL or unchanged. During a crawl
// they also decide which pages and images are fetched and list them in PageList and
// ImageList. Every pass writes the new page into tmp.txt in Url.HomeDir; the caller copies
// it to wherever the page belongs.
#pragma once

#include <cstdint>
#include <cstdio>

#include "grabber/tags.h"

// The pseudo host that stands for this PC's own disk.
constexpr const char* kLocalHost = "2mypc";

// Cuts file at its first '#'; anchor (kUrlFileSize bytes) gets the text from the '#' on, or "".
void SplitAnchor(char* file, char* anchor);

// Modes of UrlMarker.
enum : int16_t { kMarkAbsolute = 0, kMarkLocal = 1 };

// Makes the links of `table` absolute (mode 0), or points them at the local copies that
// PageList has (mode 1); appends the trailer of PageList entry trailerIndex when trailer is
// not 0. Returns 1, or 0 when a file cannot be opened.
int16_t UrlMarker(const char* page, const char* host, const char* base, int16_t mode, int16_t trailerIndex,
                  int16_t trailer, const TagTable& table, int16_t port);
// The crawl's page pass: lists the pages to fetch and points their links at the local names.
int16_t UrlBrowser(const char* page, const char* host, const char* base, int16_t trailerIndex, int16_t trailer,
                   const TagTable& table, int16_t port);
// The crawl's image pass. Returns 1 when it rewrote at least one link.
int16_t ImgBrowser(const char* page, const char* host, const char* base, const TagTable& table, int16_t port);

// The marker pass over MarkTags, then UrlMarker over UrlTags in `mode`.
int16_t MarkPage(const char* page, const char* host, const char* base, int16_t mode, int16_t trailerIndex,
                 int16_t trailer, int16_t port);
// The marker pass over MarkTags, then UrlBrowser over UrlTags.
int16_t BrowsePage(const char* page, const char* host, const char* base, int16_t trailerIndex, int16_t trailer,
                   int16_t port);

// An empty file under the local name of entry `index` of PageList (isPage) or ImageList.
int16_t Url_Empty(int16_t index, int16_t isPage);
// A stand-by page, holding only its trailer, under the local name of PageList entry `index`.
int16_t Url_Miss(int16_t index);
// The trailer of PageList entry `index`, written at the current position of file.
void WritePageTrailer(FILE* file, int16_t index);

