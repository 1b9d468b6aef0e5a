// The URL analyser, the base join and the DOS names of the saved copies.
//
// Input: an option byte, the referring base up to the first line feed, with option 4 the
// running index as the user typed it (its first three characters) on the next line, then
// URLs one a line. Options: 1 names after the file (else after the prefix), 2 leaves the
// index out of prefix names, 8 uses a prefix longer than the six characters a grab allows.
//
// Besides the sanitizers, one promise is checked: with a prefix of at most six characters a
// name is 8.3, at most twelve characters.

#include <cstdlib>
#include <cstring>

#include "base/textio.h"
#include "fuzz/harness.h"
#include "grabber/rewrite.h"
#include "grabber/url.h"
#include "settings/settings.h"

namespace {

constexpr int kMostUrls = 64;
constexpr size_t kLongest83Name = 12;

void Name(const char* file, int16_t noIndex) {
    const char* name = Unix2dosName(file, noIndex);
    if (strlen(Settings.Url.Prefix) <= 6 && strlen(name) > kLongest83Name) abort();
}

void Analyse(const std::string& url, const char* refBase, int16_t noIndex) {
    int16_t port = 0;
    char host[kUrlHostSize], type[kUrlTypeSize], file[kUrlFileSize], base[kUrlBaseSize];
    if (!URL_Analyser(port, url.c_str(), host, type, file, base, refBase)) return;
    char anchor[kUrlFileSize];
    SplitAnchor(file, anchor);
    Name(file, noIndex);
    // The base just made, joined again as a relative one would be.
    BaseCheck(base, refBase);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::Input in(data, size);
    unsigned options = fuzzing::Options(in);
    fuzzing::BeginInput();
    Settings.Url.AutoName = (options & 1) ? 1 : 0;
    int16_t noIndex = (options & 2) ? -1 : 0;
    CopyText(Settings.Url.Prefix, (options & 8) ? "korvelgrabber" : "korvel");
    std::string refBase = in.Field();
    if (refBase.size() >= kUrlBaseSize) refBase.resize(kUrlBaseSize - 1);  // a page's base fits its field
    // The URL dialog keeps three characters of what is typed into its index field.
    CopyText(Settings.UrlRun.Index, (options & 4) ? in.Field().c_str() : "00", 3);
    for (int i = 0; i < kMostUrls && !in.Empty(); ++i) Analyse(in.Field(), refBase.c_str(), noIndex);
    fuzzing::EndInput();
    return 0;
}
