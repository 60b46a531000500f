// A text that is written into a buffer as far as it fits, and counted as a whole.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ombrel::system {

class counted_text {
public:
    /// @param buffer may be null when `size` is 0
    counted_text(char* buffer, size_t size) : buffer_(buffer), room_(size == 0 ? 0 : size - 1) {
        if (size > 0)
            buffer[0] = '\0';
    }

    void put(char c) {
        if (size_ < room_)
            buffer_[size_] = c;
        size_++;
    }

    void put(std::string_view text) {
        if (size_ < room_)
            memcpy(buffer_ + size_, text.data(), std::min(text.size(), room_ - size_));
        size_ += text.size();
    }

    void fill(char c, size_t count) {
        if (size_ < room_)
            memset(buffer_ + size_, c, std::min(count, room_ - size_));
        size_ += count;
    }

    /// Two digits.
    void put_pair(int32_t value) {
        const char digits[] = {static_cast<char>('0' + value / 10), static_cast<char>('0' + value % 10)};
        put(std::string_view(digits, 2));
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
    size_t size() const { return size_; }

    /// Ends the text; as many characters as are stored.
    int end() {
        const size_t stored = std::min(size_, room_);
        if (buffer_ != nullptr && room_ > 0)
            buffer_[stored] = '\0';
        return static_cast<int>(std::min<size_t>(stored, INT_MAX));
    }

private:
    static int needed_digits(int32_t nanoseconds) {
        int digits = nanoseconds == 0 ? 0 : 9;
        for (; digits > 0 && nanoseconds % 10 == 0; nanoseconds /= 10)
            digits--;
        return digits;
    }

    char* const buffer_;
    const size_t room_;
    size_t size_ = 0;
};

} // namespace ombrel::system
