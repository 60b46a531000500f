// Fails a test that leaves descriptors open.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <sys/stat.h>
#else
#include <poll.h>
#endif

#include "support/no_copy.h"

namespace ombrel_test {

/// Compares how many descriptors are open at both ends of its scope. A look-up that goes on in the background
/// has files of its own open for a moment: they are waited for.
class descriptor_balance : no_copy {
public:
    descriptor_balance() : before_(count()) {}
    ~descriptor_balance() {
        for (int tries = 5000; count() != before_ && tries > 0; tries--)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(before_, count()) << "descriptors were left open";
    }

private:
#if defined(_WIN32)
    /// Of the C library's, without sockets; a standard stream may be there that is not open.
    static long count() {
        long result = 0;
        for (int descriptor = 3; descriptor < 256; descriptor++) {
            struct _stat64 status;
            result += _fstat64(descriptor, &status) == 0;
        }
        return result;
    }
#else
    static long count() {
        std::array<pollfd, 256> all;
        for (size_t i = 0; i < all.size(); i++)
            all[i] = {static_cast<int>(i), 0, 0};
        poll(all.data(), all.size(), 0);
        return std::count_if(all.begin(), all.end(),
                             [](const pollfd& one) { return (one.revents & POLLNVAL) == 0; });
    }
#endif

    long before_;
};

} // namespace ombrel_test
