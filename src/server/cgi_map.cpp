// The look-up of a call's key in cgi-dos.map.

#include "server/cgi_map.h"

#include <cstring>

#include "base/print.h"
#include "base/textio.h"

namespace {

bool KeyMatches(const char* word, const char* key, size_t keyLength) {
    if (word[0] == '*') return true;
    return strlen(word) == keyLength && memcmp(word, key, keyLength) == 0;
}

// Words 2, 3 and 4 of a line whose key matched. Returns false (with its message) when one is
// missing.
bool ReadEntry(HWND window, const char* line, int16_t& position, CgiMapMatch& match) {
    char word[kCgiMapLineLimit + 1];
    if (NextWord(line, position, match.last, word, sizeof word) == 0) {
        Print(window, "cgi-dos file, line %d, word 2 is missing\n", match.number);
        return false;
    }
    match.wait = word[0] == 'y' || word[0] == 'Y';
    if (NextWord(line, position, match.last, word, sizeof word) == 0) {
        Print(window, "cgi-dos file, line %d, word 3 is missing\n", match.number);
        return false;
    }
    match.show = (word[0] == 'h' || word[0] == 'H') ? SW_SHOWMINNOACTIVE : SW_SHOW;
    if (NextWord(line, position, match.last, match.program, sizeof match.program) == 0) {
        Print(window, "cgi-dos file, line %d, word 4 is missing\n", match.number);
        return false;
    }
    match.rest = position;
    return true;
}

}  // namespace

bool FindCgiProgram(HWND window, FILE* map, const char* key, size_t keyLength, char (&line)[kCgiMapLineLimit],
                    CgiMapMatch& match) {
    match = CgiMapMatch{};
    for (;;) {
        // The line is not NUL-terminated: every scan stops at its line feed, which ReadLine
        // always stores (it adds one to a last line without).
        int16_t count = ReadLine(map, line, kCgiMapLineLimit);
        if (count < 0) return false;
        ++match.number;
        match.last = (int16_t)(count - 1);
        int16_t position = 0;
        char word[kCgiMapLineLimit + 1];
        if (NextWord(line, position, match.last, word, sizeof word) == 0) return false;
        if (!KeyMatches(word, key, keyLength)) continue;
        if (ReadEntry(window, line, position, match)) return true;
    }
}
