// The tagged heap in one thread, in a process that has no other.
#include "heap_work.h"

[[maybe_unused]] static const bool registered = register_heaps(1);
