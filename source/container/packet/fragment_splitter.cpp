#include <ombrel/fragment.h>

#include <algorithm>
#include <cstring>

#include "container/packet/fragment_head.h"
#include "core/fault.h"

using namespace ombrel;

namespace {

int refuse() {
    leave_fault(fault_code::invalid);
    return -1;
}

bool are_sizes(size_t size, size_t fragment_size) {
    return size <= 0xFFFFFFFF && fragment_size > fragment_head::size;
}

} // namespace

int ombrel_init_fragment_splitter(ombrel_fragment_splitter_t* splitter, uint32_t identifier, const void* data,
                                  size_t size, size_t fragment_size) {
    if (splitter == nullptr || (data == nullptr && size > 0) || !are_sizes(size, fragment_size))
        return refuse();
    *splitter = {static_cast<const unsigned char*>(data), size, 0, fragment_size, identifier, 0};
    return 0;
}

int64_t ombrel_fragment_splitter_next(ombrel_fragment_splitter_t* splitter, void* buffer) {
    if (splitter == nullptr || buffer == nullptr)
        return refuse();
    if (splitter->m_is_done != 0)
        return 0;
    const size_t size =
        std::min(splitter->m_fragment_size - fragment_head::size, splitter->m_size - splitter->m_at);
    auto* const fragment = static_cast<unsigned char*>(buffer);
    if (size > 0)
        memcpy(fragment + fragment_head::size, splitter->m_data + splitter->m_at, size);
    const fragment_head head = {splitter->m_identifier, static_cast<uint32_t>(splitter->m_at),
                                static_cast<uint32_t>(splitter->m_size), size};
    head.put(fragment);
    splitter->m_at += size;
    splitter->m_is_done = head.is_last() ? 1 : 0;
    return static_cast<int64_t>(fragment_head::size + size);
}

int64_t ombrel_get_fragment_count(size_t size, size_t fragment_size) {
    if (!are_sizes(size, fragment_size))
        return refuse();
    const size_t most = fragment_size - fragment_head::size;
    return size == 0 ? 1 : static_cast<int64_t>(size / most + (size % most != 0 ? 1 : 0));
}
