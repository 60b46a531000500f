// What tests ask a shell of POSIX, and what they do where there is none.
#pragma once

#include <cstdio>
#include <string>

namespace ombrel_test {

#if defined(_WIN32) // though an emulator shows the files of a host that has a shell, and /proc
constexpr bool has_shell = false;
#else
constexpr bool has_shell = true;
#endif

#define NEEDS_A_SHELL()                                                                                      \
    if (!has_shell)                                                                                          \
    GTEST_SKIP() << "the host has no shell of POSIX"

/// What a command of the shell prints, without the last line's end; "" when there is no such program.
inline std::string output_of(const std::string& command) {
    std::string text;
#if !defined(_WIN32)
    std::FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "re");
    for (int byte; pipe != nullptr && (byte = fgetc(pipe)) != EOF;)
        text += static_cast<char>(byte);
    if (pipe != nullptr)
        pclose(pipe);
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
#else
    static_cast<void>(command);
#endif
    return text;
}

} // namespace ombrel_test
