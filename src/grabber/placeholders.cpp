// What stands in a page's or an image's place until it has been fetched, and the trailer
// that tells a reader of a saved page where it came from.

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "grabber/fetch.h"
#include "grabber/grab.h"
#include "grabber/link_lists.h"
#include "grabber/page_pass.h"
#include "grabber/rewrite.h"
#include "platform/files.h"

namespace {

constexpr const char* kCredit = "Page saved by korvel, the network toolkit";
constexpr const char* kArchives =
    "<A HREF=\"ftp://ftp.korvel.org/pub/korvel/\">ftp.korvel.org</A>-or-"
    "<A HREF=\"ftp://mirror.korvel.org/pub/korvel/\">mirror.korvel.org</A>";

}  // namespace

void WritePageTrailer(FILE* file, int16_t index) {
    UrlRecord r;
    if (!GetSet(&r, kGetRecord, index, Grab.PageList.file)) return;
    fprintf(file, "<HR><center> URL: http://%s", r.host);
    if (r.port != 80) fprintf(file, ":%u", (unsigned)(int32_t)r.port);
    fprintf(file, "%s%s</center>", r.base, r.file);
    fprintf(file, "<center>%s</center>", kCredit);
    fprintf(file, "<center>%s</center><HR>", kArchives);
}

int16_t Url_Empty(int16_t index, int16_t isPage) {
    UrlRecord r;
    if (!GetSet(&r, kGetRecord, index, isPage ? Grab.PageList.file : Grab.ImageList.file)) return 0;
    char path[256];
    GrabFile(path, r.localName);
    FILE* file = FileOpen(path, "w+b");
    if (!file) {
        Print(MainWindow, "Url_Empty unable to open %s\n", path);
        return 0;
    }
    fclose(file);
    return 1;
}

int16_t Url_Miss(int16_t index) {
    UrlRecord r;
    if (!GetSet(&r, kGetRecord, index, Grab.PageList.file)) return 0;
    char work[256], path[256];
    GrabFile(work, "tmp.txt");
    FILE* file = FileOpenAnew(work);
    if (!file) {
        Print(MainWindow, "Url_Miss unable to open %s\n", work);
        return 0;
    }
    WritePageTrailer(file, index);
    fclose(file);
    GrabFile(path, r.localName);
    return CopyFile(work, path);
}
