#include "frontend/tui/text.h"

#include <algorithm>

namespace tui {

namespace {

constexpr char32_t kShownControl = U'\u00B7';  // middle dot

// Bytes 0x80..0x9F of Windows-1252; 0 marks the five undefined ones.
constexpr char32_t kHighControls[32] = {
    U'\u20AC', 0,         U'\u201A', U'\u0192', U'\u201E', U'\u2026', U'\u2020', U'\u2021',
    U'\u02C6', U'\u2030', U'\u0160', U'\u2039', U'\u0152', 0,         U'\u017D', 0,
    0,         U'\u2018', U'\u2019', U'\u201C', U'\u201D', U'\u2022', U'\u2013', U'\u2014',
    U'\u02DC', U'\u2122', U'\u0161', U'\u203A', U'\u0153', 0,         U'\u017E', U'\u0178',
};

}  // namespace

char32_t DisplayChar(unsigned char byte) {
    if (byte < 0x20 || byte == 0x7F) return kShownControl;
    if (byte >= 0x80 && byte < 0xA0) return kHighControls[byte - 0x80] ? kHighControls[byte - 0x80] : kShownControl;
    // The soft hyphen is invisible in many terminals and would leave a hole in a row.
    if (byte == 0xAD) return U'-';
    return byte;
}

std::u32string DisplayText(std::string_view bytes) {
    std::u32string text;
    text.reserve(bytes.size());
    for (char c : bytes) text += DisplayChar((unsigned char)c);
    return text;
}

int Cp1252Byte(char32_t ch) {
    if (ch < 0x80 || (ch >= 0xA0 && ch <= 0xFF)) return (int)ch;
    for (int i = 0; i < 32; ++i)
        if (kHighControls[i] == ch) return 0x80 + i;
    return -1;
}

std::string ToUtf8(std::u32string_view text) {
    std::string out;
    for (char32_t c : text) {
        if (c < 0x80) {
            out += (char)c;
        } else if (c < 0x800) {
            out += (char)(0xC0 | (c >> 6));
            out += (char)(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += (char)(0xE0 | (c >> 12));
            out += (char)(0x80 | ((c >> 6) & 0x3F));
            out += (char)(0x80 | (c & 0x3F));
        } else {
            out += (char)(0xF0 | (c >> 18));
            out += (char)(0x80 | ((c >> 12) & 0x3F));
            out += (char)(0x80 | ((c >> 6) & 0x3F));
            out += (char)(0x80 | (c & 0x3F));
        }
    }
    return out;
}

char32_t LowerAscii(char32_t ch) { return ch >= U'A' && ch <= U'Z' ? ch - U'A' + U'a' : ch; }

Mnemonic ParseMnemonic(std::string_view label) {
    Mnemonic m;
    for (size_t i = 0; i < label.size(); ++i) {
        if (label[i] == '&' && i + 1 < label.size()) {
            ++i;
            if (label[i] != '&' && m.index < 0) {
                m.index = (int)m.text.size();
                m.letter = LowerAscii(DisplayChar((unsigned char)label[i]));
            }
        }
        m.text += DisplayChar((unsigned char)label[i]);
    }
    return m;
}

std::vector<std::u32string> WrapText(std::u32string_view text, int width) {
    width = std::max(1, width);
    std::vector<std::u32string> paragraphs(1);
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c == U'\r' || c == U'\n') {
            if (c == U'\r' && i + 1 < text.size() && text[i + 1] == U'\n') ++i;
            paragraphs.emplace_back();
        } else {
            paragraphs.back() += c == U'\t' ? U' ' : c;
        }
    }
    std::vector<std::u32string> lines;
    for (std::u32string& rest : paragraphs) {
        while ((int)rest.size() > width) {
            size_t cut = rest.rfind(U' ', (size_t)width);
            if (cut == std::u32string::npos || cut == 0) cut = (size_t)width;
            lines.push_back(rest.substr(0, cut));
            rest.erase(0, cut);
            if (!rest.empty() && rest[0] == U' ') rest.erase(0, 1);
        }
        lines.push_back(rest);
    }
    return lines;
}

}  // namespace tui
