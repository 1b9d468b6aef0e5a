// Small text routines shared by many parts of the program: reading a line from a file and
// taking the next word of a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// Reads one line, byte by byte, into buffer (not NUL-terminated). Returns the byte count, the
// line feed included (a last line without one gets one), -1 when max bytes were stored
// without a line feed (what was read stays in the buffer), -2 at the end of the file.
int16_t ReadLine(FILE* file, char* buffer, int16_t max);

// Takes the next word of line from position (updated in place), examining at most up to
// index last. A word is a run of characters whose value as a signed byte is above 32; blanks,
// control characters and bytes 128..255 separate words. The separator that ends a word is
// consumed. The word is cut to wordSize - 1 characters. Returns its length (0 when only
// separators remained).
int16_t NextWord(const char* line, int16_t& position, int16_t last, char* word, size_t wordSize);

// Copies text into a fixed field, cut to the field (and to `most` characters).
template <size_t N>
void CopyText(char (&field)[N], const char* text, size_t most = N - 1) {
    size_t length = strnlen(text, most < N - 1 ? most : N - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}
