// The tag tables that say which tags carry links, built at start-up from built-in entries or
// from the file tag.map, and Detect, the scanner that streams a saved page through them.
#pragma once

#include <cstdint>
#include <cstdio>

constexpr int kTagEntries = 10;
constexpr int kTagWordSize = 20;  // a tag of 18 characters and its blank, or an attribute of 19

// One kind of link: the tag openers ("<a ") and the attribute ("href=") that holds the link.
struct TagTable {
    int16_t Count;
    char Kind[kTagWordSize];
    int16_t CommentOut[kTagEntries];  // the marker pass turns the tag into "<!tag " instead
    char Tag[kTagEntries][kTagWordSize];
    int16_t TagLength[kTagEntries];
    char Attribute[kTagEntries][kTagWordSize];
    int16_t AttributeLength[kTagEntries];
};

// The three tables of the program.
struct TagTables {
    TagTable UrlTags;    // links to pages
    TagTable MarkTags;   // tags that the marker pass handles first
    TagTable ImageTags;  // links to images
};

extern TagTables Tags;

// The built-in tables, replaced by tag.map when that file exists. Always returns 0.
int16_t TAGinit();

// Modes of Detect.
enum : int16_t { DetectAttribute = 0, DetectTag = 1, DetectValue = 2 };

// Results of Detect besides a positive count of bytes consumed.
constexpr int16_t kDetectEnd = 0;          // end of the page
constexpr int16_t kDetectTagEnded = -1;    // DetectAttribute: '>' came before the attribute
constexpr int16_t kDetectTooLarge = -2;    // DetectValue: the value does not fit in out

// The capacity of the value buffer that the rewriting passes give Detect.
constexpr int16_t kDetectValueSize = 496;

// Reads `in` byte by byte, copying each byte to `copy` when copyOn, until it has found, by
// mode: a tag opener of `table` (its entry number goes to *index), the attribute of entry
// *index, or that attribute's value (collected into out, followed by one terminator
// character). Returns the bytes consumed that the caller steps `copy` back by to reach the
// start of what was found, or one of the results above.
int16_t Detect(FILE* in, const TagTable& table, int16_t keepCase, int16_t keepBlanks, int16_t collect, char* out,
               int16_t outMax, FILE* copy, int16_t copyOn, int16_t* index, int16_t mode);
