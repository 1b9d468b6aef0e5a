// Text as the program holds it and as the terminal shows it.
//
// The program's texts are single bytes of Windows-1252. For display each byte becomes one
// Unicode character of one cell; control characters (and the five bytes that code page leaves
// undefined) become a visible middle dot, so nothing the program stores can drive the
// terminal. Typed characters take the opposite way: a character that has no Windows-1252
// byte cannot be typed into the program.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tui {

// What a stored byte looks like on the screen.
char32_t DisplayChar(unsigned char byte);
std::u32string DisplayText(std::string_view bytes);

// The Windows-1252 byte of a typed character, or -1 when there is none.
int Cp1252Byte(char32_t ch);

std::string ToUtf8(std::u32string_view text);

// A label with an '&' before its mnemonic letter ("&Http"): the text without the marker, the
// index of the underlined letter (-1 if none) and the letter in lower case. "&&" is a literal &.
struct Mnemonic {
    std::u32string text;
    int index = -1;
    char32_t letter = 0;
};
Mnemonic ParseMnemonic(std::string_view label);

char32_t LowerAscii(char32_t ch);

// Splits text into lines at CR, LF and CR LF, then wraps every line at `width` cells, at
// blanks where possible. Tabs become a blank.
std::vector<std::u32string> WrapText(std::u32string_view text, int width);

}  // namespace tui
