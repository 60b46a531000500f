#include <ombrel/global_break.h>

#include <atomic>
#include <cstdint>

namespace {

std::atomic<uint32_t> global_break;

} // namespace

// A request wins against a clear that races with it: it is stored until it is seen.
int ombrel_set_global_break(void) {
    do
        global_break.store(1);
    while (global_break.load() != 1);
    return 0;
}

int ombrel_clear_global_break(void) {
    global_break.store(0);
    return 0;
}

// Two equal reads in a row: a value that is just being replaced does not count.
int ombrel_get_global_break(void) {
    uint32_t first, second;
    do {
        first = global_break.load();
        second = global_break.load();
    } while (first != second);
    return static_cast<int>(second);
}
