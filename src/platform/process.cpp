#include "platform/process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "platform/clock.h"
#include "platform/event_source.h"
#include "platform/files.h"

extern char** environ;

namespace {

const UINT kStarted = 33;

// Children not yet collected; the message loop reaps them.
std::vector<pid_t> children;

// Collects finished children from the message loop, at most twice a second, while any are
// left.
class ChildReaper : public platform::EventSource {
public:
    void AddDescriptors(std::vector<pollfd>&) override {}
    void HandleEvents(const pollfd*, size_t) override {
        int64_t now = platform::MonotonicMs();
        if (now - lastReap_ < kReapIntervalMs) return;
        lastReap_ = now;
        platform::ReapChildren();
        if (children.empty()) platform::RemoveEventSource(this);
    }
    int WakeAfterMs() override { return kReapIntervalMs; }

private:
    static constexpr int kReapIntervalMs = 500;
    int64_t lastReap_ = 0;
};

ChildReaper reaper;

std::vector<std::string> SplitOnBlanks(const char* commandLine) {
    std::vector<std::string> words;
    std::string word;
    for (const char* c = commandLine; ; ++c) {
        if (*c && *c != ' ' && *c != '\t') {
            word += *c;
            continue;
        }
        if (!word.empty()) words.push_back(word);
        word.clear();
        if (!*c) break;
    }
    return words;
}

// The codes Windows gives for a program that could not be started.
UINT StartError(int error) {
    switch (error) {
    case ENOENT: return 2;
    case ENOTDIR: return 3;
    case EACCES:
    case EPERM: return 5;
    case ENOEXEC: return 11;
    default: return 0;
    }
}

// The child gets /dev/null for its standard files and none of our other descriptors (a
// listening socket or a log file held by a CGI program would outlive the server's own use).
void SetUpChildFiles(posix_spawn_file_actions_t* actions) {
    posix_spawn_file_actions_init(actions);
    posix_spawn_file_actions_addopen(actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(actions, 3);
}

// Its own session, detached from our terminal, with the signals we ignore (SIGPIPE for the
// sockets, SIGIO for file leases) back at their defaults and nothing blocked.
void SetUpChildAttributes(posix_spawnattr_t* attributes) {
    posix_spawnattr_init(attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGIO);
    posix_spawnattr_setsigdefault(attributes, &defaults);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(attributes, &none);
    posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

}  // namespace

UINT WinExec(const char* commandLine, UINT show) {
    std::vector<std::string> words = SplitOnBlanks(commandLine ? commandLine : "");
    if (words.empty()) return 2;
    words[0] = HostPath(words[0].c_str());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(&word[0]);
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    SetUpChildFiles(&actions);
    SetUpChildAttributes(&attributes);
    pid_t pid = 0;
    int error = posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return StartError(error);
    children.push_back(pid);
    platform::AddEventSource(&reaper);
    return kStarted;
}

void platform::ReapChildren() {
    for (size_t i = 0; i < children.size();) {
        int status;
        pid_t result = waitpid(children[i], &status, WNOHANG);
        if (result == 0 || (result < 0 && errno == EINTR)) {
            ++i;
            continue;
        }
        children.erase(children.begin() + i);
    }
}
