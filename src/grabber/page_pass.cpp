#include "grabber/grab.h"
#include "grabber/page_pass.h"

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "grabber/fetch.h"
#include "grabber/rewrite.h"
#include "platform/files.h"
#include "settings/settings.h"

void GrabFile(char* path, size_t size, const char* name) { PathJoin(path, size, Settings.Url.HomeDir, name); }

PagePass::~PagePass() {
    if (page_) fclose(page_);
    if (out_) fclose(out_);
}

bool PagePass::Open(const char* page, bool outputFirst, const char* pageMessage, const char* outputMessage) {
    char output[256];
    GrabFile(output, "tmp.txt");
    for (int step = 0; step < 2; ++step) {
        bool outputStep = (step == 0) == outputFirst;
        FILE*& file = outputStep ? out_ : page_;
        const char* path = outputStep ? output : page;
        file = outputStep ? FileOpenAnew(path) : FileOpen(path, "rb");
        if (!file) {
            Print(MainWindow, outputStep ? outputMessage : pageMessage, path);
            return false;
        }
    }
    return true;
}

bool PagePass::NextTag() {
    tagBytes_ = Detect(page_, table_, 0, 1, 0, nullptr, 0, out_, 1, &entry_, DetectTag);
    return tagBytes_ > 0;
}

void PagePass::CommentOut() {
    fseek(out_, -tagBytes_, SEEK_CUR);
    fprintf(out_, "<!%s", table_.Tag[entry_] + 1);
}

PagePass::ValueResult PagePass::ReadValue() {
    int16_t found = Detect(page_, table_, 0, 0, 0, nullptr, 0, out_, 1, &entry_, DetectAttribute);
    if (found == kDetectTagEnded) return kNoValue;
    if (found == kDetectEnd) return kPageEnd;
    value_[0] = '\0';
    valueBytes_ = Detect(page_, table_, 0, 0, 1, value_, kDetectValueSize, out_, 1, &entry_, DetectValue);
    if (valueBytes_ == kDetectTooLarge) return kNoValue;
    if (valueBytes_ <= 0) return kPageEnd;
    size_t length = strlen(value_);
    if (length > 0) value_[length - 1] = '\0';  // the terminator
    return kValueRead;
}

FILE* PagePass::Rewrite() {
    fseek(out_, -valueBytes_, SEEK_CUR);
    fputc('"', out_);
    return out_;
}

void PagePass::Finish(int16_t trailer, int16_t trailerIndex) {
    if (trailer) WritePageTrailer(out_, trailerIndex);
    fclose(page_);
    page_ = nullptr;
    char output[256], scratch[256];
    GrabFile(output, "tmp.txt");
    GrabFile(scratch, "tmp3.txt");
    FILE* out = out_;
    out_ = nullptr;
    CheckFileEnd(out, output, scratch);
}

bool AnalyseLink(const char* value, const char* pageBase, Link& link) {
    if (!URL_Analyser(link.port, value, link.host, link.type, link.file, link.base, pageBase)) return false;
    link.relative = link.type[0] == '\0';
    return true;
}

void CompleteLink(Link& link, const char* pageHost, int16_t pagePort) {
    CopyText(link.host, pageHost);
    CopyText(link.type, "http");
    if (link.port == 80) link.port = pagePort;
}

bool IsHttp(const Link& link) { return strcmp(link.type, "http") == 0; }

bool FindRecord(LinkList& list, int16_t count, const Link& link, UrlRecord* found) {
    for (int16_t i = 0; i < count; ++i) {
        if (!GetSet(found, kGetRecord, i, list.file)) return false;
        if (strcmp(found->file, link.file) == 0 && strcmp(found->host, link.host) == 0 &&
            strcmp(found->base, link.base) == 0 && found->port == link.port)
            return true;
    }
    return false;
}

UrlRecord NewRecord(const Link& link, const char* localName) {
    UrlRecord record{};
    CopyText(record.file, link.file);
    CopyText(record.localName, localName);
    CopyText(record.base, link.base);
    CopyText(record.host, link.host);
    record.port = link.port;
    record.isHtml = 0;
    return record;
}

void WriteAbsolute(FILE* out, const char* host, int16_t port, const char* base, const char* file) {
    fprintf(out, "http://%s", host);
    if (port != 80) fprintf(out, ":%u", (unsigned)(int32_t)port);
    fprintf(out, "%s%s", base, file);
}

void WriteFullLink(FILE* out, const Link& link) {
    if (strcmp(link.host, kLocalHost) != 0)
        WriteAbsolute(out, link.host, link.port, link.base, link.file);
    else if (strcmp(link.base, Grab.HomeBase) == 0)
        fputs(link.file, out);
    else
        fprintf(out, "%s%s%s", Settings.Url.FilePrefix, link.base, link.file);
}
