// The program's resources: the main menu "wins" and the dialog templates, registered with the
// platform before WinMain runs.

#include "channel/statistics.h"
#include "dialogs/dialogs.h"
#include "grabber/browser.h"
#include "ping/ping_dialog.h"
#include "platform/ui.h"
#include "shell/shell.h"

namespace {

const MenuTemplate kMainMenu = {
    "wins",
    {
        {"Cursor", {{IDM_FIND, "Find"}}},
        {"Options",
         {{IDM_CONFIGURATION, "Configuration"},
          {IDM_SERVER, "Server"},
          {IDM_CLIENT, "Client"},
          {IDM_URL, "URL"},
          {IDM_SAVE, "Save"},
          {IDM_PING, "Ping"}}},
        {"Services", {{IDM_SHOW_STATISTICS, "Show Statistics"}, {IDM_HIDE_STATISTICS, "Hide Statistics"}}},
        {"Command", {{IDM_EDIT, "Edit"}}},
        {"Help", {{IDM_SHOW_HELP, "Show Help"}}},
    },
};

const DialogTemplate* const kDialogs[] = {
    &kConfigurationTemplate, &kServerTemplate,      &kClientTemplate,      &kStatisticsTemplate,
    &kEditCommandTemplate,   &kUrlTemplate,         &kSaveOptionsTemplate, &kPingDialogTemplate,
    &kUrlBrowserTemplate,
};

}  // namespace

void RegisterResources() {
    RegisterMenuResource(&kMainMenu);
    for (const DialogTemplate* dialog : kDialogs) RegisterDialogResource(dialog);
}
