#include "frontend/tui/help.h"

#include <algorithm>

#include "frontend/tui/text.h"

namespace tui {

namespace {

constexpr int kBodyIndent = 4;  // text under a section heading
constexpr int kTagIndent = 8;   // body of a tagged paragraph, from its tag
constexpr char32_t kUnbreakable = U'\u00A0';

using Run = std::vector<std::pair<char32_t, Style>>;

std::vector<std::string> SplitArguments(std::string_view text) {
    std::vector<std::string> args;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && text[i] == ' ') ++i;
        if (i >= text.size()) break;
        std::string arg;
        if (text[i] == '"') {
            for (++i; i < text.size() && text[i] != '"'; ++i) arg += text[i];
            ++i;
        } else {
            for (; i < text.size() && text[i] != ' '; ++i) arg += text[i];
        }
        args.push_back(arg);
    }
    return args;
}

// Decodes one UTF-8 character at text[i], advancing i.
char32_t NextChar(std::string_view text, size_t& i) {
    auto byte = (unsigned char)text[i++];
    int extra = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
    char32_t c = extra == 0 ? byte : byte & (0x3F >> extra);
    for (; extra > 0 && i < text.size(); --extra) c = (c << 6) | ((unsigned char)text[i++] & 0x3F);
    return c;
}

char32_t NamedChar(std::string_view name) {
    if (name == "em") return U'—';
    if (name == "en") return U'–';
    if (name == "bu") return U'•';
    if (name == "aq") return U'\'';
    if (name == "lq") return U'“';
    if (name == "rq") return U'”';
    if (name == "co") return U'©';
    return U'?';
}

class ManRenderer {
public:
    explicit ManRenderer(int width) : width_(std::max(20, width)) {}

    std::vector<HelpLine> Render(std::string_view page) {
        size_t start = 0;
        while (start < page.size()) {
            size_t end = page.find('\n', start);
            if (end == std::string_view::npos) end = page.size();
            Line(page.substr(start, end - start));
            start = end + 1;
        }
        Flush();
        while (!out_.empty() && out_.back().text.empty()) out_.pop_back();
        return out_;
    }

private:
    void Line(std::string_view line) {
        if (!line.empty() && (line[0] == '.' || line[0] == '\'')) {
            size_t nameEnd = line.find(' ');
            std::string name(line.substr(1, nameEnd == std::string_view::npos ? std::string_view::npos : nameEnd - 1));
            std::string_view rest = nameEnd == std::string_view::npos ? std::string_view() : line.substr(nameEnd + 1);
            Request(name, rest);
            return;
        }
        if (line.empty()) {
            Blank();
            return;
        }
        if (line[0] == ' ' && fill_) Flush();
        Text(Parse(line));
    }

    void Request(const std::string& name, std::string_view rest) {
        std::vector<std::string> args = SplitArguments(rest);
        int number = args.empty() ? 0 : atoi(args.back().c_str());
        if (name == "SH" || name == "SS") {
            Blank();
            base_ = kBodyIndent;
            stack_.clear();
            tag_ = 0;
            std::string heading;
            for (const std::string& arg : args) heading += (heading.empty() ? "" : " ") + arg;
            Heading(name == "SH" ? 0 : kBodyIndent / 2, heading);
        } else if (name == "PP" || name == "LP" || name == "P") {
            Paragraph();
        } else if (name == "TP") {
            Paragraph();
            tag_ = number > 0 ? number : kTagIndent;
        } else if (name == "IP") {
            Paragraph();
            tag_ = args.size() > 1 && number > 0 ? number : kTagIndent;
            if (!args.empty() && !args[0].empty()) {
                Text(Parse(args[0]));
            } else {
                indent_ = base_ + tag_;
                tag_ = 0;
            }
        } else if (name == "RS") {
            Flush();
            stack_.push_back(base_);
            base_ += number > 0 ? number : kBodyIndent;
            indent_ = base_;
        } else if (name == "RE") {
            Flush();
            if (!stack_.empty()) {
                base_ = stack_.back();
                stack_.pop_back();
            }
            indent_ = base_;
        } else if (name == "PD") {
            spaced_ = args.empty() || args[0] != "0";
        } else if (name == "nf" || name == "fi") {
            Flush();
            fill_ = name == "fi";
        } else if (name == "br") {
            Flush();
        } else if (name == "sp") {
            Flush();
            out_.push_back({});
        } else if (name.size() <= 2 && (name[0] == 'B' || name[0] == 'I' || name[0] == 'R')) {
            FontRequest(name, args);
        }
    }

    // .B, .I and the alternating forms .BR, .IR, .RB, ...: arguments in turn in each font.
    void FontRequest(const std::string& name, const std::vector<std::string>& args) {
        Run run;
        Style saved = font_;
        for (size_t i = 0; i < args.size(); ++i) {
            char letter = name[name.size() == 1 ? 0 : i % 2];
            font_ = letter == 'B' ? Style::HelpBold : letter == 'I' ? Style::HelpItalic : Style::Help;
            Run part = Parse(args[i]);
            run.insert(run.end(), part.begin(), part.end());
            if (name.size() == 1 && i + 1 < args.size()) run.push_back({U' ', font_});
        }
        font_ = saved;
        if (!run.empty()) Text(run);
    }

    void Heading(int column, std::string_view text) {
        Flush();
        Style saved = font_;
        font_ = Style::HelpBold;
        Run run = Parse(text);
        font_ = saved;
        Start(column);
        Append(run);
        Flush();
        indent_ = base_;
    }

    void Paragraph() {
        Flush();
        if (spaced_) Blank();
        indent_ = base_;
        tag_ = 0;
    }

    void Text(const Run& run) {
        if (tag_ > 0) {
            Tag(run);
            return;
        }
        if (!fill_) {
            Flush();
            Start(indent_);
            Append(run);
            Flush();
            return;
        }
        Run word;
        for (const auto& cell : run) {
            if (cell.first == U' ') {
                if (!word.empty()) AddWord(word);
                word.clear();
            } else {
                word.push_back(cell);
            }
        }
        if (!word.empty()) AddWord(word);
    }

    // The tag of a tagged paragraph: the body starts beside it when it fits, else below it.
    void Tag(const Run& run) {
        int body = base_ + tag_;
        Flush();
        Start(base_);
        Append(run);
        tag_ = 0;
        indent_ = body;
        if ((int)line_.text.size() + 1 <= body) {
            while ((int)line_.text.size() < body) Append({{U' ', Style::Help}});
            joined_ = true;
        } else {
            Flush();
        }
    }

    void AddWord(const Run& word) {
        if (!started_) {
            Start(indent_);
        } else if (!joined_ && (int)line_.text.size() + 1 + (int)word.size() > width_) {
            Flush();
            Start(indent_);
        }
        if (!joined_) Append({{U' ', Style::Help}});
        Append(word);
        joined_ = false;
    }

    void Start(int column) {
        line_ = HelpLine{};
        started_ = true;
        joined_ = true;
        for (int i = 0; i < column; ++i) Append({{U' ', Style::Help}});
    }

    void Append(const Run& run) {
        for (const auto& [ch, style] : run) {
            line_.text += ch == kUnbreakable ? U' ' : ch;
            line_.styles.push_back(ch == U' ' || ch == kUnbreakable ? Style::Help : style);
        }
    }

    void Flush() {
        if (started_) out_.push_back(line_);
        started_ = false;
        joined_ = false;
    }

    void Blank() {
        Flush();
        if (!out_.empty() && !out_.back().text.empty()) out_.push_back({});
    }

    Run Parse(std::string_view text) {
        Run run;
        size_t i = 0;
        while (i < text.size()) {
            if (text[i] != '\\' || i + 1 >= text.size()) {
                run.push_back({NextChar(text, i), font_});
                continue;
            }
            char e = text[i + 1];
            i += 2;
            switch (e) {
                case 'f':
                    if (i < text.size()) Font(text[i++]);
                    break;
                case '(':
                    if (i + 2 <= text.size()) run.push_back({NamedChar(text.substr(i, 2)), font_});
                    i += 2;
                    break;
                case '"': return run;
                case '-': run.push_back({U'-', font_}); break;
                case 'e':
                case '\\': run.push_back({U'\\', font_}); break;
                case '~':
                case ' ': run.push_back({kUnbreakable, font_}); break;
                case '&':
                case '|':
                case '^':
                case 'c': break;
                default: run.push_back({(char32_t)(unsigned char)e, font_}); break;
            }
        }
        return run;
    }

    void Font(char letter) {
        Style next = letter == 'B' ? Style::HelpBold : letter == 'I' ? Style::HelpItalic : letter == 'P' ? previous_ : Style::Help;
        previous_ = font_;
        font_ = next;
    }

    int width_;
    std::vector<HelpLine> out_;
    HelpLine line_;
    bool started_ = false;
    bool joined_ = false;  // the next word follows without a blank (start of line, after a tag)
    int base_ = 0;
    int indent_ = 0;
    int tag_ = 0;  // > 0: the next text is a tag, its body indented by this much
    std::vector<int> stack_;
    bool fill_ = true;
    bool spaced_ = true;
    Style font_ = Style::Help;
    Style previous_ = Style::Help;
};

}  // namespace

std::vector<HelpLine> RenderManPage(std::string_view page, int width) { return ManRenderer(width).Render(page); }

// ---------------------------------------------------------------------------------------------

void HelpScreen::Open() {
    open_ = true;
    top_ = 0;
}

Rect HelpScreen::Place(int columns, int rows) { return Rect{0, 1, columns, std::max(3, rows - 2)}; }

void HelpScreen::Draw(Canvas& canvas) {
    Rect area = Place(canvas.Width(), canvas.Height());
    int width = std::max(20, std::min(area.w - 4, 100));
    if (width != width_) {
        lines_ = RenderManPage(kManPage, width);
        width_ = width;
    }
    lineCount_ = (int)lines_.size();
    page_ = std::max(1, area.h - 2);
    top_ = std::clamp(top_, 0, std::max(0, lineCount_ - page_));
    canvas.Fill(area, Style::Help);
    canvas.Frame(area, Style::Help, U"korvel help", Style::HelpBold);
    for (int row = 0; row < page_ && top_ + row < lineCount_; ++row) {
        const HelpLine& line = lines_[(size_t)(top_ + row)];
        for (int i = 0; i < (int)line.text.size() && 2 + i < area.w - 2; ++i)
            canvas.Put(area.x + 2 + i, area.y + 1 + row, line.text[(size_t)i], line.styles[(size_t)i]);
    }
    std::u32string hint = U" ↑↓ PgUp PgDn Home End: move · Esc: close ";
    canvas.Text(std::max(area.x + 1, area.Right() - 2 - (int)hint.size()), area.Bottom() - 1, hint, Style::Help, area.w - 2);
}

KeyResult HelpScreen::HandleKey(const Event& event) {
    bool closes = event.key == Key::Escape || (event.key == Key::Char && event.ch == U'q') ||
                  (event.key == Key::Function && event.number == 1);
    if (closes) {
        Close();
        return KeyResult::Closed();
    }
    switch (event.key) {
        case Key::Up: --top_; break;
        case Key::Down: ++top_; break;
        case Key::PageUp: top_ -= page_ - 1; break;
        case Key::PageDown: top_ += page_ - 1; break;
        case Key::Home: top_ = 0; break;
        case Key::End: top_ = lineCount_; break;
        case Key::Char:
            if (event.ch == U' ') top_ += page_ - 1;
            break;
        default: break;
    }
    top_ = std::clamp(top_, 0, std::max(0, lineCount_ - page_));
    return KeyResult::Handled();
}

KeyResult HelpScreen::HandleMouse(const Event& event) {
    if (event.mouse == MouseAction::WheelUp) top_ = std::max(0, top_ - 3);
    if (event.mouse == MouseAction::WheelDown) top_ = std::clamp(top_ + 3, 0, std::max(0, lineCount_ - page_));
    return KeyResult::Handled();
}

}  // namespace tui
