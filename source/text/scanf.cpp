#include <ombrel/scan.h>

#include <array>

#include "text/argument_list.h"
#include "text/scan_reader.h"

namespace ombrel {

namespace {

/// What stands between "%" and the conversion character.
struct field {
    bool assign = true;
    size_t width = def_ombrel_scan_limit;
    int level = 0; ///< the number of "l" less that of "h", from -2 to 2
};

/// The characters of a "[...]" conversion, one bit each.
class character_set {
public:
    void add(unsigned char c) { bits_[c / 64] |= bit(c); }
    void negate() { wanted_ = false; }
    bool accepts(int c) const { return contains(static_cast<unsigned char>(c)) == wanted_; }

private:
    static uint64_t bit(unsigned char c) { return uint64_t{1} << c % 64; }
    bool contains(unsigned char c) const { return (bits_[c / 64] & bit(c)) != 0; }

    std::array<uint64_t, 4> bits_{};
    bool wanted_ = true;
};

field parse_field(const char*& format) {
    constexpr size_t max_width = 1u << 28;
    field result;
    if (*format == '*') {
        result.assign = false;
        format++;
    }
    if (is_digit(*format)) {
        result.width = 0;
        for (; is_digit(*format); format++)
            result.width = std::min(result.width * 10 + static_cast<size_t>(*format - '0'), max_width);
    }
    for (; *format == 'h' || *format == 'l'; format++)
        result.level = std::clamp(result.level + (*format == 'l' ? 1 : -1), -2, 2);
    return result;
}

// Reads a set from behind its "[" to behind its "]". Returns false when the format ends before.
bool parse_set(const char*& format, character_set& set) {
    const auto next = [&format] { return static_cast<unsigned char>(*format); };
    if (next() == '^') {
        set.negate();
        format++;
    }
    unsigned char previous = 0;
    for (bool first = true; next() != ']' || first; first = false) {
        const unsigned char c = next();
        if (c == '\0')
            return false;
        format++;
        if (c == '-' && !first && next() != ']' && next() >= previous) {
            // The upper end of a range is no member: meant so.
            for (; previous < next(); previous++)
                set.add(previous);
            format++;
            continue;
        }
        set.add(c);
        previous = c;
    }
    format++;
    return true;
}

template<typename Reader>
class scanner {
public:
    scanner(Reader& reader, argument_list& arguments) : reader_(reader), arguments_(arguments) {}

    /// Returns the number of fields assigned.
    int run(const char* format);

private:
    bool convert(const char*& format);
    void match_literals(const char*& format);
    static void match(Reader& reader, char literal, size_t& consumed);
    bool read_number(const field& how, int base);
    void store_number(uint64_t value, int level);
    void read_word(const field& how);
    void read_set(const field& how, const character_set& set);
    char* text_target(const field& how);
    void give_position(const field& how);
    void skip() { consumed_ += skip_space(reader_); }

    Reader& reader_;
    argument_list& arguments_;
    size_t consumed_ = 0;
    int fields_ = 0;
};

template<typename Reader>
int scanner<Reader>::run(const char* format) {
    while (*format != '\0') {
        if (*format != '%')
            match_literals(format);
        else if (!convert(++format))
            break;
    }
    return fields_;
}

// A literal that does not match fails nothing: meant so.
template<typename Reader>
void scanner<Reader>::match(Reader& reader, char literal, size_t& consumed) {
    consumed += skip_space(reader);
    if (reader.peek() != static_cast<unsigned char>(literal))
        return;
    reader.pop();
    consumed++;
}

template<typename Reader>
void scanner<Reader>::match_literals(const char*& format) {
    // In locals, which stay in registers.
    Reader reader = reader_;
    size_t consumed = 0;
    const char* literal = format;
    for (; *literal != '%' && *literal != '\0'; literal++)
        match(reader, *literal, consumed);
    format = literal;
    reader_ = reader;
    consumed_ += consumed;
}

// Returns false where the scan ends.
template<typename Reader>
bool scanner<Reader>::convert(const char*& format) {
    const field how = parse_field(format);
    if (*format == '\0')
        return false;
    const char kind = *format++;
    switch (kind) {
    case 'd':
    case 'u':
        return read_number(how, 10);
    case 'x':
        return read_number(how, 16);
    case 'n':
        give_position(how);
        return true;
    case 's':
        read_word(how);
        return true;
    case '[': {
        character_set set;
        if (!parse_set(format, set))
            return false;
        read_set(how, set);
        return true;
    }
    default:
        match(reader_, kind, consumed_);
        return true;
    }
}

template<typename Reader>
bool scanner<Reader>::read_number(const field& how, int base) {
    skip();
    uint64_t value = 0;
    const size_t count = number_scan<Reader>(reader_, how.width).run(base, value);
    consumed_ += count;
    if (count == 0)
        return false;
    if (how.assign)
        store_number(value, how.level);
    return true;
}

template<typename Reader>
void scanner<Reader>::store_number(uint64_t value, int level) {
    switch (level) {
    case -2:
        *va_arg(arguments_.next, int8_t*) = static_cast<int8_t>(value);
        break;
    case -1:
        *va_arg(arguments_.next, int16_t*) = static_cast<int16_t>(value);
        break;
    case 0:
        *va_arg(arguments_.next, int*) = static_cast<int>(value);
        break;
    case 1:
        *va_arg(arguments_.next, long*) = static_cast<long>(value);
        break;
    default:
        *va_arg(arguments_.next, int64_t*) = static_cast<int64_t>(value);
    }
    fields_++;
}

// Where a text goes; a text counts as a field even when it is empty.
template<typename Reader>
char* scanner<Reader>::text_target(const field& how) {
    if (!how.assign)
        return nullptr;
    fields_++;
    return va_arg(arguments_.next, char*);
}

template<typename Reader>
void scanner<Reader>::read_word(const field& how) {
    skip();
    consumed_ += until_space(reader_, how.width, text_target(how));
}

template<typename Reader>
void scanner<Reader>::read_set(const field& how, const character_set& set) {
    // White space before a set is skipped too: meant so.
    skip();
    consumed_ += consume_while(reader_, how.width, text_target(how), [&](int c) { return set.accepts(c); });
}

template<typename Reader>
void scanner<Reader>::give_position(const field& how) {
    if (!how.assign)
        return;
    *va_arg(arguments_.next, int*) = counted(consumed_);
    fields_++; // it counts as a field: meant so
}

int scan_text(const char* text, const char* format, argument_list& arguments) {
    memory_reader reader(text);
    return scanner<memory_reader>(reader, arguments).run(format);
}

} // namespace

} // namespace ombrel

int ombrel_context_scanf(ombrel_scan_peek_t peek, ombrel_scan_pop_t pop, void* ctx, const char* format,
                         va_list ap) {
    ombrel::argument_list arguments;
    va_copy(arguments.next, ap);
    const int fields = ombrel::with_reader(peek, pop, ctx, [&]<typename Reader>(Reader& reader) {
        return ombrel::scanner<Reader>(reader, arguments).run(format);
    });
    va_end(arguments.next);
    return fields;
}

int ombrel_vsscanf(const char* s, const char* format, va_list ap) {
    ombrel::argument_list arguments;
    va_copy(arguments.next, ap);
    const int fields = ombrel::scan_text(s, format, arguments);
    va_end(arguments.next);
    return fields;
}

int ombrel_sscanf(const char* s, const char* format, ...) {
    ombrel::argument_list arguments;
    va_start(arguments.next, format);
    const int fields = ombrel::scan_text(s, format, arguments);
    va_end(arguments.next);
    return fields;
}
