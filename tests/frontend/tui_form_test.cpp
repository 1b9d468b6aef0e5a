// Dialog forms: which controls take the keyboard, what keys, letters and the mouse do to the
// dialog model (and so to the dialog procedure), and how a dialog is drawn.

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "frontend/tui/form.h"
#include "frontend/tui/text.h"
#include "platform/messages.h"
#include "platform/ui.h"
#include "shell/shell.h"
#include "support/program_state.h"

namespace {

using namespace tui;
using namespace layout;

const DialogTemplate kForm = {
    "TUI_FORM",
    "Form Test",
    40,
    10,
    {
        Label("&Name", 1, 0),
        Edit(121, 7, 0, 10),
        Check(141, "&Flag", 1, 1, 12),
        Radio(144, "&One", 1, 2, 9, true),
        Radio(145, "&Two", 11, 2, 9),
        Radio(146, "T&hree", 21, 2, 10),
        Check(142, "Greyed", 1, 3, 12),
        DropDown(148, 1, 4, 12),
        List(150, 20, 4, 12, 3),
        Button(IDOK, "OK", 1, 8, 8, true),
        Button(IDCANCEL, "Cancel", 12, 8, 10),
    },
};

const DialogTemplate kNoCancel = {"TUI_NO_CANCEL", "Bare", 20, 4, {Label("Hello", 1, 0), Button(IDOK, "OK", 1, 2, 8, true)}};

std::vector<std::string> events;

INT_PTR Quiet(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

INT_PTR Proc(HWND dialog, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
        case WM_INITDIALOG:
            SetDlgItemTextA(dialog, 121, "abc");
            CheckRadioButton(dialog, 144, 146, 145);
            EnableWindow(GetDlgItem(dialog, 142), FALSE);
            SendDlgItemMessageA(dialog, 148, CB_ADDSTRING, 0, (LPARAM) "HTTP 0.9");
            SendDlgItemMessageA(dialog, 148, CB_ADDSTRING, 0, (LPARAM) "HTTP 1.0");
            SendDlgItemMessageA(dialog, 148, CB_SETCURSEL, 0, 0);
            for (const char* item : {"a", "b", "c", "d", "e", "f"}) SendDlgItemMessageA(dialog, 150, LB_ADDSTRING, 0, (LPARAM)item);
            return TRUE;
        case WM_COMMAND:
            events.push_back(std::to_string(LOWORD(wParam)) + "/" + std::to_string(HIWORD(wParam)));
            return TRUE;
        case WM_CLOSE:
            events.push_back("close");
            return FALSE;
    }
    return FALSE;
}

class TuiForm : public ::testing::Test {
protected:
    void SetUp() override {
        platform::ResetWindows();
        platform::ResetUi();
        RegisterDialogResource(&kForm);
        RegisterDialogResource(&kNoCancel);
        events.clear();
        dialog = CreateDialogParamA(nullptr, "TUI_FORM", nullptr, Proc, 0);
        form = Form(dialog);
        Draw();
    }
    void TearDown() override {
        platform::ResetWindows();
        platform::ResetUi();
    }
    // Delivers what the user actions posted.
    static void Pump() { testing_support::PumpMessages(100); }
    void Press(const Event& event) {
        form.HandleKey(event);
        Pump();
    }
    void Keys(std::initializer_list<Key> keys) {
        for (Key key : keys) Press(Event::Of(key));
    }
    void Type(const std::u32string& text) {
        for (char32_t c : text) Press(Event::Char(c));
    }
    void Click(int x, int y) {
        form.HandleMouse(Event::Mouse(MouseAction::Press, x, y), kOuter);
        Pump();
    }
    void Draw() {
        canvas.Resize(44, 14);
        form.Draw(canvas, kOuter, true);
    }
    std::string Text(int id) { return platform::FindControl(dialog, id)->text; }
    bool Checked(int id) { return platform::FindControl(dialog, id)->checked; }
    int Selection(int id) { return platform::FindControl(dialog, id)->selection; }

    static constexpr Rect kOuter{0, 0, 42, 12};
    HWND dialog = nullptr;
    Form form;
    Canvas canvas;
};

TEST_F(TuiForm, TabVisitsEachUsableControlOnceWithARadioGroupAsOneStop) {
    std::vector<int> visited{form.FocusedId()};
    for (int i = 0; i < 7; ++i) {
        Press(Event::Of(Key::Tab));
        visited.push_back(form.FocusedId());
    }
    // The greyed check box is skipped; the radio group is entered at its checked button.
    EXPECT_EQ(visited, (std::vector<int>{121, 141, 145, 148, 150, IDOK, IDCANCEL, 121}));
    Press(Event::Of(Key::BackTab));
    EXPECT_EQ(form.FocusedId(), IDCANCEL);
    EnableWindow(GetDlgItem(dialog, IDCANCEL), FALSE);  // the control with the keyboard is greyed
    Draw();
    EXPECT_EQ(form.FocusedId(), 121);
    EXPECT_TRUE(events.empty());
}

TEST_F(TuiForm, TypingReplacesTheTextThatTabSelectedThenEditsAtTheCursor) {
    ASSERT_EQ(form.FocusedId(), 121);
    Type(U"x");
    EXPECT_EQ(Text(121), "x");  // Tab entered the edit: its whole text was selected
    Type(U"yz");
    Keys({Key::Left, Key::Left, Key::Backspace});
    EXPECT_EQ(Text(121), "yz");
    Press(Event::Of(Key::Delete));
    EXPECT_EQ(Text(121), "z");
    Press(Event::Of(Key::End));
    Type(U"é€Ā");  // Ā has no Windows-1252 byte
    EXPECT_EQ(Text(121), "z\xE9\x80");
    Event paste = Event::Of(Key::Paste);
    paste.text = U"12\n34";
    Press(paste);  // a paste stops at its first line end
    EXPECT_EQ(Text(121), "z\xE9\x80" "12");
    EXPECT_TRUE(events.empty());  // typing notifies nothing, as setting a text from outside
}

TEST_F(TuiForm, SpaceAndArrowsClickCheckBoxesAndRadioButtons) {
    Press(Event::Of(Key::Tab));
    Press(Event::Char(U' '));
    EXPECT_TRUE(Checked(141));
    Press(Event::Of(Key::Tab));
    ASSERT_EQ(form.FocusedId(), 145);
    Press(Event::Of(Key::Down));
    EXPECT_TRUE(Checked(146));
    EXPECT_FALSE(Checked(145));
    Press(Event::Of(Key::Right));  // wraps round the group
    EXPECT_TRUE(Checked(144));
    EXPECT_EQ(form.FocusedId(), 144);
    EXPECT_EQ(events, (std::vector<std::string>{"141/0", "146/0", "144/0"}));
}

TEST_F(TuiForm, EnterPressesTheDefaultOrTheFocusedButtonAndEscPressesButtonTwo) {
    Keys({Key::Enter, Key::BackTab});  // to Cancel
    Keys({Key::Enter, Key::Escape});
    EXPECT_EQ(events, (std::vector<std::string>{"1/0", "2/0", "2/0"}));
    events.clear();
    EnableWindow(GetDlgItem(dialog, IDCANCEL), FALSE);
    Press(Event::Of(Key::Escape));  // a greyed button 2: Esc does nothing
    EnableWindow(GetDlgItem(dialog, IDOK), FALSE);
    Press(Event::Of(Key::Enter));  // nor does Enter with the default button greyed
    EXPECT_TRUE(events.empty());

    // Without a button 2, Esc closes the dialog as its close box does.
    HWND bare = CreateDialogParamA(nullptr, "TUI_NO_CANCEL", nullptr, Proc, 0);
    Form bareForm(bare);
    bareForm.HandleKey(Event::Of(Key::Escape));
    Pump();
    EXPECT_EQ(events, (std::vector<std::string>{"close", "2/0"}));
}

TEST_F(TuiForm, DropDownsSelectWithArrowsListsOnlyHighlightUntilAChoice) {
    for (int i = 0; i < 3; ++i) Press(Event::Of(Key::Tab));
    ASSERT_EQ(form.FocusedId(), 148);
    Press(Event::Of(Key::Down));
    EXPECT_EQ(Text(148), "HTTP 1.0");
    Press(Event::Of(Key::Down));  // already on the last item: nothing changes, nothing is sent
    Press(Event::Char(U' '));
    EXPECT_TRUE(form.DropDownOpen());
    Keys({Key::Up, Key::Enter});
    EXPECT_FALSE(form.DropDownOpen());
    EXPECT_EQ(Text(148), "HTTP 0.9");
    Keys({Key::Tab, Key::Down});  // a list without a selection starts at its first item
    Press(Event::Of(Key::End));
    Draw();
    Press(Event::Of(Key::PageUp));
    EXPECT_EQ(Selection(150), -1);  // the arrows only moved the highlight
    Draw();  // the list of three rows scrolled to its last items and stays there
    EXPECT_EQ(canvas.At(21, 5).ch, U'd');
    EXPECT_EQ(canvas.At(21, 5).style, Style::ListSelectedFocused);
    EXPECT_EQ(canvas.At(21, 7).ch, U'f');
    EXPECT_EQ(canvas.At(32, 7).ch, U'▼');
    Press(Event::Of(Key::Enter));  // chooses d ...
    EXPECT_EQ(Selection(150), 3);
    Press(Event::Char(U' '));  // ... and chooses it again: notified again
    Press(Event::Of(Key::Up));
    Draw();
    EXPECT_EQ(canvas.At(21, 5).style, Style::ListSelectedFocused);  // c, highlighted
    EXPECT_EQ(canvas.At(21, 6).style, Style::ListSelected);         // d, still the selection
    EXPECT_EQ(events, (std::vector<std::string>{"148/1", "148/1", "150/1", "150/1"}));

    // When the program sets the selection, the highlight goes there; a click chooses, and a
    // second press on the same row soon after (a double click) does not choose again.
    SendDlgItemMessageA(dialog, 150, LB_SETCURSEL, 5, 0);
    Press(Event::Of(Key::Enter));
    EXPECT_EQ(events.back(), "150/1");
    EXPECT_EQ(Selection(150), 5);
    events.clear();
    Draw();  // scrolled to show f: d, e, f
    Event press = Event::Mouse(MouseAction::Press, 22, 6);  // the row of e
    for (int64_t ms : {1000, 1300, 2000}) {
        press.ms = ms;
        form.HandleMouse(press, kOuter);
        Pump();
    }
    EXPECT_EQ(Selection(150), 4);
    EXPECT_EQ(events, (std::vector<std::string>{"150/1", "150/1"}));
}

TEST_F(TuiForm, ALetterActsOnTheControlThatUnderlinesIt) {
    Press(Event::Char(U't', kAlt));
    EXPECT_TRUE(Checked(145));
    EXPECT_EQ(form.FocusedId(), 145);
    Press(Event::Char(U'H'));  // away from an edit the letter alone does it
    EXPECT_TRUE(Checked(146));
    Press(Event::Char(U'n', kAlt));  // a label's letter moves to the control after it
    EXPECT_EQ(form.FocusedId(), 121);
    Press(Event::Char(U'f'));  // in an edit a letter is typed
    EXPECT_EQ(Text(121), "f");
    EXPECT_FALSE(Checked(141));
    EXPECT_EQ(events, (std::vector<std::string>{"145/0", "146/0"}));
}

TEST_F(TuiForm, TheMouseFocusesAndClicksControls) {
    Click(3, 2);  // on "[ ] Flag"
    EXPECT_TRUE(Checked(141));
    Click(10, 1);  // in the edit, after "ab"
    Type(U"X");
    EXPECT_EQ(Text(121), "abXc");
    Click(22, 6);  // second row of the list
    EXPECT_EQ(Selection(150), 1);
    Click(3, 5);  // the drop-down opens below itself ...
    EXPECT_TRUE(form.DropDownOpen());
    Click(3, 7);  // ... and its second item is chosen
    EXPECT_EQ(Text(148), "HTTP 1.0");
    Click(3, 4);  // the greyed check box does not react
    EXPECT_FALSE(Checked(142));
    EXPECT_EQ(events, (std::vector<std::string>{"141/0", "150/1", "148/1"}));
}

TEST_F(TuiForm, AFormIsDrawnFromItsModel) {
    std::string rows;
    for (int y : {0, 1, 2, 3, 4, 5, 9}) rows += canvas.RowText(y) + "\n";
    EXPECT_EQ(rows,
              "┌────────────── Form Test ───────────────┐\n"
              "│ Name  abc                              │\n"
              "│ [ ] Flag                               │\n"
              "│ ( ) One   (*) Two   ( ) Three          │\n"
              "│ [ ] Greyed                             │\n"
              "│ HTTP 0.9   ▼       a          ▲        │\n"
              "│  < OK >    < Cancel >                  │\n");
    const std::pair<int, Style> styles[] = {{1, Style::Dialog},         {8, Style::EditSelected},  // the edit has the
                                            {12, Style::EditFocused}};                              // keyboard, its text selected
    for (const auto& [x, style] : styles) EXPECT_EQ(canvas.At(x, 1).style, style) << x;
    EXPECT_TRUE(canvas.At(2, 1).underline);  // N of &Name
    EXPECT_EQ(canvas.At(6, 4).style, Style::DialogGrey);
    EXPECT_EQ(canvas.At(4, 9).style, Style::ButtonDefault);
    EXPECT_EQ(canvas.At(14, 9).style, Style::Button);
    int x = -1, y = -1;
    EXPECT_TRUE(form.Cursor(kOuter, x, y));
    EXPECT_EQ(x, 11);  // after "abc"
    EXPECT_EQ(y, 1);
}

// A template's cells are where controls start; a button as narrow as the template made it
// still shows its whole face, and a row whose labels would touch moves apart when it fits.
TEST_F(TuiForm, ControlsGetTheCellsTheirFacesNeed) {
    static const DialogTemplate kRows = {
        "TUI_ROWS",
        "Rows",
        30,
        3,
        {
            Button(101, "Send And Quit", 1, 0, 10, true),
            Button(102, "No", 20, 0, 6),
            Check(103, "Proxy", 0, 1, 8),  // "[ ] Proxy" reaches "Port"
            Label("Port", 9, 1),
            Edit(104, 14, 1, 5),
            Label("Host", 21, 1),
            Check(105, "Proxy", 0, 2, 8),  // the same where the row has no cell to spare
            Label("Port", 9, 2),
            Edit(106, 14, 2, 15),
        },
    };
    RegisterDialogResource(&kRows);
    HWND rows = CreateDialogParamA(nullptr, "TUI_ROWS", nullptr, Quiet, 0);
    Form rowsForm(rows);
    Rect outer{0, 0, rowsForm.OuterWidth(), rowsForm.OuterHeight()};
    canvas.Resize(outer.w, outer.h);
    rowsForm.Draw(canvas, outer, false);
    EXPECT_EQ(canvas.RowText(1), "│ < Send And Quit >  < No >    │");
    EXPECT_EQ(canvas.RowText(2), "│[ ] Proxy Port        Host    │");
    EXPECT_EQ(canvas.RowText(3), "│[ ] ProxyPort                 │");
    EXPECT_EQ(canvas.At(15, 2).style, Style::Dialog);  // the edit moved with its label
    EXPECT_EQ(canvas.At(16, 2).style, Style::Edit);
    rowsForm.HandleMouse(Event::Mouse(MouseAction::Press, 20, 2), outer);
    EXPECT_EQ(rowsForm.FocusedId(), 104);
    rowsForm.HandleMouse(Event::Mouse(MouseAction::Press, 18, 1), outer);  // the ">" past the template's width
    EXPECT_EQ(rowsForm.FocusedId(), 101);
}

// Every dialog of the program, drawn from its template: each button's face is whole, and each
// label stands apart from what is drawn beside it.
TEST(TuiDialogs, EveryLabelOfTheProgramsDialogsIsWholeAndApart) {
    platform::ResetWindows();
    platform::ResetUi();
    RegisterResources();
    for (const char* name : {"DIALOG_1", "DIALOG_2", "DIALOG_3", "DIALOG_4", "DIALOG_5", "DIALOG_6", "DIALOG_7", "DIALOG_8", "load"}) {
        HWND dialog = CreateDialogParamA(nullptr, name, nullptr, Quiet, 0);
        ASSERT_NE(dialog, nullptr) << name;
        Form form(dialog);
        Rect outer{0, 0, form.OuterWidth(), form.OuterHeight()};
        Canvas canvas;
        canvas.Resize(outer.w, outer.h);
        form.Draw(canvas, outer, false);
        for (const platform::ControlState* c : platform::DialogControls(dialog)) {
            if (c->kind != ControlKind::Static && c->kind != ControlKind::CheckBox && c->kind != ControlKind::Radio &&
                c->kind != ControlKind::Button)
                continue;
            std::string label = ToUtf8(ParseMnemonic(c->label).text);
            while (!label.empty() && label.back() == ' ') label.pop_back();
            if (c->kind == ControlKind::Button) label = "< " + label + " >";
            std::string row = canvas.RowText(1 + c->y);
            bool apart = false;
            for (size_t at = row.find(label); at != std::string::npos && !apart; at = row.find(label, at + 1)) {
                size_t after = at + label.size();
                apart = (at == 0 || !isalnum((unsigned char)row[at - 1])) && (after >= row.size() || !isalnum((unsigned char)row[after]));
            }
            EXPECT_TRUE(apart) << name << ": \"" << label << "\" in \"" << row << "\"";
        }
    }
    platform::ResetWindows();
    platform::ResetUi();
}

}  // namespace
