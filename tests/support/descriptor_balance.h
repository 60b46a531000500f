// Fails a test that leaves descriptors open.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Compares the lowest free descriptor at both ends of its scope.
class descriptor_balance : no_copy {
public:
    descriptor_balance() : before_(lowest_free()) {}
    ~descriptor_balance() { EXPECT_EQ(before_, lowest_free()) << "descriptors were left open"; }

private:
    static int lowest_free() {
        const int descriptor = dup(0);
        close(descriptor);
        return descriptor;
    }

    int before_;
};

} // namespace ombrel_test
