#include "platform/environment.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

extern "C" char** environ; // NOLINT(readability-redundant-declaration): not every unistd.h has it

namespace ombrel::platform {

char** environment() {
    return environ;
}

variable_text environment_variable(const char* name) {
    return {getenv(name), nullptr};
}

variable_text trusted_environment_variable(const char* name) {
    const bool is_privileged = getuid() != geteuid() || getgid() != getegid();
    return {is_privileged ? nullptr : getenv(name), nullptr};
}

int set_environment_variable(const char* name, const char* value) {
    return setenv(name, value, 1);
}

// An assignment becomes part of the environment itself, so a copy of it stays for good; a name alone does
// not.
int put_environment(const char* text) {
    char* kept = strdup(text);
    if (kept == nullptr)
        return -1;
    const int result = putenv(kept);
    if (result != 0 || strchr(text, '=') == nullptr)
        free(kept);
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the environment keeps it
    return result;
}

} // namespace ombrel::platform
