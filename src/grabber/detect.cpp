// Detect: the one HTML scanner of the grabber. It never builds a tree; it reads the page one
// byte at a time, copies each byte to the output as read, and matches in three rhythms: a tag
// opener of the table, then that entry's attribute, then the attribute's value. The caller
// steps the output back by the returned count and writes a new value in place.
//
// Matching sees the page simplified: A-Z folded to lower case, LF and TAB as blanks, control
// characters and every byte from 0x80 up ignored, blanks ignored where they do not count.

#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "grabber/tags.h"

namespace {

constexpr int kCandidateSize = 21;  // '<', at most 18 characters, the blank, the NUL
constexpr int kLongestCandidate = 19;
// The caller steps back by a 16-bit count: a match that spans more bytes than that is given up.
constexpr int32_t kLongestSpan = 32767;

// A byte as the matcher sees it, or -1 when it is ignored.
int Significant(int byte, int16_t keepCase, int16_t keepBlanks) {
    int c = byte;
    if (!keepCase && c >= 'A' && c <= 'Z') c = c - 'A' + 'a';
    if (c == '\n' || c == '\t') c = ' ';
    if ((signed char)c < 32) return -1;
    if (c == ' ' && !keepBlanks) return -1;
    return c;
}

struct Scan {
    FILE* in;
    FILE* copy;
    int16_t copyOn;
    int32_t consumed = 0;

    // The next byte of the page, copied to the output; EOF at the end. The program has one
    // thread, so the streams are used without taking their locks byte by byte.
    int Next() {
        int byte = getc_unlocked(in);
        if (byte == EOF) return EOF;
        ++consumed;
        if (copyOn) putc_unlocked(byte, copy);
        return byte;
    }
    // Gives the last byte back to the page and takes it off the output.
    void PushBack() {
        fseek(in, -1, SEEK_CUR);
        if (copyOn) fseek(copy, -1, SEEK_CUR);
        --consumed;
    }
};

int16_t FindTag(Scan& scan, const TagTable& table, int16_t keepCase, int16_t keepBlanks, int16_t* index) {
    char candidate[kCandidateSize];
    int n = 0;
    for (int byte; (byte = scan.Next()) != EOF;) {
        if (n == 0) {
            // Between candidates only '<' counts, and the simplification leaves it as it is.
            if (byte == '<') {
                scan.consumed = 1;
                candidate[0] = '<';
                n = 1;
            }
            continue;
        }
        int c = Significant(byte, keepCase, keepBlanks);
        if (c < 0) continue;
        if (c == ' ') {
            candidate[n++] = ' ';
            candidate[n] = '\0';
            for (int16_t i = 0; i < table.Count; ++i) {
                if (strcmp(candidate, table.Tag[i]) == 0 && scan.consumed <= kLongestSpan) {
                    *index = i;
                    return (int16_t)scan.consumed;
                }
            }
            n = 0;
        } else if (c == '<' || c == '>') {
            n = 0;  // this '<' does not open a new candidate
        } else if (n < kLongestCandidate) {
            candidate[n++] = (char)c;
        } else {
            n = 0;
        }
    }
    return kDetectEnd;
}

// The matcher does not retry a failing byte as a first character, and knows nothing of
// quotes: <a title="href=y" href="x"> takes y" as the value.
int16_t FindAttribute(Scan& scan, const TagTable& table, int16_t keepCase, int16_t keepBlanks, int16_t entry) {
    if (entry < 0 || entry >= table.Count) return kDetectEnd;
    const char* attribute = table.Attribute[entry];
    int16_t length = table.AttributeLength[entry];
    int16_t k = 0;
    for (int byte; (byte = scan.Next()) != EOF;) {
        if (byte == '>') return kDetectTagEnded;
        int c = Significant(byte, keepCase, keepBlanks);
        if (c < 0) continue;
        if (c == attribute[k])
            ++k;
        else
            k = 0;
        if (k == length) return (int16_t)(scan.consumed > kLongestSpan ? kLongestSpan : scan.consumed);
    }
    return kDetectEnd;
}

int16_t TooLarge(int16_t outMax) {
    char text[64];
    snprintf(text, sizeof text, "Detect, Url size greater than %d !!!\n", outMax);
    Print(MainWindow, "%s", text);
    return kDetectTooLarge;
}

// A quoted value ends at either quote and keeps no blank; an unquoted one ends at a blank. Both
// end at '>', which is given back to the page. The collected text is the value followed by its
// terminator: the closing quote as read, or '"' for a blank or '>'.
int16_t ReadValue(Scan& scan, int16_t keepCase, int16_t keepBlanks, int16_t collect, char* out, int16_t outMax) {
    int stored = 0;
    bool quoted = false;
    for (int byte; (byte = scan.Next()) != EOF;) {
        int c = Significant(byte, keepCase, keepBlanks);
        if (c < 0) continue;
        bool isQuote = c == '"' || c == '\'';
        if (stored == 0 && isQuote) {
            quoted = true;  // even a second quote before the value opens it again
            continue;
        }
        if (stored == 0 && !quoted) keepBlanks = 1;
        bool ended = false;
        char keep = (char)byte;
        if (isQuote && quoted) {
            ended = true;
        } else if ((c == ' ' && !quoted) || c == '>') {
            ended = true;
            scan.PushBack();
            keep = '"';
        }
        if (collect) {
            if (stored + 2 > outMax) return TooLarge(outMax);
            out[stored++] = keep;
            out[stored] = '\0';
        }
        if (scan.consumed > kLongestSpan) return TooLarge(outMax);
        if (ended) return (int16_t)scan.consumed;
    }
    return kDetectEnd;
}

}  // namespace

int16_t Detect(FILE* in, const TagTable& table, int16_t keepCase, int16_t keepBlanks, int16_t collect, char* out,
               int16_t outMax, FILE* copy, int16_t copyOn, int16_t* index, int16_t mode) {
    Scan scan{in, copy, copyOn};
    switch (mode) {
        case DetectTag: return FindTag(scan, table, keepCase, keepBlanks, index);
        case DetectAttribute: return FindAttribute(scan, table, keepCase, keepBlanks, *index);
        case DetectValue: return ReadValue(scan, keepCase, keepBlanks, collect, out, outMax);
    }
    return kDetectEnd;
}
