// The pieces that times in texts are made of.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "system/time/civil_time.h"
#include "system/time/time_names.h"
#include "text/fold.h"
#include "text/slice.h"

namespace ombrel::system {

constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char lower(char c) {
    return static_cast<char>(to_lower(static_cast<unsigned char>(c)));
}

constexpr bool is_letter(char c) {
    return lower(c) >= 'a' && lower(c) <= 'z';
}

/// What the digits behind a point are of a unit, rounded down. From the last on, so that each step is exact.
constexpr int64_t fraction_of(std::string_view digits, int64_t unit) {
    int64_t value = 0;
    for (size_t at = digits.size(); at-- > 0;)
        value = ((digits[at] - '0') * unit + value) / 10;
    return value;
}

/// Takes pieces off the front of a text. What is not there is not taken, and the place stays.
class time_reader {
public:
    explicit time_reader(std::string_view text) : text_(text) {}

    size_t at() const { return at_; }
    bool at_end() const { return at_ == text_.size(); }
    /// A later character; 0 beyond the end.
    char peek(size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }
    bool sees_digit() const { return is_digit(peek()); }

    bool take(char c) {
        if (at_end() || peek() != c)
            return false;
        at_++;
        return true;
    }

    /// Of either case.
    bool take_letter(char c) {
        if (lower(peek()) != c)
            return false;
        at_++;
        return true;
    }

    bool take_word(std::string_view word) {
        size_t count = 0;
        while (count < word.size() && lower(peek(count)) == lower(word[count]))
            count++;
        if (count < word.size())
            return false;
        at_ += count;
        return true;
    }

    /// 1 for "+", -1 for "-", 0 for neither.
    int take_sign() {
        if (take('-'))
            return -1;
        return take('+') ? 1 : 0;
    }

    size_t count_digits() const {
        size_t count = 0;
        while (is_digit(peek(count)))
            count++;
        return count;
    }

    /// Just so many digits, of which there may be more, as a number from `least` to `most`.
    bool take_number(size_t digits, int32_t least, int32_t most, int32_t& value) {
        int32_t read = 0;
        for (size_t at = 0; at < digits; at++) {
            if (!is_digit(peek(at)))
                return false;
            read = read * 10 + (peek(at) - '0');
        }
        if (read < least || read > most)
            return false;
        at_ += digits;
        value = read;
        return true;
    }

    /// A point or a comma and digits, at least one; the digits, none when that is not there.
    std::string_view take_fraction() {
        if ((peek() != '.' && peek() != ',') || !is_digit(peek(1)))
            return {};
        at_++;
        const std::string_view digits = slice(text_, at_, count_digits());
        at_ += digits.size();
        return digits;
    }

    /// One of the names, or its first three letters; its index, or -1.
    int take_name(std::span<const time_name> names) {
        size_t count = 0;
        while (is_letter(peek(count)))
            count++;
        for (size_t index = 0; index < names.size(); index++) {
            const std::string_view name = names[index].view();
            if ((count == name.size() && take_word(name)) ||
                (count == short_name_size && take_word({name.data(), short_name_size})))
                return static_cast<int>(index);
        }
        return -1;
    }

private:
    const std::string_view text_;
    size_t at_ = 0;
};

/// Hours, minutes and seconds after a sign, with all their colons or without any; false where there is none.
bool take_offset(time_reader& reader, ombrel_civil_time_t& time);

/// Makes a second 60 the first of the next minute; false unless a day ends in UTC with it.
bool carry_leap_second(ombrel_civil_time_t& time);

} // namespace ombrel::system
