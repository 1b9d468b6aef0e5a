// The Mailbox page: form posts are appended to a raw file, and after each post the page that
// the server itself can serve is rebuilt whole from it.
#pragma once

// Rebuilds the page from the raw file: a heading, every post in arrival order (each ends with
// its own rule), the closing tags. A raw file or page that cannot be opened is skipped.
void MailboxPage(const char* rawPath, const char* pagePath);
