// Reading a whole file, or whatever a descriptor gives, block by block.
#pragma once

#include "core/fault.h"
#include "core/heap_ptr.h"
#include "platform/file.h"

namespace ombrel {

inline constexpr size_t file_block_size = 32768;

/// Hands what a descriptor gives up to its end to `use(bytes, size)`, in order, until that gives false.
/// False, with its fault left, when a read fails or there is no memory for a block.
template<typename Use>
bool read_in_blocks(int descriptor, const char* tag, Use use) {
    heap_ptr<char> block(static_cast<char*>(ombrel_alloc_tag(file_block_size, tag, __LINE__)));
    if (!block) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    int got;
    do
        got = platform::read_descriptor(descriptor, block.get(), file_block_size);
    while (got > 0 && use(block.get(), static_cast<size_t>(got)));
    const fault why = last_fault();
    block.reset();
    leave_fault(why);
    return got >= 0;
}

} // namespace ombrel
