// Bytes that grow as they come, counted against what a server may hold in all.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <ombrel/heap.h>

namespace ombrel::protocol {

/// What may be held of what peers send and do not take.
struct memory_budget {
    size_t limit, used;

    bool take(size_t size) {
        if (size > limit - std::min(limit, used))
            return false;
        used += size;
        return true;
    }
    void give(size_t size) { used -= size; }

    /// Whether so many more leave a share for what is small, without which nobody else is heard.
    bool leaves_spare(size_t size) const {
        const size_t all = limit - limit / 8;
        return size <= all - std::min(all, used);
    }
    /// What one of many may take of the half that those who take much share.
    size_t share() const { return (limit / 2 - std::min(limit / 2, used)) / 4; }
};

/// All zero while it is empty, and part of records without destructors: clear() is due in the end.
struct counted_block {
    char* data;
    size_t size, room;

    /// Makes room for so many bytes more. False when there is no memory, with nothing changed.
    bool reserve(memory_budget& budget, size_t more, const char* tag) {
        constexpr size_t least = 512;
        if (more <= room - size)
            return true;
        const size_t wanted = std::max({size + more, room * 2, least});
        if (more > static_cast<size_t>(PTRDIFF_MAX) - size || !budget.take(wanted - room))
            return false;
        auto* const grown = static_cast<char*>(ombrel_realloc_tag(data, wanted, tag, 0));
        if (grown == nullptr) {
            budget.give(wanted - room);
            return false;
        }
        data = grown;
        room = wanted;
        return true;
    }
    bool append(memory_budget& budget, const void* bytes, size_t count, const char* tag) {
        if (!reserve(budget, count, tag))
            return false;
        if (count > 0)
            memcpy(data + size, bytes, count);
        size += count;
        return true;
    }
    void drop_front(size_t count) {
        size -= count;
        if (size > 0)
            memmove(data, data + count, size);
    }
    void clear(memory_budget& budget) {
        budget.give(room);
        if (data != nullptr)
            ombrel_free(data);
        *this = {};
    }
};

} // namespace ombrel::protocol
