#include "server/mailbox.h"

#include <cstdio>

#include "platform/files.h"

namespace {

const int kCopyBlock = 512;

void CopyPosts(FILE* raw, FILE* page) {
    char block[kCopyBlock];
    size_t n;
    while ((n = fread(block, 1, sizeof block, raw)) > 0) fwrite(block, 1, n, page);
}

}  // namespace

void MailboxPage(const char* rawPath, const char* pagePath) {
    FILE* raw = FileOpen(rawPath, "rt");
    if (!raw) return;
    FILE* page = FileOpen(pagePath, "w+t");
    if (!page) {
        fclose(raw);
        return;
    }
    fprintf(page, "%s\n", "<html><head><TITLE>Mailbox</TITLE></head>");
    // The heading's rule opens the list: each post brings the rule that follows it.
    fprintf(page, "%s\n<HR>",
            "<body><H1><IMG ALIGN=top SRC =\"korvel.gif\"> <A HREF=\"home.htm\">Korvel</A>Mailbox</H1>");
    CopyPosts(raw, page);
    fprintf(page, "%s\n", "</body></html>");
    fclose(raw);
    fclose(page);
}
