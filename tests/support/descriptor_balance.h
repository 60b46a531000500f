// Fails a test that leaves descriptors open.
#pragma once

#include <algorithm>
#include <array>

#include <gtest/gtest.h>
#include <poll.h>

#include "support/no_copy.h"

namespace ombrel_test {

/// Compares how many descriptors are open at both ends of its scope.
class descriptor_balance : no_copy {
public:
    descriptor_balance() : before_(count()) {}
    ~descriptor_balance() { EXPECT_EQ(before_, count()) << "descriptors were left open"; }

private:
    static long count() {
        std::array<pollfd, 256> all;
        for (size_t i = 0; i < all.size(); i++)
            all[i] = {static_cast<int>(i), 0, 0};
        poll(all.data(), all.size(), 0);
        return std::count_if(all.begin(), all.end(),
                             [](const pollfd& one) { return (one.revents & POLLNVAL) == 0; });
    }

    long before_;
};

} // namespace ombrel_test
