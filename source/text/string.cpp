#include <ombrel/string.h>

#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/scan.h>

#include "text/ctype_table.h"
#include "text/fold.h"

namespace {

constexpr char escape = '\x1b';
constexpr const char decimal_digits[] = "0123456789";

// A character that stays is not written, so that a string without any to fold may be a constant.
template<typename Fold>
char* fold_in_place(char* s, Fold fold) {
    for (char* at = s; at != nullptr && *at != '\0'; at++) {
        const auto folded = static_cast<char>(fold(static_cast<unsigned char>(*at)));
        if (folded != *at)
            *at = folded;
    }
    return s;
}

char* duplicate(const char* s, size_t length, const char* caller, unsigned long line) {
    char* copy = static_cast<char*>(ombrel_alloc_tag(length + 1, caller, line));
    if (copy == nullptr)
        return nullptr;
    memcpy(copy, s, length);
    copy[length] = '\0';
    return copy;
}

// The room that ombrel_comma_string() asks for.
size_t comma_string_size(size_t length) {
    return length == 0 ? 1 : length + (length - 1) / 3 + 1;
}

// The first character behind an escape sequence whose escape character stands before `s`.
const char* skip_escape_sequence(const char* s) {
    s += strspn(s, "0123456789;[");
    return *s != '\0' ? s + 1 : s;
}

} // namespace

const char* ombrel_check_string_ex(const char* s, const char* fallback) {
    return s != nullptr ? s : fallback;
}

int ombrel_is_decimal_string(const char* s) {
    if (s == nullptr || *s == '\0')
        return 0;
    return s[strspn(s, "0123456789+-")] == '\0' ? 1 : 0;
}

char* ombrel_strupper(char* s) {
    return fold_in_place(s, ombrel::to_upper);
}

char* ombrel_strlower(char* s) {
    return fold_in_place(s, ombrel::to_lower);
}

int ombrel_is_charlist(int c, const char* charlist) {
    if (charlist == nullptr)
        return ombrel::is_space(c) ? 1 : 0;
    const auto byte = static_cast<unsigned char>(c);
    return byte != 0 && strchr(charlist, byte) != nullptr ? 1 : 0;
}

const char* ombrel_skip_charlist(const char* s, const char* charlist) {
    if (s == nullptr)
        return nullptr;
    while (ombrel_is_charlist(static_cast<unsigned char>(*s), charlist) != 0)
        s++;
    return s;
}

const char* ombrel_skip_space(const char* s) {
    return ombrel_skip_charlist(s, nullptr);
}

char* ombrel_trim_charlist_left(char* s, const char* charlist) {
    if (s == nullptr)
        return nullptr;
    if (const char* rest = ombrel_skip_charlist(s, charlist); rest != s)
        memmove(s, rest, strlen(rest) + 1);
    return s;
}

char* ombrel_trim_charlist_right(char* s, const char* charlist) {
    if (s == nullptr)
        return nullptr;
    for (size_t end = strlen(s);
         end > 0 && ombrel_is_charlist(static_cast<unsigned char>(s[end - 1]), charlist) != 0; end--)
        s[end - 1] = '\0';
    return s;
}

char* ombrel_trim_charlist(char* s, const char* charlist) {
    return ombrel_trim_charlist_right(ombrel_trim_charlist_left(s, charlist), charlist);
}

char* ombrel_trim_string_left(char* s) {
    return ombrel_trim_charlist_left(s, nullptr);
}

char* ombrel_trim_string_right(char* s) {
    return ombrel_trim_charlist_right(s, nullptr);
}

char* ombrel_trim_string(char* s) {
    return ombrel_trim_charlist(s, nullptr);
}

char* ombrel_strdup_tag(const char* s, const char* caller, unsigned long line) {
    return s != nullptr ? duplicate(s, strlen(s), caller, line) : nullptr;
}

char* ombrel_strndup_tag(const char* s, size_t n, const char* caller, unsigned long line) {
    return s != nullptr ? duplicate(s, ombrel_strnlen(s, n), caller, line) : nullptr;
}

char* ombrel_realloc_strdup_tag(char* old, const char* s, const char* caller, unsigned long line) {
    ombrel_check_free_tag(old, caller, line);
    return ombrel_strdup_tag(s, caller, line);
}

char* ombrel_realloc_strndup_tag(char* old, const char* s, size_t n, const char* caller, unsigned long line) {
    ombrel_check_free_tag(old, caller, line);
    return ombrel_strndup_tag(s, n, caller, line);
}

int ombrel_fraction_string_to_int(const char* s, int* numerator, int* denominator) {
    if (s == nullptr)
        return -1;
    const char* slash = strchr(s, '/');
    if (numerator != nullptr)
        *numerator = ombrel_atoi(s); // the number ends at the slash by itself
    if (denominator != nullptr)
        *denominator = slash != nullptr && slash[1] != '\0' ? ombrel_atoi(slash + 1) : 1;
    return 0;
}

char* ombrel_strip_ansi_code(char* s) {
    if (s == nullptr)
        return nullptr;
    char* out = strchr(s, escape);
    if (out == nullptr)
        return s;
    for (const char* in = out; *in != '\0';) {
        if (*in == escape)
            in = skip_escape_sequence(in + 1);
        else
            *out++ = *in++;
    }
    *out = '\0';
    return s;
}

char* ombrel_comma_string(char* out, size_t size, const char* digits) {
    if (out == nullptr || digits == nullptr)
        return nullptr;
    const size_t length = strlen(digits);
    if (size < comma_string_size(length))
        return nullptr;
    const size_t lead = strcspn(digits, decimal_digits);
    const size_t run = strspn(digits + lead, decimal_digits);
    memcpy(out, digits, lead);
    char* to = out + lead;
    const char* from = digits + lead;
    for (size_t left = run; left > 0; left--) {
        *to++ = *from++;
        if (left > 1 && left % 3 == 1)
            *to++ = ',';
    }
    memcpy(to, from, length - lead - run + 1);
    return out;
}

char* ombrel_comma_string_alloc_tag(const char* digits, const char* caller, unsigned long line) {
    if (digits == nullptr)
        return nullptr;
    const size_t size = comma_string_size(strlen(digits));
    return ombrel_comma_string(static_cast<char*>(ombrel_alloc_tag(size, caller, line)), size, digits);
}
