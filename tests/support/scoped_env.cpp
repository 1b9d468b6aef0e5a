#include "support/scoped_env.h"

#include <cstdlib>

namespace testing_support {

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

}  // namespace testing_support
