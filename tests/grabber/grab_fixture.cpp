#include "grabber/grab.h"
#include "grabber/grab_fixture.h"

#include <cstring>

#include "base/textio.h"
#include "grabber/crawl.h"
#include "grabber/fetch.h"
#include "grabber/link_lists.h"
#include "grabber/tags.h"
#include "settings/settings.h"

namespace grab_testing {

void GrabTest::SetUp() {
    ShellTest::SetUp();
    CreateMainWindow();
    ResetGrabState();
    workDir_ = new testing_support::ChangeDir(home.path());
    TAGinit();
    CopyText(Settings.Url.HomeDir, home.path().c_str());
    snprintf(Grab.HomeBase, sizeof Grab.HomeBase, "%s/", home.path().c_str());
    frontEnd.printed.clear();
}

void GrabTest::TearDown() {
    ResetGrabState();
    delete workDir_;
    ShellTest::TearDown();
}

}  // namespace grab_testing
