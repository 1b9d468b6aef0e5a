// Target decoding, one character at a time. The form text starts with the path (with '\'
// separators); the call text collects the current path component and restarts at every '/';
// the request becomes a CGI call at the first '?' when the call text so far begins with
// "cgi-dos". An escape is '%' and the next two characters that are not handled on their own
// ('/', a first '?', '&', '+', '=', '%'): those keep their meaning even inside an escape, and
// a further '%' starts it again. The path itself keeps every character undecoded.

#include "server/target.h"

#include <cstdio>
#include <cstring>

#include "platform/files.h"

namespace {

void Emit(DecodedTarget& d, const std::string& text, bool toCall) {
    d.form += text;
    if (toCall && d.cgi) d.call += text;
}

void DecodeEscape(DecodedTarget& d, const std::string& pair) {
    if (pair[0] == '0' && (pair[1] == 'A' || pair[1] == 'a')) {
        d.form += "<br>";
        if (d.cgi) d.call += ' ';
        return;
    }
    if (pair[0] == '0' && (pair[1] == 'D' || pair[1] == 'd')) return;
    unsigned short value;
    if (sscanf(pair.c_str(), "%hx", &value) == 1 && value >= 0x20 && value <= 0x7F)
        Emit(d, std::string(1, (char)value), true);
    else
        Emit(d, "%" + pair, true);
}

void FirstQuery(DecodedTarget& d) {
    d.query = true;
    d.form += "<br>";
    if (d.call.size() >= 7 && d.call.compare(0, 7, "cgi-dos") == 0) d.cgi = true;
    if (d.cgi) d.call += ' ';
}

}  // namespace

DecodedTarget DecodeTarget(const std::string& target) {
    DecodedTarget d;
    std::string escape;
    bool inEscape = false;
    for (char ch : target) {
        bool firstQuery = ch == '?' && !d.query;
        bool ownMeaning = ch == '/' || firstQuery || ch == '&' || ch == '+' || ch == '=' || ch == '%';
        d.path += ch == '/' ? kDirSep : ch;
        if (inEscape && !ownMeaning) {
            escape += ch;
            if (escape.size() == 2) {
                DecodeEscape(d, escape);
                inEscape = false;
            }
            continue;
        }
        switch (ch) {
            case '/':
                d.form += '\\';
                d.call.clear();
                break;
            case '&':
            case '+':
                d.form += ch == '&' ? "<br>" : " ";
                if (d.cgi) d.call += ' ';
                break;
            case '=':
                d.form += "= ";
                if (d.cgi) d.call += ' ';
                break;
            case '%':
                inEscape = true;
                escape.clear();
                break;
            case '?':
                if (firstQuery) {
                    FirstQuery(d);
                    break;
                }
                [[fallthrough]];
            default:
                d.form += ch;
                d.call += ch;
        }
    }
    return d;
}

bool LeavesHome(const std::string& target) {
    size_t start = 0;
    for (;;) {
        size_t end = target.find_first_of("/\\", start);
        if (target.compare(start, end == std::string::npos ? std::string::npos : end - start, "..") == 0) return true;
        if (end == std::string::npos) return false;
        start = end + 1;
    }
}
