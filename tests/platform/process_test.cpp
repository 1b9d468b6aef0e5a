#include "platform/process.h"

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "support/temp_dir.h"

using testing_support::ChangeDir;
using testing_support::ReadFile;
using testing_support::TempDir;

namespace {

// A program that records what it was given: its arguments one a line, its /proc stat line,
// its open descriptors, and last (so that the rest is complete) its pid.
const char kRecorder[] =
    "#!/bin/sh\n"
    "printf '%s\\n' \"$@\" > args.tmp\n"
    "cat /proc/$$/stat > stat.tmp\n"
    "ls -l /proc/$$/fd/ > fds.tmp\n"
    "mv args.tmp args; mv stat.tmp stat; mv fds.tmp fds\n"
    "echo $$ > pid.tmp; mv pid.tmp pid\n";

bool WaitUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 500; ++i) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

// The state letter of /proc/<pid>/stat ('Z' for a zombie), or 0 when there is no such process.
char ProcessState(pid_t pid) {
    std::string stat = ReadFile("/proc/" + std::to_string(pid) + "/stat");
    size_t paren = stat.rfind(')');
    return paren == std::string::npos || paren + 2 >= stat.size() ? 0 : stat[paren + 2];
}

class WinExecTest : public testing::Test {
protected:
    void SetUp() override {
        dir.Write("record", kRecorder);
        ASSERT_EQ(chmod(dir.File("record").c_str(), 0755), 0);
    }

    // Runs a command line and waits for the recorder to finish; its pid, or 0.
    pid_t Run(const char* commandLine) {
        EXPECT_EQ(WinExec(commandLine, SW_SHOWMINNOACTIVE), 33u) << commandLine;
        if (!WaitUntil([this] { return dir.Exists("pid"); })) return 0;
        return (pid_t)std::stol(dir.Read("pid"));
    }

    TempDir dir;
    ChangeDir inside{dir.path()};
};

TEST_F(WinExecTest, SplitsOnBlanksAndStartsTheProgramWithoutAShell) {
    ASSERT_NE(Run("  .\\record\tone  \t two"), 0);
    EXPECT_EQ(dir.Read("args"), "one\ntwo\n");
}

TEST_F(WinExecTest, ShellCharactersReachTheProgramVerbatim) {
    ASSERT_NE(Run(".\\record a;touch${IFS}x | $(touch y) `touch z` >out && $HOME 'q\" *"), 0);
    EXPECT_EQ(dir.Read("args"), "a;touch${IFS}x\n|\n$(touch\ny)\n`touch\nz`\n>out\n&&\n$HOME\n'q\"\n*\n");
    for (const char* name : {"x", "y", "z", "out", "y)", "touch"}) EXPECT_FALSE(dir.Exists(name)) << name;
}

TEST_F(WinExecTest, ChildIsDetachedWithNullStandardFilesAndNoneOfOurs) {
    int inherited = open(dir.File("record").c_str(), O_RDONLY);  // deliberately without O_CLOEXEC
    ASSERT_GE(inherited, 0);
    pid_t pid = Run("./record");
    close(inherited);
    ASSERT_NE(pid, 0);

    std::string stat = dir.Read("stat");
    long session = 0, group = 0;
    ASSERT_EQ(sscanf(stat.c_str() + stat.rfind(')') + 2, "%*c %*d %ld %ld", &group, &session), 2);
    EXPECT_EQ(session, pid);  // a session of its own
    EXPECT_EQ(group, pid);

    std::string fds = dir.Read("fds");
    EXPECT_NE(fds.find(" 0 -> /dev/null"), std::string::npos) << fds;
    EXPECT_NE(fds.find(" 2 -> /dev/null"), std::string::npos) << fds;
    EXPECT_EQ(fds.find(" " + std::to_string(inherited) + " -> " + dir.File("record")), std::string::npos) << fds;
}

TEST_F(WinExecTest, FailuresGiveTheWindowsCodes) {
    dir.Write("text", "not a program\n");
    dir.Write("noexec", "not a program either\n");
    ASSERT_EQ(chmod(dir.File("noexec").c_str(), 0755), 0);

    // 3: a file used as a directory; 5: no execute permission; 11: no format we can run (and no
    // shell is tried).
    for (auto [line, code] : {std::pair{"./missing-program arg", 2u}, {"korvel-no-such-program-on-path", 2u}, {"", 2u},
                              {" \t ", 2u}, {".\\record\\inside", 3u}, {".\\text", 5u}, {".\\noexec", 11u}})
        EXPECT_EQ(WinExec(line, SW_SHOW), code) << line;
}

TEST_F(WinExecTest, ReapChildrenLeavesNoZombie) {
    pid_t pid = Run("./record");
    ASSERT_NE(pid, 0);
    ASSERT_TRUE(WaitUntil([pid] { return ProcessState(pid) == 'Z'; })) << "state " << ProcessState(pid);
    platform::ReapChildren();
    EXPECT_EQ(ProcessState(pid), 0);
    platform::ReapChildren();  // nothing left: returns at once
}

}  // namespace
