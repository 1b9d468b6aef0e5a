#include "base/format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// The length of the conversion after a '%' (its letters), or 0 when it is not one of ours.
size_t PlainConversion(const char* at) {
    switch (at[0]) {
        case 's': case 'd': case 'i': case 'u': case 'c': case '%': return 1;
        case 'l': return at[1] == 'd' || at[1] == 'i' || at[1] == 'u' ? 2 : 0;
        default: return 0;
    }
}

bool IsPlain(const char* format) {
    for (const char* p = strchr(format, '%'); p; p = strchr(p, '%')) {
        size_t length = PlainConversion(p + 1);
        if (length == 0) return false;
        p += 1 + length;
    }
    return true;
}

// A buffer of `size` bytes that keeps what fits and counts everything.
class Output {
public:
    Output(char* out, size_t size) : out_(out), room_(size > 0 ? size - 1 : 0), size_(size) {}

    void Put(const char* text, size_t length) {
        if (kept_ < room_) {
            size_t copied = std::min(length, room_ - kept_);
            memcpy(out_ + kept_, text, copied);
            kept_ += copied;
        }
        total_ += length;
    }

    void Number(unsigned long magnitude, bool negative) {
        char digits[24];
        char* start = digits + sizeof digits;
        do {
            *--start = (char)('0' + magnitude % 10);
            magnitude /= 10;
        } while (magnitude != 0);
        if (negative) *--start = '-';
        Put(start, (size_t)(digits + sizeof digits - start));
    }

    void Signed(long value) {
        unsigned long magnitude = value < 0 ? 0UL - (unsigned long)value : (unsigned long)value;
        Number(magnitude, value < 0);
    }

    int End() {
        if (size_ > 0) out_[kept_] = '\0';
        return (int)total_;
    }

private:
    char* out_;
    size_t room_;
    size_t size_;
    size_t kept_ = 0;
    size_t total_ = 0;
};

void Convert(Output& out, const char* conversion, va_list& args) {
    switch (conversion[0]) {
        case 's': {
            const char* text = va_arg(args, const char*);
            if (!text) text = "(null)";
            out.Put(text, strlen(text));
            return;
        }
        case 'c': {
            char c = (char)va_arg(args, int);
            out.Put(&c, 1);
            return;
        }
        case '%': out.Put("%", 1); return;
        case 'd':
        case 'i': out.Signed(va_arg(args, int)); return;
        case 'u': out.Number(va_arg(args, unsigned), false); return;
        default: break;  // 'l'
    }
    if (conversion[1] == 'u')
        out.Number(va_arg(args, unsigned long), false);
    else
        out.Signed(va_arg(args, long));
}

}  // namespace

int FormatText(char* out, size_t size, const char* format, va_list args) {
    if (!IsPlain(format)) return vsnprintf(out, size, format, args);
    va_list own;
    va_copy(own, args);
    Output text(out, size);
    const char* p = format;
    for (const char* percent = strchr(p, '%'); percent; percent = strchr(p, '%')) {
        text.Put(p, (size_t)(percent - p));
        Convert(text, percent + 1, own);
        p = percent + 1 + PlainConversion(percent + 1);
    }
    text.Put(p, strlen(p));
    va_end(own);
    return text.End();
}
