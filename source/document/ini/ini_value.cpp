// Values of several types.
#include <ombrel/ini.h>

#include <climits>
#include <cstring>

#include <ombrel/argument.h>
#include <ombrel/calendar.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "document/ini/ini_query.h"
#include "system/argument/option_value.h"
#include "text/exact_double.h"
#include "text/number.h"

using namespace ombrel;
using namespace ombrel::document;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

bool is_one_of(const char* text, std::initializer_list<const char*> words) {
    for (const char* const word : words)
        if (ombrel_strcasecmp(text, word) == 0)
            return true;
    return false;
}

/// A sign and digits, all of the text. too_large for what no int64_t holds.
fault_code read_integer(std::string_view text, int64_t& value) {
    const bool is_negative = starts_with(text, "-");
    if (is_negative || starts_with(text, "+"))
        text.remove_prefix(1);
    const bool is_hexadecimal = starts_with(text, "0x") || starts_with(text, "0X");
    if (is_hexadecimal)
        text.remove_prefix(2);
    uint64_t magnitude = 0;
    const int base = is_hexadecimal ? 16 : 10;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (text.empty() || stop != text.data() + text.size() || error == std::errc::invalid_argument)
        return fault_code::violation;
    const uint64_t most = static_cast<uint64_t>(INT64_MAX) + (is_negative ? 1 : 0);
    if (error != std::errc{} || magnitude > most)
        return fault_code::too_large;
    value = static_cast<int64_t>(is_negative ? 0 - magnitude : magnitude);
    return fault_code::none;
}

/// What the text of a value that counts says, by `read(text, value)`; the value is stored when that is good.
template<typename Value, typename Read>
int get_as(const ombrel_ini_t* ini, const char* section, const char* key, Value* value, Read read) {
    if (value == nullptr)
        return refuse(fault_code::invalid);
    const ini_item* const item = look_up_ini_value(ini, section, key);
    if (item == nullptr)
        return -1;
    Value found{};
    const fault_code why = read(*item, found);
    if (why != fault_code::none)
        return refuse(why);
    *value = found;
    return 0;
}

/// A size may have a space before its unit.
fault_code read_bytes(const char* text, int64_t& bytes) {
    char joined[64];
    char* to = joined;
    for (const char* from = text; *from != '\0'; from++) {
        if (to == joined + sizeof joined - 1)
            return fault_code::violation;
        const bool is_gap =
            *from == ' ' && from > text && from[-1] >= '0' && from[-1] <= '9' && (from[1] | 0x20) >= 'a';
        if (!is_gap)
            *to++ = *from;
    }
    *to = '\0';
    ombrel_argument_option_t option{};
    option.m_kind = def_ombrel_argument_size;
    const system::value_outcome outcome = system::read_option_value(option, joined, &bytes);
    return outcome == system::value_outcome::good           ? fault_code::none
           : outcome == system::value_outcome::out_of_range ? fault_code::too_large
                                                            : fault_code::violation;
}

} // namespace

int ombrel_ini_get_integer(const ombrel_ini_t* ini, const char* section, const char* key, int64_t least,
                           int64_t most, int64_t* value) {
    return get_as(ini, section, key, value, [&](const ini_item& item, int64_t& found) {
        const fault_code why = read_integer({item.value(), strlen(item.value())}, found);
        const bool is_outside = why == fault_code::none && (found < least || found > most);
        return is_outside ? fault_code::too_large : why;
    });
}

int ombrel_ini_get_boolean(const ombrel_ini_t* ini, const char* section, const char* key, int* value) {
    return get_as(ini, section, key, value, [&](const ini_item& item, int& found) {
        const char* const text = item.value();
        found = item.is_bare || is_one_of(text, {"true", "yes", "on", "1"}) ? 1 : 0;
        const bool may_be_empty = ini->dialect.has(def_ombrel_ini_bare_keys);
        return found == 1 || is_one_of(text, {"false", "no", "off", "0"}) || (*text == '\0' && may_be_empty)
                   ? fault_code::none
                   : fault_code::violation;
    });
}

int ombrel_ini_get_double(const ombrel_ini_t* ini, const char* section, const char* key, double* value) {
    return get_as(ini, section, key, value, [](const ini_item& item, double& found) {
        return parse_exact_double({item.value(), strlen(item.value())}, found);
    });
}

int ombrel_ini_get_bytes(const ombrel_ini_t* ini, const char* section, const char* key, int64_t* bytes) {
    return get_as(ini, section, key, bytes,
                  [](const ini_item& item, int64_t& found) { return read_bytes(item.value(), found); });
}

int ombrel_ini_get_duration(const ombrel_ini_t* ini, const char* section, const char* key,
                            int64_t* nanoseconds) {
    return get_as(ini, section, key, nanoseconds, [](const ini_item& item, int64_t& found) {
        return ombrel_parse_duration(item.value(), &found, nullptr) == 0 ? fault_code::none
                                                                         : fault_code::violation;
    });
}

int ombrel_ini_set_integer(ombrel_ini_t* ini, const char* section, const char* key, int64_t value) {
    char text[32];
    ombrel_snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
    return ombrel_ini_set(ini, section, key, text);
}

int ombrel_ini_set_boolean(ombrel_ini_t* ini, const char* section, const char* key, int value) {
    return ombrel_ini_set(ini, section, key, value != 0 ? "true" : "false");
}

int ombrel_ini_set_double(ombrel_ini_t* ini, const char* section, const char* key, double value) {
    exact_double_text text;
    return format_exact_double(value, text) ? ombrel_ini_set(ini, section, key, text)
                                            : refuse(fault_code::invalid);
}

int ombrel_ini_set_bytes(ombrel_ini_t* ini, const char* section, const char* key, int64_t bytes) {
    if (bytes < 0)
        return refuse(fault_code::invalid);
    constexpr const char* units[] = {"", "K", "M", "G", "T", "P", "E"};
    size_t unit = 0;
    for (; bytes > 0 && bytes % 1024 == 0 && unit + 1 < std::size(units); unit++)
        bytes /= 1024;
    char text[32];
    ombrel_snprintf(text, sizeof text, "%lld%s", static_cast<long long>(bytes), units[unit]);
    return ombrel_ini_set(ini, section, key, text);
}

int ombrel_ini_set_duration(ombrel_ini_t* ini, const char* section, const char* key, int64_t nanoseconds) {
    char text[64];
    ombrel_format_duration(text, sizeof text, nanoseconds, def_ombrel_calendar_all_digits);
    return ombrel_ini_set(ini, section, key, text);
}
