#include <ombrel/calendar.h>

#include <string_view>

#include "system/time/iso_week.h"
#include "system/time/time_fault.h"
#include "system/time/time_reader.h"

using namespace ombrel::system;
using ombrel::slice;

namespace {

constexpr int64_t hour_nanoseconds = int64_t{3600} * nanoseconds_per_second;
constexpr int64_t minute_nanoseconds = int64_t{60} * nanoseconds_per_second;

/// The shape of what RFC 3339 has: a digit for "0", "T", "t" or a space for "T", itself for any other.
constexpr std::string_view rfc3339_shape = "0000-00-00T00:00:00";
constexpr size_t rfc3339_hour_at = 11; // which ends at 23
constexpr std::string_view offset_shape = "00:00";

/// Reads the parts of a text of ISO 8601, each false where the text does not go on so.
class iso_reader : public time_reader {
public:
    explicit iso_reader(std::string_view text) : time_reader(text) {}

    bool take_date(ombrel_civil_time_t& time) {
        const int sign = take_sign();
        int32_t year;
        const size_t digits = count_digits();
        if (sign == 0 && (digits == 8 || digits == 7))
            return take_number(4, 0, 9999, year) && take_basic_date(year, digits == 7, time);
        if (sign == 0 ? digits != 4 : digits < 4 || digits > 7)
            return false;
        if (!take_number(digits, 0, last_year, year))
            return false;
        if (sign == 0 && peek() == 'W')
            return take_week_date(year, false, time);
        return take('-') && take_extended_date(sign < 0 ? -year : year, time);
    }

    /// Whether a time can follow the date.
    bool is_whole_day() const { return is_whole_day_; }

    bool take_clock(ombrel_civil_time_t& time) {
        if (!take_number(2, 0, 24, time.m_hour))
            return false;
        const bool is_extended = peek() == ':';
        if (!is_extended && (is_extended_ || !sees_digit()))
            return take_part_of(time, hour_nanoseconds);
        if (is_extended)
            take(':');
        if (!take_number(2, 0, 59, time.m_minute))
            return false;
        if (is_extended ? !take(':') : !sees_digit())
            return take_part_of(time, minute_nanoseconds);
        return take_number(2, 0, 60, time.m_second) && take_part_of(time, nanoseconds_per_second);
    }

private:
    bool take_basic_date(int32_t year, bool is_ordinal, ombrel_civil_time_t& time) {
        return is_ordinal ? take_year_day(year, time) : take_month(year, time) && take_day(time);
    }

    bool take_extended_date(int32_t year, ombrel_civil_time_t& time) {
        is_extended_ = true;
        if (peek() == 'W')
            return take_week_date(year, true, time);
        if (count_digits() == 3)
            return take_year_day(year, time);
        if (!take_month(year, time))
            return false;
        is_whole_day_ = take('-');
        return !is_whole_day_ || take_day(time);
    }

    bool take_week_date(int32_t year, bool is_extended, ombrel_civil_time_t& time) {
        int32_t week, day = 1;
        take('W');
        if (!take_number(2, 1, iso_weeks(year), week))
            return false;
        is_whole_day_ = is_extended ? take('-') : sees_digit();
        if (is_whole_day_ && !take_number(1, 1, 7, day))
            return false;
        return ombrel_set_iso_week(year, week, day, &time) == 0;
    }

    bool take_year_day(int32_t year, ombrel_civil_time_t& time) {
        int32_t day;
        return take_number(3, 1, year_days(year), day) && ombrel_set_year_day(year, day, &time) == 0;
    }

    /// The first day of a month.
    bool take_month(int32_t year, ombrel_civil_time_t& time) {
        time.m_year = year;
        time.m_day = 1;
        return take_number(2, 1, 12, time.m_month);
    }

    bool take_day(ombrel_civil_time_t& time) {
        return take_number(2, 1, month_days(time.m_year, time.m_month), time.m_day);
    }

    /// The fraction of the unit that was taken last.
    bool take_part_of(ombrel_civil_time_t& time, int64_t unit) {
        const int64_t part = fraction_of(take_fraction(), unit);
        if (unit > nanoseconds_per_second) { // as a second 60 stays what it is
            const int64_t second = time.m_minute * int64_t{60} + part / nanoseconds_per_second;
            time.m_minute = static_cast<int32_t>(second / 60);
            time.m_second = static_cast<int32_t>(second % 60);
        }
        time.m_nanosecond = static_cast<int32_t>(part % nanoseconds_per_second);
        // The day's end has no part of a later hour.
        return time.m_hour < 24 || (time.m_minute == 0 && time.m_second == 0 && time.m_nanosecond == 0);
    }

    bool is_extended_ = false; // as the date was
    bool is_whole_day_ = true; // and not a month or a week
};

/// How much of a text is of a shape.
size_t match_shape(std::string_view text, std::string_view shape) {
    size_t at = 0;
    for (; at < shape.size() && at < text.size(); at++) {
        const char c = text[at];
        const bool fits = shape[at] == '0'   ? is_digit(c)
                          : shape[at] == 'T' ? c == 'T' || c == 't' || c == ' '
                                             : c == shape[at];
        if (!fits)
            break;
    }
    return at;
}

/// Whether a text is as RFC 3339 has it, whatever its numbers are; `at` is where it is not.
bool has_rfc3339_shape(std::string_view text, size_t& at) {
    at = match_shape(text, rfc3339_shape);
    if (at < rfc3339_shape.size())
        return false;
    time_reader rest(slice(text, at));
    if (rest.peek() == '.')
        rest.take_fraction();
    bool fits = rest.take_letter('z');
    at += rest.at();
    if (!fits && rest.take_sign() != 0) {
        const size_t matched = match_shape(slice(text, ++at), offset_shape);
        fits = matched == offset_shape.size();
        at += matched;
    }
    if (slice(text, rfc3339_hour_at, 2) == "24") {
        at = rfc3339_hour_at;
        return false;
    }
    return fits && at == text.size();
}

bool take_time_and_offset(iso_reader& reader, ombrel_civil_time_t& time, uint32_t& given) {
    if (!reader.is_whole_day() || (!reader.take_letter('t') && !reader.take(' ')))
        return false;
    given = def_ombrel_given_time;
    if (!reader.take_clock(time))
        return false;
    if (reader.at_end())
        return true;
    given |= def_ombrel_given_offset;
    return take_offset(reader, time);
}

/// The reader stands at the fault where it is false.
bool take_iso_time(iso_reader& reader, ombrel_civil_time_t& time, uint32_t& given) {
    return reader.take_date(time) && (reader.at_end() || take_time_and_offset(reader, time, given)) &&
           reader.at_end() && carry_leap_second(time);
}

int refuse_at(size_t at, size_t* fault_at) {
    if (fault_at != nullptr)
        *fault_at = at;
    return refuse();
}

} // namespace

bool ombrel::system::take_offset(time_reader& reader, ombrel_civil_time_t& time) {
    reader.take(' ');
    for (const std::string_view name : {"Z", "UTC", "UT", "GMT"})
        if (reader.take_word(name)) {
            set_zone_name(time, "UTC");
            return true;
        }
    int32_t hour, minute = 0, second = 0;
    const int sign = reader.take_sign();
    if (sign == 0 || !reader.take_number(2, 0, 23, hour))
        return false;
    const bool is_extended = reader.peek() == ':';
    for (int32_t* const part : {&minute, &second})
        if (is_extended ? reader.take(':') : reader.sees_digit())
            if (!reader.take_number(2, 0, 59, *part))
                return false;
    time.m_offset = sign * (hour * 3600 + minute * 60 + second);
    return true;
}

bool ombrel::system::carry_leap_second(ombrel_civil_time_t& time) {
    if (time.m_second == 60) {
        const split_number day = split(local_seconds_of(time) - time.m_offset, seconds_per_day);
        if (day.rest != 0)
            return false;
    }
    return ombrel_normalize_civil_time(&time) == 0;
}

int ombrel_parse_iso_time(const char* text, uint32_t flags, ombrel_civil_time_t* time, uint32_t* given,
                          size_t* fault_at) {
    if (text == nullptr || time == nullptr)
        return refuse();
    if (size_t at = 0; (flags & def_ombrel_parse_rfc3339) != 0 && !has_rfc3339_shape(text, at))
        return refuse_at(at, fault_at);
    iso_reader reader(text);
    ombrel_civil_time_t found{};
    uint32_t found_parts = 0;
    if (!take_iso_time(reader, found, found_parts))
        return refuse_at(reader.at(), fault_at);
    *time = found;
    if (given != nullptr)
        *given = found_parts;
    return 0;
}
