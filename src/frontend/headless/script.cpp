#include "frontend/headless/script.h"

#include <strings.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/clock.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace headless {

namespace {

constexpr int64_t kWaitForLimitMs = 10000;
constexpr int kWaitForPollMs = 20;
// Longer than any run, and small enough that the clock plus the wait cannot overflow.
constexpr double kLongestWaitSeconds = 1e9;

const char* KindName(ControlKind kind) {
    switch (kind) {
        case ControlKind::Static: return "static";
        case ControlKind::Group: return "group";
        case ControlKind::Edit: return "edit";
        case ControlKind::Button: return "button";
        case ControlKind::CheckBox: return "checkbox";
        case ControlKind::Radio: return "radio";
        case ControlKind::List: return "list";
        case ControlKind::SortedList: return "sortedlist";
        case ControlKind::DropDown: return "dropdown";
    }
    return "?";
}

bool IsList(ControlKind kind) {
    return kind == ControlKind::List || kind == ControlKind::SortedList || kind == ControlKind::DropDown;
}

// The text a user reads in a control: a list shows its selected item.
std::string VisibleText(const platform::ControlState& c) {
    if (IsList(c.kind)) return c.selection >= 0 && c.selection < (int)c.items.size() ? c.items[(size_t)c.selection] : "";
    return c.text;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// What a line asks for: its leading blanks and its comment are no part of it. A comment is a
// whole line starting with '#', or a '#' that starts a word, with the blanks before it; a '#'
// inside a word is kept, and one that must start a word of a TEXT is written \x23.
std::string WithoutComment(const std::string& raw) {
    const char* const blanks = " \t";
    size_t start = raw.find_first_not_of(blanks);
    if (start == std::string::npos || raw[start] == '#') return "";
    std::string line = raw.substr(start);
    for (size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '#' && (line[i - 1] == ' ' || line[i - 1] == '\t')) {
            line.erase(line.find_last_not_of(blanks, i - 1) + 1);
            break;
        }
    }
    return line;
}

void SplitFirst(const std::string& text, std::string& first, std::string& rest) {
    size_t end = text.find(' ');
    first = text.substr(0, end);
    rest = end == std::string::npos ? "" : text.substr(end + 1);
}

}  // namespace

std::string Unescape(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c != '\\' || i + 1 >= text.size()) {
            out += c;
            continue;
        }
        char e = text[++i];
        switch (e) {
            case 'r': out += '\r'; break;
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case '\\': out += '\\'; break;
            case 'x':
                if (i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
                    out += (char)(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
                    i += 2;
                    break;
                }
                [[fallthrough]];
            default:
                out += '\\';
                out += e;
        }
    }
    return out;
}

ScriptRunner::ScriptRunner(HeadlessFrontEnd& frontEnd, std::vector<std::string> lines)
    : frontEnd_(frontEnd), lines_(std::move(lines)) {
    frontEnd_.KeepPrintedText();
}

bool ScriptRunner::Load(const char* path, std::vector<std::string>& lines) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return true;
}

int ScriptRunner::WakeAfterMs() {
    int64_t now = platform::MonotonicMs();
    if (waitUntil_ > now) return (int)(waitUntil_ - now);
    if (!waitText_.empty()) return kWaitForPollMs;
    return next_ < lines_.size() ? 0 : -1;
}

// Whether the next line may run: no wait pending, and the awaited text (if any) printed.
bool ScriptRunner::Ready() {
    int64_t now = platform::MonotonicMs();
    if (waitUntil_ > now) return false;
    if (waitText_.empty()) return true;
    const std::string& printed = frontEnd_.PrintedText();
    if (searchFrom_ > printed.size()) searchFrom_ = 0;
    size_t found = printed.find(waitText_, searchFrom_);
    if (found != std::string::npos) {
        searchFrom_ = found + waitText_.size();
        waitText_.clear();
        return true;
    }
    if (now > waitDeadline_) Fail(3, "waitfor timed out: " + waitText_);
    return false;
}

bool ScriptRunner::Idle() {
    if (!Ready() || next_ >= lines_.size()) return false;
    Run(lines_[next_++]);
    return true;
}

void ScriptRunner::Fail(int exitCode, const std::string& message) {
    frontEnd_.Flush();
    fprintf(stderr, "script line %zu: %s\n", next_, message.c_str());
    fflush(stderr);
    exit(exitCode);
}

int ScriptRunner::Number(const std::string& word) {
    char* end = nullptr;
    errno = 0;
    long value = strtol(word.c_str(), &end, 10);
    if (word.empty() || *end != '\0' || errno == ERANGE || value < INT_MIN || value > INT_MAX)
        Fail(2, "not a number: " + word);
    return (int)value;
}

int64_t ScriptRunner::Milliseconds(const std::string& seconds) {
    char* end = nullptr;
    double value = strtod(seconds.c_str(), &end);
    // The comparison is false for NaN too.
    if (seconds.empty() || *end != '\0' || !(value >= 0 && value <= kLongestWaitSeconds))
        Fail(2, "not a number of seconds: " + seconds);
    return (int64_t)(value * 1000);
}

HWND ScriptRunner::TargetDialog() {
    if (!targetName_.empty()) {
        HWND found = nullptr;
        for (HWND dialog : platform::Dialogs()) {
            const DialogTemplate* tpl = platform::DialogTemplateOf(dialog);
            if (tpl && strcasecmp(tpl->name, targetName_.c_str()) == 0) found = dialog;
        }
        if (!found) Fail(2, "no open dialog " + targetName_);
        return found;
    }
    if (HWND modal = platform::ActiveModalDialog()) return modal;
    HWND modeless = frontEnd_.LastShownModeless();
    if (!IsWindow(modeless)) Fail(2, "no dialog is open");
    return modeless;
}

void ScriptRunner::Run(const std::string& raw) {
    std::string line = WithoutComment(raw);
    if (line.empty()) return;
    std::string verb, rest, id, text;
    SplitFirst(line, verb, rest);
    SplitFirst(rest, id, text);
    text = Unescape(text);

    if (verb == "menu") {
        if (!platform::UserMenuCommand(MainWindow, Number(rest)))
            fprintf(stderr, "script line %zu: menu %s is greyed or not available\n", next_, rest.c_str());
    } else if (verb == "dialog") {
        targetName_ = rest;
    } else if (verb == "set") {
        if (!platform::UserSetText(TargetDialog(), Number(id), text)) Fail(2, "cannot set control " + id);
    } else if (verb == "check") {
        if (!platform::UserCheck(TargetDialog(), Number(id), Number(text) != 0)) Fail(2, "cannot check control " + id);
    } else if (verb == "select") {
        if (!platform::UserSelect(TargetDialog(), Number(id), Number(text))) Fail(2, "cannot select in control " + id);
    } else if (verb == "click") {
        if (!platform::UserClick(TargetDialog(), Number(id))) Fail(2, "cannot click control " + id);
    } else if (verb == "clipboard") {
        platform::SetClipboardText(Unescape(rest));
    } else if (verb == "type") {
        for (unsigned char c : Unescape(rest)) PostMessageA(MainWindow, WM_CHAR, c, 1);
    } else if (verb == "key") {
        PostMessageA(MainWindow, WM_KEYDOWN, (WPARAM)Number(rest), 0);
    } else if (verb == "wait") {
        waitUntil_ = platform::MonotonicMs() + Milliseconds(rest);
    } else if (verb == "waitfor") {
        waitText_ = Unescape(rest);
        waitDeadline_ = platform::MonotonicMs() + kWaitForLimitMs;
        if (waitText_.empty()) Fail(2, "waitfor needs a text");
    } else if (verb == "expect") {
        platform::ControlState* c = platform::FindControl(TargetDialog(), Number(id));
        if (!c) Fail(2, "no control " + id);
        if (VisibleText(*c) != text) Fail(4, "expect " + id + ": got \"" + VisibleText(*c) + "\", want \"" + text + "\"");
    } else if (verb == "dump") {
        Dump();
    } else if (verb == "quit") {
        if (IsWindow(MainWindow)) DestroyWindow(MainWindow);
    } else {
        Fail(2, "unknown verb " + verb);
    }
}

void ScriptRunner::Dump() {
    frontEnd_.Flush();
    for (HWND dialog : platform::Dialogs()) {
        const DialogTemplate* tpl = platform::DialogTemplateOf(dialog);
        for (const platform::ControlState* c : platform::DialogControls(dialog)) {
            if (c->id < 0) continue;
            fprintf(stderr, "%s %d %s %d %d %s", tpl ? tpl->name : "?", c->id, KindName(c->kind), c->enabled ? 1 : 0,
                    c->checked ? 1 : 0, VisibleText(*c).c_str());
            if (IsList(c->kind)) {
                fprintf(stderr, " [");
                for (size_t i = 0; i < c->items.size(); ++i) fprintf(stderr, "%s%s", i ? "|" : "", c->items[i].c_str());
                fprintf(stderr, "]");
            }
            fprintf(stderr, "\n");
        }
    }
    for (const platform::MenuPopupState& popup : platform::MenuPopups(GetMenu(MainWindow)))
        for (const platform::MenuItemState& item : popup.items)
            fprintf(stderr, "menu %d %d %s\n", item.id, item.enabled ? 1 : 0, item.label.c_str());
    fflush(stderr);
}

}  // namespace headless
