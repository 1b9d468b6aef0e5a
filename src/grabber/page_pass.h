// What the rewriting passes share: the scan of a page for the links of one tag table, with
// the output file that a found value is rewritten in, and the analysis of a link value
// against the page that holds it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "grabber/link_lists.h"
#include "grabber/tags.h"
#include "grabber/url.h"

// The path of a working file of the grab (tmp.txt, tmp2.txt, tmp3.txt, a local name).
void GrabFile(char* path, size_t size, const char* name);
template <size_t N>
void GrabFile(char (&path)[N], const char* name) {
    GrabFile(path, N, name);
}

// One pass over a saved page: every byte is copied to tmp.txt while the tags of `table` are
// looked for, in the rhythm tag, attribute, value.
class PagePass {
public:
    explicit PagePass(const TagTable& table) : table_(table) {}
    PagePass(const PagePass&) = delete;
    PagePass& operator=(const PagePass&) = delete;
    ~PagePass();

    // Opens the page and tmp.txt, in the order and with the messages the routine uses (each
    // message takes the path). False when either cannot be opened; nothing stays open.
    bool Open(const char* page, bool outputFirst, const char* pageMessage, const char* outputMessage);

    // Finds the next tag of the table; false at the end of the page.
    bool NextTag();
    int16_t Entry() const { return entry_; }
    // Writes "<!" and the tag after its '<' over the tag just found.
    void CommentOut();

    enum ValueResult { kValueRead, kNoValue, kPageEnd };
    // Reads the attribute and the value of the tag just found. kNoValue: the tag ended before
    // its attribute, or the value was too large; the scan goes on with the next tag.
    ValueResult ReadValue();
    // The value without its terminator.
    const char* Value() const { return value_; }

    // Steps tmp.txt back to just after the attribute's '=' and writes the opening quote of
    // the new value; the caller writes the rest, closing quote included.
    FILE* Rewrite();

    // Appends the trailer of PageList entry trailerIndex when trailer is set, closes the page
    // and cuts tmp.txt at the current position (closing it).
    void Finish(int16_t trailer, int16_t trailerIndex);

private:
    const TagTable& table_;
    FILE* page_ = nullptr;
    FILE* out_ = nullptr;
    int16_t entry_ = 0;
    int16_t tagBytes_ = 0;
    int16_t valueBytes_ = 0;
    char value_[kDetectValueSize] = "";
};

// A link value analysed against the page that holds it.
struct Link {
    int16_t port;
    char host[kUrlHostSize];
    char type[kUrlTypeSize];
    char file[kUrlFileSize];
    char base[kUrlBaseSize];
    bool relative;  // no scheme: it takes the page's host (and its port, unless it names one)
};

// False when the analyser refuses the value.
bool AnalyseLink(const char* value, const char* pageBase, Link& link);
// Gives a relative link the page's host, the type "http" and, if its port is still 80, the
// page's port.
void CompleteLink(Link& link, const char* pageHost, int16_t pagePort);
bool IsHttp(const Link& link);

// The first of the first `count` records of list equal in file, host, base and port (exact,
// case-sensitive) into *found; false when there is none.
bool FindRecord(LinkList& list, int16_t count, const Link& link, UrlRecord* found);
// A new list record for the link, under localName; isHtml 0 until the crawl has fetched it.
UrlRecord NewRecord(const Link& link, const char* localName);

// "http://", the host, ":port" unless the port is 80, the base and the file.
void WriteAbsolute(FILE* out, const char* host, int16_t port, const char* base, const char* file);
// The link as a full URL: a page on this PC's disk as its bare name (in the grab's own
// directory) or a file: URL, any other as an absolute http URL.
void WriteFullLink(FILE* out, const Link& link);
