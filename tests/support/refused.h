// Calls with arguments that make no sense.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <initializer_list>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

namespace ombrel_test {

/// One of them, and where it stands.
struct refused_call {
    template<typename Call>
    refused_call(Call made, int at = __builtin_LINE()) : call(made), line(at) {}

    std::function<int64_t()> call;
    int line;
};

/// Each call gives -1, and leaves the fault.
inline void expect_refused(std::initializer_list<refused_call> calls, int fault = def_ombrel_fault_invalid) {
    for (const refused_call& each : calls) {
        errno = 0;
        EXPECT_EQ(-1, each.call()) << "line " << each.line;
        EXPECT_EQ(fault, ombrel_last_fault()) << "line " << each.line;
    }
}

} // namespace ombrel_test
