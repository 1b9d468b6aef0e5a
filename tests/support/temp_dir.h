// Temporary directories, the working directory, environment variables and small file helpers
// for tests: each change is undone when its object goes.
#pragma once

#include <string>

namespace testing_support {

// A fresh directory under $TMPDIR (or /tmp), removed with everything in it on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    void Write(const std::string& name, const std::string& content) const;
    std::string Read(const std::string& name) const;
    bool Exists(const std::string& name) const;

private:
    std::string path_;
};

// Changes the working directory for the life of the object.
class ChangeDir {
public:
    explicit ChangeDir(const std::string& dir);
    ~ChangeDir();

private:
    std::string previous_;
};

// Sets `name` to `value` (removes it when value is null) for the life of the object.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    bool hadValue_;
    std::string oldValue_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
// True when the file system grants read leases on the file; without them the deny-write
// emulation never sees a writer.
bool LeasesWork(const std::string& path);

}  // namespace testing_support
