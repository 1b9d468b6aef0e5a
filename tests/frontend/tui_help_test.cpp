// The help screen's layout of the manual page: headings, filled and wrapped text, tagged
// paragraphs, fonts, no-fill blocks, escapes; and the built-in page itself.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frontend/tui/help.h"
#include "frontend/tui/text.h"

namespace {

using namespace tui;

std::vector<std::string> Lines(const std::string& page, int width) {
    std::vector<std::string> lines;
    for (const HelpLine& line : RenderManPage(page, width)) lines.push_back(ToUtf8(line.text));
    return lines;
}

TEST(TuiHelp, SectionsFillAndWrapTheirText) {
    std::string page =
        ".TH X 1\n"
        ".\\\" a comment\n"
        ".SH NAME\n"
        "x \\- does one thing\n"
        "and another.\n"
        ".SH \"SEE ALSO\"\n"
        "Words enough to be wrapped at the width of twenty-four.\n";
    std::vector<std::string> expected = {
        "NAME",
        "    x - does one thing",
        "    and another.",
        "",
        "SEE ALSO",
        "    Words enough to be",
        "    wrapped at the width",
        "    of twenty-four.",
    };
    EXPECT_EQ(Lines(page, 24), expected);
}

TEST(TuiHelp, TaggedParagraphsPutShortTagsBesideTheirText) {
    std::string page =
        ".SH KEYS\n"
        ".TP 8\n"
        ".B F10\n"
        "opens the menu bar.\n"
        ".TP\n"
        ".B \"Shift+Page Up\"\n"
        "one page.\n"
        ".PD 0\n"
        ".IP \\(bu 2\n"
        "a bullet\n"
        ".IP \\(bu 2\n"
        "another\n"
        ".PD\n"
        ".RS 2\n"
        ".nf\n"
        "kept   as   it   is\n"
        ".fi\n"
        ".RE\n"
        "back.\n";
    std::vector<std::string> expected = {
        "KEYS",
        "",
        "    F10     opens the menu",
        "            bar.",
        "",
        "    Shift+Page Up",
        "            one page.",
        "    • a bullet",
        "    • another",
        "      kept   as   it   is",
        "    back.",
    };
    EXPECT_EQ(Lines(page, 26), expected);
}

TEST(TuiHelp, FontsAndEscapes) {
    std::vector<HelpLine> lines = RenderManPage(".BR \\-\\-script \" FILE\" \" \\fIand\\fR\" \" \\e\\(em\\&x\"\n", 40);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(ToUtf8(lines[0].text), "--script FILE and \\—x");
    std::vector<Style> styles(lines[0].styles.begin(), lines[0].styles.begin() + 14);
    std::vector<Style> expected(8, Style::HelpBold);
    expected.push_back(Style::Help);  // the blank inside " FILE" is plain text
    for (int i = 0; i < 4; ++i) expected.push_back(Style::Help);
    expected.push_back(Style::Help);
    EXPECT_EQ(styles, expected);
    EXPECT_EQ(lines[0].styles[14], Style::HelpItalic);  // "and"
}

TEST(TuiHelp, TheBuiltInPageLeavesNoMarkupBehind) {
    std::vector<HelpLine> lines = RenderManPage(kManPage, 76);
    ASSERT_GT(lines.size(), 100u);
    std::vector<std::string> headings;
    for (const HelpLine& line : lines) {
        std::string text = ToUtf8(line.text);
        EXPECT_LE(line.text.size(), 76u) << text;
        EXPECT_EQ(text.find("\\f"), std::string::npos) << text;
        EXPECT_EQ(text.find("\\("), std::string::npos) << text;
        EXPECT_FALSE(!text.empty() && text[0] == '.') << text;
        if (!text.empty() && text[0] != ' ') headings.push_back(text);
    }
    // What the help must explain: the menus, the keys, every dialog, the options, the settings
    // file, the exit statuses, and examples.
    std::vector<std::string> expected = {"NAME",        "SYNOPSIS",    "DESCRIPTION",     "THE TERMINAL INTERFACE",
                                         "DIALOGS",     "OPTIONS",     "COMMAND LINE",    "THE SETTINGS FILE",
                                         "FILES",       "ENVIRONMENT", "EXIT STATUS",     "EXAMPLES"};
    EXPECT_EQ(headings, expected);
}

}  // namespace
