#include <ombrel/calendar.h>

#include "system/time/civil_time.h"
#include "system/time/iso_week.h"
#include "system/time/time_fault.h"

using namespace ombrel::system;

int ombrel_is_leap_year(int32_t year) {
    return is_leap_year(year) ? 1 : 0;
}

int ombrel_get_month_days(int32_t year, int32_t month) {
    return month >= 1 && month <= 12 ? month_days(year, month) : refuse();
}

int ombrel_get_week_day(int32_t year, int32_t month, int32_t day) {
    return is_date(year, month, day) ? week_day_of(day_number(year, month, day)) : refuse();
}

int ombrel_get_year_day(int32_t year, int32_t month, int32_t day) {
    return is_date(year, month, day) ? date_of(day_number(year, month, day)).year_day : refuse();
}

int ombrel_get_iso_weeks(int32_t year) {
    return is_year(year) ? iso_weeks(year) : refuse();
}

int ombrel_get_iso_week(int32_t year, int32_t month, int32_t day, int32_t* week_year) {
    if (!is_date(year, month, day))
        return refuse();
    const int32_t number = day_number(year, month, day);
    const iso_week week = iso_week_of(year, date_of(number).year_day, week_day_of(number));
    if (week_year != nullptr)
        *week_year = week.year;
    return week.week;
}

int ombrel_set_iso_week(int32_t week_year, int32_t week, int32_t week_day, ombrel_civil_time_t* time) {
    if (time == nullptr || !is_year(week_year) || week < 1 || week > iso_weeks(week_year) || week_day < 1 ||
        week_day > 7)
        return refuse();
    const int32_t day = first_iso_monday(week_year) + (week - 1) * 7 + week_day - 1;
    if (day < first_day || day > last_day)
        return fail(ombrel::fault_code::too_large);
    set_date(*time, day);
    return 0;
}

int ombrel_set_year_day(int32_t year, int32_t year_day, ombrel_civil_time_t* time) {
    if (time == nullptr || !is_year(year) || year_day < 1 || year_day > year_days(year))
        return refuse();
    set_date(*time, day_number(year, 1, 1) + year_day - 1);
    return 0;
}
