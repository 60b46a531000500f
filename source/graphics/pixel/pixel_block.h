// Memory for pixels.
#pragma once

#include <cstddef>

namespace ombrel::graphics {

/// Zeroed, from the tagged heap under the caller's name; null when there is none. A picture of some megabytes
/// is made and walked through in less time in huge pages, where the host has them.
void* new_pixels(size_t size, const char* tag, unsigned long line);

} // namespace ombrel::graphics
