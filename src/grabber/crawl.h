// The crawl driver: the step that runs after each fetch of a grab has ended and been
// completed. It updates the list record of the document just fetched, lets the rewriting find
// the links and images of the pages that arrived, and starts the next fetch, or closes the
// grab with its banner.
#pragma once

#include <cstdint>

#include "grabber/link_lists.h"
#include "platform/wintypes.h"

enum class CrawlResult { Started, Ended };

// Crawl state between two fetches.
extern int16_t ImageGrab;      // 1 for a page-and-images grab: the start page is marked, not browsed
extern int16_t Order;          // levels completed
extern int16_t PageIndex;      // 1-based number of the PageList record being fetched
extern int16_t BrowsedUpTo;    // first PageList record not yet browsed for links
extern int16_t ImagesDone;     // ImageList records already taken into a batch
extern int16_t ImageIndex;     // 1-based number of the ImageList record being fetched
extern int16_t ImagesPending;  // size of the current image batch

// Puts every crawl counter back to 0 and empties the page record the crawl works on.
void ResetCrawlState();

CrawlResult CrawlStep(HWND window);
