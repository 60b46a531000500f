#include "text/decimal_double.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

namespace ombrel {

namespace {

/// 0.DIGITS times ten to the power of `point`. The digits that are left out beyond the room can only decide
/// whether a number is exactly between two doubles; they are kept as one digit.
class decimal {
public:
    bool read(std::string_view& text);
    uint64_t to_bits();

private:
    static constexpr int room = 800; // no number halfway between two doubles has more
    static constexpr int most_shift = 59;

    void add(char digit);
    bool read_digits(std::string_view& text);
    void read_exponent(std::string_view& text);
    void trim();
    void halve(int times);
    void double_up(int times);
    uint64_t rounded() const;
    bool is_half() const { return count_ > 0 && digits_[0] >= 5; }

    uint8_t digits_[room];
    int count_ = 0;
    int point_ = 0;
    bool has_rest_ = false;
};

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool take(std::string_view& text, char wanted) {
    if (text.empty() || text.front() != wanted)
        return false;
    text.remove_prefix(1);
    return true;
}

void decimal::add(char digit) {
    if (count_ == 0 && digit == '0')
        return;
    if (static_cast<unsigned>(count_) < room)
        digits_[count_++] = static_cast<uint8_t>(digit - '0');
    else
        has_rest_ = has_rest_ || digit != '0';
}

bool decimal::read_digits(std::string_view& text) {
    bool is_behind = false, has_any = false;
    for (; !text.empty(); text.remove_prefix(1)) {
        if (text.front() == '.' && !is_behind) {
            is_behind = true;
            continue;
        }
        if (!is_digit(text.front()))
            break;
        has_any = true;
        const bool counts = count_ > 0 || text.front() != '0';
        add(text.front());
        // A digit before the point moves it on, a zero between the point and the first digit back.
        constexpr int far = 1 << 24;
        if (!is_behind && counts)
            point_ = std::min(point_ + 1, far);
        else if (is_behind && !counts)
            point_ = std::max(point_ - 1, -far);
    }
    return has_any;
}

void decimal::read_exponent(std::string_view& text) {
    constexpr int far = 1 << 26;
    std::string_view rest = text;
    if (!take(rest, 'e') && !take(rest, 'E'))
        return;
    const bool is_negative = take(rest, '-');
    if (!is_negative)
        take(rest, '+');
    if (rest.empty() || !is_digit(rest.front()))
        return;
    int exponent = 0;
    for (; !rest.empty() && is_digit(rest.front()); rest.remove_prefix(1))
        exponent = std::min(10 * exponent + (rest.front() - '0'), far);
    point_ += is_negative ? -exponent : exponent;
    text = rest;
}

bool decimal::read(std::string_view& text) {
    if (!read_digits(text))
        return false;
    read_exponent(text);
    trim();
    return true;
}

void decimal::trim() {
    while (count_ > 0 && digits_[count_ - 1] == 0)
        count_--;
}

/// Divides by a power of two.
void decimal::halve(int times) {
    uint64_t held = 0;
    const uint64_t mask = (uint64_t{1} << times) - 1;
    int from = 0, to = 0;
    // As many digits as it takes for the first digit of the result.
    while (held >> times == 0) {
        held = 10 * held + (from < count_ ? digits_[from] : 0u);
        from++;
    }
    point_ -= from - 1;
    const int given = count_;
    count_ = 0;
    while (from <= given || held != 0) {
        const auto digit = static_cast<uint8_t>(held >> times);
        held &= mask;
        if (to < room)
            digits_[to++] = digit;
        else
            has_rest_ = has_rest_ || digit != 0;
        held = 10 * held + (from < given ? digits_[from] : 0u);
        from++;
    }
    count_ = to;
    trim();
}

/// Multiplies by a power of two.
void decimal::double_up(int times) {
    constexpr int most_new = 20;
    uint8_t more[most_new];
    int new_count = 0;
    uint64_t carried = 0;
    for (int i = count_; i > 0; i--) {
        carried += uint64_t{digits_[i - 1]} << times;
        digits_[i - 1] = static_cast<uint8_t>(carried % 10);
        carried /= 10;
    }
    for (; carried > 0; carried /= 10)
        more[new_count++] = static_cast<uint8_t>(carried % 10);
    const int kept = std::min(count_, room - new_count);
    for (int i = kept; i < count_; i++)
        has_rest_ = has_rest_ || digits_[i] != 0;
    memmove(digits_ + new_count, digits_, static_cast<size_t>(kept));
    std::reverse_copy(more, more + new_count, digits_);
    count_ = kept + new_count;
    point_ += new_count;
    trim();
}

/// The whole part, rounded.
uint64_t decimal::rounded() const {
    uint64_t whole = 0;
    for (int i = 0; i < point_; i++)
        whole = 10 * whole + (i < count_ ? digits_[i] : 0u);
    if (point_ < 0 || point_ >= count_)
        return whole;
    const bool is_exactly_half = digits_[point_] == 5 && point_ + 1 == count_ && !has_rest_;
    const bool rounds_up = is_exactly_half ? (whole & 1) != 0 : digits_[point_] >= 5;
    return whole + (rounds_up ? 1 : 0);
}

uint64_t decimal::to_bits() {
    constexpr int mantissa_bits = 52, bias = 1023, most_exponent = 2047;
    constexpr uint64_t infinite = uint64_t{most_exponent} << mantissa_bits;
    if (count_ == 0 || point_ < -330)
        return 0;
    if (point_ > 310)
        return infinite;
    // Into [1/2, 1), which is the same number with another exponent.
    int exponent = 0;
    const auto step = [](int digits) { return digits >= 18 ? most_shift : std::max(1, digits * 3); };
    while (point_ > 0) {
        const int times = step(point_);
        halve(times);
        exponent += times;
    }
    while (point_ < 0 || !is_half()) {
        const int times = point_ < 0 ? step(-point_) : digits_[0] >= 2 ? 1 : 2;
        double_up(times);
        exponent -= times;
    }
    exponent--; // [1, 2)
    if (exponent < 1 - bias) {
        const int lost = 1 - bias - exponent; // the number is denormal
        for (int left = lost; left > 0; left -= most_shift)
            halve(std::min(left, most_shift));
        exponent += lost;
    }
    double_up(mantissa_bits + 1);
    uint64_t mantissa = rounded();
    if (mantissa == uint64_t{2} << mantissa_bits) {
        mantissa >>= 1;
        exponent++;
    }
    if (exponent + bias >= most_exponent)
        return infinite;
    if (!(mantissa >> mantissa_bits & 1))
        exponent = -bias; // denormal
    const uint64_t fraction = mantissa & ((uint64_t{1} << mantissa_bits) - 1);
    return fraction | static_cast<uint64_t>(exponent + bias) << mantissa_bits;
}

bool parse_word(std::string_view text, double& value) {
    if (text == "INF")
        value = std::numeric_limits<double>::infinity();
    else if (text == "NaN")
        value = std::numeric_limits<double>::quiet_NaN();
    else
        return false;
    return true;
}

} // namespace

bool parse_double(std::string_view text, double& value) {
    const bool has_plus = take(text, '+');
    const bool is_negative = !has_plus && take(text, '-');
    double read;
    if (!parse_word(text, read)) {
        decimal number;
        if (!number.read(text) || !text.empty())
            return false;
        read = std::bit_cast<double>(number.to_bits());
    }
    value = is_negative ? -read : read;
    return true;
}

} // namespace ombrel
