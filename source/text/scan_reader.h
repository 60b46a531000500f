// Scanners over any reader: the callbacks of the interface, or memory read without them.
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include <ombrel/scan.h>

#include "text/ctype_table.h"
#include "text/digits.h"

namespace ombrel {

class callback_reader {
public:
    callback_reader(ombrel_scan_peek_t look, ombrel_scan_pop_t take, void* context)
        : peek_(look), pop_(take), context_(context) {}

    int peek() const { return peek_(context_); }
    void pop() const { pop_(context_); }

private:
    ombrel_scan_peek_t peek_;
    ombrel_scan_pop_t pop_;
    void* context_;
};

class memory_reader {
public:
    explicit memory_reader(const char* text) : cursor_(text != nullptr ? text : "") {}

    int peek() const { return static_cast<unsigned char>(*cursor_); }
    void pop() { cursor_++; }
    const char* cursor() const { return cursor_; }

private:
    const char* cursor_;
};

/// Runs `work` over the callbacks; the pair for memory is read directly.
template<typename Work>
auto with_reader(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* context, Work work) {
    if (peek != ombrel_scan_peek_mem || pop != ombrel_scan_pop_mem) {
        callback_reader reader(peek, pop, context);
        return work(reader);
    }
    const char*& cursor = *static_cast<const char**>(context);
    memory_reader reader(cursor);
    const auto result = work(reader);
    cursor = reader.cursor();
    return result;
}

/// Consumes characters while `wanted` holds for them, up to `limit`; copies them to `out` unless it is null.
template<typename Reader, typename Predicate>
size_t consume_while(Reader& from, size_t limit, char* out, Predicate wanted) {
    // In a local, which no store through `out` can change for all the compiler knows.
    Reader reader = from;
    size_t count = 0;
    for (int c; count < limit && (c = reader.peek()) > 0 && wanted(c); count++) {
        reader.pop();
        if (out != nullptr)
            out[count] = static_cast<char>(c);
    }
    if (out != nullptr)
        out[count] = '\0';
    from = reader;
    return count;
}

template<typename Reader>
size_t skip_space(Reader& reader, size_t limit = SIZE_MAX) {
    size_t count = 0;
    for (; count < limit && is_space(reader.peek()); count++)
        reader.pop();
    return count;
}

template<typename Reader>
size_t until_space(Reader& reader, size_t limit, char* out) {
    return consume_while(reader, limit, out, [](int c) { return !is_space(c); });
}

/// Of what a reader gave, which may be no character at all.
constexpr unsigned scanned_digit(int c) {
    if (is_digit(c))
        return static_cast<unsigned>(c - '0');
    return is_class(c, def_ombrel_ctype_hex_letter) ? digit_value(static_cast<char>(c)) : no_digit;
}

/// A number scan that has passed its leading white space. Numbers of every width come from one accumulator:
/// what wraps around at 64 bits wraps around at fewer just the same.
template<typename Reader>
class number_scan {
public:
    number_scan(Reader& reader, size_t limit) : reader_(reader), limit_(limit) {}

    /// Returns the characters consumed.
    size_t run(int base, uint64_t& value) {
        const bool negative = read_sign();
        if (base <= 0)
            base = read_prefix();
        value = read_digits(static_cast<unsigned>(base));
        // Outside of base 10 the sign is dropped: meant so.
        if (negative && base == 10)
            value = 0 - value;
        return count_;
    }

private:
    void take() {
        reader_.pop();
        count_++;
    }

    bool read_sign() {
        const int c = count_ < limit_ ? reader_.peek() : 0;
        if (c == '+' || c == '-')
            take();
        return c == '-';
    }

    int read_prefix() {
        if (count_ >= limit_ || reader_.peek() != '0')
            return 10;
        take();
        if (count_ >= limit_ || (reader_.peek() | 32) != 'x')
            return 10;
        take();
        return 16;
    }

    uint64_t read_digits(unsigned base) {
        // In locals, which stay in registers.
        Reader reader = reader_;
        size_t count = count_;
        uint64_t value = 0;
        for (; count < limit_; count++, reader.pop()) {
            const unsigned digit = scanned_digit(reader.peek());
            if (digit >= base)
                break;
            value = value * base + digit;
        }
        reader_ = reader;
        count_ = count;
        return value;
    }

    Reader& reader_;
    size_t limit_;
    size_t count_ = 0;
};

/// Scans a number behind optional white space, which does not count.
template<typename Reader>
size_t scan_number(Reader& reader, size_t limit, int base, uint64_t& value) {
    skip_space(reader);
    return number_scan<Reader>(reader, limit).run(base, value);
}

inline int counted(size_t count) {
    return static_cast<int>(std::min(count, static_cast<size_t>(INT_MAX)));
}

} // namespace ombrel
