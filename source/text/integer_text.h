// Integers as text: the only digit writers of the library.
#pragma once

#include <cstdint>

#include "text/digits.h"
#include "text/text_sink.h"

namespace ombrel {

/// Writes `value` as ombrel_xtoa_limit() documents; `digits` is upper_digits, lower_digits or the
/// caller's own.
void write_integer(text_sink& sink, uint32_t value, unsigned base, uint32_t flags_width, const char* digits);
void write_integer(text_sink& sink, uint64_t value, unsigned base, uint32_t flags_width, const char* digits);

/// Writes a value of base 10 without a width.
void write_decimal(text_sink& sink, uint32_t value, bool is_negative);

} // namespace ombrel
