// URLs of a grab: the record that carries one document through the link lists and the fetch,
// the analysis that splits a URL (and joins a relative link to the page it was found in), and
// the short DOS names under which the documents are saved.
#pragma once

#include <cstddef>
#include <cstdint>

// Field sizes of a URL record, and the limits of the analysis that fills them.
constexpr int kUrlFileSize = 208;   // a file part of at most 206 characters
constexpr int kLocalNameSize = 13;  // an 8.3 name
constexpr int kUrlBaseSize = 208;   // a base of at most 207 characters
constexpr int kUrlHostSize = 81;    // a host of at most 78 characters
constexpr int kUrlTypeSize = 32;    // the scheme, cut to the field (only "http" is ever looked for)

// One document of a grab. The link-list files hold these records exactly as they are laid out
// here (little-endian), 514 bytes each.
struct UrlRecord {
    char file[kUrlFileSize];         // last path component, may be empty (a directory URL)
    char localName[kLocalNameSize];  // DOS name of the saved copy, "no_name" for a shown fetch
    char base[kUrlBaseSize];         // directory path, '/' ... '/'
    char host[kUrlHostSize];         // without the port
    int16_t port;
    uint8_t isHtml;  // the document is taken for an HTML page
    uint8_t padding;
};

static_assert(sizeof(UrlRecord) == 514, "a URL record is 514 bytes on disk");
static_assert(offsetof(UrlRecord, localName) == 208, "record layout");
static_assert(offsetof(UrlRecord, base) == 221, "record layout");
static_assert(offsetof(UrlRecord, host) == 429, "record layout");
static_assert(offsetof(UrlRecord, port) == 510, "record layout");
static_assert(offsetof(UrlRecord, isHtml) == 512, "record layout");

// Splits url into port, host (kUrlHostSize), type (kUrlTypeSize), file (kUrlFileSize) and base
// (kUrlBaseSize); a relative URL is joined to refBase, the base of the page that holds it ("/"
// for a typed URL). Returns 1, or 0 when the URL is refused (the outputs are then partial).
int16_t URL_Analyser(int16_t& port, const char* url, char* host, char* type, char* file, char* base,
                     const char* refBase);

// Joins a relative base ("/c/", "/../c/", "/./") to refBase, in place (base holds
// kUrlBaseSize bytes). Only leading "../" groups are resolved. Returns 1, or 0 when refused.
int16_t BaseCheck(char* base, const char* refBase);

// The DOS 8.3 name for a URL's file part, after Url.AutoName and Url.Prefix; advances Index on
// every call. noIndex -1 leaves the index out of a prefix name. Returns a static buffer that
// the next call overwrites.
const char* Unix2dosName(const char* name, int16_t noIndex);

// Moves the running index on by one: 01, ..., 09, 0a, ..., 0z, 10, ..., zz, 000, 010, ...
void AdvanceIndex();
