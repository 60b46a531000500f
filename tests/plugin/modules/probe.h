/* What the tests see of a probe: a plug-in whose behaviour they choose, and that counts its calls. */
#ifndef PROBE_H
#define PROBE_H

#include <stddef.h>

/* Found in a probe under the name "probe_state". */
typedef struct {
    int initialized, uninitialized; /* calls */
    int opened, closed;             /* contexts accepted and released; atomic */
    int refused;                    /* contexts with the option "refuse" */
    int gate;                       /* while it is 1, the initialise function waits; atomic */
    int entered;                    /* the initialise function has been entered; atomic */
    int initialize_result;          /* what it returns */
    size_t interface_size;          /* what it gives for the size of the table, if not 0 */
    unsigned table_size;            /* what the table says of its size, if not 0 */
    int own_error;                  /* the error word of a probe that keeps its own */
    int hold;                       /* while it is 1, a read and the main entry wait inside; atomic */
    int makes_ctx;                  /* whether initialise and uninitialise make and open a context */
    const char* loads;              /* what they load and unload, and look for in the list, if not null */
    int listed;                     /* how often it was found there; atomic */
    int inside;                     /* how often they have been entered; atomic */
} probe_state_t;

#define PROBE_READ(word) __atomic_load_n(&(word), __ATOMIC_ACQUIRE)
#define PROBE_WRITE(word, value) __atomic_store_n(&(word), (value), __ATOMIC_RELEASE)
#define PROBE_COUNT(word) __atomic_fetch_add(&(word), 1, __ATOMIC_RELAXED)

#endif
