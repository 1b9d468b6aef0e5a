// Formatting of console lines.
//
// The program prints a few lines for every request it serves, and vsnprintf costs more than
// everything else about a line. Most formats use only %s, %d, %i, %u, %c, %ld, %li, %lu and %%,
// without flags, widths or precisions; those are formatted here. A format with anything else
// is handed whole to vsnprintf, so the text is always the one vsnprintf gives.
#pragma once

#include <cstdarg>
#include <cstddef>

// As vsnprintf: writes at most size - 1 characters and a NUL (size > 0), and returns the
// length of the whole formatted text.
int FormatText(char* out, size_t size, const char* format, va_list args);
