/*
 * Preloaded: one allocation in fifty fails, chosen by the seed that SCARCE_MEMORY_SEED gives. With
 * SCARCE_MEMORY_NTH only the allocation of that number fails, from 1 on. Without both none does.
 */
#include <errno.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdlib.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

enum { one_in = 50 };

static unsigned seed, nth;
static atomic_uint throws;

__attribute__((constructor)) static void read_seed(void) {
    const char* text = getenv("SCARCE_MEMORY_SEED");
    seed = text != NULL ? (unsigned)atoi(text) : 0;
    text = getenv("SCARCE_MEMORY_NTH");
    nth = text != NULL ? (unsigned)atoi(text) : 0;
    unsetenv("LD_PRELOAD"); /* programs that this one runs have memory enough */
}

static int is_chosen(unsigned number) {
    if (seed == 0)
        return number + 1 == nth;
    unsigned value = (number + seed * 7919) * 2654435761u;
    value ^= value >> 15;
    value *= 2246822519u;
    return (value >> 16) % one_in == 0;
}

static int fails_now(void) {
    if (seed + nth == 0 || !is_chosen(atomic_fetch_add(&throws, 1)))
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
