// Calls with arguments that make no sense.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

namespace ombrel_test {

/// One of them, and where it stands; a null pointer counts as -1.
struct refused_call {
    template<typename Call>
    refused_call(Call made, int at = __builtin_LINE()) : call([made] { return number(made()); }), line(at) {}

    static int64_t number(int64_t result) { return result; }
    static int64_t number(const void* result) { return result == nullptr ? -1 : 0; }

    std::function<int64_t()> call;
    int line;
};

/// Each call gives -1, and leaves the fault.
inline void expect_refused(std::initializer_list<refused_call> calls, int fault = def_ombrel_fault_invalid) {
    int number = 0;
    for (const refused_call& each : calls) {
        const testing::ScopedTrace trace("the table's", each.line, "call " + std::to_string(++number));
        errno = 0;
        EXPECT_EQ(-1, each.call());
        EXPECT_EQ(fault, ombrel_last_fault());
    }
}

} // namespace ombrel_test
