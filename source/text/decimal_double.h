// Doubles in texts, rounded rightly.
#pragma once

#include <string_view>

namespace ombrel {

/// Reads a text that is nothing but a number: an optional sign, digits with or without a point, an optional
/// exponent; or INF, -INF, +INF, NaN. The value is the double that is nearest, of two the even one; beyond
/// the greatest it is infinite. False, with the value as it was, for any other text.
bool parse_double(std::string_view text, double& value);

} // namespace ombrel
