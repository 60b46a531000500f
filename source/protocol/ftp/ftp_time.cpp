#include <ombrel/printf.h>

#include "core/fault.h"
#include "protocol/ftp/ftp_entry.h"
#include "system/time/time_reader.h"

namespace ombrel::protocol {

bool make_ftp_instant(const ombrel_civil_time_t& civil, ombrel_instant_t& time) {
    const fault_keeper kept;
    return ombrel_get_civil_instant(&civil, &time) == 0;
}

bool parse_ftp_time(std::string_view text, ombrel_instant_t& time) {
    system::time_reader reader(text);
    ombrel_civil_time_t civil{};
    if (!reader.take_number(4, 0, 9999, civil.m_year) || !reader.take_number(2, 1, 12, civil.m_month) ||
        !reader.take_number(2, 1, 31, civil.m_day) || !reader.take_number(2, 0, 23, civil.m_hour) ||
        !reader.take_number(2, 0, 59, civil.m_minute) || !reader.take_number(2, 0, 60, civil.m_second))
        return false;
    if (reader.peek() == '.')
        civil.m_nanosecond =
            static_cast<int32_t>(system::fraction_of(reader.take_fraction(), system::nanoseconds_per_second));
    // A leap second is none of the calendar's.
    civil.m_second = std::min(civil.m_second, 59);
    return reader.at_end() && make_ftp_instant(civil, time);
}

bool write_ftp_time(const ombrel_instant_t& time, char (&text)[ftp_time_room]) {
    ombrel_civil_time_t civil;
    if (ombrel_make_utc_time(&time, &civil) != 0 || civil.m_year < 0 || civil.m_year > 9999)
        return false;
    ombrel_snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d", civil.m_year, civil.m_month, civil.m_day,
                    civil.m_hour, civil.m_minute, civil.m_second);
    return true;
}

} // namespace ombrel::protocol
