// Integers as text: the only digit writers of the library.
#pragma once

#include <cstdint>

#include "text/text_sink.h"

namespace ombrel {

inline constexpr char upper_digits[] = "0123456789ABCDEF";
inline constexpr char lower_digits[] = "0123456789abcdef";

/// Writes `value` as ombrel_xtoa_limit() documents; `digits` is one of the two tables above or the caller's
/// own.
void write_integer(text_sink& sink, uint32_t value, unsigned base, uint32_t flags_width, const char* digits);
void write_integer(text_sink& sink, uint64_t value, unsigned base, uint32_t flags_width, const char* digits);

} // namespace ombrel
