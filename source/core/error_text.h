// A way out for errors when memory has run out.
#pragma once

namespace ombrel {

/// Like ombrel_error_puts(), but takes escape sequences out of the caller's own text where that one makes a
/// copy. It is at home in the diagnostics.
void put_error_without_memory(char* text);

} // namespace ombrel
