// Profile files: a file is kept as its list of lines, each with its own line end, so that a
// write changes only the line it must and leaves every other byte as it was. Reading
// interprets the lines on the fly: "[name]" opens a section, "key=value" is a key, a line
// whose first non-blank character is ';' is a comment, anything else is ignored.
//
// The server reads the [Mime] section for every file it serves, so parsed files stay in
// memory, keyed by host path, until the file's identity (inode, size, modification time)
// changes on disk. The identity is looked at once per dispatched message: a request reads
// several keys, and an edit made before the request still counts for it.
#include "platform/profile.h"

#include <cstring>
#include <map>
#include <strings.h>
#include <sys/stat.h>
#include <vector>

#include "platform/files.h"
#include "platform/messages.h"

namespace {

struct ProfileLine {
    std::string text;    // without its line end
    std::string ending;  // "\r\n", "\n", or "" for a last line without one
};

typedef std::vector<ProfileLine> ProfileLines;

struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    time_t mtimeSeconds = 0;
    long mtimeNanoseconds = 0;

    bool operator==(const FileIdentity& other) const {
        return device == other.device && inode == other.inode && size == other.size &&
               mtimeSeconds == other.mtimeSeconds && mtimeNanoseconds == other.mtimeNanoseconds;
    }
};

// A key of a section and its value, read by the rules (in the order of the file).
struct IndexedKey {
    std::string name;
    std::string value;
};

struct IndexedSection {
    std::string name;
    std::vector<IndexedKey> keys;
};

struct CachedProfile {
    FileIdentity identity;
    ProfileLines lines;
    // Every section header with its keys, so that a look-up does not parse lines. A name may
    // appear twice; the first one answers, as a scan of the lines would find it first.
    std::vector<IndexedSection> sections;
    unsigned long long checkedIn = 0;  // the message during which the identity was last looked at
};

std::map<std::string, CachedProfile> profileCache;
// Counts the changes of what the cache holds, so that a reader of a few keys can keep what it
// made of them until the count moves.
unsigned long long cacheChanges = 0;

void Forget(const std::string& host) {
    if (profileCache.erase(host) > 0) ++cacheChanges;
}

const size_t kNone = (size_t)-1;
const char* const kBlanks = " \t";

// ---- Reading the rules out of a line ----

std::string Trim(const std::string& text) {
    size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return std::string();
    size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

bool SameName(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }

bool IsBlankLine(const ProfileLine& line) { return line.text.find_first_not_of(kBlanks) == std::string::npos; }

bool IsComment(const std::string& text) {
    size_t first = text.find_first_not_of(kBlanks);
    return first != std::string::npos && text[first] == ';';
}

// "[name]" with blanks allowed around the name and before the bracket.
bool SectionHeader(const std::string& text, std::string* name) {
    size_t open = text.find_first_not_of(kBlanks);
    if (open == std::string::npos || text[open] != '[') return false;
    size_t close = text.find(']', open);
    *name = Trim(text.substr(open + 1, close == std::string::npos ? std::string::npos : close - open - 1));
    return true;
}

// One pair of matching quotes around a value is not part of it.
std::string Unquote(const std::string& value) {
    size_t n = value.size();
    if (n >= 2 && (value[0] == '"' || value[0] == '\'') && value[n - 1] == value[0]) return value.substr(1, n - 2);
    return value;
}

bool KeyLine(const std::string& text, std::string* key, std::string* value) {
    size_t equals = text.find('=');
    if (equals == std::string::npos || IsComment(text)) return false;
    *key = Trim(text.substr(0, equals));
    if (value) *value = Unquote(Trim(text.substr(equals + 1)));
    return true;
}

// ---- Finding sections and keys ----

size_t FindSection(const ProfileLines& lines, const char* section) {
    std::string name;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (SectionHeader(lines[i].text, &name) && SameName(name, section)) return i;
    }
    return kNone;
}

// The line after the last line of the section whose header is at `header`.
size_t SectionEnd(const ProfileLines& lines, size_t header) {
    std::string name;
    size_t i = header + 1;
    while (i < lines.size() && !SectionHeader(lines[i].text, &name)) ++i;
    return i;
}

size_t FindKey(const ProfileLines& lines, const char* section, const char* key) {
    size_t header = FindSection(lines, section);
    if (header == kNone) return kNone;
    std::string name;
    for (size_t i = header + 1, end = SectionEnd(lines, header); i < end; ++i) {
        if (KeyLine(lines[i].text, &name, nullptr) && SameName(name, key)) return i;
    }
    return kNone;
}

std::vector<IndexedSection> IndexSections(const ProfileLines& lines) {
    std::vector<IndexedSection> sections;
    std::string name, value;
    for (const ProfileLine& line : lines) {
        if (SectionHeader(line.text, &name)) {
            sections.push_back(IndexedSection{name, {}});
        } else if (!sections.empty() && KeyLine(line.text, &name, &value)) {
            sections.back().keys.push_back(IndexedKey{name, value});
        }
    }
    return sections;
}

const std::string* IndexedValue(const std::vector<IndexedSection>& sections, const char* section, const char* key) {
    for (const IndexedSection& s : sections) {
        if (!SameName(s.name, section)) continue;
        for (const IndexedKey& k : s.keys)
            if (SameName(k.name, key)) return &k.value;
        return nullptr;
    }
    return nullptr;
}

CachedProfile& Remember(const std::string& host, const FileIdentity& identity, ProfileLines lines,
                        unsigned long long checkedIn) {
    CachedProfile& entry = profileCache[host];
    ++cacheChanges;
    entry.identity = identity;
    entry.lines = std::move(lines);
    entry.sections = IndexSections(entry.lines);
    entry.checkedIn = checkedIn;
    return entry;
}

// ---- Loading and saving through the cache ----

bool CurrentIdentity(const std::string& host, FileIdentity* identity) {
    struct stat info;
    if (stat(host.c_str(), &info) != 0) return false;
    identity->device = info.st_dev;
    identity->inode = info.st_ino;
    identity->size = info.st_size;
    identity->mtimeSeconds = info.st_mtim.tv_sec;
    identity->mtimeNanoseconds = info.st_mtim.tv_nsec;
    return true;
}

ProfileLines SplitLines(const std::string& content) {
    ProfileLines lines;
    size_t start = 0;
    while (start < content.size()) {
        size_t feed = content.find('\n', start);
        if (feed == std::string::npos) {
            lines.push_back({content.substr(start), ""});
            break;
        }
        bool crlf = feed > start && content[feed - 1] == '\r';
        lines.push_back({content.substr(start, feed - start - (crlf ? 1 : 0)), crlf ? "\r\n" : "\n"});
        start = feed + 1;
    }
    return lines;
}

bool ReadWholeFile(const std::string& host, std::string* content) {
    FILE* file = fopen(host.c_str(), "rbe");
    if (!file) return false;
    char block[4096];
    size_t n;
    while ((n = fread(block, 1, sizeof block, file)) > 0) content->append(block, n);
    bool ok = !ferror(file);
    fclose(file);
    return ok;
}

// The host path of a settings file name; the same few names are asked for again and again.
const std::string& HostPathOf(const char* file) {
    static std::string lastName, lastHost;
    if (lastName != file) {
        lastName = file;
        lastHost = HostPath(file);
    }
    return lastHost;
}

// The parsed file, or null when it does not exist or cannot be read.
const CachedProfile* LoadProfile(const std::string& host) {
    unsigned long long message = platform::CurrentMessageSerial();
    auto cached = profileCache.find(host);
    if (message != 0 && cached != profileCache.end() && cached->second.checkedIn == message) return &cached->second;
    FileIdentity identity;
    if (!CurrentIdentity(host, &identity)) {
        Forget(host);
        return nullptr;
    }
    if (cached != profileCache.end() && cached->second.identity == identity) {
        cached->second.checkedIn = message;
        return &cached->second;
    }
    std::string content;
    if (!ReadWholeFile(host, &content)) {
        Forget(host);
        return nullptr;
    }
    return &Remember(host, identity, SplitLines(content), message);
}

bool SaveProfile(const std::string& host, const ProfileLines& lines) {
    Forget(host);
    FILE* file = fopen(host.c_str(), "wbe");
    if (!file) return false;
    for (const ProfileLine& line : lines) {
        fputs(line.text.c_str(), file);
        fputs(line.ending.c_str(), file);
    }
    bool ok = !ferror(file);
    if (fclose(file) != 0) ok = false;
    FileIdentity identity;
    if (ok && CurrentIdentity(host, &identity)) Remember(host, identity, lines, 0);
    return ok;
}

// ---- Changing the lines ----

// New lines follow the file's own convention, taken from its first line.
std::string LineEnding(const ProfileLines& lines) {
    return !lines.empty() && lines[0].ending == "\r\n" ? "\r\n" : "\n";
}

void InsertLine(ProfileLines* lines, size_t at, const std::string& text) {
    std::string ending = LineEnding(*lines);
    if (at > 0 && (*lines)[at - 1].ending.empty()) (*lines)[at - 1].ending = ending;
    lines->insert(lines->begin() + at, ProfileLine{text, ending});
}

void AppendSection(ProfileLines* lines, const char* section, const std::string& keyLine) {
    if (!lines->empty() && !IsBlankLine(lines->back())) InsertLine(lines, lines->size(), "");
    InsertLine(lines, lines->size(), std::string("[") + section + "]");
    InsertLine(lines, lines->size(), keyLine);
}

// A new key goes after the last non-blank line of its section.
void AppendKey(ProfileLines* lines, size_t header, const std::string& keyLine) {
    size_t last = SectionEnd(*lines, header) - 1;
    while (last > header && IsBlankLine((*lines)[last])) --last;
    InsertLine(lines, last + 1, keyLine);
}

void SetKey(ProfileLines* lines, const char* section, const char* key, const char* value) {
    size_t header = FindSection(*lines, section);
    if (header == kNone) return AppendSection(lines, section, std::string(key) + "=" + value);
    size_t found = FindKey(*lines, section, key);
    if (found == kNone) return AppendKey(lines, header, std::string(key) + "=" + value);
    std::string spelling;
    KeyLine((*lines)[found].text, &spelling, nullptr);
    (*lines)[found].text = spelling + "=" + value;
}

bool DeleteKey(ProfileLines* lines, const char* section, const char* key) {
    size_t found = FindKey(*lines, section, key);
    if (found == kNone) return false;
    lines->erase(lines->begin() + found);
    return true;
}

bool DeleteSection(ProfileLines* lines, const char* section) {
    size_t header = FindSection(*lines, section);
    if (header == kNone) return false;
    lines->erase(lines->begin() + header, lines->begin() + SectionEnd(*lines, header));
    return true;
}

// A decimal integer: blanks, an optional '+' or '-', then digits up to the first character that
// is none. "0x10" is 0, as a decimal reading stops at the 'x' (the one hexadecimal key, the
// server's Mode, is read as text). Wraps like the 32-bit arithmetic it stands for; text that
// is no number is 0.
UINT ParseProfileInt(const std::string& text) {
    size_t i = text.find_first_not_of(kBlanks);
    if (i == std::string::npos) return 0;
    bool negative = text[i] == '-';
    if (negative || text[i] == '+') ++i;
    UINT number = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) number = number * 10u + (UINT)(text[i] - '0');
    return negative ? 0u - number : number;
}

}  // namespace

DWORD platform::CopyProfileText(const char* text, char* out, DWORD size) {
    if (!out || size == 0) return 0;
    size_t length = strnlen(text, size - 1);
    memcpy(out, text, length);
    out[length] = '\0';
    return (DWORD)length;
}

bool platform::FindProfileValue(const char* section, const char* key, const char* file, std::string* value) {
    if (!section || !key) return false;
    const CachedProfile* profile = LoadProfile(HostPathOf(file));
    if (!profile) return false;
    const std::string* found = IndexedValue(profile->sections, section, key);
    if (!found) return false;
    *value = *found;
    return true;
}

DWORD GetPrivateProfileStringA(const char* section, const char* key, const char* defaultText, char* out,
                               DWORD size, const char* file) {
    std::string value;
    if (platform::FindProfileValue(section, key, file, &value)) return platform::CopyProfileText(value.c_str(), out, size);
    if (!section || !key) return platform::CopyProfileText("", out, size);
    return platform::CopyProfileText(defaultText ? defaultText : "", out, size);
}

UINT GetPrivateProfileIntA(const char* section, const char* key, int defaultValue, const char* file) {
    std::string value;
    if (!platform::FindProfileValue(section, key, file, &value)) return (UINT)defaultValue;
    return ParseProfileInt(value);
}

UINT platform::ProfileNumber(const std::string& value) { return ParseProfileInt(value); }

BOOL WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file) {
    if (!section) return FALSE;
    std::string host = HostPath(file);
    const CachedProfile* loaded = LoadProfile(host);
    ProfileLines lines = loaded ? loaded->lines : ProfileLines();
    if (!key) return DeleteSection(&lines, section) ? SaveProfile(host, lines) : TRUE;
    if (!value) return DeleteKey(&lines, section, key) ? SaveProfile(host, lines) : TRUE;
    SetKey(&lines, section, key, value);
    return SaveProfile(host, lines);
}

void platform::FlushProfileCache() {
    profileCache.clear();
    ++cacheChanges;
}

unsigned long long platform::ProfileVersion(const char* file) {
    LoadProfile(HostPathOf(file));
    return cacheChanges;
}
