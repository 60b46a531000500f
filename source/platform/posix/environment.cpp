#include "platform/environment.h"

#include <cstdlib>

extern "C" char** environ;

namespace ombrel::platform {

char** environment() {
    return environ;
}

const char* environment_variable(const char* name) {
    return getenv(name);
}

int set_environment_variable(const char* name, const char* value) {
    return value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

} // namespace ombrel::platform
