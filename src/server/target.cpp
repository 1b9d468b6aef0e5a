// Target decoding, one character at a time. The form text starts with the path (with '\'
// separators); the call text collects the current path component and restarts at every '/';
// the request becomes a CGI call at the first '?' when the call text so far begins with
// "cgi-dos". An escape is '%' and the next two characters that are not handled on their own
// ('/', a first '?', '&', '+', '=', '%'): those keep their meaning even inside an escape, and
// a further '%' starts it again. The path itself keeps every character undecoded.
//
// Safety fix: the form text ends up in the Mailbox page that every later visitor opens, so
// the characters that HTML gives a meaning to ('<', '>', '&', '"') are written there as
// entities whenever they come from the request, raw or escaped. The "<br>" separators that
// the decoding writes itself stay markup, and text without those characters is unchanged.

#include "server/target.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "platform/files.h"

namespace {

// A character of the request into the form text.
void FormCharacter(DecodedTarget& d, char ch) {
    switch (ch) {
        case '<': d.form += "&lt;"; break;
        case '>': d.form += "&gt;"; break;
        case '&': d.form += "&amp;"; break;
        case '"': d.form += "&quot;"; break;
        default: d.form += ch;
    }
}

// Characters of the request into the form text and, once the request is a CGI call, the
// call text.
void Emit(DecodedTarget& d, const std::string& text) {
    for (char ch : text) FormCharacter(d, ch);
    if (d.cgi) d.call += text;
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
        Emit(d, std::string(1, (char)value));
    else
        Emit(d, "%" + pair);
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
                FormCharacter(d, ch);
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

namespace {

size_t DigitsAt(const std::string& text, size_t at) {
    size_t end = at;
    while (end < text.size() && isdigit((unsigned char)text[end])) ++end;
    return end - at;
}

// "chN_NN", "chN_NN.url", "chN_NN.tok", "chN.tok" or "extN.txt", in any case.
bool IsGatewayName(std::string name) {
    for (char& c : name) c = (char)tolower((unsigned char)c);
    if (name.compare(0, 3, "ext") == 0) {
        size_t digits = DigitsAt(name, 3);
        return digits > 0 && name.compare(3 + digits, std::string::npos, ".txt") == 0;
    }
    size_t digits = DigitsAt(name, 2);
    if (name.compare(0, 2, "ch") != 0 || digits == 0) return false;
    std::string rest = name.substr(2 + digits);
    if (rest == ".tok") return true;
    if (rest.size() < 3 || rest[0] != '_' || DigitsAt(rest, 1) != 2) return false;
    rest.erase(0, 3);
    return rest.empty() || rest == ".url" || rest == ".tok";
}

}  // namespace

bool NamesGatewayFile(const std::string& target) {
    std::string path = target.substr(0, target.find('?'));
    size_t slash = path.find_last_of("/\\");
    return IsGatewayName(slash == std::string::npos ? path : path.substr(slash + 1));
}
