/* Preloaded: one allocation in fifty fails, chosen by the seed that SCARCE_MEMORY_SEED gives. Without it none
 * does. */
#include <errno.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdlib.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

enum { one_in = 50 };

static unsigned seed;
static atomic_uint throws;

__attribute__((constructor)) static void read_seed(void) {
    const char* text = getenv("SCARCE_MEMORY_SEED");
    seed = text != NULL ? (unsigned)atoi(text) : 0;
    unsetenv("LD_PRELOAD"); /* programs that this one runs have memory enough */
}

static int fails_now(void) {
    if (seed == 0)
        return 0;
    unsigned value = (atomic_fetch_add(&throws, 1) + seed * 7919) * 2654435761u;
    value ^= value >> 15;
    value *= 2246822519u;
    if ((value >> 16) % one_in != 0)
        return 0;
    errno = ENOMEM;
    return 1;
}

void* malloc(size_t size) {
    return fails_now() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return fails_now() ? NULL : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    return fails_now() ? NULL : __libc_realloc(block, size);
}
