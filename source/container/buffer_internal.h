// What the files of the buffer chain share: its records and the operations on its front and end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <ombrel/buffer.h>
#include <ombrel/lock.h>
#include <ombrel/service.h>

#include "core/invariant.h"
#include "core/thread_safety.h"

namespace ombrel {

struct buffer_node {
    buffer_node* m_next;
    uint32_t m_flags; // of the push that made it
    size_t m_capacity;
    size_t m_used;         // bytes written
    size_t m_read;         // bytes taken; a node in a chain always has some left
    unsigned char* m_data; // behind this record, or the caller's block

    unsigned char* front() const { return m_data + m_read; }
    size_t unread() const { return m_used - m_read; }
};
static_assert(sizeof(void*) != 4 || sizeof(buffer_node) == 24);

/// How far the search for a line end has come: where the next one goes on, so that no byte is looked at
/// twice.
struct line_search {
    uint64_t m_offset;         // the buffer's when it was made: a search ends with a change of the front
    const buffer_node* m_node; // null before the first one
    size_t m_seen;             // bytes of the node's data
    size_t m_before;           // queued bytes before the node
    bool m_trail;              // the next byte is a trail byte
};

} // namespace ombrel

/// The lock keeps pushes from several threads and the handler's thread from one another. The search for lines
/// and the word of flags, whose upper half is that search's, belong to the thread that takes from the buffer;
/// the rest is as it was opened.
struct ombrel_buffer_ts {
    ombrel::buffer_node* m_head OMBREL_GUARDED_BY(m_lock);
    ombrel::buffer_node* m_tail OMBREL_GUARDED_BY(m_lock); // meaningless while m_head is null
    uint32_t m_flags;
    size_t m_unit_size;
    uint64_t m_offset OMBREL_GUARDED_BY(m_lock);
    size_t m_size OMBREL_GUARDED_BY(m_lock);
    ombrel_lock_t m_lock;
    ombrel_service_t* m_service;
    void* m_context;
    ombrel_buffer_handler_t m_handler;
    ombrel::line_search m_search;
};

namespace ombrel {

/// For all but a push: a buffer without a handler belongs to one thread, and so does taking from one with a
/// handler, as the header says. No lock is taken there, and to the check of locks it counts as held.
inline void assert_owned(const ombrel_buffer_t& buffer) OMBREL_ASSERTS(buffer.m_lock) {
    static_cast<void>(buffer);
}

/// Queues a copy of the bytes (zeros for null `data`), whatever the buffer's flags; gives the bytes queued.
size_t push_copy(ombrel_buffer_t& buffer, const void* data, size_t size);

/// take_front() for any number of nodes.
void take_nodes(ombrel_buffer_t& buffer, void* dest, size_t size) OMBREL_REQUIRES(buffer.m_lock);

/// Whether nodes and figures agree: every node has unread bytes within its capacity, and together they are
/// the queued ones. Of a long chain the beginning is looked at.
inline bool is_sound(const ombrel_buffer_t& buffer) OMBREL_REQUIRES(buffer.m_lock) {
    size_t seen = 0;
    int looks = 64;
    const buffer_node* node = buffer.m_head;
    for (; node != nullptr && looks > 0; node = node->m_next, looks--) {
        if (node->m_read >= node->m_used || node->m_used > node->m_capacity)
            return false;
        seen += node->unread();
    }
    return node == nullptr ? seen == buffer.m_size : seen < buffer.m_size;
}

/// Takes `size` bytes, which must be queued, into `dest` or, when it is null, away.
inline void take_front(ombrel_buffer_t& buffer, void* dest, size_t size) OMBREL_REQUIRES(buffer.m_lock) {
    buffer_node* head = buffer.m_head;
    if (head == nullptr || size >= head->unread())
        return take_nodes(buffer, dest, size);
    if (dest != nullptr)
        memcpy(dest, head->front(), size);
    head->m_read += size;
    buffer.m_size -= size;
    buffer.m_offset += size;
    OMBREL_INVARIANT(is_sound(buffer));
}

} // namespace ombrel
