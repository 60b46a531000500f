#include <ombrel/uuid.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/fault.h"
#include "text/digits.h"
#include "text/fold.h"
#include "text/slice.h"

namespace {

constexpr std::string_view urn_prefix = "urn:uuid:";
constexpr int digit_count = 32;

constexpr int plain_size = 36;

using byte_vector = uint8_t __attribute__((vector_size(16)));

/// The digits of an identifier, in one go for each half.
struct digit_text {
    char text[digit_count];

    digit_text(const ombrel_uuid_t& uuid, uint32_t flags) {
        byte_vector bytes;
        memcpy(&bytes, uuid.m_bytes, sizeof bytes);
        const byte_vector high = bytes >> 4, low = bytes & 15;
        const auto letters =
            static_cast<uint8_t>(((flags & def_ombrel_uuid_upper) != 0 ? 'A' : 'a') - '0' - 10);
        put(text, __builtin_shufflevector(high, low, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23),
            letters);
        put(text + 16,
            __builtin_shufflevector(high, low, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31),
            letters);
    }

private:
    /// Those above 9 get what lies between the digits and the letters added.
    static void put(char* to, const byte_vector& halves, uint8_t letters) {
        const byte_vector digits = halves + '0' + (reinterpret_cast<byte_vector>(halves > 9) & letters);
        memcpy(to, &digits, sizeof digits);
    }
};

/// Groups, each put by a copy of a size that the compiler knows.
char* put_groups(char* to, const char* digits) {
    memcpy(to, digits, 8);
    memcpy(to + 9, digits + 8, 4);
    memcpy(to + 14, digits + 12, 4);
    memcpy(to + 19, digits + 16, 4);
    memcpy(to + 24, digits + 20, 4);
    memcpy(to + 28, digits + 24, 8);
    to[8] = to[13] = to[18] = to[23] = '-';
    return to + plain_size;
}

char* put_uuid(char* to, const ombrel_uuid_t& uuid, uint32_t flags) {
    const digit_text digits(uuid, flags);
    if ((flags & def_ombrel_uuid_urn) != 0)
        to = ombrel::put_text(to, urn_prefix);
    if ((flags & def_ombrel_uuid_braces) != 0)
        *to++ = '{';
    to = (flags & def_ombrel_uuid_bare) != 0 ? ombrel::put_text(to, {digits.text, sizeof digits.text})
                                             : put_groups(to, digits.text);
    if ((flags & def_ombrel_uuid_braces) != 0)
        *to++ = '}';
    return to;
}

bool starts_with_urn(std::string_view text) {
    if (text.size() < urn_prefix.size())
        return false;
    for (size_t i = 0; i < urn_prefix.size(); i++)
        if (ombrel::to_lower(static_cast<unsigned char>(text[i])) !=
            static_cast<unsigned char>(urn_prefix[i]))
            return false;
    return true;
}

/// Reads digits and hyphens off the front of a text; the first place that does not fit when it is false.
bool take_digits(std::string_view& text, bool has_hyphens, uint8_t* bytes, size_t& at) {
    size_t index = 0;
    for (int i = 0; i < digit_count / 2; i++) {
        if (has_hyphens && (i == 4 || i == 6 || i == 8 || i == 10))
            if (at = index; index >= text.size() || text[index++] != '-')
                return false;
        for (at = index; index < at + 2; index++)
            if (index >= text.size() || ombrel::digit_value(text[index]) == ombrel::no_digit) {
                at = index;
                return false;
            }
        bytes[i] =
            static_cast<uint8_t>(ombrel::digit_value(text[at]) << 4 | ombrel::digit_value(text[at + 1]));
    }
    text.remove_prefix(index);
    return true;
}

/// False, with the offset in `at`, for what is no identifier in one of the forms.
bool read_uuid(std::string_view text, uint32_t flags, ombrel_uuid_t& uuid, size_t& at) {
    const size_t size = text.size();
    if ((flags & def_ombrel_uuid_urn) != 0 && starts_with_urn(text))
        text.remove_prefix(urn_prefix.size());
    const bool has_brace = (flags & def_ombrel_uuid_braces) != 0 && ombrel::starts_with(text, "{");
    if (has_brace)
        text.remove_prefix(1);
    const size_t start = size - text.size();
    const bool is_bare = (flags & def_ombrel_uuid_bare) != 0 && text.size() > 8 && text[8] != '-';
    if (!take_digits(text, !is_bare, uuid.m_bytes, at)) {
        at += start;
        return false;
    }
    at = size - text.size();
    return text == (has_brace ? "}" : "");
}

} // namespace

int ombrel_format_uuid(char* buf, size_t size, const ombrel_uuid_t* uuid, uint32_t flags) {
    if (buf != nullptr && size > 0)
        buf[0] = '\0';
    if (uuid == nullptr || (buf == nullptr && size != 0)) {
        ombrel::leave_fault(ombrel::fault_code::invalid);
        return -1;
    }
    if (size == 0)
        return 0;
    if (size > plain_size && (flags & ~def_ombrel_uuid_upper) == 0) {
        buf[plain_size] = '\0';
        put_groups(buf, digit_text(*uuid, flags).text);
        return plain_size;
    }
    char text[def_ombrel_uuid_text_size];
    const size_t length = std::min(static_cast<size_t>(put_uuid(text, *uuid, flags) - text), size - 1);
    memcpy(buf, text, length);
    buf[length] = '\0';
    return static_cast<int>(length);
}

int ombrel_parse_uuid(const char* text, uint32_t flags, ombrel_uuid_t* uuid, size_t* fault_at) {
    ombrel_uuid_t read;
    size_t at = 0;
    if (text != nullptr && uuid != nullptr && read_uuid(text, flags, read, at)) {
        *uuid = read;
        return 0;
    }
    if (fault_at != nullptr)
        *fault_at = at;
    ombrel::leave_fault(ombrel::fault_code::invalid);
    return -1;
}
