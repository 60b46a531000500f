#include "platform/clock.h"

#include <climits>
#include <gtest/gtest.h>

#include "core/deadline.h"
#include "support/time_travel.h"

using namespace ombrel;
using namespace ombrel::platform;

namespace {

TEST(Clock, MomentsAreToldAsWaitsTakeThem) {
    for (const int endless : {-1, INT_MIN})
        EXPECT_EQ(never, moment_after(endless));
    EXPECT_EQ(-1, milliseconds_until(never));
    EXPECT_EQ(0, milliseconds_until(moment_after(0)));
    EXPECT_EQ(0, milliseconds_until(monotonic_nanoseconds()));
    EXPECT_EQ(INT_MAX, milliseconds_until(never - 1));
    EXPECT_LT(INT_MAX - 100'000, milliseconds_until(moment_after(INT_MAX)));
    const uint64_t start = monotonic_nanoseconds();
    const uint64_t moment = moment_after(2);
    while (milliseconds_until(moment) != 0) {
    }
    EXPECT_LE(start + 2 * nanoseconds_per_millisecond, monotonic_nanoseconds()) << "rounded up";
}

TEST(Clock, DeadlinesPassOnceTheyHaveCome) {
    OMBREL_TEST_NEEDS_TIME_TRAVEL();
    ombrel_test::time_travel time;
    const deadline none, endless(-1), now(0), minute(60'000);
    const uint64_t stamp = monotonic_nanoseconds() / nanoseconds_per_millisecond;
    const struct {
        deadline limit;
        bool passed_before, passed_after;
    } cases[] = {
        {none, false, false},
        {endless, false, false},
        {now, true, true},
        {minute, false, true},
        {deadline::at(0), true, true},
        {deadline::at(stamp + 60'000), false, true},
        {deadline::at(never / nanoseconds_per_millisecond), false, false},
        {deadline::at(never / nanoseconds_per_millisecond + 1), false, false},
        {deadline::at(never), false, false},
    };
    for (const auto& one : cases)
        EXPECT_EQ(one.passed_before, one.limit.passed()) << &one - cases;
    EXPECT_GE(60'000, minute.left());
    time.skip_seconds(120);
    for (const auto& one : cases)
        EXPECT_EQ(one.passed_after, one.limit.passed()) << &one - cases;
    EXPECT_EQ(-1, deadline::at(never).left());
    EXPECT_EQ(INT_MAX, deadline::at(never / nanoseconds_per_millisecond).left());
}

TEST(Clock, TheShorterOfTwoWaits) {
    EXPECT_EQ(5, shorter_wait(5, 7));
    EXPECT_EQ(5, shorter_wait(-1, 5));
    EXPECT_EQ(0, shorter_wait(0, -3));
    EXPECT_GT(0, shorter_wait(-1, -2));
}

} // namespace
