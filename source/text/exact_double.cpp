#include "text/exact_double.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "text/number.h"
#include "text/slice.h"

namespace ombrel {

namespace {

/// A whole number of as many bits as reading the smallest double takes.
class big_number {
public:
    explicit big_number(uint64_t value) : size_(2) {
        words_[0] = static_cast<uint32_t>(value);
        words_[1] = static_cast<uint32_t>(value >> 32);
        trim();
    }

    void multiply_add(uint32_t factor, uint32_t addend) {
        uint64_t carry = addend;
        for (size_t i = 0; i < size_; i++) {
            carry += uint64_t{words_[i]} * factor;
            words_[i] = static_cast<uint32_t>(carry);
            carry >>= 32;
        }
        if (carry != 0)
            words_[size_++] = static_cast<uint32_t>(carry);
    }
    void multiply_by_power_of_ten(int power) {
        for (; power >= 9; power -= 9)
            multiply_add(1000000000, 0);
        for (; power > 0; power--)
            multiply_add(10, 0);
    }
    void shift(int bits) {
        if (size_ == 0 || bits == 0)
            return;
        const auto whole = static_cast<size_t>(bits / 32);
        std::copy_backward(words_.begin(), words_.begin() + size_, words_.begin() + size_ + whole);
        std::fill_n(words_.begin(), whole, 0u);
        size_ += whole;
        multiply_add(uint32_t{1} << (bits % 32), 0);
    }
    /// The other one is not greater.
    void subtract(const big_number& other) {
        int64_t borrow = 0;
        for (size_t i = 0; i < size_; i++) {
            borrow += int64_t{words_[i]} - (i < other.size_ ? other.words_[i] : 0);
            words_[i] = static_cast<uint32_t>(borrow);
            borrow >>= 32;
        }
        trim();
    }
    int compare(const big_number& other) const {
        if (size_ != other.size_)
            return size_ < other.size_ ? -1 : 1;
        for (size_t i = size_; i-- > 0;)
            if (words_[i] != other.words_[i])
                return words_[i] < other.words_[i] ? -1 : 1;
        return 0;
    }
    int bits() const {
        return size_ == 0 ? 0 : static_cast<int>(32 * size_) - std::countl_zero(words_[size_ - 1]);
    }

private:
    void trim() {
        while (size_ > 0 && words_[size_ - 1] == 0)
            size_--;
    }

    // 800 digits or a power of ten of 1130, aligned to one another.
    std::array<uint32_t, 260> words_;
    size_t size_;
};

constexpr int fraction_bits = 52, bias = 1023;

/// The double nearest to the quotient of two numbers that are not 0.
uint64_t nearest_bits(big_number number, big_number divisor) {
    int exponent = number.bits() - divisor.bits();
    (exponent > 0 ? divisor : number).shift(std::abs(exponent));
    if (number.compare(divisor) < 0) {
        number.shift(1);
        exponent--;
    }
    const int precision = fraction_bits + 1 - std::max(0, 1 - bias - exponent);
    if (precision < 0)
        return 0;
    uint64_t mantissa = 0;
    for (int i = 0; i < precision; i++) {
        const bool bit = number.compare(divisor) >= 0;
        mantissa = 2 * mantissa + (bit ? 1 : 0);
        if (bit)
            number.subtract(divisor);
        number.shift(1);
    }
    const int rest = number.compare(divisor);
    mantissa += rest > 0 || (rest == 0 && (mantissa & 1) != 0) ? 1 : 0;
    // What rounding carries goes on into the exponent.
    return precision <= fraction_bits
               ? mantissa
               : (static_cast<uint64_t>(exponent + bias - 1) << fraction_bits) + mantissa;
}

/// Digits without zeros at their ends, and where the point stands: behind so many of them.
struct decimal {
    std::array<char, 800> digits;
    int count = 0;
    int64_t point = 0;

    /// More digits than the array holds cannot change the result but by being there.
    void add(char digit) {
        constexpr int last = 799;
        if (count < last)
            digits[static_cast<size_t>(count++)] = digit;
        else if (digit != '0')
            digits[last - 1] |= 1;
    }
};

bool is_digit(std::string_view text) {
    return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

/// Takes the digits and the point off the front of a text. False without a digit.
bool take_digits(std::string_view& text, decimal& number) {
    bool has_digit = false, has_point = false;
    for (; is_digit(text) || (!has_point && starts_with(text, ".")); text.remove_prefix(1)) {
        if (text.front() == '.') {
            has_point = true;
            continue;
        }
        has_digit = true;
        if (number.count > 0 || text.front() != '0')
            number.add(text.front());
        if (!has_point && number.count > 0)
            number.point++;
        else if (has_point && number.count == 0)
            number.point--;
    }
    return has_digit;
}

/// An exponent of any length, as far as it matters.
bool take_exponent(std::string_view& text, int64_t& exponent) {
    constexpr int64_t most = 1000000000;
    text.remove_prefix(1);
    const bool is_negative = starts_with(text, "-");
    if (is_negative || starts_with(text, "+"))
        text.remove_prefix(1);
    if (!is_digit(text))
        return false;
    for (; is_digit(text); text.remove_prefix(1))
        exponent = std::min(most, exponent * 10 + (text.front() - '0'));
    if (is_negative)
        exponent = -exponent;
    return true;
}

uint64_t bits_of(const decimal& number) {
    big_number digits(0), divisor(1);
    for (int i = 0; i < number.count; i++)
        digits.multiply_add(10, static_cast<uint32_t>(number.digits[static_cast<size_t>(i)] - '0'));
    const int power = static_cast<int>(number.point) - number.count;
    (power > 0 ? digits : divisor).multiply_by_power_of_ten(std::abs(power));
    return nearest_bits(digits, divisor);
}

constexpr int digit_count = 18;

/// The first digits of a positive number, cut off, and where the point stands.
int first_digits(uint64_t mantissa, int exponent, char (&digits)[digit_count + 1]) {
    big_number number(mantissa), divisor(1);
    (exponent > 0 ? number : divisor).shift(std::abs(exponent));
    int point = 1 + (number.bits() - divisor.bits()) * 30103 / 100000;
    (point > 1 ? divisor : number).multiply_by_power_of_ten(std::abs(point - 1));
    for (; number.compare(divisor) < 0; point--)
        number.multiply_add(10, 0);
    for (big_number ten = divisor;; divisor = ten, point++) {
        ten.multiply_add(10, 0);
        if (number.compare(ten) < 0)
            break;
    }
    for (int i = 0; i < digit_count; i++) {
        for (digits[i] = '0'; number.compare(divisor) >= 0; digits[i]++)
            number.subtract(divisor);
        number.multiply_add(10, 0);
    }
    return point;
}

/// Rounds to fewer digits; carries may make it one more before the point.
int round_digits(char (&digits)[digit_count + 1], int count, int point) {
    const bool is_up = digits[count] >= '5';
    digits[count] = '\0';
    if (!is_up)
        return point;
    int i = count - 1;
    for (; i >= 0 && digits[i] == '9'; i--)
        digits[i] = '0';
    if (i >= 0) {
        digits[i]++;
        return point;
    }
    digits[0] = '1'; // all were nines, so zeros follow
    return point + 1;
}

char* put_exponent(char* to, int exponent) {
    *to++ = 'e';
    return std::to_chars(to, to + 8, exponent).ptr;
}

/// As people write it, unless it would be long.
char* put_decimal(char* to, std::string_view digits, int point) {
    constexpr int longest = 17, smallest = -4;
    const auto count = static_cast<int>(digits.size());
    if (point > longest || point < smallest) {
        *to++ = digits.front();
        if (count > 1)
            *to++ = '.';
        return put_exponent(put_text(to, slice(digits, 1)), point - 1);
    }
    if (point <= 0) {
        to = std::fill_n(put_text(to, "0."), -point, '0');
        return put_text(to, digits);
    }
    to = put_text(to, slice(digits, 0, static_cast<size_t>(point)));
    if (count <= point)
        return std::fill_n(to, point - count, '0');
    *to++ = '.';
    return put_text(to, slice(digits, static_cast<size_t>(point)));
}

} // namespace

fault_code parse_exact_double(std::string_view text, double& value) {
    constexpr int64_t above = 310, below = -330;
    constexpr uint64_t infinite = uint64_t{0x7FF} << fraction_bits;
    const bool is_negative = starts_with(text, "-");
    if (is_negative || starts_with(text, "+"))
        text.remove_prefix(1);
    decimal number;
    int64_t exponent = 0;
    if (!take_digits(text, number) ||
        ((starts_with(text, "e") || starts_with(text, "E")) && !take_exponent(text, exponent)) ||
        !text.empty())
        return fault_code::violation;
    number.point += exponent;
    if (number.count > 0 && number.point > above)
        return fault_code::too_large;
    const uint64_t bits = number.count == 0 || number.point < below ? 0 : bits_of(number);
    if (bits >= infinite)
        return fault_code::too_large;
    value = std::bit_cast<double>(bits | uint64_t{is_negative} << 63);
    return fault_code::none;
}

bool format_exact_double(double value, exact_double_text& text) {
    const auto bits = std::bit_cast<uint64_t>(value);
    const auto field = static_cast<int>(bits >> fraction_bits & 0x7FF);
    const uint64_t fraction = bits & ((uint64_t{1} << fraction_bits) - 1);
    if (field == 0x7FF)
        return false;
    char* const start = bits >> 63 != 0 ? put_text(text, "-") : text;
    if (field == 0 && fraction == 0) {
        *put_text(start, "0") = '\0';
        return true;
    }
    char all[digit_count + 1];
    const uint64_t mantissa = field == 0 ? fraction : fraction | uint64_t{1} << fraction_bits;
    const int point = first_digits(mantissa, std::max(field, 1) - bias - fraction_bits, all);
    for (int count = 1; count < digit_count; count++) {
        char digits[digit_count + 1];
        std::copy(std::begin(all), std::end(all), digits);
        const int rounded_point = round_digits(digits, count, point);
        char* const end = put_decimal(start, {digits, static_cast<size_t>(count)}, rounded_point);
        double again = 0;
        *end = '\0';
        if (parse_exact_double({text, static_cast<size_t>(end - text)}, again) == fault_code::none &&
            again == value)
            break;
    }
    return true;
}

} // namespace ombrel
