#include "text/integer_text.h"

#include <array>
#include <bit>

#include <ombrel/printf.h>

#include "text/powers_of_ten.h"

namespace ombrel {

namespace {

constexpr std::array<char, 200> digit_pairs = [] {
    std::array<char, 200> pairs{};
    for (unsigned i = 0; i < 100; i++) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

constexpr auto powers_of_ten = make_powers_of_ten<uint64_t, 20>();

constexpr unsigned max_digits = 64;

// The radixes: how many digits a value has, and writing exactly so many.

struct decimal_radix {
    template<typename Unsigned>
    unsigned count(Unsigned value) const {
        // 1233 / 4096 approximates log10(2); the table corrects it by the one it may be off.
        const Unsigned at_least_one = value | 1;
        const auto guess = static_cast<unsigned>(std::bit_width(at_least_one)) * 1233 >> 12;
        return guess + (at_least_one >= powers_of_ten[guess] ? 1 : 0);
    }

    template<typename Unsigned>
    void write(char* to, unsigned count, Unsigned value) const {
        char* end = to + count;
        // Divisions of more than 32 bits are dear on small processors: none more than needed.
        for (; value > UINT32_MAX; value /= 100)
            end = put_pair(end, static_cast<unsigned>(value % 100));
        auto rest = static_cast<uint32_t>(value);
        for (; rest >= 100; rest /= 100)
            end = put_pair(end, rest % 100);
        if (rest >= 10)
            put_pair(end, rest);
        else
            end[-1] = static_cast<char>('0' + rest);
    }

    static char* put_pair(char* end, unsigned pair) {
        memcpy(end - 2, &digit_pairs[2 * pair], 2);
        return end - 2;
    }
};

template<unsigned Bits>
struct binary_radix {
    const char* digits;

    template<typename Unsigned>
    unsigned count(Unsigned value) const {
        return (static_cast<unsigned>(std::bit_width(static_cast<Unsigned>(value | 1))) + Bits - 1) / Bits;
    }

    template<typename Unsigned>
    void write(char* to, unsigned count, Unsigned value) const {
        for (; count > 0; value >>= Bits)
            to[--count] = digits[value & ((1u << Bits) - 1)];
    }
};

struct any_radix {
    unsigned base;
    const char* digits;

    template<typename Unsigned>
    unsigned count(Unsigned value) const {
        unsigned result = 1;
        while ((value /= base) != 0)
            result++;
        return result;
    }

    template<typename Unsigned>
    void write(char* to, unsigned count, Unsigned value) const {
        for (; count > 0; value /= base)
            to[--count] = digits[value % base];
    }
};

template<typename Radix, typename Unsigned>
void write_digits(text_sink& sink, const Radix& radix, unsigned count, Unsigned value) {
    if (count <= sink.room()) {
        radix.write(sink.claim(count), count, value);
        return;
    }
    char scratch[max_digits];
    radix.write(scratch, count, value);
    sink.copy(scratch, count);
}

template<typename Radix, typename Unsigned>
void write_field(text_sink& sink, const Radix& radix, Unsigned value, uint32_t flags_width, char zero) {
    const unsigned count = radix.count(value);
    if (flags_width == def_ombrel_xtoa_space || flags_width == 0) {
        write_digits(sink, radix, count, value);
        return;
    }
    const bool spaces = (flags_width & def_ombrel_xtoa_space) != 0;
    const bool negative = (flags_width & def_ombrel_xtoa_negative) != 0;
    const bool left = spaces && (flags_width & def_ombrel_xtoa_left) != 0;
    const char pad = spaces && (flags_width & def_ombrel_xtoa_digit_pad) == 0 ? ' ' : zero;
    uint32_t width = flags_width & def_ombrel_xtoa_width_mask;
    if (negative && width > 0)
        width--;
    const uint32_t padding = width > count ? width - count : 0;

    if (negative && !spaces)
        sink.put('-');
    if (!left)
        sink.fill(pad, padding);
    if (negative && spaces)
        sink.put('-');
    write_digits(sink, radix, count, value);
    if (left)
        sink.fill(pad, padding);
}

template<typename Unsigned>
void write_in_base(text_sink& sink, Unsigned value, unsigned base, uint32_t flags_width, const char* digits) {
    const bool plain_digits = digits == upper_digits || digits == lower_digits;
    if (base == 10 && plain_digits)
        write_field(sink, decimal_radix{}, value, flags_width, '0');
    else if (base == 16)
        write_field(sink, binary_radix<4>{digits}, value, flags_width, digits[0]);
    else if (base == 8)
        write_field(sink, binary_radix<3>{digits}, value, flags_width, digits[0]);
    else
        write_field(sink, any_radix{base, digits}, value, flags_width, digits[0]);
}

template<typename Unsigned>
unsigned write_limited(char* dst, size_t room, Unsigned value, unsigned base, uint32_t flags_width,
                       const char* digits) {
    if (dst == nullptr || base < 2 || base > 16)
        return 0;
    text_sink sink(dst, room);
    write_in_base(sink, value, base, flags_width, digits != nullptr ? digits : upper_digits);
    return static_cast<unsigned>(sink.cursor() - dst);
}

} // namespace

void write_integer(text_sink& sink, uint32_t value, unsigned base, uint32_t flags_width, const char* digits) {
    write_in_base(sink, value, base, flags_width, digits);
}

void write_integer(text_sink& sink, uint64_t value, unsigned base, uint32_t flags_width, const char* digits) {
    write_in_base(sink, value, base, flags_width, digits);
}

void write_decimal(text_sink& sink, uint32_t value, bool is_negative) {
    if (is_negative)
        sink.put('-');
    const decimal_radix radix;
    write_digits(sink, radix, radix.count(value), value);
}

} // namespace ombrel

unsigned ombrel_xtoa_limit(char* dst, size_t room, unsigned value, unsigned base, unsigned flags_width,
                           const char* digits) {
    return ombrel::write_limited(dst, room, static_cast<uint32_t>(value), base, flags_width, digits);
}

unsigned ombrel_llxtoa_limit(char* dst, size_t room, uint64_t value, unsigned base, unsigned flags_width,
                             const char* digits) {
    return ombrel::write_limited(dst, room, value, base, flags_width, digits);
}
