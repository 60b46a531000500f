#pragma once

#include <string>
#include <vector>

namespace ombrel_test {

/// A list for a loop, as a call: in braces each text would take a line of its own.
template<typename... Texts>
std::vector<std::string> texts(const Texts&... each) {
    return {std::string(each)...};
}

} // namespace ombrel_test
