// FormatText must give exactly what vsnprintf gives, for the formats it formats itself and for
// those it hands on, in buffers that cut the text anywhere.

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "base/format.h"

namespace {

struct Result {
    std::string text;  // the buffer up to its NUL, and the bytes behind it that were written
    int length;
};

using Formatter = int (*)(char*, size_t, const char*, va_list);

Result Formatted(Formatter formatter, size_t size, const char* format, ...) {
    std::string buffer(size + 1, '#');
    va_list args;
    va_start(args, format);
    int length = formatter(size ? &buffer[0] : nullptr, size, format, args);
    va_end(args);
    return {buffer, length};
}

// Every format of the table, with the same arguments, in buffers from 0 bytes to more than
// enough: the bytes written and the length returned are vsnprintf's.
#define EXPECT_AS_VSNPRINTF(format, ...)                                                  \
    for (size_t size = 0; size < 48; ++size) {                                            \
        Result ours = Formatted(FormatText, size, format, __VA_ARGS__);                   \
        Result theirs = Formatted(vsnprintf, size, format, __VA_ARGS__);                  \
        EXPECT_EQ(ours.text, theirs.text) << format << " in " << size << " bytes";        \
        EXPECT_EQ(ours.length, theirs.length) << format << " in " << size << " bytes";    \
    }

TEST(FormatText, PlainConversionsGiveWhatVsnprintfGives) {
    EXPECT_AS_VSNPRINTF("Remote Client <%d> Login %u.%u.%u.%u:%u,%s \n", 3, 127u, 0u, 0u, 1u, 8080u, " Tue 11/24/26");
    EXPECT_AS_VSNPRINTF("%lu bytes received, %ld bytes sent\n", 0UL, -1L);
    EXPECT_AS_VSNPRINTF("%d %i %d %d", INT_MIN, INT_MAX, 0, -7);
    EXPECT_AS_VSNPRINTF("%ld %li %lu", LONG_MIN, LONG_MAX, ULONG_MAX);
    EXPECT_AS_VSNPRINTF("%u", UINT_MAX);
    EXPECT_AS_VSNPRINTF("100%% [%c%c]", 'a', 'z');
    EXPECT_AS_VSNPRINTF("%s|%s|", "", (const char*)nullptr);
    EXPECT_AS_VSNPRINTF("no conversion at all, and a long text past the buffer%s", "");
}

TEST(FormatText, AnEmbeddedNulIsWrittenAndCounted) {
    EXPECT_AS_VSNPRINTF("a%cb%s", '\0', "cd");
}

TEST(FormatText, AnyOtherConversionIsLeftToVsnprintf) {
    EXPECT_AS_VSNPRINTF("%8.8lX <%05d> %-4s|", 0xBEEFUL, 42, "ab");
    EXPECT_AS_VSNPRINTF("%s %x %d", "mixed", 255u, 9);
    EXPECT_AS_VSNPRINTF("%lld %hd", 1LL << 40, (short)-3);
    EXPECT_AS_VSNPRINTF("a lone percent at the end %", 0);
}

}  // namespace
