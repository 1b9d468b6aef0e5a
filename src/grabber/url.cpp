// URL analysis and local names.
//
// The analyser reads a URL in one of four forms: relative ("x.htm", "c/x.htm", "../x.htm"),
// server-absolute ("/d/x.htm", "http:/d/x.htm"), relative with the scheme ("http:x.htm") and
// absolute ("scheme://host[:port]/d/x.htm"). The first ':' always ends a scheme, so a relative
// link with a colon anywhere is refused. The base of a relative link is joined to the base of
// the page that holds it by BaseCheck, which resolves only leading "../" groups.

#include "grabber/url.h"

#include <cstdio>
#include <cstring>

#include "base/app.h"
#include "base/print.h"
#include "base/textio.h"
#include "settings/settings.h"

namespace {

constexpr int kHostLimit = 79;   // a host of this length or more is refused
constexpr int kNameLimit = 207;  // a file or base of this length or more is refused
constexpr int kBaseJoinLimit = 207;
constexpr int kMostLevels = 19;  // a referring base with more '/' than this is refused

// How the URL began.
enum Form { kRelative, kColonOnly, kColonSlash, kAbsolute };

void CopyCut(char* field, size_t size, const char* text, size_t length) {
    if (length >= size) length = size - 1;
    memcpy(field, text, length);
    field[length] = '\0';
}

void HostTooLarge() { Print(MainWindow, "URL_Analyser, host name is too large ...\n"); }
void FileTooLarge() { Print(MainWindow, "URL_Analyser, file name is too large ...\n"); }
void BaseTooLarge() { Print(MainWindow, "URL_Analyser, base name is too large ...\n"); }

// The host of an absolute URL: url[p..h). A ':' in it ends the name and starts the port,
// which a text that does not scan leaves at 80.
bool ReadHost(const char* url, int p, int h, char* host, int16_t& port) {
    if (h - p >= kHostLimit) {
        HostTooLarge();
        return false;
    }
    CopyCut(host, kUrlHostSize, url + p, (size_t)(h - p));
    if (char* colon = strchr(host, ':')) {
        *colon = '\0';
        sscanf(colon + 1, "%hd", &port);
    }
    return true;
}

// The last '/' of url at or after p, or p - 1.
int LastSlash(const char* url, int len, int p) {
    for (int i = len - 1; i >= p; --i)
        if (url[i] == '/') return i;
    return p - 1;
}

// A URL with a file part after its last '/'.
int16_t WithFile(const char* url, int len, int p, int h, int s, Form form, bool absolute, char* file, char* base,
                 const char* refBase) {
    if (len - (s + 1) >= kNameLimit) {
        FileTooLarge();
        return 0;
    }
    CopyCut(file, kUrlFileSize, url + s + 1, (size_t)(len - s - 1));
    if (form == kAbsolute) {
        if (s - h + 1 >= kNameLimit) {
            BaseTooLarge();
            return 0;
        }
        CopyCut(base, kUrlBaseSize, url + h, (size_t)(s - h + 1));
        return 1;
    }
    if (s - p + 1 >= kNameLimit - 1) {
        BaseTooLarge();
        return 0;
    }
    base[0] = '/';
    CopyCut(base + 1, kUrlBaseSize - 1, url + p, (size_t)(s - p + 1));
    return absolute ? 1 : BaseCheck(base, refBase);
}

// A URL without a file part: it ends with '/', or it has no '/' at all after p.
int16_t WithoutFile(const char* url, int len, int p, int h, int s, Form form, bool absolute, const char* type,
                    char* file, char* base, const char* refBase) {
    if (strcmp(type, "http") == 0) {
        file[0] = '\0';
        if (h == len) {
            strcpy(base, "/");
            return 1;
        }
        if (len - h >= kNameLimit) {
            BaseTooLarge();
            return 0;
        }
        CopyCut(base, kUrlBaseSize, url + h, (size_t)(len - h));
        return 1;
    }
    if (form == kAbsolute) return 0;
    bool endsWithSlash = s == len - 1;
    if (!endsWithSlash) {
        // A bare name stays in the referring page's directory.
        CopyCut(base, kUrlBaseSize, absolute ? "/" : refBase, strlen(absolute ? "/" : refBase));
        if (len - p >= kNameLimit) {
            Print(MainWindow, "URL_Analyser,file name is too large ...\n");
            return 0;
        }
        CopyCut(file, kUrlFileSize, url + p, (size_t)(len - p));
        return 1;
    }
    file[0] = '\0';
    strcpy(base, "/");
    if (len - p == 1) return 1;
    if (len - p >= kNameLimit) {
        BaseTooLarge();
        return 0;
    }
    CopyCut(base + 1, kUrlBaseSize - 1, url + p, (size_t)(len - p));
    return absolute ? 1 : BaseCheck(base, refBase);
}

// Joins a base of four characters or more that begins with "/." to refBase into joined,
// resolving its leading "../" groups against refBase's levels. False when the join is refused.
bool JoinLevels(const char* base, const char* refBase, char (&joined)[kUrlBaseSize]) {
    int b = (int)strlen(base);
    int groups = 0;
    for (int at = 1; at <= b - 3 && base[at] == '.' && base[at + 1] == '.' && base[at + 2] == '/'; at += 3) ++groups;
    if (groups == 0) {
        snprintf(joined, sizeof joined, "%s%s", refBase, base + 1);
        return true;
    }
    int slashes = 0;
    for (const char* c = refBase; *c; ++c) slashes += *c == '/';
    if (slashes > kMostLevels) return false;
    int keep = slashes - groups;
    if (keep < 1) {
        Print(MainWindow, "BaseCheck, Url Error (../)\n");
        return false;
    }
    // refBase up to (not including) its keep-th '/', then base from the '/' that closed the
    // last "../" group.
    int seen = 0;
    int cut = 0;
    for (; refBase[cut]; ++cut)
        if (refBase[cut] == '/' && ++seen == keep) break;
    snprintf(joined, sizeof joined, "%.*s%s", cut, refBase, base + 3 * groups);
    return true;
}

}  // namespace

int16_t URL_Analyser(int16_t& port, const char* url, char* host, char* type, char* file, char* base,
                     const char* refBase) {
    port = 80;
    type[0] = '\0';
    int len = (int)strlen(url);
    host[0] = '\0';
    file[0] = '\0';
    if (len == 0) {
        CopyCut(base, kUrlBaseSize, refBase, strlen(refBase));
        return 1;
    }
    strcpy(base, "/");

    Form form = kRelative;
    int p = 0;
    if (const char* colon = strchr(url, ':')) {
        int i = (int)(colon - url);
        CopyCut(type, kUrlTypeSize, url, (size_t)i);
        if (url[i + 1] != '/') {
            form = kColonOnly;
        } else {
            if (i + 2 >= len) return 0;
            if (url[i + 2] == '/') {
                if (i + 3 >= len) return 0;
                form = kAbsolute;
                p = i + 3;
            } else {
                form = kColonSlash;
            }
        }
    }
    // "http:x" and "http:/x" are read as if the scheme were not there.
    if (form == kColonOnly || form == kColonSlash) {
        if (strcmp(type, "http") != 0) return 0;
        type[0] = '\0';
        p = 5;
    }
    bool absolute = form == kAbsolute;
    if ((form == kRelative || form == kColonSlash) && url[p] == '/') {
        absolute = true;
        ++p;
    }

    int h = len;
    if (form == kAbsolute) {
        const char* slash = strchr(url + p, '/');
        h = slash ? (int)(slash - url) : len;
        if (!ReadHost(url, p, h, host, port)) return 0;
    }
    int s = LastSlash(url, len, p);
    if (s != len - 1 && s != p - 1) return WithFile(url, len, p, h, s, form, absolute, file, base, refBase);
    return WithoutFile(url, len, p, h, s, form, absolute, type, file, base, refBase);
}

int16_t BaseCheck(char* base, const char* refBase) {
    if (refBase[0] == '\0') return 1;
    size_t b = strlen(base);
    if (b + strlen(refBase) >= (size_t)kBaseJoinLimit) {
        Print(MainWindow, "BaseCheck, base is greater than %d\n", kBaseJoinLimit);
        return 0;
    }
    // The joined base is at most 206 characters: both parts together are shorter than 207.
    char joined[kUrlBaseSize];
    if (b <= 1) {
        snprintf(joined, sizeof joined, "%s", refBase);
    } else if (base[1] != '.' || b <= 2 || (base[2] != '/' && b == 3)) {
        snprintf(joined, sizeof joined, "%s%s", refBase, base + 1);
    } else if (base[2] == '/') {
        snprintf(joined, sizeof joined, "%s%s", refBase, base + 3);  // a leading "./" step
    } else if (!JoinLevels(base, refBase, joined)) {
        return 0;
    }
    memcpy(base, joined, strlen(joined) + 1);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Local names.

namespace {

// Each position of the index runs through '0'..'9', 'a'..'z'; returns true on a carry.
bool StepDigit(char& digit) {
    if (digit == '9') {
        digit = 'a';
    } else if (digit == 'z') {
        digit = '0';
        return true;
    } else {
        ++digit;
    }
    return false;
}

bool IsNameCharacter(char c) {
    return c == '.' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// The characters of a name that DOS can keep, in lower case.
void CleanName(const char* name, char* clean, size_t size) {
    size_t n = 0;
    for (const char* c = name; *c && n + 1 < size; ++c) {
        if (!IsNameCharacter(*c)) continue;
        clean[n++] = (*c >= 'A' && *c <= 'Z') ? (char)(*c - 'A' + 'a') : *c;
    }
    clean[n] = '\0';
    if (n == 0) {
        Print(MainWindow, "Unix2dosName,no conversion found !!!\n");
        snprintf(clean, size, "%s", "noconv.err");
    }
}

}  // namespace

void AdvanceIndex() {
    // The second character is the lowest position; the third, added on the first overflow of
    // both, is the highest although it is printed last.
    if (!StepDigit(Settings.UrlRun.Index[1])) return;
    if (!StepDigit(Settings.UrlRun.Index[0])) return;
    if (Settings.UrlRun.Index[2] == '\0') {
        Settings.UrlRun.Index[2] = '0';
        Settings.UrlRun.Index[3] = '\0';
        return;
    }
    StepDigit(Settings.UrlRun.Index[2]);
}

const char* Unix2dosName(const char* name, int16_t noIndex) {
    // A 19-character prefix, a 3-character index, the '.' and a 3-character extension.
    static char dosName[32];
    char stem[8] = "noname";
    char extension[4] = "htm";
    if (name[0] != '\0') {
        char clean[kUrlFileSize];
        CleanName(name, clean, sizeof clean);
        const char* first = strchr(clean, '.');
        const char* last = strrchr(clean, '.');
        if (!last)
            extension[0] = '\0';
        else
            CopyCut(extension, sizeof extension, last + 1, strlen(last + 1));
        size_t stemLength = first ? (size_t)(first - clean) : strlen(clean);
        // A long stem keeps its end, not its start: "welcome" gives "elcome".
        size_t from = stemLength > 6 ? stemLength - 6 : 0;
        CopyCut(stem, sizeof stem, clean + from, stemLength - from);
    }
    AdvanceIndex();
    bool longIndex = strlen(Settings.UrlRun.Index) == 3;
    if (Settings.Url.AutoName != 0) {
        if (longIndex) stem[5] = '\0';
        snprintf(dosName, sizeof dosName, "%s%s.%s", Settings.UrlRun.Index, stem, extension);
    } else {
        char prefix[sizeof Settings.Url.Prefix];
        CopyText(prefix, Settings.Url.Prefix);
        if (noIndex == -1)
            snprintf(dosName, sizeof dosName, "%s.%s", prefix, extension);
        else
            snprintf(dosName, sizeof dosName, "%.*s%s.%s", longIndex ? 5 : 19, prefix, Settings.UrlRun.Index, extension);
    }
    return dosName;
}
