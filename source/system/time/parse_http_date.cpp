#include <ombrel/calendar.h>

#include "system/time/time_fault.h"
#include "system/time/time_reader.h"

using namespace ombrel::system;

namespace {

/// Reads the dates of HTTP, each part false where the text does not go on so.
class http_date_reader : public time_reader {
public:
    http_date_reader(std::string_view text, const ombrel_instant_t& now) : time_reader(text), now_(now) {}

    bool take_date() {
        if (sees_digit())
            return take_day() && take(' ') && take_rfc1123_rest();
        week_day_ = take_name(week_day_names);
        if (week_day_ < 0)
            return false;
        if (!take(','))
            return take(' ') && take_asctime_rest();
        take(' ');
        if (!take_day())
            return false;
        return take('-') ? take_rfc850_rest() : take(' ') && take_rfc1123_rest();
    }

    const ombrel_civil_time_t& time() const { return time_; }

private:
    /// "Nov 1994 08:49:37 GMT"
    bool take_rfc1123_rest() {
        return take_month() && take(' ') && take_year() && take(' ') && take_clock() &&
               take_offset(*this, time_);
    }

    /// "Nov-94 08:49:37 GMT"
    bool take_rfc850_rest() {
        if (!take_month() || !take('-'))
            return false;
        const bool is_short = count_digits() == 2;
        return (is_short ? take_number(2, 0, 99, time_.m_year) : take_year()) && take(' ') && take_clock() &&
               take_offset(*this, time_) && (!is_short || set_century());
    }

    /// "Nov  6 08:49:37 1994"
    bool take_asctime_rest() {
        if (!take_month() || !take(' '))
            return false;
        take(' ');
        return take_day() && take(' ') && take_clock() && take(' ') && take_year();
    }

    bool take_month() {
        time_.m_month = take_name(month_names) + 1;
        return time_.m_month > 0;
    }

    bool take_day() { return take_number(peek(1) >= '0' && peek(1) <= '9' ? 2 : 1, 1, 31, time_.m_day); }
    bool take_year() { return take_number(4, 0, 9999, time_.m_year); }

    bool take_clock() {
        return take_number(2, 0, 23, time_.m_hour) && take(':') && take_number(2, 0, 59, time_.m_minute) &&
               (!take(':') || take_number(2, 0, 60, time_.m_second));
    }

    /// That of now, or the one before where it would be more than fifty years ahead.
    bool set_century() {
        ombrel_civil_time_t latest;
        if (ombrel_make_utc_time(&now_, &latest) == -1 || ombrel_add_months(&latest, 50 * 12) == -1)
            return false;
        const int32_t year_now = latest.m_year - 50;
        time_.m_year += year_now - (year_now % 100 + 100) % 100;
        const ombrel_instant_t meant = instant_of(time_), last = instant_of(latest);
        if (ombrel_compare_instants(&meant, &last) > 0)
            time_.m_year -= 100;
        return true;
    }

public:
    /// Whether the date exists and is of its day of the week; carries a leap second.
    bool check() {
        if (!is_date(time_.m_year, time_.m_month, time_.m_day))
            return false;
        const int32_t week_day = week_day_of(day_number(time_.m_year, time_.m_month, time_.m_day));
        return (week_day_ < 0 || week_day_ == week_day) && carry_leap_second(time_);
    }

private:
    const ombrel_instant_t& now_;
    ombrel_civil_time_t time_{};
    int week_day_ = -1;
};

} // namespace

int ombrel_parse_http_date(const char* text, const ombrel_instant_t* now, ombrel_instant_t* instant,
                           size_t* fault_at) {
    ombrel_instant_t clock{};
    if (text == nullptr || instant == nullptr || (now != nullptr && !is_instant(now)))
        return refuse();
    if (now == nullptr)
        ombrel_get_instant(&clock);
    http_date_reader reader(text, now != nullptr ? *now : clock);
    if (!reader.take_date() || !reader.at_end() || !reader.check()) {
        if (fault_at != nullptr)
            *fault_at = reader.at();
        return refuse();
    }
    *instant = instant_of(reader.time());
    return 0;
}
