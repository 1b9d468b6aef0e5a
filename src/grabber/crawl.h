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

// Puts every crawl counter back to 0 and empties the page record the crawl works on.
void ResetCrawlState();

CrawlResult CrawlStep(HWND window);
