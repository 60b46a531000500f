#include "platform/environment.h"

#include <cstdlib>
#include <unistd.h>

extern "C" char** environ; // NOLINT(readability-redundant-declaration): not every unistd.h has it

namespace ombrel::platform {

char** environment() {
    return environ;
}

const char* environment_variable(const char* name) {
    return getenv(name);
}

const char* trusted_environment_variable(const char* name) {
    const bool is_privileged = getuid() != geteuid() || getgid() != getegid();
    return is_privileged ? nullptr : getenv(name);
}

int set_environment_variable(const char* name, const char* value) {
    return value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

} // namespace ombrel::platform
