#include "core/block_index.h"

#include "platform/system.h"

namespace ombrel {

// Two threads with different locks may come here at once; then one leaf is forgotten.
void block_index::grow(size_t leaf) {
    uint8_t* none = nullptr;
    auto* made = static_cast<uint8_t*>(platform::sparse_zeros(windows));
    __atomic_compare_exchange_n(&leaves_[leaf], &none, made, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE);
}

// Defined in one place: what is inline lies in the file of a library for Windows, zeros or not.
constinit block_index index_of_blocks;

} // namespace ombrel
