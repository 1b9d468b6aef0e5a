#include "support/temp_dir.h"

#include <stdexcept>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <fcntl.h>
#include <unistd.h>

namespace testing_support {

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/korvel-test-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void TempDir::Write(const std::string& name, const std::string& content) const { WriteFile(File(name), content); }

std::string TempDir::Read(const std::string& name) const { return ReadFile(File(name)); }

bool TempDir::Exists(const std::string& name) const { return std::filesystem::exists(File(name)); }

ChangeDir::ChangeDir(const std::string& dir) {
    char buffer[4096];
    if (!getcwd(buffer, sizeof buffer)) throw std::runtime_error("getcwd failed");
    previous_ = buffer;
    if (chdir(dir.c_str()) != 0) throw std::runtime_error("chdir failed: " + dir);
}

ChangeDir::~ChangeDir() {
    if (chdir(previous_.c_str()) != 0) perror("chdir back");
}

namespace {

void SetOrRemove(const std::string& name, const char* value) {
    if (value) {
        setenv(name.c_str(), value, 1);
    } else {
        unsetenv(name.c_str());
    }
}

}  // namespace

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    hadValue_ = old != nullptr;
    if (old) oldValue_ = old;
    SetOrRemove(name_, value);
}

ScopedEnv::~ScopedEnv() { SetOrRemove(name_, hadValue_ ? oldValue_.c_str() : nullptr); }

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

bool LeasesWork(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY);
    bool granted = fd >= 0 && fcntl(fd, F_SETLEASE, F_RDLCK) == 0;
    if (granted) fcntl(fd, F_SETLEASE, F_UNLCK);
    if (fd >= 0) close(fd);
    return granted;
}

}  // namespace testing_support
