#include "base/timestamp.h"

#include <cstdio>
#include <cstring>

#include "platform/profile.h"

namespace {

const char* const kDayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// The [intl] values a time stamp needs. The separators are read into two bytes, so only their
// first character counts; the suffixes into five, so at most four characters.
struct RegionalFormat {
    int dateOrder;  // 0 month-day-year, 1 day-month-year, 2 year-month-day
    int clock;      // 1 24-hour, anything else 12-hour
    char dateSeparator[2];
    char timeSeparator[2];
    char morning[5];
    char afternoon[5];
};

RegionalFormat ReadRegionalFormat() {
    RegionalFormat format;
    memset(&format, 0, sizeof format);  // whole bytes, so that formats compare as bytes
    format.dateOrder = (int)GetProfileIntA("intl", "iDate", 0);
    format.clock = (int)GetProfileIntA("intl", "iTime", 0);
    GetProfileStringA("intl", "sDate", "/", format.dateSeparator, sizeof format.dateSeparator);
    GetProfileStringA("intl", "sTime", ":", format.timeSeparator, sizeof format.timeSeparator);
    GetProfileStringA("intl", "s1159", "AM", format.morning, sizeof format.morning);
    GetProfileStringA("intl", "s2359", "PM", format.afternoon, sizeof format.afternoon);
    return format;
}

// The format read again only when the regional settings may have changed: a server stamps
// every login and logout, and six look-ups for each cost more than the stamp.
const RegionalFormat& CurrentRegionalFormat() {
    static RegionalFormat format;
    static unsigned long long readAt = 0;
    static bool read = false;
    unsigned long long version = platform::RegionalSettingsVersion();
    if (!read || version != readAt) {
        format = ReadRegionalFormat();
        readAt = version;
        read = true;
    }
    return format;
}

int FormatDate(const tm& local, const RegionalFormat& format, char* out, size_t size) {
    int day = local.tm_mday, month = local.tm_mon + 1, year = (local.tm_year + 1900) % 100;
    int first = month, second = day, third = year;
    if (format.dateOrder == 1) {
        first = day;
        second = month;
    } else if (format.dateOrder == 2) {
        first = year;
        second = month;
        third = day;
    }
    const char* separator = format.dateSeparator;
    return snprintf(out, size, " %s  %d%s%02d%s%02d - ", kDayNames[local.tm_wday], first, separator, second,
                    separator, third);
}

int FormatTime(const tm& local, const RegionalFormat& format, char* out, size_t size) {
    const char* separator = format.timeSeparator;
    if (format.clock == 1) {
        return snprintf(out, size, "%02d%s%02d%s%02d  ", local.tm_hour, separator, local.tm_min, separator,
                        local.tm_sec);
    }
    int hour = local.tm_hour % 12 == 0 ? 12 : local.tm_hour % 12;
    const char* suffix = local.tm_hour < 12 ? format.morning : format.afternoon;
    return snprintf(out, size, "  %d%s%02d%s%02d %s  ", hour, separator, local.tm_min, separator, local.tm_sec,
                    suffix);
}

// Everything a stamp's text is made from.
struct StampSource {
    int fields[7];
    RegionalFormat format;

    static StampSource Of(const tm& local, const RegionalFormat& format) {
        StampSource source;
        memset(&source, 0, sizeof source);  // the padding too, for the comparison
        int fields[7] = {local.tm_year, local.tm_mon, local.tm_mday, local.tm_wday,
                         local.tm_hour, local.tm_min, local.tm_sec};
        memcpy(source.fields, fields, sizeof fields);
        memcpy(&source.format, &format, sizeof format);
        return source;
    }
    bool operator==(const StampSource& other) const { return memcmp(this, &other, sizeof *this) == 0; }
};

// What snprintf put into a buffer of `size` bytes.
int Written(int length, size_t size) {
    if (length < 0) return 0;
    return (size_t)length < size ? length : (int)size - 1;
}

}  // namespace

int16_t TimeStamp(time_t time, char* out) {
    out[0] = '\0';
    tm local;
    if (!localtime_r(&time, &local)) return 0;
    const RegionalFormat& format = CurrentRegionalFormat();
    // A server stamps every login and logout, mostly within the same second: the text of the
    // last stamp is kept with what it was made from.
    static StampSource last;
    static char lastText[kTimeStampSize];
    static int16_t lastLength = -1;
    StampSource source = StampSource::Of(local, format);
    if (lastLength >= 0 && source == last) {
        memcpy(out, lastText, (size_t)lastLength + 1);
        return lastLength;
    }
    int length = Written(FormatDate(local, format, out, kTimeStampSize), kTimeStampSize);
    length += Written(FormatTime(local, format, out + length, kTimeStampSize - length), kTimeStampSize - length);
    last = source;
    lastLength = (int16_t)length;
    memcpy(lastText, out, (size_t)length + 1);
    return (int16_t)length;
}
