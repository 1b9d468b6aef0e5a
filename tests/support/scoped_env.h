// Environment variables changed for the life of an object, for tests that depend on them.
#pragma once

#include <string>

namespace testing_support {

// Sets `name` to `value` (removes it when value is null) and restores the old state on
// destruction.
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

}  // namespace testing_support
