#include <ombrel/calendar.h>

#include <iterator>

#include "system/time/civil_time.h"
#include "system/time/time_fault.h"

using namespace ombrel::system;

namespace {

constexpr const char* http_formats[] = {"%a, %d %b %Y %T GMT", "%A, %d-%b-%y %T GMT", "%a %b %e %T %Y"};

} // namespace

int ombrel_format_http_date(char* buf, size_t size, const ombrel_instant_t* instant, int form) {
    ombrel_civil_time_t time;
    if (buf != nullptr && size != 0)
        buf[0] = '\0';
    if (form < 0 || form >= static_cast<int>(std::size(http_formats)))
        return refuse();
    if (ombrel_make_utc_time(instant, &time) == -1)
        return -1;
    if (time.m_year < 0 || time.m_year > 9999)
        return fail(ombrel::fault_code::too_large);
    return ombrel_format_time(buf, size, http_formats[form], &time);
}
