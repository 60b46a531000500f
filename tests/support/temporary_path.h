// Names for what a test keeps for a while.
#pragma once

#include <cstdlib>
#include <random>
#include <string>

namespace ombrel_test {

/// Where nothing is yet, in the system's folder for such things.
inline std::string temporary_path() {
#if defined(_WIN32)
    constexpr char variable[] = "TEMP", otherwise[] = "C:\\", prefix[] = "\\ombrel_test_";
#else
    constexpr char variable[] = "TMPDIR", otherwise[] = "/tmp", prefix[] = "/ombrel_test_";
#endif
    const char* const folder = std::getenv(variable);
    std::random_device random;
    return std::string(folder != nullptr ? folder : otherwise) + prefix + std::to_string(random()) + "_" +
           std::to_string(random());
}

} // namespace ombrel_test
