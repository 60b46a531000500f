#include <ombrel/printf.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <utility>

#include "text/argument_list.h"
#include "text/ctype_table.h"
#include "text/integer_text.h"
#include "text/plain_double.h"
#include "text/powers_of_ten.h"

namespace ombrel {

namespace {

constexpr uint32_t max_width = def_ombrel_xtoa_width_mask;

/// What stands between "%" and the conversion character.
struct conversion {
    bool left = false;
    bool leading_dot = false;
    bool zero = false;
    bool sized = false; ///< a width or a precision was given
    unsigned level = 0; ///< the number of "l"
    uint32_t width = 0;
    uint32_t precision = 0;

    uint32_t flags() const { return (zero ? 0 : def_ombrel_xtoa_space) | (left ? def_ombrel_xtoa_left : 0); }
};

uint32_t parse_number(const char*& format) {
    uint32_t number = 0;
    for (; is_digit(*format); format++)
        number = std::min(number * 10 + static_cast<uint32_t>(*format - '0'), max_width);
    return number;
}

constexpr auto exact_powers_of_ten = make_powers_of_ten<double, 23>();

double power_of_ten(uint32_t exponent) {
    if (exponent < exact_powers_of_ten.size())
        return exact_powers_of_ten[exponent];
    constexpr uint32_t first_infinite = 309;
    double power = 1;
    for (exponent = std::min(exponent, first_infinite); exponent > 0; exponent--)
        power = plain_double(power * 10);
    return power;
}

// The conversion of a double outside the target's range is undefined, so it ends at the bounds.
int64_t to_integer(double value) {
    constexpr double bound = 9223372036854775808.0;
    if (value >= bound)
        return INT64_MAX;
    if (value < -bound)
        return INT64_MIN;
    return value == value ? static_cast<int64_t>(value) : 0;
}

uint64_t magnitude(int64_t value) {
    return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
}

class formatter {
public:
    formatter(char* to, size_t room, argument_list& arguments) : sink_(to, room), arguments_(arguments) {}

    /// Returns the place behind the last character stored.
    char* run(const char* format);

private:
    bool convert_bare(char kind);
    conversion parse(const char*& format);
    void parse_field(const char*& format, conversion& how);
    bool convert(char kind, const conversion& how);
    void put_signed(const conversion& how);
    void put_unsigned(const conversion& how, unsigned base, const char* digits);
    void put_pointer(const char* digits);
    void put_string(const conversion& how);
    void put_fixed(const conversion& how);
    void put_fraction(double fraction, uint32_t precision);

    text_sink sink_;
    argument_list& arguments_;
};

char* formatter::run(const char* format) {
    while (!sink_.full()) {
        format = sink_.copy_until(format, '%', '\0');
        if (sink_.full() || *format == '\0')
            break;
        format++;
        if (convert_bare(*format)) {
            format++;
            continue;
        }
        const conversion how = parse(format);
        if (*format == '\0')
            break;
        const char kind = *format++;
        if (convert(kind, how))
            continue;
        // The character after an unknown conversion is dropped: meant so.
        sink_.put(kind);
        if (*format != '\0')
            format++;
    }
    return sink_.cursor();
}

/// What stands right behind "%" most often, and is quick. Returns false for all else.
bool formatter::convert_bare(char kind) {
    switch (kind) {
    case '%':
        sink_.put('%');
        return true;
    case 's':
        put_string({});
        return true;
    case 'd': {
        const int value = va_arg(arguments_.next, int);
        write_decimal(sink_, static_cast<uint32_t>(magnitude(value)), value < 0);
        return true;
    }
    case 'u':
        write_decimal(sink_, static_cast<uint32_t>(va_arg(arguments_.next, unsigned)), false);
        return true;
    default:
        return false;
    }
}

conversion formatter::parse(const char*& format) {
    conversion how;
    if (*format < 'A') // before all letters stand in ASCII the signs and digits of a field
        parse_field(format, how);
    for (; how.level < 2 && *format == 'l'; format++)
        how.level++;
    return how;
}

void formatter::parse_field(const char*& format, conversion& how) {
    const auto accept = [&format](char wanted) {
        if (*format != wanted) [[likely]]
            return false;
        format++;
        return true;
    };
    // The order is fixed and each part is taken once: "%0-5d" has "-" for its conversion, meant so.
    accept('#');
    how.left = accept('-');
    how.leading_dot = accept('.');
    how.zero = accept('0');
    int64_t width = 0;
    if (accept('*')) {
        how.sized = true;
        width = va_arg(arguments_.next, int);
    }
    if (is_digit(*format)) {
        how.sized = true;
        width += parse_number(format);
    }
    how.width = static_cast<uint32_t>(std::clamp<int64_t>(width, 0, max_width));
    if (accept('.') && is_digit(*format)) {
        how.sized = true;
        how.precision = parse_number(format);
    }
}

// Returns false for a character that is no conversion.
bool formatter::convert(char kind, const conversion& how) {
    switch (kind) {
    case 'd':
    case 'i':
        put_signed(how);
        return true;
    case 'u':
        put_unsigned(how, 10, lower_digits);
        return true;
    case 'o':
        put_unsigned(how, 8, lower_digits);
        return true;
    case 'x':
        put_unsigned(how, 16, lower_digits);
        return true;
    case 'X':
        put_unsigned(how, 16, upper_digits);
        return true;
    case 'c':
        sink_.put(static_cast<char>(va_arg(arguments_.next, int)));
        return true;
    case 's':
        put_string(how);
        return true;
    case 'p':
        put_pointer(lower_digits);
        return true;
    case 'P':
        put_pointer(upper_digits);
        return true;
    case 'f':
        put_fixed(how);
        return true;
    default:
        return false;
    }
}

void formatter::put_signed(const conversion& how) {
    const int64_t value = how.level == 0   ? va_arg(arguments_.next, int)
                          : how.level == 1 ? va_arg(arguments_.next, long)
                                           : va_arg(arguments_.next, int64_t);
    const uint32_t flags = how.flags() | (value < 0 ? def_ombrel_xtoa_negative : 0) | how.width;
    if (how.level == 0)
        write_integer(sink_, static_cast<uint32_t>(magnitude(value)), 10, flags, lower_digits);
    else
        write_integer(sink_, magnitude(value), 10, flags, lower_digits);
}

void formatter::put_unsigned(const conversion& how, unsigned base, const char* digits) {
    const uint32_t flags = how.flags() | how.width;
    if (how.level == 0) {
        write_integer(sink_, static_cast<uint32_t>(va_arg(arguments_.next, unsigned)), base, flags, digits);
        return;
    }
    const uint64_t value =
        how.level == 1 ? va_arg(arguments_.next, unsigned long) : va_arg(arguments_.next, uint64_t);
    write_integer(sink_, value, base, flags, digits);
}

void formatter::put_pointer(const char* digits) {
    // Sign-extended, so that addresses of 32 bits with the top bit set begin with "ffffffff": meant so.
    const int64_t address = reinterpret_cast<intptr_t>(va_arg(arguments_.next, void*));
    write_integer(sink_, static_cast<uint64_t>(address), 16, 16, digits);
}

void formatter::put_string(const conversion& how) {
    const char* text = va_arg(arguments_.next, const char*);
    if (text == nullptr)
        text = "(null)";
    if (!how.sized) {
        sink_.copy(text, strnlen(text, sink_.room()));
        return;
    }
    const size_t begin = strnlen(text, how.width);
    const size_t padding = how.width - begin;
    if (!how.left)
        sink_.fill(' ', padding);
    sink_.copy(text, begin);
    // Only the leading dot cuts; the precision after a width does nothing here: meant so.
    if (!how.leading_dot && begin == how.width)
        sink_.copy(text + begin, strnlen(text + begin, sink_.room()));
    if (how.left)
        sink_.fill(' ', padding);
}

void formatter::put_fixed(const conversion& how) {
    if (how.level == 2)
        return;
    const double value = va_arg(arguments_.next, double);
    uint32_t width = how.width;
    uint32_t precision = how.precision;
    if (how.leading_dot)
        precision = std::exchange(width, 0);
    else if (width == 0 && precision == 0)
        precision = 6; // a width alone leaves the precision at 0: meant so
    const double half = plain_double(0.5 / power_of_ten(precision));
    const double rounded = plain_double(value < 0 ? value - half : value + half);
    const int64_t whole = to_integer(rounded);
    // The sign is the integer part's alone, so -0.25 prints without: meant so.
    const uint32_t sign = whole < 0 ? def_ombrel_xtoa_negative : 0;
    write_integer(sink_, magnitude(whole), 10, how.flags() | sign | width, lower_digits);
    if (precision == 0)
        return;
    sink_.put('.');
    const double fraction = rounded - static_cast<double>(whole);
    put_fraction(fraction < 0 ? -fraction : fraction, precision);
}

void formatter::put_fraction(double fraction, uint32_t precision) {
    constexpr uint32_t exact_digits = 18;
    constexpr uint32_t flags = def_ombrel_xtoa_space | def_ombrel_xtoa_digit_pad;
    if (!(fraction < 1))
        fraction = 0; // the integer part was out of range
    const double scaled = plain_double(fraction * power_of_ten(precision));
    const bool fits = precision <= exact_digits || scaled < 9223372036854775808.0;
    const uint32_t shown = fits ? precision : exact_digits;
    const int64_t digits = to_integer(fits ? scaled : plain_double(fraction * power_of_ten(exact_digits)));
    write_integer(sink_, static_cast<uint64_t>(digits), 10, flags | shown, lower_digits);
    sink_.fill('0', precision - shown);
}

int format_into(char* buf, size_t size, const char* format, argument_list& arguments) {
    if (size == 0)
        return 0;
    // The room ends at what the result can count and at the end of the address space.
    const size_t room = std::min({size - 1, static_cast<size_t>(INT_MAX),
                                  static_cast<size_t>(UINTPTR_MAX - reinterpret_cast<uintptr_t>(buf))});
    char* end = formatter(buf, room, arguments).run(format);
    *end = '\0';
    return static_cast<int>(end - buf);
}

} // namespace

} // namespace ombrel

int ombrel_vsnprintf(char* buf, size_t size, const char* format, va_list ap) {
    ombrel::argument_list arguments;
    va_copy(arguments.next, ap);
    const int stored = ombrel::format_into(buf, size, format, arguments);
    va_end(arguments.next);
    return stored;
}

int ombrel_snprintf(char* buf, size_t size, const char* format, ...) {
    ombrel::argument_list arguments;
    va_start(arguments.next, format);
    const int stored = ombrel::format_into(buf, size, format, arguments);
    va_end(arguments.next);
    return stored;
}

int ombrel_vsprintf(char* buf, const char* format, va_list ap) {
    return ombrel_vsnprintf(buf, SIZE_MAX, format, ap);
}

int ombrel_sprintf(char* buf, const char* format, ...) {
    ombrel::argument_list arguments;
    va_start(arguments.next, format);
    const int stored = ombrel::format_into(buf, SIZE_MAX, format, arguments);
    va_end(arguments.next);
    return stored;
}
