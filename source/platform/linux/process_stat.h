// The line that /proc has of a process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ombrel::platform {

/// A text taken apart from its front.
class field_reader {
public:
    explicit field_reader(std::string_view text) : text_(text) {}

    /// The next number, behind anything that is none; 0 when there is none. What is below 0 here means none,
    /// and what is too large wraps around.
    uint64_t number() {
        while (!text_.empty() && !is_digit(text_.front()) && text_.front() != '-')
            text_.remove_prefix(1);
        const bool is_negative = !text_.empty() && text_.front() == '-';
        text_.remove_prefix(is_negative);
        uint64_t value = 0;
        for (; !text_.empty() && is_digit(text_.front()); text_.remove_prefix(1))
            value = value * 10 + static_cast<uint64_t>(text_.front() - '0');
        return is_negative ? 0 : value;
    }
    int small_number() { return static_cast<int>(number()); }
    void skip(int fields) {
        while (fields-- > 0)
            number();
    }

private:
    static bool is_digit(char unit) { return unit >= '0' && unit <= '9'; }

    std::string_view text_;
};

struct process_stat {
    const char* name; ///< ended by 0
    char state;
    int parent, group, threads;
    uint64_t user_ticks, system_ticks;
    uint64_t start_ticks; ///< since the host was started
    uint64_t bytes, resident_pages;
};

/// Reads the line; its name is ended within it. False for anything else.
bool parse_process_stat(char* text, size_t size, process_stat& found);

} // namespace ombrel::platform
