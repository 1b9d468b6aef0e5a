// The one grab of the program: everything it keeps from StartFetch to its end banner. The
// fetch of the current document and the grab's time limits; the start page that the link
// scopes compare with; the crawl's counters between two fetches; the two link lists; and the
// URL last chosen in the URL Browser.
#pragma once

#include <cstdint>

#include "grabber/fetch.h"
#include "grabber/link_lists.h"

constexpr int kSelectedUrlSize = 512;

struct GrabRecord {
    FetchRecord Fetch;       // the document being fetched, attached to the channel that carries it
    GrabTimeouts Timeouts;
    int16_t GrabActive;      // 1 from StartFetch on; STOP clears it, which stops every retry
    int16_t RetriesLeft;     // attempts left for the current document

    ReferencePage ReferenceUrl;  // the start page, as the link-scope tests compare with it
    char ReferenceName[200];     // local name of the start page, shown by the end banner
    char HomeBase[208];          // Url.HomeDir and a '/', every backslash turned into '/'

    // The crawl between two fetches.
    int16_t ImageGrab;      // 1 for a page-and-images grab: the start page is marked, not browsed
    int16_t Order;          // levels completed
    int16_t PageIndex;      // 1-based number of the PageList record being fetched
    int16_t BrowsedUpTo;    // first PageList record not yet browsed for links
    int16_t ImagesDone;     // ImageList records already taken into a batch
    int16_t ImageIndex;     // 1-based number of the ImageList record being fetched
    int16_t ImagesPending;  // size of the current image batch

    LinkList PageList;
    LinkList ImageList;
    int16_t PageCount;   // records in PageList; record 0 is the start page
    int16_t ImageCount;  // records in ImageList

    char SelectedUrl[kSelectedUrlSize];  // the URL chosen in the URL Browser, "http://" included
};

extern GrabRecord Grab;
