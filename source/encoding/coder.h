// What the streaming coders share: a record with limits, a final flag and two buffer chains. Every step is
// done whole or not at all, so that a coder that ran into a limit or out of memory can go on later.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <ombrel/buffer.h>
#include <ombrel/heap.h>

#include "container/buffer_internal.h"
#include "core/heap_ptr.h"

namespace ombrel::encoding {

/// The result of a one-shot call on its way: `room` bytes and a terminator.
class result_text {
public:
    /// There is never memory for a room of SIZE_MAX.
    result_text(size_t room, const char* tag);

    explicit operator bool() const { return static_cast<bool>(text_); }
    char* characters() const { return text_.get(); }
    unsigned char* bytes() const { return reinterpret_cast<unsigned char*>(text_.get()); }

    /// Ends the text at `size` bytes and hands it out; null when there is no memory.
    char* finish(size_t size, size_t* size_out);

private:
    heap_ptr<char> text_;
    size_t room_;
    const char* tag_;
};

/// The input of a one-shot call: null stands for zero bytes, as in a push.
class input_bytes {
public:
    input_bytes(const void* data, size_t size, const char* tag);

    /// False when there is no memory for the zeros.
    explicit operator bool() const { return bytes_ != nullptr; }
    const unsigned char* begin() const { return bytes_; }

private:
    heap_ptr<unsigned char> zeros_;
    const unsigned char* bytes_;
};

/// Queues all of the bytes or, when memory runs out, none.
bool append_whole(ombrel_buffer_t& chain, const void* data, size_t size);

/// All that is queued as a terminated block; null for no chain and, with all still queued, when memory runs
/// out.
char* take_text(ombrel_buffer_t* chain, size_t* size_out, const char* tag);

/// Bytes that may be added to a chain of `used` bytes under a limit.
inline size_t room_under(uint32_t limit, size_t used) {
    if (limit == 0)
        return SIZE_MAX;
    return limit > used ? limit - used : 0;
}

/// A coder that converted the last of its input marks its output as ended: no push does anything more.
inline bool is_finished(const ombrel_buffer_t& output) {
    return (output.m_flags & def_ombrel_buffer_flag_ended) != 0;
}

template<typename Coder>
int close_coder(Coder* coder, const char* tag) {
    if (coder == nullptr)
        return 0;
    ombrel_close_buffer(coder->m_input);
    ombrel_close_buffer(coder->m_output);
    return ombrel_free_tag(coder, tag, __LINE__);
}

template<typename Coder>
Coder* open_coder(const char* tag) {
    auto* coder = allocate_record<Coder>(tag, __LINE__);
    if (coder == nullptr)
        return nullptr;
    *coder = {};
    coder->m_input = ombrel_open_buffer();
    coder->m_output = ombrel_open_buffer();
    if (coder->m_input != nullptr && coder->m_output != nullptr)
        return coder;
    close_coder(coder, tag);
    return nullptr;
}

/// A coder's chains have no handlers: they belong to the one thread that uses the coder.
template<typename Coder>
void assert_chains_owned(const Coder& coder) OMBREL_ASSERTS(coder.m_input->m_lock, coder.m_output->m_lock) {
    static_cast<void>(coder);
}

/// Takes in the bytes of a push, or its end; false when they do not fit. `waiting` counts what waits already.
template<typename Coder>
bool take_in(Coder& coder, size_t waiting, const void* data, size_t size) {
    if (coder.m_final != 0)
        return true;
    if (size == 0)
        coder.m_final = 1;
    return size <= room_under(coder.m_input_limit, waiting) && append_whole(*coder.m_input, data, size);
}

} // namespace ombrel::encoding
