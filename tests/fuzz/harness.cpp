#include "fuzz/harness.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "channel/channel.h"
#include "channel/sockets.h"
#include "grabber/grab.h"
#include "grabber/link_lists.h"
#include "grabber/tags.h"
#include "ping/icmp.h"
#include "platform/clock.h"
#include "platform/fake_sockets.h"
#include "platform/frontend.h"
#include "platform/messages.h"
#include "platform/profile.h"
#include "server/request.h"
#include "settings/settings.h"
#include "shell/shell.h"
#include "support/program_state.h"

namespace fuzzing {

namespace {

constexpr time_t kStartTime = 1800000000;
constexpr DWORD kStartMs = 50000;

// Shows nothing, but keeps the console text for the target to look at; with
// KORVEL_FUZZ_SHOW set the text also goes to standard error, to see what an input does.
class QuietFrontEnd : public platform::FrontEnd {
public:
    void Printed(const char* text, size_t length) override {
        printed.append(text, length);
        if (show) fwrite(text, 1, length, stderr);
    }
    bool DrawsWindows() const override { return false; }
    bool show = false;
    std::string printed;
};

QuietFrontEnd frontEnd;
std::string workDir;
std::string startDir;  // where the process was started: libFuzzer reads and writes there

void RemoveWorkDir() {
    if (workDir.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(workDir, ignored);
}

void EnterDir(const std::string& dir) {
    if (chdir(dir.c_str()) != 0) {
        perror(dir.c_str());
        abort();
    }
}

void EmptyWorkDir() {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(workDir, ignored))
        std::filesystem::remove_all(entry.path(), ignored);
}

// Closes what an input left open, in the order the program's own shutdown does, with the
// grab stopped first so that no closing starts another fetch.
void CloseEverything() {
    Grab.GrabActive = 0;
    Grab.Fetch.CrawlFlags = 0;
    if (ping::Run.IcmpSocket != INVALID_SOCKET) ping::CloseICMP();
    if (ServerSocket != INVALID_SOCKET) CloseServer();
    CloseAllClients();
    platform::DispatchPendingEvents(50);
    for (Channel& c : Channels) {
        for (FILE** file : {&c.SendFile, &c.RxLogFile, &c.ExtCmdFile}) {
            if (*file) fclose(*file);
            *file = nullptr;
        }
        if (c.Socket != INVALID_SOCKET) closesocket(c.Socket);
        c.Socket = INVALID_SOCKET;
    }
    ReleaseLinkLists();
    CloseServerLog();
}

}  // namespace

std::string Input::Field(char separator) {
    size_t start = at_;
    while (at_ < size_ && data_[at_] != (uint8_t)separator) ++at_;
    std::string field((const char*)data_ + start, at_ - start);
    if (at_ < size_) ++at_;
    return field;
}

std::string Input::Bytes(size_t length) {
    if (length > size_ - at_) length = size_ - at_;
    std::string piece((const char*)data_ + at_, length);
    at_ += length;
    return piece;
}

void StartOnce() {
    if (!workDir.empty()) return;
    const char* tmp = getenv("TMPDIR");
    std::string path = std::string(tmp && *tmp ? tmp : "/tmp") + "/korvel-fuzz-XXXXXX";
    if (!mkdtemp(path.data())) {
        perror("korvel fuzz: working directory");
        abort();
    }
    workDir = path;
    startDir = std::filesystem::current_path().string();
    atexit(RemoveWorkDir);
    frontEnd.show = getenv("KORVEL_FUZZ_SHOW") != nullptr;
    platform::SetFrontEnd(&frontEnd);
}

const std::string& WorkDir() { return workDir; }

std::string TakeConsole() {
    std::string text;
    text.swap(frontEnd.printed);
    return text;
}

void BeginInput() {
    StartOnce();
    EnterDir(workDir);
    EmptyWorkDir();
    frontEnd.printed.clear();
    testing_support::ResetProgramState();
    testing_support::ResetGrabState();
    PipeCounter = 0;
    platform::FlushProfileCache();
    platform::UseFakeClock(kStartTime, kStartMs);
    RegisterResources();
    testing_support::CreateProgramWindow();
    TAGinit();
    fakenet::Install();
    StartWinsock();
}

void EndInput() {
    CloseEverything();
    CloseWS();
    fakenet::Remove();
    testing_support::ResetProgramState();
    testing_support::ResetGrabState();
    platform::FlushProfileCache();
    platform::UseRealClock();
    frontEnd.printed.clear();
    EnterDir(startDir);
}

void MakeDir(const std::string& name) { mkdir(name.c_str(), 0755); }

}  // namespace fuzzing
