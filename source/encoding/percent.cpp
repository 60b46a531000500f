#include <ombrel/percent.h>

#include <cstdint>
#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/scan.h>
#include <ombrel/string.h>

#include "text/ctype_table.h"
#include "text/digits.h"

namespace {

constexpr unsigned alphanumeric = def_ombrel_ctype_upper | def_ombrel_ctype_lower | def_ombrel_ctype_digit;

bool stays(unsigned char c, const char* keep) {
    return ombrel::is_class(c, alphanumeric) || c == '-' || c == '.' || c == '_' || c == '~' ||
           strchr(keep, c) != nullptr;
}

// Bytes of the encoded text with its terminator; 0 when they cannot be counted.
size_t encoded_size(const char* s, const char* keep) {
    size_t size = 1;
    for (; *s != '\0'; s++) {
        if (size > SIZE_MAX - 3)
            return 0;
        size += *s == ' ' || stays(static_cast<unsigned char>(*s), keep) ? 1 : 3;
    }
    return size;
}

char* encode_byte(char* to, unsigned char c, const char* keep) {
    if (c == ' ') {
        *to++ = '+';
    } else if (stays(c, keep)) {
        *to++ = static_cast<char>(c);
    } else {
        *to++ = '%';
        to = ombrel::put_hex(to, c);
    }
    return to;
}

} // namespace

char* ombrel_encode_percent_string_ex(const char* s, const char* keep) {
    if (s == nullptr)
        return nullptr;
    keep = ombrel_check_string(keep);
    const size_t size = encoded_size(s, keep);
    auto* result =
        size != 0 ? static_cast<char*>(ombrel_alloc_tag(size, "ombrel_encode_percent_string_ex", __LINE__))
                  : nullptr;
    if (result == nullptr)
        return nullptr;
    char* to = result;
    for (; *s != '\0'; s++)
        to = encode_byte(to, static_cast<unsigned char>(*s), keep);
    *to = '\0';
    return result;
}

char* ombrel_encode_percent_string(const char* s) {
    return ombrel_encode_percent_string_ex(s, nullptr);
}

char* ombrel_decode_percent_string(const char* s) {
    char* result = ombrel_strdup_tag(s, "ombrel_decode_percent_string", __LINE__);
    if (result == nullptr)
        return nullptr;
    char* to = result;
    while (*s != '\0') {
        char c = *s++;
        if (c == '%') {
            // Without a digit behind it a "%" becomes a NUL byte, by design.
            int value = 0;
            ombrel_scan_atox_limit(ombrel_scan_peek_mem, ombrel_scan_pop_mem, &s, 2, &value, 16);
            c = static_cast<char>(value);
        } else if (c == '+') {
            c = ' ';
        }
        *to++ = c;
    }
    *to = '\0';
    return result;
}
