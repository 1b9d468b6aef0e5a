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

#include "platform/wintypes.h"

DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* defaultText, char* out,
                               DWORD size, const char* file);
UINT GetPrivateProfileIntA(const char* section, const char* key, int defaultValue, const char* file);
BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file);

DWORD GetProfileStringA(const char* section, const char* key, const char* defaultText, char* out, DWORD size);
UINT GetProfileIntA(const char* section, const char* key, int defaultValue);

namespace platform {
// The settings file that the regional settings look into first (korvel.ini of the working
// directory unless a test sets another).
void SetRegionalSettingsFile(const char* path);
// Forgets cached file contents (tests that rewrite a file within one second use it).
void FlushProfileCache();
}  // namespace platform
