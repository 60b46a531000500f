// Modes in the manner of fopen().
#pragma once

#include "platform/file.h"

namespace ombrel::system {

/// Reads one of "r", "w" and "a" with any of "+", "x", "b", "t" and "e" behind it; false for anything else.
bool parse_open_mode(const char* text, platform::file_access& access);

/// Makes an open descriptor fit for a mode; false, with the fault, when it was not opened for that.
bool adapt_descriptor(int descriptor, const platform::file_access& mode);

} // namespace ombrel::system
