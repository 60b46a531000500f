// Numbers that nobody outside can guess.
#pragma once

#include <cstddef>

namespace ombrel::platform {

/// Fills memory with random bytes; with what is hard to guess where the system gives none.
void fill_random(void* bytes, size_t size);

/// The same by the system alone; false where it gives none.
bool ask_for_random(void* bytes, size_t size);

} // namespace ombrel::platform
