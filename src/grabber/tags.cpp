// The three tag tables. Which tags carry links is data: the built-in entries below are in
// force unless the file tag.map exists, in which case its lines replace them all. A line of
// tag.map reads "KIND <tag attribute= [Y]": the kind letter U, M or I (upper case), the tag
// opener without its blank, the attribute with its '=', and an optional Y that makes the
// marker pass comment the tag out.

#include "grabber/tags.h"

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "platform/files.h"

TagTables Tags;

namespace {

constexpr const char* kTagFile = "tag.map";
constexpr int16_t kTagLineLimit = 200;  // the LF of a line must come within its first 200 bytes
constexpr size_t kLongestTag = kTagWordSize - 2;  // the blank is appended
constexpr size_t kLongestAttribute = kTagWordSize - 1;

void ResetTable(TagTable& table, const char* kind) {
    table = TagTable{};
    snprintf(table.Kind, sizeof table.Kind, "%s", kind);
}

// Appends an entry; tag and attribute are stored exactly as given.
void Add(TagTable& table, const char* tag, const char* attribute, int16_t commentOut) {
    int i = table.Count++;
    snprintf(table.Tag[i], kTagWordSize, "%s", tag);
    table.TagLength[i] = (int16_t)strlen(table.Tag[i]);
    snprintf(table.Attribute[i], kTagWordSize, "%s", attribute);
    table.AttributeLength[i] = (int16_t)strlen(table.Attribute[i]);
    table.CommentOut[i] = commentOut;
}

// The form entry's attribute keeps its trailing blank: blanks are skipped in the page, so the
// entry never matches. An empty attribute matches at once, so <base ...> is always taken.
void BuiltInTables() {
    ResetTable(Tags.UrlTags, "Url");
    Add(Tags.UrlTags, "<a ", "href=", 0);
    Add(Tags.UrlTags, "<area ", "href=", 0);
    ResetTable(Tags.MarkTags, "Mark");
    Add(Tags.MarkTags, "<form ", "action= ", 0);
    Add(Tags.MarkTags, "<base ", "", 1);
    ResetTable(Tags.ImageTags, "Image");
    Add(Tags.ImageTags, "<img ", "src=", 0);
    Add(Tags.ImageTags, "<body ", "background=", 0);
    Add(Tags.ImageTags, "<input ", "src=", 0);
}

TagTable* TableOfKind(char letter) {
    switch (letter) {
        case 'U': return &Tags.UrlTags;
        case 'M': return &Tags.MarkTags;
        case 'I': return &Tags.ImageTags;
    }
    return nullptr;
}

// One line of tag.map. Returns false when the reading must stop.
bool TakeLine(const char* line, int16_t length, int number) {
    int16_t position = 0;
    int16_t last = (int16_t)(length - 1);
    char kind[kTagLineLimit + 1], tag[kTagLineLimit + 1], attribute[kTagLineLimit + 1], flag[kTagLineLimit + 1];
    if (NextWord(line, position, last, kind, sizeof kind) == 0 || kind[0] == '*' || kind[0] == ';') return true;
    TagTable* table = TableOfKind(kind[0]);
    if (!table) {
        Print(MainWindow, "TAGinit, line %d  1\xB0word bad type %s\n", number, kind);
        return false;
    }
    if (NextWord(line, position, last, tag, sizeof tag) == 0) {
        Print(MainWindow, "TAGinit, line %d missing 2\xB0word\n", number);
        return false;
    }
    if (NextWord(line, position, last, attribute, sizeof attribute) == 0) {
        Print(MainWindow, "TAGinit, line %d missing 3\xB0word\n", number);
        return false;
    }
    int16_t commentOut = NextWord(line, position, last, flag, sizeof flag) > 0 && flag[0] == 'Y';
    // The tables keep their capacity: a line for a full table, or with a word too long for
    // its slot, is left out and the reading goes on.
    if (table->Count >= kTagEntries) {
        Print(MainWindow, "TAGinit, line %d table %s is full\n", number, table->Kind);
        return true;
    }
    if (strlen(tag) > kLongestTag || strlen(attribute) > kLongestAttribute) {
        Print(MainWindow, "TAGinit, line %d word too long\n", number);
        return true;
    }
    char opener[kTagWordSize];
    size_t tagLength = strlen(tag);
    memcpy(opener, tag, tagLength);
    opener[tagLength] = ' ';
    opener[tagLength + 1] = '\0';
    Add(*table, opener, attribute, commentOut);
    return true;
}

}  // namespace

int16_t TAGinit() {
    BuiltInTables();
    FILE* file = FileOpen(kTagFile, "rb");
    if (!file) {
        Print(MainWindow, "TAGinit, Unable to open tag.map\n");
        return 0;
    }
    char line[kTagLineLimit];
    int16_t length = ReadLine(file, line, kTagLineLimit);
    // The file replaces the built-in entries even when it yields no line at all.
    Tags.UrlTags.Count = 0;
    Tags.MarkTags.Count = 0;
    Tags.ImageTags.Count = 0;
    for (int number = 1; length > 0; ++number) {
        if (!TakeLine(line, length, number)) break;
        length = ReadLine(file, line, kTagLineLimit);
    }
    fclose(file);
    return 0;
}
