#pragma once

namespace ombrel_test {

/// Long enough for any machine; nothing waits so long, in milliseconds, unless the test fails.
constexpr int patience_ms = 120000;

} // namespace ombrel_test
