// Names for what a test keeps for a while.
#pragma once

#include <cstdlib>
#include <random>
#include <string>

namespace ombrel_test {

/// Where nothing is yet, in the system's folder for such things.
inline std::string temporary_path() {
    const char* folder = nullptr;
    for (const char* const variable : {"TMPDIR", "TEMP"})
        if (folder == nullptr)
            folder = std::getenv(variable);
    std::random_device random;
    return std::string(folder != nullptr ? folder : "/tmp") + "/ombrel_test_" + std::to_string(random()) +
           "_" + std::to_string(random());
}

} // namespace ombrel_test
