// The regional settings ([intl]) that time stamps are formatted with. An [intl] section of
// the settings file answers first, so a user can pin the format; otherwise the LC_TIME locale
// of the environment describes the user's conventions; otherwise the caller's default holds.
#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <locale.h>
#include <strings.h>

#include "platform/messages.h"
#include "platform/profile.h"

namespace {

const char* const kDefaultRegionalFile = ".\\korvel.ini";
std::string regionalFile = kDefaultRegionalFile;
// Counts the changes of the file's name and of the environment's locale name; with the file's
// own version it makes the regional settings' version (each count only grows).
unsigned long long regionalSwitches = 0;
std::string lastLocaleName;

bool IsIntl(const char* section) { return section && strcasecmp(section, "intl") == 0; }

// ---- Reading a locale's date and time formats ----

// The composite conversions, spelled out so that their parts and separators can be seen.
const char* Composite(char conversion) {
    switch (conversion) {
    case 'D': return "%m/%d/%y";
    case 'F': return "%Y-%m-%d";
    case 'T': return "%H:%M:%S";
    case 'R': return "%H:%M";
    case 'r': return "%I:%M:%S %p";
    default: return nullptr;
    }
}

// A format as a sequence of items: a conversion is '%' followed by its letter, a literal is
// the character itself. Flags, widths and the E/O modifiers are dropped.
std::string FormatItems(const char* format) {
    std::string items;
    for (const char* p = format; *p; ++p) {
        if (*p != '%') {
            items += *p;
            continue;
        }
        ++p;
        while (*p && (strchr("-_0^#EO", *p) || (*p >= '1' && *p <= '9'))) ++p;
        if (!*p) break;
        const char* composite = Composite(*p);
        items += composite ? FormatItems(composite) : std::string("%") + *p;
    }
    return items;
}

// Position of the first conversion among `letters`, or npos.
size_t FindConversion(const std::string& items, const char* letters) {
    for (size_t i = 0; i + 1 < items.size(); ++i) {
        if (items[i] != '%') continue;
        if (strchr(letters, items[i + 1])) return i;
        ++i;
    }
    return std::string::npos;
}

// The first literal character; only a single-byte one can stand for a separator.
bool FirstSeparator(const std::string& items, char* separator) {
    for (size_t i = 0; i < items.size(); ++i) {
        if (items[i] == '%') {
            ++i;
            continue;
        }
        if ((unsigned char)items[i] >= 0x80) return false;
        *separator = items[i];
        return true;
    }
    return false;
}

// 0 month-day-year, 1 day-month-year, 2 year-month-day.
int DateOrder(const std::string& items) {
    size_t day = FindConversion(items, "de");
    size_t month = FindConversion(items, "mbBh");
    size_t year = FindConversion(items, "yYCGg");
    if (year != std::string::npos && year < day && year < month) return 2;
    if (day != std::string::npos && day < month) return 1;
    return 0;
}

// ---- Where the values come from ----

const char* LookUpTimeLocaleName() {
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* value = getenv(variable);
        if (value && *value) return value;
    }
    return nullptr;
}

// The environment is looked at once per dispatched message: a time stamp asks for six values.
const char* TimeLocaleName() {
    static unsigned long long lookedUpIn = 0;
    static const char* name = nullptr;
    unsigned long long message = platform::CurrentMessageSerial();
    if (message == 0 || message != lookedUpIn) {
        name = LookUpTimeLocaleName();
        lookedUpIn = message;
    }
    return name;
}

// C and POSIX (and C.UTF-8 and its kind) carry no regional conventions of a user.
bool IsRealLocale(const char* name) {
    return name && *name && strcmp(name, "C") != 0 && strcmp(name, "POSIX") != 0 && strncmp(name, "C.", 2) != 0;
}

// The formats of the locale last asked for, kept because every time stamp asks again.
struct KnownLocale {
    std::string name;
    bool exists = false;
    std::string dateFormat, timeFormat, am, pm;
};

KnownLocale knownLocale;

const KnownLocale& TimeLocale(const char* name) {
    if (knownLocale.name == name) return knownLocale;
    knownLocale = KnownLocale();
    knownLocale.name = name;
    locale_t locale = newlocale(LC_TIME_MASK, name, (locale_t)0);
    if (!locale) return knownLocale;
    knownLocale.exists = true;
    knownLocale.dateFormat = nl_langinfo_l(D_FMT, locale);
    knownLocale.timeFormat = nl_langinfo_l(T_FMT, locale);
    knownLocale.am = nl_langinfo_l(AM_STR, locale);
    knownLocale.pm = nl_langinfo_l(PM_STR, locale);
    freelocale(locale);
    return knownLocale;
}

bool LocaleValue(const char* key, std::string* value) {
    const char* name = TimeLocaleName();
    if (!IsRealLocale(name)) return false;
    const KnownLocale& locale = TimeLocale(name);
    if (!locale.exists) return false;
    platform::LocaleTimeFormats formats = {locale.dateFormat.c_str(), locale.timeFormat.c_str(), locale.am.c_str(),
                                           locale.pm.c_str()};
    return platform::RegionalValueFromFormats(formats, key, value);
}

bool InRegionalFile(const char* section, const char* key, std::string* value) {
    return IsIntl(section) && platform::FindProfileValue(section, key, regionalFile.c_str(), value);
}

}  // namespace

bool platform::RegionalValueFromFormats(const LocaleTimeFormats& formats, const char* key, std::string* value) {
    std::string date = FormatItems(formats.dateFormat);
    std::string time = FormatItems(formats.timeFormat);
    char separator = ':';
    if (strcasecmp(key, "iDate") == 0) {
        *value = std::to_string(DateOrder(date));
    } else if (strcasecmp(key, "sDate") == 0) {
        if (!FirstSeparator(date, &separator)) return false;
        *value = std::string(1, separator);
    } else if (strcasecmp(key, "iTime") == 0) {
        *value = FindConversion(time, "Hk") != std::string::npos ? "1" : "0";
    } else if (strcasecmp(key, "sTime") == 0) {
        if (!FirstSeparator(time, &separator)) separator = ':';
        *value = std::string(1, separator);
    } else if (strcasecmp(key, "s1159") == 0) {
        *value = formats.am;
    } else if (strcasecmp(key, "s2359") == 0) {
        *value = formats.pm;
    } else {
        return false;
    }
    return true;
}

DWORD GetProfileStringA(const char* section, const char* key, const char* defaultText, char* out, DWORD size) {
    std::string value;
    if (InRegionalFile(section, key, &value) || (IsIntl(section) && key && LocaleValue(key, &value)))
        return platform::CopyProfileText(value.c_str(), out, size);
    return platform::CopyProfileText(defaultText ? defaultText : "", out, size);
}

UINT GetProfileIntA(const char* section, const char* key, int defaultValue) {
    std::string value;
    if (InRegionalFile(section, key, &value)) return platform::ProfileNumber(value);
    if (IsIntl(section) && key && LocaleValue(key, &value)) return (UINT)atoi(value.c_str());
    return (UINT)defaultValue;
}

void platform::SetRegionalSettingsFile(const char* path) {
    regionalFile = path ? path : kDefaultRegionalFile;
    ++regionalSwitches;
}

unsigned long long platform::RegionalSettingsVersion() {
    const char* name = TimeLocaleName();
    if (lastLocaleName != (name ? name : "")) {
        lastLocaleName = name ? name : "";
        ++regionalSwitches;
    }
    return ProfileVersion(regionalFile.c_str()) + regionalSwitches;
}
