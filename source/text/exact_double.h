// Doubles as texts and back, without a loss, the same on every host and in every locale.
#pragma once

#include <string_view>

#include "core/fault.h"

namespace ombrel {

/// Reads digits with a point and an exponent ("-1.5e3"), all of the text, as the nearest double, the even one
/// of two. `violation` for another text, `too_large` for what no finite double holds.
fault_code parse_exact_double(std::string_view text, double& value);

using exact_double_text = char[32];

/// Writes the fewest digits that read back as the same double. False for what is not finite.
bool format_exact_double(double value, exact_double_text& text);

} // namespace ombrel
