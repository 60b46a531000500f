// Headers of live blocks as a callback may read them.
#pragma once

#include <cstdint>

#include <ombrel/heap.h>

#include "core/readable.h"

namespace ombrel {

/// Shows the blocks of one walk. A header whose tag cannot be printed, or which does not tell its own
/// address, is shown as a copy in which both can be used.
class block_view {
public:
    /// Valid until the next call.
    const ombrel_heap_block_t* of(ombrel_heap_block_t* block) {
        if (block->m_self == block && is_text(block->m_tag))
            return block;
        copy_ = *block;
        copy_.m_self = block;
        text_ = readable_text(block->m_tag);
        copy_.m_tag = text_.get();
        return &copy_;
    }

private:
    // Few functions allocate most blocks, and a look at unknown memory takes a call of the system.
    bool is_text(const char* tag) {
        const char*& known = known_[reinterpret_cast<uintptr_t>(tag) / 8 % places];
        if (tag == nullptr || (known != tag && !readable_text(tag).is_whole()))
            return false;
        known = tag;
        return true;
    }

    static constexpr uintptr_t places = 32;

    const char* known_[places] = {};
    readable_text text_{""};
    ombrel_heap_block_t copy_;
};

} // namespace ombrel
