// The crawl driver: the step that runs after each fetch of a grab has ended and been
// completed. It updates the list record of the document just fetched, lets the rewriting find
// the links and images of the pages that arrived, and starts the next fetch, or closes the
// grab with its banner.
#pragma once

#include "platform/wintypes.h"

enum class CrawlResult { Started, Ended };

CrawlResult CrawlStep(HWND window);

// Closes the two link-list files and frees their caches (each only if present).
void ReleaseLinkLists();
