// Fails a test that leaves tagged-heap blocks behind.
#pragma once

#include <gtest/gtest.h>

#include <ombrel/heap.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Compares the live block count at both ends of its scope.
class heap_balance : no_copy {
public:
    heap_balance() : before_(ombrel_get_alloc_count()) {}
    ~heap_balance() { EXPECT_EQ(before_, ombrel_get_alloc_count()) << "blocks were leaked or freed twice"; }

private:
    size_t before_;
};

/// A fixture base for tests whose every path must leave the heap as it was.
class balanced_test : public ::testing::Test {
    heap_balance balance_;
};

} // namespace ombrel_test
