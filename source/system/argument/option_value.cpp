#include "system/argument/option_value.h"

#include <algorithm>
#include <climits>
#include <iterator>

#include <ombrel/progress.h>

#include "core/fault.h"
#include "text/fold.h"
#include "text/number.h"
#include "text/slice.h"
#include "text/word_list.h"

namespace ombrel::system {

namespace {

struct bounds {
    int64_t least, most;
};

// Those of the option, or all that there are.
bounds bounds_of(const ombrel_argument_option_t& option, bounds all) {
    const bool is_unset = option.m_least == 0 && option.m_most == 0;
    return is_unset ? all : bounds{std::max(option.m_least, all.least), std::min(option.m_most, all.most)};
}

template<typename Number>
value_outcome store(int64_t value, bounds allowed, void* target) {
    if (value < allowed.least || value > allowed.most)
        return value_outcome::out_of_range;
    *static_cast<Number*>(target) = static_cast<Number>(value);
    return value_outcome::good;
}

bool is_digits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

template<typename Number>
value_outcome read_integer(const ombrel_argument_option_t& option, std::string_view text, void* target) {
    if (!is_digits(slice(text, starts_with(text, "-") ? 1 : 0)))
        return value_outcome::bad;
    int64_t value;
    if (!parse_number(text, value))
        return value_outcome::out_of_range;
    using limits = std::numeric_limits<Number>;
    return store<Number>(value, bounds_of(option, {limits::min(), limits::max()}), target);
}

bool equals_in_any_case(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char one, char other) {
               return to_upper(static_cast<unsigned char>(one)) ==
                      to_upper(static_cast<unsigned char>(other));
           });
}

// How many bytes the unit of a size has; 0 when it is none.
uint64_t size_unit(std::string_view unit) {
    if (unit.empty() || equals_in_any_case(unit, "B"))
        return 1;
    constexpr std::string_view letters = "KMGTPE";
    const size_t power = letters.find(static_cast<char>(to_upper(static_cast<unsigned char>(unit.front()))));
    const std::string_view rest = slice(unit, 1);
    const bool is_decimal = equals_in_any_case(rest, "B");
    if (power == letters.npos || !(rest.empty() || is_decimal || equals_in_any_case(rest, "iB")))
        return 0;
    uint64_t factor = 1;
    for (size_t i = 0; i <= power; i++)
        factor *= is_decimal ? 1000 : 1024;
    return factor;
}

// How many nanoseconds the unit of a duration has; 0 when it is none.
uint64_t duration_unit(std::string_view unit) {
    struct row {
        std::string_view name;
        uint64_t nanoseconds;
    };
    constexpr uint64_t second = 1000 * 1000 * 1000;
    constexpr row rows[] = {{"", second},  {"ns", 1},          {"us", 1000},         {"ms", 1000 * 1000},
                            {"s", second}, {"m", 60 * second}, {"h", 3600 * second}, {"d", 86400 * second}};
    for (const row& each : rows)
        if (unit == each.name)
            return each.nanoseconds;
    return 0;
}

// Takes the digits off the front of a text.
std::string_view take_digits(std::string_view& text) {
    const auto end = std::find_if(text.begin(), text.end(), [](char c) { return c < '0' || c > '9'; });
    const std::string_view digits = slice(text, 0, static_cast<size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

// The part of a unit that digits behind a point make; more than 18 of them cannot change it.
uint64_t part_of(uint64_t unit, std::string_view digits) {
    uint64_t value = 0;
    uint64_t total = 1;
    for (const char digit : slice(digits, 0, 18)) {
        value = value * 10 + static_cast<unsigned>(digit - '0');
        total *= 10;
    }
    return ombrel_ratio_uintmax(value, total, unit);
}

// A number with digits behind a point, if it has one, and a unit.
value_outcome read_scaled(std::string_view text, uint64_t (*unit_of)(std::string_view), int64_t& value) {
    const std::string_view whole = take_digits(text);
    std::string_view part;
    if (!whole.empty() && starts_with(text, ".")) {
        text.remove_prefix(1);
        part = take_digits(text);
        if (part.empty())
            return value_outcome::bad;
    }
    const uint64_t unit = unit_of(text);
    if (whole.empty() || unit == 0)
        return value_outcome::bad;
    uint64_t units;
    uint64_t product;
    if (!parse_number(whole, units) || __builtin_mul_overflow(units, unit, &product) ||
        __builtin_add_overflow(product, part_of(unit, part), &product) || product > INT64_MAX)
        return value_outcome::out_of_range;
    value = static_cast<int64_t>(product);
    return value_outcome::good;
}

template<uint64_t (*unit_of)(std::string_view)>
value_outcome read_units(const ombrel_argument_option_t& option, std::string_view text, void* target) {
    int64_t value;
    const value_outcome outcome = read_scaled(text, unit_of, value);
    return outcome == value_outcome::good ? store<int64_t>(value, bounds_of(option, {0, INT64_MAX}), target)
                                          : outcome;
}

// A part of a millisecond counts as one, so that a short time does not become none.
value_outcome read_time_limit(const ombrel_argument_option_t& option, std::string_view text, void* target) {
    int64_t value;
    const value_outcome outcome = read_scaled(text, duration_unit, value);
    if (outcome != value_outcome::good)
        return outcome;
    constexpr int64_t millisecond = 1000 * 1000;
    const int64_t milliseconds = value / millisecond + (value % millisecond != 0 ? 1 : 0);
    return store<int>(milliseconds, bounds_of(option, {0, INT_MAX}), target);
}

value_outcome read_choice(const ombrel_argument_option_t& option, std::string_view text, void* target) {
    word_list choices(option.m_choices, "|");
    std::string_view choice;
    for (int place = 0; choices.next(choice); place++)
        if (choice == text)
            return store<int>(place, {0, INT_MAX}, target);
    return value_outcome::bad;
}

struct typed_kind {
    int kind;
    const char* noun;
    value_outcome (*read)(const ombrel_argument_option_t& option, std::string_view text, void* target);
};

constexpr typed_kind typed_kinds[] = {
    {def_ombrel_argument_integer, "number", read_integer<int>},
    {def_ombrel_argument_integer64, "number", read_integer<int64_t>},
    {def_ombrel_argument_size, "size", read_units<size_unit>},
    {def_ombrel_argument_duration, "length of time", read_units<duration_unit>},
    {def_ombrel_argument_time_limit, "length of time", read_time_limit},
    {def_ombrel_argument_choice, "choice", read_choice},
};

const typed_kind* find_kind(int kind) {
    const auto* found = std::find_if(std::begin(typed_kinds), std::end(typed_kinds),
                                     [=](const typed_kind& each) { return each.kind == kind; });
    return found != std::end(typed_kinds) ? found : nullptr;
}

} // namespace

bool has_typed_value(int kind) {
    return kind == def_ombrel_argument_text || find_kind(kind) != nullptr;
}

value_outcome read_option_value(const ombrel_argument_option_t& option, const char* text, void* target) {
    if (const typed_kind* kind = find_kind(option.m_kind))
        return kind->read(option, text, target);
    *static_cast<const char**>(target) = text;
    return value_outcome::good;
}

const char* value_noun(int kind) {
    const typed_kind* found = find_kind(kind);
    return found != nullptr ? found->noun : nullptr;
}

} // namespace ombrel::system

using namespace ombrel;

int ombrel_parse_argument_value(const ombrel_argument_option_t* option, const char* text, void* target) {
    if (option != nullptr && text != nullptr && target != nullptr &&
        system::has_typed_value(option->m_kind) &&
        system::read_option_value(*option, text, target) == system::value_outcome::good)
        return 0;
    leave_fault(fault_code::invalid);
    return -1;
}
