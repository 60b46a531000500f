// Whole-text matching against a regular expression, and counting of parts.
#pragma once

#include <regex>
#include <string>

#include <gtest/gtest.h>

namespace ombrel_test {

inline ::testing::AssertionResult matches(const std::string& text, const std::string& expression) {
    if (std::regex_match(text, std::regex(expression)))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the text\n" << text << "does not match\n" << expression;
}

/// How often a part stands in a text.
inline size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        count++;
    return count;
}

} // namespace ombrel_test
