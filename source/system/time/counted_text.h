// A text that is written into a buffer as far as it fits, and counted as a whole.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "system/time/time_names.h"

namespace ombrel::system {

struct digit_pair {
    char first, second;
};

/// Those of the numbers below 100.
inline constexpr std::array<digit_pair, 100> digit_pairs = [] {
    std::array<digit_pair, 100> pairs{};
    for (int value = 0; value < 100; value++)
        pairs[static_cast<size_t>(value)] = {static_cast<char>('0' + value / 10),
                                             static_cast<char>('0' + value % 10)};
    return pairs;
}();

class counted_text {
    friend class hasty_text;

public:
    /// @param buffer may be null when `size` is 0
    counted_text(char* buffer, size_t size)
        : at_(size == 0 ? nullptr : buffer), end_(size == 0 ? nullptr : buffer + size - 1), start_(at_) {
        if (size > 0)
            buffer[0] = '\0';
    }

    void put(char c) {
        if (at_ != end_)
            *at_++ = c;
        else
            lost_++;
    }

    void put(std::string_view text) {
        const size_t kept = std::min(text.size(), room());
        if (kept > 0)
            memcpy(at_, text.data(), kept);
        advance(kept, text.size());
    }

    /// The whole name or its short form. In one go while there is room, as the size does not matter then.
    void put_name(const time_name& name, bool is_short) {
        const size_t size = is_short ? short_name_size : name.size;
        if (room() < sizeof name.text)
            return put(std::string_view(name.text, size));
        memcpy(at_, name.text, sizeof name.text);
        at_ += size;
    }

    void fill(char c, size_t count) {
        const size_t kept = std::min(count, room());
        if (kept > 0)
            memset(at_, c, kept);
        advance(kept, count);
    }

    /// Two digits of a number below 100, the first `zero` where there is one alone.
    void put_pair(int32_t value, char zero = '0') {
        const char digits[] = {value < 10 ? zero : digit_pairs[static_cast<size_t>(value)].first,
                               digit_pairs[static_cast<size_t>(value)].second};
        if (room() < sizeof digits)
            return put(std::string_view(digits, sizeof digits));
        memcpy(at_, digits, sizeof digits);
        at_ += sizeof digits;
    }

    /// The first `digits` digits of so many nanoseconds.
    void put_fraction(int32_t nanoseconds, int digits) {
        char all[9];
        for (int at = 9; at-- > 0; nanoseconds /= 10)
            all[at] = static_cast<char>('0' + nanoseconds % 10);
        put(std::string_view(all, static_cast<size_t>(digits)));
    }

    /// A point and so many digits; nothing for none. All but the last zeros, for a negative number.
    void put_point_and_fraction(int32_t nanoseconds, int digits) {
        const int shown = digits < 0 ? needed_digits(nanoseconds) : digits;
        if (shown == 0)
            return;
        put('.');
        put_fraction(nanoseconds, shown);
    }

    /// How long the whole is.
    size_t size() const { return stored() + lost_; }

    /// Ends the text; as many characters as are stored.
    int end() {
        if (start_ != nullptr)
            *at_ = '\0';
        return static_cast<int>(std::min<size_t>(stored(), INT_MAX));
    }

private:
    static int needed_digits(int32_t nanoseconds) {
        int digits = nanoseconds == 0 ? 0 : 9;
        for (; digits > 0 && nanoseconds % 10 == 0; nanoseconds /= 10)
            digits--;
        return digits;
    }

    size_t room() const { return static_cast<size_t>(end_ - at_); }
    size_t stored() const { return static_cast<size_t>(at_ - start_); }

    void advance(size_t kept, size_t whole) {
        at_ += kept;
        lost_ += whole - kept;
    }

    char* at_;
    char* const end_; // where the NUL goes at last
    char* const start_;
    size_t lost_ = 0;
};

/// A counted text while nobody else writes to it: what is written could otherwise be the place itself, which
/// compilers then leave in memory, where each character would have to wait for the one before.
class hasty_text {
public:
    explicit hasty_text(counted_text& text) : text_(text), at_(text.at_) {}
    ~hasty_text() { hand_back(); }
    hasty_text(const hasty_text&) = delete;
    hasty_text& operator=(const hasty_text&) = delete;

    void hand_back() { text_.at_ = at_; }
    void take() { at_ = text_.at_; }

    void put(char c) {
        if (at_ != text_.end_)
            *at_++ = c;
        else
            text_.lost_++;
    }

    void put_pair(int32_t value) {
        const digit_pair digits = digit_pairs[static_cast<size_t>(value)];
        put(digits.first);
        put(digits.second);
    }

private:
    counted_text& text_;
    char* at_;
};

} // namespace ombrel::system
