// Streams to programs, for tests.
#pragma once

#include "builtin/stream_support.h"

namespace ombrel_test {

inline ombrel_stream_exit_t exit_of(stream& s) {
    ombrel_stream_exit_t status{patience_ms, 99, 99};
    EXPECT_EQ(
        0, ombrel_ctx_control(s.handle(), def_ombrel_stream_control_get_exit_status, &status, sizeof status));
    return status;
}

} // namespace ombrel_test
