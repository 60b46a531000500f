#include <ombrel/atomic.h>

uint32_t ombrel_atomic_exchange(volatile uint32_t* word, uint32_t value) {
    return __atomic_exchange_n(word, value, __ATOMIC_SEQ_CST);
}

uint32_t ombrel_atomic_release(volatile uint32_t* word) {
    return __atomic_exchange_n(word, 0u, __ATOMIC_SEQ_CST);
}
