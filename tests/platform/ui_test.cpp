// The UI model: dialogs from templates, controls and what a user does to them, menus. (The
// modal loop is run by every modal dialog of the end-to-end and terminal tests.)

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/messages.h"
#include "platform/ui.h"

namespace {

const DialogTemplate kTest = {
    "TEST_DIALOG",
    "Test",
    40,
    10,
    {
        {121, ControlKind::Edit, "", 1, 1, 10, 1},
        {141, ControlKind::CheckBox, "Flag", 1, 2, 10, 1},
        {144, ControlKind::Radio, "&One", 1, 3, 10, 1, true},
        {145, ControlKind::Radio, "&Two", 1, 4, 10, 1},
        {146, ControlKind::Radio, "&Other group", 1, 5, 10, 1, true},
        {148, ControlKind::DropDown, "", 1, 6, 10, 1},
        {150, ControlKind::SortedList, "", 20, 1, 10, 4},
        {1, ControlKind::Button, "OK", 1, 8, 6, 1, false, true},
        {2, ControlKind::Button, "Cancel", 10, 8, 6, 1},
    },
};

const MenuTemplate kMenu = {"menu", {{"File", {{101, "Open"}, {102, "Close"}}}}};

std::vector<std::string> commands;

INT_PTR TestProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        SetDlgItemTextA(dialog, 121, (const char*)lParam);
        return TRUE;
    }
    if (message == WM_COMMAND) {
        commands.push_back(std::to_string(LOWORD(wParam)) + "/" + std::to_string(HIWORD(wParam)));
        if (LOWORD(wParam) == 1 || LOWORD(wParam) == 2) EndDialog(dialog, LOWORD(wParam) == 1 ? 77 : 0);
        return TRUE;
    }
    return FALSE;
}

LRESULT Owner(HWND, UINT, WPARAM, LPARAM) { return 0; }

class UiModel : public ::testing::Test {
protected:
    void SetUp() override {
        platform::ResetWindows();
        platform::ResetUi();
        RegisterDialogResource(&kTest);
        RegisterMenuResource(&kMenu);
        WNDCLASSEXA cls{};
        cls.lpfnWndProc = Owner;
        cls.lpszClassName = "owner";
        cls.lpszMenuName = "menu";
        RegisterClassExA(&cls);
        owner = CreateWindowExA(0, "owner", "o", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
        commands.clear();
    }
    void TearDown() override {
        platform::ResetWindows();
        platform::ResetUi();
    }
    HWND owner = nullptr;
};

TEST_F(UiModel, AMissingTemplateOrProcedureCannotBeCreated) {
    EXPECT_EQ(DialogBoxParamA(nullptr, "NOPE", owner, TestProc, 0), -1);
    EXPECT_EQ(DialogBoxParamA(nullptr, "TEST_DIALOG", owner, nullptr, 0), -1);
    EXPECT_EQ(CreateDialogParamA(nullptr, "NOPE", owner, TestProc, 0), nullptr);
}

TEST_F(UiModel, UserActionsChangeTheModelThenNotifyTheDialog) {
    HWND dialog = CreateDialogParamA(nullptr, "TEST_DIALOG", owner, TestProc, (LPARAM) "init");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(platform::FindControl(dialog, 121)->text, "init");
    EXPECT_FALSE(IsWindowVisible(dialog)) << "a modeless dialog starts hidden";

    EXPECT_TRUE(platform::UserClick(dialog, 145));
    EXPECT_TRUE(IsDlgButtonChecked(dialog, 145));
    EXPECT_TRUE(platform::UserClick(dialog, 144));
    EXPECT_TRUE(IsDlgButtonChecked(dialog, 144));
    EXPECT_FALSE(IsDlgButtonChecked(dialog, 145)) << "a radio button clears its group";
    EXPECT_TRUE(platform::UserClick(dialog, 146));
    EXPECT_TRUE(IsDlgButtonChecked(dialog, 144)) << "but not the next group";

    EXPECT_TRUE(platform::UserCheck(dialog, 141, true));
    EXPECT_TRUE(platform::UserCheck(dialog, 141, true)) << "already checked: nothing to do";
    EXPECT_TRUE(IsDlgButtonChecked(dialog, 141));

    EnableWindow(GetDlgItem(dialog, 1), FALSE);
    EXPECT_FALSE(platform::UserClick(dialog, 1)) << "a greyed button cannot be clicked";
    EXPECT_FALSE(platform::UserSetText(dialog, 999, "x"));

    MSG msg;
    std::vector<UINT> codes;
    while (platform::QueuedMessageCount() > 0 && GetMessageA(&msg, nullptr, 0, 0)) {
        EXPECT_EQ(msg.hwnd, dialog);
        DispatchMessageA(&msg);
    }
    EXPECT_EQ(commands, (std::vector<std::string>{"145/0", "144/0", "146/0", "141/0"}));
}

TEST_F(UiModel, EditSelectionsAndReplacementsWorkAsInAnEditControl) {
    HWND dialog = CreateDialogParamA(nullptr, "TEST_DIALOG", owner, TestProc, (LPARAM) "hello world");
    SendDlgItemMessageA(dialog, 121, EM_SETSEL, 0, 5);
    SendDlgItemMessageA(dialog, 121, EM_REPLACESEL, 0, (LPARAM) "bye");
    char text[64];
    EXPECT_EQ(GetDlgItemTextA(dialog, 121, text, sizeof text), 9u);
    EXPECT_STREQ(text, "bye world");
    SendDlgItemMessageA(dialog, 121, EM_SETSEL, 0, -1);
    SendDlgItemMessageA(dialog, 121, EM_REPLACESEL, 0, (LPARAM) "all new");
    EXPECT_EQ(platform::FindControl(dialog, 121)->text, "all new");
    EXPECT_EQ(GetDlgItemTextA(dialog, 121, text, 4), 3u) << "cut to the buffer";
    EXPECT_STREQ(text, "all");
}

TEST_F(UiModel, ListsKeepTheirItemsAndSelection) {
    HWND dialog = CreateDialogParamA(nullptr, "TEST_DIALOG", owner, TestProc, (LPARAM) "");
    SendDlgItemMessageA(dialog, 148, CB_ADDSTRING, 0, (LPARAM) "HTTP 0.9");
    SendDlgItemMessageA(dialog, 148, CB_ADDSTRING, 0, (LPARAM) "HTTP 1.0");
    EXPECT_EQ(SendDlgItemMessageA(dialog, 148, CB_GETCURSEL, 0, 0), CB_ERR);
    SendDlgItemMessageA(dialog, 148, CB_SETCURSEL, 1, 0);
    EXPECT_EQ(SendDlgItemMessageA(dialog, 148, CB_GETCURSEL, 0, 0), 1);
    EXPECT_EQ(platform::FindControl(dialog, 148)->text, "HTTP 1.0");
    EXPECT_EQ(SendDlgItemMessageA(dialog, 148, CB_SETCURSEL, 5, 0), CB_ERR);

    for (const char* item : {"[zeta]", "[Alpha]", "[..]", "[beta]"})
        SendDlgItemMessageA(dialog, 150, LB_ADDSTRING, 0, (LPARAM)item);
    const auto& items = platform::FindControl(dialog, 150)->items;
    EXPECT_EQ(items, (std::vector<std::string>{"[..]", "[Alpha]", "[beta]", "[zeta]"}));
    EXPECT_TRUE(platform::UserSelect(dialog, 150, 2));
    char text[32];
    EXPECT_EQ(SendDlgItemMessageA(dialog, 150, LB_GETTEXT, 2, (LPARAM)text), 6);
    EXPECT_STREQ(text, "[beta]");
    EXPECT_FALSE(platform::UserSelect(dialog, 150, 4));
    SendDlgItemMessageA(dialog, 150, LB_RESETCONTENT, 0, 0);
    EXPECT_EQ(SendDlgItemMessageA(dialog, 150, LB_GETCOUNT, 0, 0), 0);
    EXPECT_EQ(SendDlgItemMessageA(dialog, 150, LB_GETCURSEL, 0, 0), LB_ERR);
}

TEST_F(UiModel, MenuItemsAreEnabledAndGreyedAndGreyedOnesCannotBeChosen) {
    HMENU menu = GetMenu(owner);
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(EnableMenuItem(menu, 102, MF_GRAYED), MF_ENABLED);
    EXPECT_EQ(EnableMenuItem(menu, 102, MF_GRAYED), MF_GRAYED);
    EXPECT_EQ(EnableMenuItem(menu, 999, MF_GRAYED), -1);
    EXPECT_FALSE(platform::UserMenuCommand(owner, 102));
    EXPECT_TRUE(platform::UserMenuCommand(owner, 101));
    EXPECT_EQ(platform::QueuedMessageCount(), 1u);
}

TEST_F(UiModel, AModelessDialogIsHiddenByEndDialogAndDestroyedWithItsOwner) {
    HWND dialog = CreateDialogParamA(nullptr, "TEST_DIALOG", owner, TestProc, (LPARAM) "");
    ShowWindow(dialog, SW_SHOW);
    EXPECT_TRUE(IsWindowVisible(dialog));
    EndDialog(dialog, 0);
    EXPECT_TRUE(IsWindow(dialog));
    EXPECT_FALSE(IsWindowVisible(dialog));
    DestroyWindow(owner);
    EXPECT_FALSE(IsWindow(dialog));
}

TEST_F(UiModel, IsDialogMessageTakesOnlyMessagesForTheDialogAndItsControls) {
    HWND dialog = CreateDialogParamA(nullptr, "TEST_DIALOG", owner, TestProc, (LPARAM) "");
    MSG forControl{GetDlgItem(dialog, 121), WM_USER, 0, 0, 0};
    MSG forOwner{owner, WM_USER, 0, 0, 0};
    EXPECT_TRUE(IsDialogMessageA(dialog, &forControl));
    EXPECT_FALSE(IsDialogMessageA(dialog, &forOwner));
    EXPECT_FALSE(IsDialogMessageA(nullptr, &forOwner));
}

}  // namespace
