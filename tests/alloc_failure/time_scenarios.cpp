// Texts of times.
#include <ombrel/calendar.h>

#include "alloc_failure/injection.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Calendar, texts) {
    const ombrel_instant_t instant{784'111'777, 0};
    ombrel_civil_time_t time;
    EXPECT_EQ(0, ombrel_make_utc_time(&instant, &time));
    text_or_null(fail, "1994-11-06 08:49:37", [&time] { return ombrel_alloc_time_text("%F %T", &time); });
}

} // namespace
} // namespace ombrel_test
