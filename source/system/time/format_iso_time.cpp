#include <ombrel/calendar.h>

#include "system/time/civil_time.h"
#include "system/time/counted_text.h"
#include "system/time/iso_week.h"
#include "system/time/time_fault.h"

using namespace ombrel::system;

namespace {

class iso_writer {
public:
    iso_writer(counted_text& out, const ombrel_civil_time_t& time, uint32_t flags)
        : out_(out), time_(time), flags_(flags) {}

    void put_date() {
        if (has(def_ombrel_iso_week))
            return put_week_date();
        put_year(time_.m_year);
        put_separator('-');
        if (has(def_ombrel_iso_ordinal))
            return put_year_day();
        out_.put_pair(time_.m_month);
        put_separator('-');
        out_.put_pair(time_.m_day);
    }

    void put_clock(int digits) {
        out_.put(has(def_ombrel_iso_space) ? ' ' : 'T');
        out_.put_pair(time_.m_hour);
        put_separator(':');
        out_.put_pair(time_.m_minute);
        put_separator(':');
        out_.put_pair(time_.m_second);
        out_.put_point_and_fraction(time_.m_nanosecond, digits);
    }

    void put_offset() {
        if (time_.m_offset == 0 && !has(def_ombrel_iso_numeric_offset))
            return out_.put('Z');
        const auto offset = static_cast<int32_t>(magnitude_of(time_.m_offset));
        out_.put(time_.m_offset < 0 ? '-' : '+');
        out_.put_pair(offset / 3600);
        put_separator(':');
        out_.put_pair(offset / 60 % 60);
        if (offset % 60 == 0)
            return;
        put_separator(':');
        out_.put_pair(offset % 60);
    }

    bool has(uint32_t flag) const { return (flags_ & flag) != 0; }

private:
    void put_separator(char separator) {
        if (!has(def_ombrel_iso_basic))
            out_.put(separator);
    }

    void put_year(int32_t year) {
        const auto magnitude = static_cast<int32_t>(magnitude_of(year));
        if (year < 0 || year > 9999)
            out_.put(year < 0 ? '-' : '+');
        if (magnitude >= 1'000'000)
            out_.put('1'); // the calendar's last year is all that is so long
        if (year < 0 || year > 9999)
            out_.put_pair(magnitude / 10'000 % 100);
        out_.put_pair(magnitude / 100 % 100);
        out_.put_pair(magnitude % 100);
    }

    void put_week_date() {
        const int32_t day = day_number(time_.m_year, time_.m_month, time_.m_day);
        const int32_t week_day = week_day_of(day);
        const iso_week week = iso_week_of(time_.m_year, date_of(day).year_day, week_day);
        put_year(week.year);
        put_separator('-');
        out_.put('W');
        out_.put_pair(week.week);
        put_separator('-');
        out_.put(static_cast<char>('1' + (week_day + 6) % 7));
    }

    void put_year_day() {
        const int32_t day = date_of(day_number(time_.m_year, time_.m_month, time_.m_day)).year_day;
        out_.put(static_cast<char>('0' + day / 100));
        out_.put_pair(day % 100);
    }

    counted_text& out_;
    const ombrel_civil_time_t& time_;
    const uint32_t flags_;
};

} // namespace

int ombrel_format_iso_time(char* buf, size_t size, const ombrel_civil_time_t* time, uint32_t flags,
                           int digits) {
    if (buf == nullptr && size != 0)
        return refuse();
    counted_text out(buf, size);
    if (!is_civil_time(time) || digits < def_ombrel_calendar_all_digits || digits > 9)
        return refuse();
    iso_writer writer(out, *time, flags);
    writer.put_date();
    if (!writer.has(def_ombrel_iso_date_only)) {
        writer.put_clock(digits);
        if (!writer.has(def_ombrel_iso_no_offset))
            writer.put_offset();
    }
    return out.end();
}
