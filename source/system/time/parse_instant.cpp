#include <ombrel/calendar.h>

#include "system/time/time_fault.h"
#include "system/time/time_reader.h"
#include "text/number.h"

using namespace ombrel::system;
using ombrel::fault_code;

namespace {

int fail_at(fault_code code, size_t at, size_t* fault_at) {
    if (fault_at != nullptr)
        *fault_at = at;
    return fail(code);
}

/// What follows "@".
int parse_seconds(const char* text, ombrel_instant_t* instant, size_t* fault_at) {
    time_reader reader(text);
    reader.take('@');
    const bool is_negative = reader.take_sign() < 0;
    const size_t start = reader.at(), digits = reader.count_digits();
    for (size_t i = 0; i < digits; i++)
        reader.take(reader.peek());
    const auto nanoseconds =
        static_cast<int32_t>(fraction_of(reader.take_fraction(), nanoseconds_per_second));
    if (digits == 0 || !reader.at_end())
        return fail_at(fault_code::invalid, reader.at(), fault_at);
    uint64_t seconds;
    if (!ombrel::parse_number(std::string_view(text + start, digits), uint64_t{0}, uint64_t{INT64_MAX},
                              seconds))
        return fail_at(fault_code::too_large, start, fault_at);
    const auto whole = static_cast<int64_t>(seconds);
    return is_negative ? ombrel_make_instant(-whole, -nanoseconds, instant)
                       : ombrel_make_instant(whole, nanoseconds, instant);
}

int parse_iso(const char* text, uint32_t flags, ombrel_instant_t* instant, size_t* fault_at) {
    ombrel_civil_time_t time;
    uint32_t given;
    if (ombrel_parse_iso_time(text, flags, &time, &given, fault_at) == -1)
        return -1;
    if ((given & def_ombrel_given_offset) != 0 || (flags & def_ombrel_parse_utc) != 0)
        return ombrel_get_civil_instant(&time, instant);
    const uint32_t refused = (flags & def_ombrel_parse_refuse_gap) != 0 ? def_ombrel_local_refuse_gap : 0;
    if (ombrel_get_local_instant(&time, refused, instant) == -1)
        return fail_at(fault_code::invalid, 0, fault_at);
    return 0;
}

/// The dates of HTTP begin with the name of a day, or with the number of one and a space.
bool looks_like_http_date(const char* text) {
    const time_reader reader(text);
    return is_letter(reader.peek()) ||
           (is_digit(reader.peek()) && reader.peek(reader.count_digits()) == ' ' &&
            reader.count_digits() <= 2);
}

} // namespace

int ombrel_parse_instant(const char* text, uint32_t flags, ombrel_instant_t* instant, size_t* fault_at) {
    if (text == nullptr || instant == nullptr)
        return refuse();
    if ((flags & def_ombrel_parse_rfc3339) != 0)
        return parse_iso(text, flags, instant, fault_at);
    if (text[0] == '@')
        return parse_seconds(text, instant, fault_at);
    return looks_like_http_date(text) ? ombrel_parse_http_date(text, nullptr, instant, fault_at)
                                      : parse_iso(text, flags, instant, fault_at);
}
