// One document from a web server into a local file: the start of a grab, the request, the
// retries and the completion report, and the small file routines of the grabber.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "platform/wintypes.h"

struct UrlRecord;

// Kinds of grab.
enum : int16_t {
    kFetchText = 0,    // one document shown on the console
    kFetchBinary = 1,  // one document saved
    kFetchImages = 2,  // the page and its images
    kFetchLevels = 3,  // N levels of links
    kFetchSaveAs = 4,  // one document saved under a given name
};

// HeaderPhase values.
constexpr uint16_t kAwaitStatusLine = 0xFFFF;
constexpr uint16_t kReadingHeader = 0xFFFE;
constexpr uint16_t kHeaderDone = 0;
constexpr uint32_t kUnknownLength = 0xFFFFFFFF;

// Bits of CrawlFlags.
constexpr uint16_t kCrawlImages = 0x01;
constexpr uint16_t kCrawlImageBatch = 0x02;
constexpr uint16_t kCrawlStartPage = 0x04;
constexpr uint16_t kCrawlLevels = 0x08;

// The grabber's one fetch, attached to the Local Client channel that carries it.
struct FetchRecord {
    char host[80];
    char base[208];
    char file[208];
    char connectHost[80];
    int16_t connectPort;
    int16_t port;
    char Request[706];
    uint16_t NoCrawl;
    uint16_t CrawlFlags;
    uint16_t HeaderPhase;
    int16_t Status;
    int16_t HeaderBytes;
    uint32_t ContentLength;
    uint8_t IsHtml;
    char ContentType[81];
};

// The server's time limits, which a grab's connections replace with their own while it runs.
struct ServerTimeouts {
    int16_t Leaving;
    int16_t Waiting;
    int16_t Sending;
    int16_t Purging;
    int16_t Connection;
};

// The time limits of a grab: the server's as they were when it started, restored when it
// ends. Each time one of its connections is opened the grab's own are put in their place: the
// waiting and sending limits fixed when it started, the others as [Url] says at that moment.
struct GrabTimeouts {
    ServerTimeouts Saved;
    int16_t Waiting;
    int16_t Sending;
};


// The start page of the grab, as the link-scope tests compare with it.
struct ReferencePage {
    char base[208];
    char host[81];
    int16_t port;
};

// Start-up: empties the grab's current URL record and its crawl state words.
void ResetGrabDefaults();

// Starts a grab; 1 when the first connection was started, 0 when the grab could not start.
int16_t StartFetch(int16_t kind, const char* url, const char* saveName);
int16_t BuildRequest(UrlRecord record);
// Keeps the server's time limits and works out the grab's own (at the start of a grab).
void TakeGrabTimeouts();
// 1 when a new connection for the same document was started. ch is the channel of the attempt
// that ended, or -1 when OpenClient has just failed.
int16_t RetryFetch(int ch);
void FetchComplete(HWND window, int ch);

// The file routines of the grabber.

// Copies source over target in blocks of 512 bytes; 1, or 0 after a message.
int16_t CopyFile(const char* source, const char* target);
// Cuts an open file at its current position: 1 cut (through scratch, then copied over
// target), 0 nothing to cut, -1 failed. The file is always closed on return.
int16_t CheckFileEnd(FILE* file, const char* target, const char* scratch);
// dir, the separator and name, cut to the buffer; returns buffer.
char* PathJoin(char* buffer, size_t size, const char* dir, const char* name);
template <size_t N>
char* PathJoin(char (&buffer)[N], const char* dir, const char* name) {
    return PathJoin(buffer, N, dir, name);
}
// The part of a path after its last slash or backslash; the whole path when there is neither.
const char* BaseName(const char* path);
void ToDosSlashes(char* text);
void ToUnixSlashes(char* text);
