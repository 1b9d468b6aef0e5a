// Profile (INI) files and the regional settings.
//
// The private profile functions read and write a settings file key by key, with the rules of
// the Windows profile API: section and key names compare without regard to case; the first
// matching section and key win; a missing file or key yields the default; writing creates
// the file, the section and the key as needed and replaces an existing value in place,
// keeping every other line (comments included) as it was.
//
// GetProfileString/Int stand for the Windows profile's [intl] section, the regional settings:
// a key of an [intl] section in korvel.ini wins; otherwise, when LC_TIME names a real locale
// (not C or POSIX), that locale's date order and separators, 12/24-hour clock and AM/PM
// strings answer; otherwise the caller's default.
#pragma once

#include <string>

#include "platform/wintypes.h"

DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* defaultText, char* out,
                               DWORD size, const char* file);
UINT GetPrivateProfileIntA(const char* section, const char* key, int defaultValue, const char* file);
BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file);

DWORD GetProfileStringA(const char* section, const char* key, const char* defaultText, char* out, DWORD size);
UINT GetProfileIntA(const char* section, const char* key, int defaultValue);

namespace platform {
// The settings file that the regional settings look into first (korvel.ini of the working
// directory unless a test sets another; null sets that default again).
void SetRegionalSettingsFile(const char* path);
// Forgets cached file contents (tests that rewrite a file within one second use it).
void FlushProfileCache();
// A number that stays the same while `file` reads the same (its identity looked at as for a
// read of a key); it may move for other reasons too.
unsigned long long ProfileVersion(const char* file);
// The same for the regional settings: the [intl] section of their file and the locale of the
// environment.
unsigned long long RegionalSettingsVersion();

// The value of a key after the reading rules (blanks and one pair of quotes removed); false
// when the file, the section or the key is missing.
bool FindProfileValue(const char* section, const char* key, const char* file, std::string* value);
// A value read as a number by the profile functions (decimal, wrapping like 32-bit arithmetic,
// 0 for text that is no number).
UINT ProfileNumber(const std::string& value);
// Copies at most size - 1 characters and a NUL, as the profile functions fill their buffers;
// returns the number of characters copied.
DWORD CopyProfileText(const char* text, char* out, DWORD size);

// What a locale says about dates and times, as nl_langinfo gives it.
struct LocaleTimeFormats {
    const char* dateFormat;  // D_FMT, e.g. "%d.%m.%Y"
    const char* timeFormat;  // T_FMT, e.g. "%H:%M:%S"
    const char* am;          // AM_STR
    const char* pm;          // PM_STR
};
// The regional value of `key` (iDate, sDate, iTime, sTime, s1159, s2359) that the formats
// imply; false for any other key, or for a date without a single-byte separator.
bool RegionalValueFromFormats(const LocaleTimeFormats& formats, const char* key, std::string* value);
}  // namespace platform
