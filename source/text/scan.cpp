#include <ombrel/scan.h>

#include "text/plain_double.h"
#include "text/scan_reader.h"

namespace {

using namespace ombrel;

template<typename Reader>
size_t until_table(Reader& reader, size_t limit, const unsigned char* table, int stop_value, char* out) {
    return consume_while(reader, limit, out, [=](int c) {
        return table == nullptr || table[static_cast<unsigned char>(c)] != stop_value;
    });
}

template<typename Number>
int scan_callbacks(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit, Number* out,
                   int base) {
    uint64_t value = 0;
    const size_t count =
        with_reader(peek, pop, ctx, [&](auto& reader) { return scan_number(reader, limit, base, value); });
    if (out != nullptr)
        *out = static_cast<Number>(value);
    return counted(count);
}

template<typename Number>
Number parse(const char* text, int base, char** end = nullptr) {
    uint64_t value = 0;
    memory_reader reader(text);
    scan_number(reader, def_ombrel_scan_limit, base, value);
    if (end != nullptr)
        *end = text != nullptr ? const_cast<char*>(reader.cursor()) : nullptr;
    return static_cast<Number>(value);
}

bool accept(memory_reader& reader, int wanted) {
    const bool found = reader.peek() == wanted;
    if (found)
        reader.pop();
    return found;
}

bool skip_sign(memory_reader& reader) {
    const bool negative = accept(reader, '-');
    if (!negative)
        accept(reader, '+');
    return negative;
}

// Appends decimal digits to `value` and returns how many were taken; wraps around.
int read_digits(memory_reader& reader, int limit, uint64_t& value) {
    int count = 0;
    for (; count < limit && is_digit(reader.peek()); count++, reader.pop())
        value = value * 10 + static_cast<unsigned>(reader.peek() - '0');
    return count;
}

// Reads decimals for as long as the value of all of them fits into 64 bits: one more would spoil those before
// it and tell a double nothing. Returns ten to the power of their number.
double read_decimals(memory_reader& reader, uint64_t& value) {
    double scale = 1;
    for (; is_digit(reader.peek()); reader.pop()) {
        const auto digit = static_cast<unsigned>(reader.peek() - '0');
        if (value > (UINT64_MAX - digit) / 10)
            break;
        value = value * 10 + digit;
        scale = plain_double(scale * 10);
    }
    return scale;
}

} // namespace

int ombrel_scan_peek_mem(void* ctx) {
    return static_cast<unsigned char>(**static_cast<const char**>(ctx));
}

int ombrel_scan_pop_mem(void* ctx) {
    return static_cast<unsigned char>(*(*static_cast<const char**>(ctx))++);
}

int ombrel_scan_skip_space_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit) {
    return counted(with_reader(peek, pop, ctx, [=](auto& reader) { return skip_space(reader, limit); }));
}

int ombrel_scan_skip_space(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx) {
    return ombrel_scan_skip_space_limit(peek, pop, ctx, SIZE_MAX);
}

int ombrel_scan_until_space_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit,
                                  char* out) {
    return counted(
        with_reader(peek, pop, ctx, [=](auto& reader) { return until_space(reader, limit, out); }));
}

int ombrel_scan_until_space(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, char* out) {
    return ombrel_scan_until_space_limit(peek, pop, ctx, SIZE_MAX, out);
}

int ombrel_scan_until_xtable_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit,
                                   const unsigned char table[256], int stop_value, char* out) {
    return counted(with_reader(
        peek, pop, ctx, [=](auto& reader) { return until_table(reader, limit, table, stop_value, out); }));
}

int ombrel_scan_atox_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit, int* out,
                           int base) {
    return scan_callbacks(peek, pop, ctx, limit, out, base);
}

int ombrel_scan_atolx_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit,
                            long* out, int base) {
    return scan_callbacks(peek, pop, ctx, limit, out, base);
}

int ombrel_scan_atollx_limit(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, size_t limit,
                             int64_t* out, int base) {
    return scan_callbacks(peek, pop, ctx, limit, out, base);
}

int ombrel_scan_atox(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, int* out, int base) {
    return scan_callbacks(peek, pop, ctx, def_ombrel_scan_limit, out, base);
}

int ombrel_scan_atolx(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, long* out, int base) {
    return scan_callbacks(peek, pop, ctx, def_ombrel_scan_limit, out, base);
}

int ombrel_scan_atollx(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, int64_t* out, int base) {
    return scan_callbacks(peek, pop, ctx, def_ombrel_scan_limit, out, base);
}

int ombrel_atox(const char* s, int base) {
    return parse<int>(s, base);
}

int ombrel_atoi(const char* s) {
    return parse<int>(s, 10);
}

long ombrel_atolx(const char* s, int base) {
    return parse<long>(s, base);
}

long ombrel_atol(const char* s) {
    return parse<long>(s, 10);
}

int64_t ombrel_atollx(const char* s, int base) {
    return parse<int64_t>(s, base);
}

int64_t ombrel_atoll(const char* s) {
    return parse<int64_t>(s, 10);
}

long ombrel_strtol(const char* s, char** end, int base) {
    return parse<long>(s, base, end);
}

int64_t ombrel_strtoll(const char* s, char** end, int base) {
    return parse<int64_t>(s, base, end);
}

double ombrel_atof(const char* s) {
    memory_reader reader(s);
    skip_space(reader);
    const bool negative = skip_sign(reader);
    uint64_t whole = 0;
    read_digits(reader, INT_MAX, whole);
    uint64_t fraction = 0;
    double scale = 1;
    if (accept(reader, '.'))
        scale = read_decimals(reader, fraction);
    const double part = plain_double(plain_double(static_cast<double>(fraction)) / scale);
    const double value = plain_double(plain_double(static_cast<double>(whole)) + part);
    return negative ? -value : value;
}

uint64_t ombrel_atof_uintmax(const char* s, int digits, uint64_t* scale) {
    // Powers of ten from the 64th on are 0 in 64 bits; the bound keeps the loops short.
    digits = std::clamp(digits, 0, 128);
    uint64_t unit = 1;
    for (int i = 0; i < digits; i++)
        unit *= 10;
    if (scale != nullptr)
        *scale = unit;

    memory_reader reader(s);
    skip_space(reader);
    skip_sign(reader);
    uint64_t whole = 0;
    read_digits(reader, INT_MAX, whole);
    uint64_t fraction = 0;
    if (accept(reader, '.')) {
        // The first decimal is read even when none is wanted: meant so.
        int missing = digits - read_digits(reader, std::max(digits, 1), fraction);
        for (; missing > 0; missing--)
            fraction *= 10;
    }
    return whole * unit + fraction;
}
