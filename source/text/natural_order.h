// The order in which people expect names that have numbers in them.
#pragma once

namespace ombrel {

/// Whether a name stands before another: numbers in them count by value, so that ttyS9 stands before ttyS10;
/// all else by its bytes.
bool natural_less(const char* a, const char* b);

} // namespace ombrel
