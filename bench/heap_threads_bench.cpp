// The tagged heap in two threads.
#include "heap_work.h"

[[maybe_unused]] static const bool registered = register_heaps(2);
