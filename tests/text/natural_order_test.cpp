#include "text/natural_order.h"

#include <gtest/gtest.h>

namespace {

TEST(NaturalOrder, NumbersCountByTheirValue) {
    const char* const ordered[] = {"",
                                   "COM",
                                   "COM1",
                                   "COM2",
                                   "COM10",
                                   "tty",
                                   "ttyS8",
                                   "ttyS09",
                                   "ttyS9a",
                                   "ttyS10",
                                   "ttyS10a2",
                                   "ttyS10a10",
                                   "ttyS99999999999999999998",
                                   "ttyS99999999999999999999",
                                   "ttySx",
                                   "ttyUSB0",
                                   "\xc3\xa9"};
    for (const char* const& a : ordered)
        for (const char* const& b : ordered)
            EXPECT_EQ(&a < &b, ombrel::natural_less(a, b)) << a << " " << b;
    for (const char* const same : {"a1", "a01", "a001"})
        EXPECT_FALSE(ombrel::natural_less(same, "a1") || ombrel::natural_less("a1", same)) << same;
    EXPECT_TRUE(ombrel::natural_less("a0", "a00b"));
}

} // namespace
