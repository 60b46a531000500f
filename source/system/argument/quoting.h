// The ways in which arguments stand in command lines.
#pragma once

#include <string_view>

#include "system/argument/word_text.h"

namespace ombrel::system {

/// A command line on its way out: counted first, then written.
class line_text {
public:
    explicit line_text(char* to = nullptr) : to_(to) {}

    void put(char c) {
        if (to_ != nullptr)
            to_[size_] = c;
        size_++;
    }
    void put(std::string_view text) {
        for (const char c : text)
            put(c);
    }
    size_t size() const { return size_; }

private:
    char* to_;
    size_t size_ = 0;
};

struct quoting {
    /// Takes a command line apart; where the quote or backslash stands that is not finished, or the size.
    size_t (*split)(std::string_view text, word_text& words);
    /// What splits by the same rules ends where the text does.
    bool may_stay_open;
    /// Whether the first argument can be written; null where each can.
    bool (*takes_first)(std::string_view argument);
    void (*join_first)(std::string_view argument, line_text& line);
    void (*join)(std::string_view argument, line_text& line);
};

/// By its number; null for none.
const quoting* find_quoting(int number);

extern const quoting posix_quoting;
extern const quoting plain_quoting;
extern const quoting windows_quoting;
extern const quoting windows_rest_quoting;

} // namespace ombrel::system
