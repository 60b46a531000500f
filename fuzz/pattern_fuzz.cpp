// A pattern and a subject, separated by a NUL byte: the forms of the matcher must agree with each other.

#include <cstdint>
#include <cstdlib>
#include <string>

#include <ombrel/pattern.h>
#include <ombrel/string.h>

#include "support/require.h"

namespace {

std::string lower(std::string text) {
    return ombrel_strlower(text.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string pattern = input.c_str();
    const std::string subject = pattern.size() < size ? input.c_str() + pattern.size() + 1 : "";

    const int result = ombrel_check_pattern(pattern.c_str(), subject.c_str());
    require(result == 0 || result == -1);
    if (pattern.find_first_of("*?\\") == std::string::npos)
        require((result == 0) == (pattern == subject));
    require(ombrel_check_case_pattern(pattern.c_str(), subject.c_str()) ==
            ombrel_check_pattern(lower(pattern).c_str(), lower(subject).c_str()));

    // As the last of a list, behind words that match nothing, a pattern gives the same result.
    if (!pattern.empty() && pattern.find('|') == std::string::npos) {
        const std::string list = "\x01|" + pattern + "|\x01";
        const bool others = subject == "\x01";
        require(others || ombrel_check_pattern_list(list.c_str(), "|", subject.c_str()) == result);
    }
    // A subject with every character made literal matches itself alone.
    std::string literal;
    for (const char c : subject)
        literal += {'\\', c};
    require(ombrel_check_pattern(literal.c_str(), subject.c_str()) == 0);
    require(ombrel_check_pattern(literal.c_str(), (subject + "x").c_str()) == -1);
    return 0;
}
