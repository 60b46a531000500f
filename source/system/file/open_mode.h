// Modes in the manner of fopen().
#pragma once

#include "platform/file.h"

namespace ombrel::system {

/// Reads one of "r", "w" and "a" with any of "+", "x", "b", "t" and "e" behind it; false for anything else.
bool parse_open_mode(const char* text, platform::file_access& access);

} // namespace ombrel::system
