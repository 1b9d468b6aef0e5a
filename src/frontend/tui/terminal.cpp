#include "frontend/tui/terminal.h"

#define NCURSES_WIDECHAR 1
#include <curses.h>
#include <langinfo.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frontend/tui/text.h"

namespace tui {

namespace {

constexpr int kEscapeDelayMs = 25;
// Key codes of our own for sequences terminfo does not name (ncurses uses codes below 0x1000).
constexpr int kFirstOwnKey = 0x1000;
constexpr int kPasteBegin = 0x1F00;
constexpr int kPasteEnd = 0x1F01;
constexpr int kSgrMouse = 0x1F02;
constexpr int kLongestSgrReport = 24;

// What a signal handler needs to give the terminal back: prepared while the terminal is set up.
char resetSequence[512];
size_t resetLength = 0;
struct termios savedModes;
volatile sig_atomic_t terminalTaken = 0;

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT, SIGSYS, SIGTRAP};

void WriteRaw(const char* data, size_t length) {
    while (length > 0) {
        ssize_t n = write(STDOUT_FILENO, data, length);
        if (n <= 0) return;
        data += n;
        length -= (size_t)n;
    }
}

void WriteRaw(const std::string& text) { WriteRaw(text.data(), text.size()); }

void GiveBack() {
    if (!terminalTaken) return;
    terminalTaken = 0;
    WriteRaw(resetSequence, resetLength);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &savedModes);
}

void OnFatalSignal(int signal) {
    GiveBack();
    ::signal(signal, SIG_DFL);
    raise(signal);
}

// A terminfo string without its padding ("$<5>").
std::string Capability(const char* name) {
    char* value = tigetstr(name);
    if (!value || value == (char*)-1) return "";
    std::string out;
    for (const char* p = value; *p; ++p) {
        if (p[0] == '$' && p[1] == '<') {
            while (*p && *p != '>') ++p;
            if (!*p) break;
            continue;
        }
        out += *p;
    }
    return out;
}

void PrepareGiveBack(bool titles) {
    std::string reset = "\033[?1000l\033[?1002l\033[?1003l\033[?1006l\033[?2004l";
    if (titles) reset += "\033[23;0t";
    reset += Capability("sgr0") + Capability("cnorm") + Capability("rmkx") + Capability("rmcup");
    resetLength = std::min(reset.size(), sizeof resetSequence);
    memcpy(resetSequence, reset.data(), resetLength);
    static bool installed = false;
    if (installed) return;
    installed = true;
    for (int s : kFatalSignals) {
        struct sigaction action {};
        action.sa_handler = OnFatalSignal;
        action.sa_flags = (int)SA_RESETHAND;
        sigemptyset(&action.sa_mask);
        sigaction(s, &action, nullptr);
    }
    atexit(GiveBack);
}

// Terminals that take the xterm title escape.
bool TitlesKnown(const char* term) {
    static const char* const kFamilies[] = {"xterm", "rxvt", "screen", "tmux", "alacritty", "kitty", "foot",
                                            "st-",   "vte",  "gnome",  "konsole", "putty", "wezterm", "contour"};
    for (const char* family : kFamilies)
        if (strncmp(term, family, strlen(family)) == 0) return true;
    return tigetflag("XT") > 0;
}

// ---- Styles ----

struct Look {
    short fg, bg;
    attr_t attrs;
};

Look looks[(int)Style::Count];
bool colours = false;

// Without colours: the same distinctions made with reverse video, bold, dim and underline.
attr_t MonochromeLook(Style style) {
    switch (style) {
        case Style::Console:
        case Style::ScrollThumb:
        case Style::Help:
        case Style::ListSelected: return A_NORMAL;
        case Style::Caret:
        case Style::Bar:
        case Style::Menu:
        case Style::Dialog:
        case Style::Button:
        case Style::List: return A_REVERSE;
        case Style::BarTitle:
        case Style::ButtonDefault: return A_REVERSE | A_BOLD;
        case Style::BarOpen:
        case Style::MenuSelected:
        case Style::DialogTitle:
        case Style::ButtonFocused:
        case Style::EditSelected:
        case Style::ListSelectedFocused:
        case Style::HelpBold: return A_BOLD;
        case Style::MenuGrey:
        case Style::DialogGrey:
        case Style::EditGrey: return A_REVERSE | A_DIM;
        case Style::MenuGreySelected:
        case Style::ScrollTrack:
        case Style::Shadow: return A_DIM;
        case Style::Edit:
        case Style::HelpItalic: return A_UNDERLINE;
        case Style::EditFocused: return A_UNDERLINE | A_BOLD;
        case Style::Count: break;
    }
    return A_NORMAL;
}

void ChooseLooks() {
    colours = has_colors() && start_color() == OK && COLORS >= 8;
    if (!colours) {
        for (int i = 0; i < (int)Style::Count; ++i) looks[i] = Look{-1, -1, MonochromeLook((Style)i)};
        return;
    }
    bool defaults = use_default_colors() == OK;
    short fgDefault = defaults ? -1 : COLOR_WHITE, bgDefault = defaults ? -1 : COLOR_BLACK;
    bool bright = COLORS >= 16;
    short grey = bright ? 8 : COLOR_BLACK;
    attr_t greyAttr = bright ? A_NORMAL : A_DIM;
    auto set = [](Style s, short fg, short bg, attr_t a) { looks[(int)s] = Look{fg, bg, a}; };
    set(Style::Console, fgDefault, bgDefault, A_NORMAL);
    set(Style::Caret, fgDefault, bgDefault, A_REVERSE);
    set(Style::Bar, COLOR_BLACK, COLOR_CYAN, A_NORMAL);
    set(Style::BarTitle, COLOR_BLACK, COLOR_CYAN, A_BOLD);
    set(Style::BarOpen, COLOR_WHITE, COLOR_BLUE, A_BOLD);
    set(Style::Menu, COLOR_BLACK, COLOR_WHITE, A_NORMAL);
    set(Style::MenuSelected, COLOR_WHITE, COLOR_BLUE, A_BOLD);
    set(Style::MenuGrey, grey, COLOR_WHITE, greyAttr);
    set(Style::MenuGreySelected, COLOR_CYAN, COLOR_BLUE, A_NORMAL);
    set(Style::Dialog, COLOR_BLACK, COLOR_WHITE, A_NORMAL);
    set(Style::DialogTitle, COLOR_WHITE, COLOR_BLUE, A_BOLD);
    set(Style::DialogGrey, grey, COLOR_WHITE, greyAttr);
    set(Style::Edit, COLOR_BLACK, COLOR_CYAN, A_NORMAL);
    set(Style::EditFocused, COLOR_BLACK, bright ? 14 : COLOR_CYAN, bright ? A_NORMAL : A_BOLD);
    set(Style::EditSelected, COLOR_WHITE, COLOR_BLUE, A_NORMAL);
    set(Style::EditGrey, grey, COLOR_WHITE, greyAttr);
    set(Style::Button, COLOR_BLACK, COLOR_WHITE, A_NORMAL);
    set(Style::ButtonDefault, COLOR_BLUE, COLOR_WHITE, A_BOLD);
    set(Style::ButtonFocused, COLOR_WHITE, COLOR_BLUE, A_BOLD);
    set(Style::List, COLOR_BLACK, COLOR_CYAN, A_NORMAL);
    set(Style::ListSelected, COLOR_WHITE, bright ? grey : COLOR_BLACK, A_BOLD);
    set(Style::ListSelectedFocused, COLOR_WHITE, COLOR_BLUE, A_BOLD);
    set(Style::ScrollTrack, bright ? grey : fgDefault, bgDefault, greyAttr);
    set(Style::ScrollThumb, fgDefault, bgDefault, A_NORMAL);
    set(Style::Help, fgDefault, bgDefault, A_NORMAL);
    set(Style::HelpBold, fgDefault, bgDefault, A_BOLD);
    set(Style::HelpItalic, fgDefault, bgDefault, A_UNDERLINE);
    set(Style::Shadow, grey, COLOR_BLACK, greyAttr);
    for (int i = 0; i < (int)Style::Count; ++i) init_pair((short)(i + 1), looks[i].fg, looks[i].bg);
}

// Without UTF-8 the drawing characters become plain ASCII and other characters a '?'.
wchar_t AsciiFallback(char32_t ch) {
    switch (ch) {
        case U'─': return L'-';
        case U'│': return L'|';
        case U'┌':
        case U'┐':
        case U'└':
        case U'┘': return L'+';
        case U'░': return L' ';
        case U'█': return L'#';
        case U'▲': return L'^';
        case U'▼': return L'v';
        case U'◄': return L'<';
        case U'►': return L'>';
        case U'·':
        case U'•': return L'.';
        case U'—':
        case U'–': return L'-';
        case U'↑':
        case U'↓':
        case U'←':
        case U'→': return L'^';
        default: return ch < 0x80 ? (wchar_t)ch : L'?';
    }
}

}  // namespace

bool Terminal::Start() {
    if (started_) return true;
    if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO)) return false;
    const char* term = getenv("TERM");
    if (!term || !*term || strcmp(term, "dumb") == 0) return false;
    setlocale(LC_CTYPE, "");
    utf8_ = strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    if (tcgetattr(STDIN_FILENO, &savedModes) != 0) return false;
    if (!newterm(nullptr, stdout, stdin)) return false;

    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    intrflush(stdscr, FALSE);
    meta(stdscr, TRUE);
    scrollok(stdscr, FALSE);
    set_escdelay(kEscapeDelayMs);
    // Ctrl+S and Ctrl+Q are characters for the console, not flow control.
    struct termios modes;
    if (tcgetattr(STDIN_FILENO, &modes) == 0) {
        modes.c_iflag &= ~(tcflag_t)(IXON | IXOFF);
        tcsetattr(STDIN_FILENO, TCSANOW, &modes);
        def_prog_mode();
    }
    ChooseLooks();
    mousemask(BUTTON1_PRESSED | BUTTON1_RELEASED | BUTTON4_PRESSED | BUTTON5_PRESSED | REPORT_MOUSE_POSITION, nullptr);
    mouseinterval(0);
    DefineModifiedKeys();
    define_key("\033[200~", kPasteBegin);
    define_key("\033[201~", kPasteEnd);
    // Mouse reports in the SGR form reach any column; the older form stops at column 223.
    bool sgrMouse = key_defined("\033[<") == 0 && define_key("\033[<", kSgrMouse) == OK;

    titles_ = TitlesKnown(term);
    PrepareGiveBack(titles_);
    terminalTaken = 1;
    WriteRaw(std::string("\033[?2004h") + (sgrMouse ? "\033[?1006h" : "") + (titles_ ? "\033[22;0t" : ""));
    getmaxyx(stdscr, rows_, columns_);
    cursorShown_ = -1;
    started_ = true;
    return true;
}

void Terminal::Stop() {
    if (!started_) return;
    started_ = false;
    mousemask(0, nullptr);
    endwin();
    terminalTaken = 0;
    WriteRaw(std::string("\033[?2004l") + (titles_ ? "\033[23;0t" : ""));
}

bool Terminal::Resize() {
    struct winsize size {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return false;
    if (size.ws_col == columns_ && size.ws_row == rows_) return false;
    resizeterm(size.ws_row, size.ws_col);
    getmaxyx(stdscr, rows_, columns_);
    return true;
}

// ---- Input ----

void Terminal::DefineModifiedKeys() {
    struct Final {
        char letter;
        Key key;
    };
    struct Tilde {
        int number;
        Key key;
    };
    static const Final kFinals[] = {{'A', Key::Up},    {'B', Key::Down}, {'C', Key::Right},
                                    {'D', Key::Left},  {'H', Key::Home}, {'F', Key::End}};
    static const Tilde kTildes[] = {{2, Key::Insert}, {3, Key::Delete}, {5, Key::PageUp}, {6, Key::PageDown}};
    int next = kFirstOwnKey;
    auto add = [&](const char* sequence, Key key, unsigned mods) {
        int code = key_defined(sequence);
        if (code < 0) return;
        if (code == 0) {
            code = next++;
            if (define_key(sequence, code) != OK) return;
        }
        modifiedKeys_[code] = {key, mods};
    };
    char sequence[16];
    // xterm's modifier parameter: 1 + (1 Shift, 2 Alt, 4 Ctrl).
    for (int parameter = 2; parameter <= 8; ++parameter) {
        int bits = parameter - 1;
        unsigned mods = ((bits & 1) ? (unsigned)kShift : 0u) | ((bits & 2) ? (unsigned)kAlt : 0u) | ((bits & 4) ? (unsigned)kCtrl : 0u);
        for (const Final& f : kFinals) {
            snprintf(sequence, sizeof sequence, "\033[1;%d%c", parameter, f.letter);
            add(sequence, f.key, mods);
        }
        for (const Tilde& t : kTildes) {
            snprintf(sequence, sizeof sequence, "\033[%d;%d~", t.number, parameter);
            add(sequence, t.key, mods);
        }
    }
}

bool Terminal::Read(Event& event) {
    if (!started_) return false;
    for (;;) {
        wint_t code = 0;
        int result = wget_wch(stdscr, &code);
        if (result == ERR) return false;
        if (Decode(result, (unsigned)code, event)) return true;
    }
}

bool Terminal::Decode(int result, unsigned int code, Event& event) {
    if (result == KEY_CODE_YES) {
        if ((int)code == kPasteBegin) {
            pasting_ = true;
            paste_.clear();
            return false;
        }
        if ((int)code == kSgrMouse) return DecodeSgrMouse(event);
        if ((int)code == kPasteEnd) {
            pasting_ = false;
            event = Event::Of(Key::Paste);
            event.text = paste_;
            return true;
        }
        return !pasting_ && DecodeKey(code, event);
    }
    if (pasting_) {
        paste_ += (char32_t)code;
        return false;
    }
    switch (code) {
        case 27: {
            // Escape alone, or Alt with the key that follows at once.
            wint_t next = 0;
            int nextResult = wget_wch(stdscr, &next);
            if (nextResult == ERR || next == 27) {
                event = Event::Of(Key::Escape);
                return true;
            }
            if (!Decode(nextResult, (unsigned)next, event)) return false;
            event.mods |= kAlt;
            return true;
        }
        case 13: event = Event::Of(Key::Enter); return true;
        case 9: event = Event::Of(Key::Tab); return true;
        case 8:
        case 127: event = Event::Of(Key::Backspace); return true;
        default: event = Event::Char((char32_t)code); return true;
    }
}

bool Terminal::DecodeKey(unsigned int code, Event& event) {
    switch ((int)code) {
        case KEY_UP: event = Event::Of(Key::Up); return true;
        case KEY_DOWN: event = Event::Of(Key::Down); return true;
        case KEY_LEFT: event = Event::Of(Key::Left); return true;
        case KEY_RIGHT: event = Event::Of(Key::Right); return true;
        case KEY_HOME: event = Event::Of(Key::Home); return true;
        case KEY_END: event = Event::Of(Key::End); return true;
        case KEY_PPAGE: event = Event::Of(Key::PageUp); return true;
        case KEY_NPAGE: event = Event::Of(Key::PageDown); return true;
        case KEY_DC: event = Event::Of(Key::Delete); return true;
        case KEY_IC: event = Event::Of(Key::Insert); return true;
        case KEY_BACKSPACE: event = Event::Of(Key::Backspace); return true;
        case KEY_ENTER: event = Event::Of(Key::Enter); return true;
        case KEY_BTAB: event = Event::Of(Key::BackTab); return true;
        case KEY_SR: event = Event::Of(Key::Up, kShift); return true;
        case KEY_SF: event = Event::Of(Key::Down, kShift); return true;
        case KEY_SLEFT: event = Event::Of(Key::Left, kShift); return true;
        case KEY_SRIGHT: event = Event::Of(Key::Right, kShift); return true;
        case KEY_SHOME: event = Event::Of(Key::Home, kShift); return true;
        case KEY_SEND: event = Event::Of(Key::End, kShift); return true;
        case KEY_SPREVIOUS: event = Event::Of(Key::PageUp, kShift); return true;
        case KEY_SNEXT: event = Event::Of(Key::PageDown, kShift); return true;
        case KEY_SDC: event = Event::Of(Key::Delete, kShift); return true;
        case KEY_MOUSE: return DecodeMouse(event);
        default: break;
    }
    if ((int)code >= KEY_F(1) && (int)code <= KEY_F(12)) {
        event = Event::F((int)code - KEY_F(0));
        return true;
    }
    auto found = modifiedKeys_.find((int)code);
    if (found == modifiedKeys_.end()) return false;
    event = Event::Of(found->second.first, found->second.second);
    return true;
}

// The rest of "ESC [ < button ; x ; y M" (m when a button is let go), columns and rows from 1.
bool Terminal::DecodeSgrMouse(Event& event) {
    std::string report;
    char final = 0;
    for (int i = 0; i < kLongestSgrReport && !final; ++i) {
        wint_t c = 0;
        if (wget_wch(stdscr, &c) != OK) return false;
        if (c == 'M' || c == 'm')
            final = (char)c;
        else
            report += (char)c;
    }
    int button = 0, x = 0, y = 0;
    if (!final || sscanf(report.c_str(), "%d;%d;%d", &button, &x, &y) != 3) return false;
    MouseAction action;
    if (button & 64) {
        if (final == 'm') return false;
        action = (button & 1) ? MouseAction::WheelDown : MouseAction::WheelUp;
    } else if ((button & 3) != 0) {
        return false;  // other buttons, and motion with no button held
    } else if (button & 32) {
        action = MouseAction::Drag;
    } else {
        action = final == 'M' ? MouseAction::Press : MouseAction::Release;
    }
    event = Event::Mouse(action, x - 1, y - 1);
    return true;
}

bool Terminal::DecodeMouse(Event& event) {
    MEVENT m;
    if (getmouse(&m) != OK) return false;
    MouseAction action;
    if (m.bstate & BUTTON4_PRESSED)
        action = MouseAction::WheelUp;
    else if (m.bstate & BUTTON5_PRESSED)
        action = MouseAction::WheelDown;
    else if (m.bstate & BUTTON1_PRESSED)
        action = MouseAction::Press;
    else if (m.bstate & BUTTON1_RELEASED)
        action = MouseAction::Release;
    else if (m.bstate & REPORT_MOUSE_POSITION)
        action = MouseAction::Drag;
    else
        return false;
    event = Event::Mouse(action, m.x, m.y);
    return true;
}

// ---- Output ----

void Terminal::Show(const Canvas& canvas, int cursorX, int cursorY) {
    if (!started_) return;
    int height = std::min(canvas.Height(), rows_), width = std::min(canvas.Width(), columns_);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Cell& cell = canvas.At(x, y);
            const Look& look = looks[(int)cell.style];
            wchar_t text[2] = {utf8_ ? (wchar_t)cell.ch : AsciiFallback(cell.ch), 0};
            cchar_t c;
            attr_t attrs = look.attrs | (cell.underline ? A_UNDERLINE : A_NORMAL);
            setcchar(&c, text, attrs, colours ? (short)((int)cell.style + 1) : 0, nullptr);
            mvwadd_wch(stdscr, y, x, &c);
        }
    int shown = cursorX >= 0 && cursorY >= 0 && cursorX < columns_ && cursorY < rows_;
    if (shown) wmove(stdscr, cursorY, cursorX);
    if (shown != cursorShown_) curs_set(shown);
    cursorShown_ = shown;
    wnoutrefresh(stdscr);
    doupdate();
}

void Terminal::SetTitle(const std::u32string& title) {
    if (!started_ || !titles_ || title == title_) return;
    title_ = title;
    std::u32string clean;
    for (char32_t c : title) clean += c < 0x20 || c == 0x7F ? U' ' : c;
    std::string text;
    if (utf8_) text = ToUtf8(clean);
    else
        for (char32_t c : clean) text += c < 0x80 ? (char)c : '?';
    WriteRaw("\033]0;" + text + "\007");
}

}  // namespace tui
