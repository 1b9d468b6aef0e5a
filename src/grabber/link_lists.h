// The two link lists of a crawl: PageList (file http.tmp) and ImageList (file img.tmp), files
// of 514-byte URL records in Url.HomeDir, each read and written only through GetSet and its
// one-block memory cache. They exist from the start of a grab to its end banner.
#pragma once

#include <cstdint>
#include <cstdio>

#include "grabber/url.h"

constexpr int kRecordsPerBlock = 64;

struct LinkList {
    FILE* file;
    UrlRecord* cache;  // one block of 64 records, or null: direct reads and writes
    int16_t block;     // the block number the cache holds
};


// Values of GetSet's op.
enum : uint16_t { kGetRecord = 0, kSetRecord = 1 };

// Writes (op 1) or reads (any other op) record `index` of the list whose file is `list`.
// Returns 1, or 0 when list is not one of the two lists' files.
int16_t GetSet(UrlRecord* record, uint16_t op, int16_t index, FILE* list);

// Creates http.tmp and img.tmp in Url.HomeDir with their caches. Returns false (after its
// message) when a file cannot be created; a cache that cannot be had is only reported.
bool OpenLinkLists();

// Closes the two link-list files and frees their caches (each only if present).
void ReleaseLinkLists();
