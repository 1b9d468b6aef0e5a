#include "base/textio.h"

int16_t ReadLine(FILE* file, char* buffer, int16_t max) {
    int16_t count = 0;
    for (;;) {
        if (count >= max) return -1;
        int c = fgetc(file);
        if (c == EOF) {
            if (count == 0) return -2;
            buffer[count++] = '\n';
            return count;
        }
        buffer[count++] = (char)c;
        if (c == '\n') return count;
    }
}

int16_t NextWord(const char* line, int16_t& position, int16_t last, char* word, size_t wordSize) {
    size_t length = 0;
    bool inWord = false;
    if (wordSize > 0) word[0] = '\0';
    while (position <= last) {
        signed char c = (signed char)line[position++];
        if (c > 32) {
            inWord = true;
            if (length + 1 < wordSize) word[length++] = (char)c;
        } else if (inWord) {
            break;
        }
    }
    if (wordSize > 0) word[length] = '\0';
    return (int16_t)length;
}
