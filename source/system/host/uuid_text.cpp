#include <ombrel/uuid.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <string_view>

#include "core/fault.h"
#include "system/host/uuid_fields.h"
#include "text/digits.h"
#include "text/fold.h"
#include "text/slice.h"

namespace {

constexpr std::string_view urn_prefix = "urn:uuid:";
constexpr int digit_count = 32;

/// Digits in each group, between which hyphens stand.
constexpr int group_digits[] = {8, 4, 4, 4, 12};

constexpr uint64_t in_each_byte(uint8_t value) {
    return uint64_t{0x0101010101010101} * value;
}

/// Eight digits of a number at once: each half of a byte is moved into a byte of its own, and those above 9
/// get what lies between the digits and the letters added.
void put_eight_digits(char* to, uint64_t number, bool is_upper) {
    number = (number | number << 16) & 0x0000FFFF0000FFFF;
    number = (number | number << 8) & 0x00FF00FF00FF00FF;
    number = (number | number << 4) & in_each_byte(0x0F);
    const uint64_t is_letter = (number + in_each_byte(6)) >> 4 & in_each_byte(1);
    number += in_each_byte('0') + is_letter * static_cast<uint64_t>((is_upper ? 'A' : 'a') - '0' - 10);
    if constexpr (std::endian::native == std::endian::little)
        number = __builtin_bswap64(number);
    memcpy(to, &number, sizeof number);
}

char* put_groups(char* to, const char* digits) {
    for (const int count : group_digits) {
        memcpy(to, digits, static_cast<size_t>(count));
        to += count;
        digits += count;
        *to++ = '-';
    }
    return to - 1;
}

char* put_uuid(char* to, const ombrel_uuid_t& uuid, uint32_t flags) {
    char digits[digit_count];
    for (int i = 0; i < 4; i++)
        put_eight_digits(digits + 8 * i, ombrel::system::number_at(uuid.m_bytes + 4 * i, 4),
                         (flags & def_ombrel_uuid_upper) != 0);
    if ((flags & def_ombrel_uuid_urn) != 0)
        to = ombrel::put_text(to, urn_prefix);
    if ((flags & def_ombrel_uuid_braces) != 0)
        *to++ = '{';
    to = (flags & def_ombrel_uuid_bare) != 0 ? ombrel::put_text(to, {digits, sizeof digits})
                                             : put_groups(to, digits);
    if ((flags & def_ombrel_uuid_braces) != 0)
        *to++ = '}';
    return to;
}

bool starts_with_urn(std::string_view text) {
    if (text.size() < urn_prefix.size())
        return false;
    for (size_t i = 0; i < urn_prefix.size(); i++)
        if (ombrel::to_lower(static_cast<unsigned char>(text[i])) != urn_prefix[i])
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
