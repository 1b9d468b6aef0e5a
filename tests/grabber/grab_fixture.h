// A fixture for the grabber: the shell fixture's main window and recording front end, a fresh
// grab directory as Url.HomeDir (also the working directory, without a tag.map, so the tag
// tables are the built-in ones), and every piece of grab state back at its start.
#pragma once

#include <string>

#include "grabber/url.h"
#include "support/shell_fixture.h"
#include "support/temp_dir.h"

namespace grab_testing {

// Puts the grabber's process-wide state back to its start-up values.
using testing_support::ResetGrabState;

class GrabTest : public testing_support::ShellTest {
protected:
    void SetUp() override;
    void TearDown() override;

    std::string HomeFile(const std::string& name) const { return home.File(name); }
    static constexpr auto Record = testing_support::Record;

    testing_support::TempDir home;

private:
    testing_support::ChangeDir* workDir_ = nullptr;
};

}  // namespace grab_testing
