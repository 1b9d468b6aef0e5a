// The program's text files of the user: korvel.ini (the settings, the regional [intl] values of
// the time stamps, the [Mime] types, and the writing back in place), tag.map (the tag tables,
// then the scanner with them over a small page) and cgi-dos.map (the look-up of a call and the
// command line and pipe files it makes; nothing is started).
//
// Input: an option byte, then the file. The option's low two bits say which file the rest is:
// 0 korvel.ini, 1 tag.map, 2 cgi-dos.map, 3 all three at once; 4 saves the settings into the
// fuzzed korvel.ini and reads them back (slow: the file is rewritten key by key).

#include <cstdio>
#include <string>

#include "base/app.h"
#include "base/textio.h"
#include "base/timestamp.h"
#include "fuzz/harness.h"
#include "grabber/tags.h"
#include "platform/clock.h"
#include "server/cgi.h"
#include "server/cgi_map.h"
#include "server/send.h"
#include "settings/settings.h"

namespace {

// Extensions whose type the server would look up: built in, typical [Mime] keys, odd ones.
const char* const kExtensions[] = {"htm", "HTM", "txt", "css", "pdf", "xyz", "", "x y", "=", "[Mime]"};

constexpr const char* kPage =
    "<html><BASE href=/b/><body background=\"bg.gif\"><a href=\"x.htm\">x</a><A\nHREF = 'y.htm'>"
    "<img src=i.gif alt=\"a b\"><frame src=f.htm><form action=go.cgi><area href=m.htm><input src=s.gif>"
    "<link href=s.css><script src=j.js></script><meta content=\"0; url=r.htm\"></body></html>";

void IniFile(bool save) {
    LoadSettings();
    char stamp[kTimeStampSize];
    TimeStamp(CurrentTime(), stamp);
    char type[81];
    for (const char* extension : kExtensions) MimeType(extension, type);
    if (!save) return;
    SaveSettings();
    LoadSettings();
}

// The scanner in the rhythm the rewriting passes use, with one table.
void Scan(const TagTable& table) {
    FILE* page = fopen("page.htm", "rb");
    FILE* copy = fopen("copy.htm", "w+b");
    if (page && copy) {
        char value[kDetectValueSize];
        int16_t entry = 0;
        while (Detect(page, table, 0, 1, 0, nullptr, 0, copy, 1, &entry, DetectTag) > 0) {
            int16_t found = Detect(page, table, 0, 0, 0, nullptr, 0, copy, 1, &entry, DetectAttribute);
            if (found == kDetectEnd) break;
            if (found == kDetectTagEnded) continue;
            if (Detect(page, table, 0, 0, 1, value, kDetectValueSize, copy, 1, &entry, DetectValue) == kDetectEnd) break;
        }
    }
    if (page) fclose(page);
    if (copy) fclose(copy);
}

void TagMap() {
    TAGinit();
    fuzzing::WriteFile("page.htm", kPage);
    Scan(Tags.UrlTags);
    Scan(Tags.MarkTags);
    Scan(Tags.ImageTags);
}

void CgiMap() {
    fuzzing::MakeDir("site");
    CopyText(Settings.Server.HomeDir, "site");
    for (const char* call : {"cgi-dosx one two", "cgi-dos", "cgi-dosw"}) {
        CgiRequestLine(MainWindow, 0, call, "GET /cgi-dosx?one+two HTTP/1.0\r\n");
        Channel& c = Channels[0];
        if (c.SendFile) fclose(c.SendFile);
        c.SendFile = nullptr;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzing::Input in(data, size);
    unsigned options = fuzzing::Options(in);
    unsigned which = options & 3;
    std::string file = in.Rest();
    fuzzing::BeginInput();
    if (which == 0 || which == 3) {
        fuzzing::WriteFile("korvel.ini", file);
        IniFile((options & 4) != 0);
    }
    if (which == 1 || which == 3) {
        fuzzing::WriteFile("tag.map", file);
        TagMap();
    }
    if (which == 2 || which == 3) {
        fuzzing::WriteFile("cgi-dos.map", file);
        CgiMap();
    }
    fuzzing::EndInput();
    return 0;
}
