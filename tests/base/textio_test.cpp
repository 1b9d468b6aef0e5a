// ReadLine and NextWord, the two text readers that the map files and the command line use.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "base/textio.h"

namespace {

FILE* FileWith(const std::string& content) {
    FILE* file = tmpfile();
    fwrite(content.data(), 1, content.size(), file);
    rewind(file);
    return file;
}

TEST(ReadLine, ALastLineWithoutLineFeedGetsOneThenTheEndIsReported) {
    FILE* file = FileWith("ab");
    char buffer[16];
    EXPECT_EQ(ReadLine(file, buffer, sizeof buffer), 3);
    EXPECT_EQ(std::string(buffer, 3), "ab\n");
    EXPECT_EQ(ReadLine(file, buffer, sizeof buffer), -2);
    fclose(file);
    file = FileWith("");
    EXPECT_EQ(ReadLine(file, buffer, sizeof buffer), -2) << "an empty file is at its end";
    fclose(file);
}

TEST(ReadLine, ALineOfExactlyMaxBytesFitsOnlyWhenItsLastByteIsTheLineFeed) {
    FILE* file = FileWith("abc\r\nabcde\nxy");
    char buffer[5];
    EXPECT_EQ(ReadLine(file, buffer, 5), 5);
    EXPECT_EQ(std::string(buffer, 5), "abc\r\n") << "carriage returns are data";
    EXPECT_EQ(ReadLine(file, buffer, 5), -1);
    EXPECT_EQ(std::string(buffer, 5), "abcde");
    EXPECT_EQ(ReadLine(file, buffer, 5), 1) << "the rest of the long line";
    EXPECT_EQ(ReadLine(file, buffer, 5), 3);
    fclose(file);
}

TEST(NextWord, SkipsSeparatorsAndConsumesTheOneThatEndsTheWord) {
    const char line[] = "  -u  x";
    int16_t position = 0;
    char word[16];
    EXPECT_EQ(NextWord(line, position, (int16_t)(sizeof line - 1), word, sizeof word), 2);
    EXPECT_STREQ(word, "-u");
    EXPECT_EQ(position, 5);
    EXPECT_EQ(NextWord(line, position, (int16_t)(sizeof line - 1), word, sizeof word), 1);
    EXPECT_STREQ(word, "x");
    EXPECT_EQ(NextWord(line, position, (int16_t)(sizeof line - 1), word, sizeof word), 0);
    EXPECT_STREQ(word, "");
}

TEST(NextWord, BytesAbove127AndControlCharactersSeparateWords) {
    const char line[] = "caf\xe9"
                        "bar\tq\x01z";
    int16_t position = 0;
    int16_t last = (int16_t)(sizeof line - 1);
    char word[16];
    for (const char* expected : {"caf", "bar", "q", "z"}) {
        NextWord(line, position, last, word, sizeof word);
        EXPECT_STREQ(word, expected);
    }
}

TEST(NextWord, StopsAtLastAndCutsTheWordToItsBuffer) {
    const char line[] = "abcdef ghi";
    int16_t position = 0;
    char word[4];
    EXPECT_EQ(NextWord(line, position, 2, word, sizeof word), 3);
    EXPECT_STREQ(word, "abc");
    EXPECT_EQ(position, 3);
    position = 20;
    EXPECT_EQ(NextWord(line, position, 9, word, sizeof word), 0);
    position = 0;
    EXPECT_EQ(NextWord(line, position, 10, word, sizeof word), 3);
    EXPECT_STREQ(word, "abc") << "cut to the buffer, the scan goes on to the word's end";
    EXPECT_EQ(position, 7);
}

}  // namespace
