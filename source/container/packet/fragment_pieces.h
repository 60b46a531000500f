// The pieces of a datagram that have come, in order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel {

struct fragment_piece {
    uint32_t offset, size;
    unsigned char* data;

    uint64_t end() const { return offset + uint64_t{size}; }
};

class fragment_pieces {
public:
    enum relation { apart, same, overlapping };

    fragment_pieces() = default;
    ~fragment_pieces() { clear(); }
    fragment_pieces(const fragment_pieces&) = delete;
    fragment_pieces& operator=(const fragment_pieces&) = delete;

    size_t count() const { return count_; }
    uint64_t received() const { return received_; }
    /// Bytes of memory.
    size_t held() const { return static_cast<size_t>(received_) + room_ * sizeof(fragment_piece); }
    /// What one more piece takes.
    size_t cost(size_t size) const {
        return size + (count_ == room_ ? next_room() - room_ : 0) * sizeof(fragment_piece);
    }

    relation compare(uint32_t offset, const void* data, size_t size) const {
        const size_t place = find(offset);
        if (place < count_ && at(place).offset == offset && at(place).size == size)
            return memcmp(at(place).data, data, size) == 0 ? same : overlapping;
        const bool hits_next = place < count_ && at(place).offset < offset + uint64_t{size};
        const bool hits_last = place > 0 && at(place - 1).end() > offset;
        return hits_next || hits_last ? overlapping : apart;
    }
    /// One that is apart from all. False when memory has run out.
    bool add(uint32_t offset, const void* data, size_t size, call_site caller) {
        heap_ptr<unsigned char> copy(
            static_cast<unsigned char*>(ombrel_alloc_tag(size, caller.tag, caller.line)));
        if (!copy || (count_ == room_ && !grow(caller)))
            return false;
        memcpy(copy.get(), data, size);
        fragment_piece* const place = pieces_.get() + find(offset);
        std::copy_backward(place, pieces_.get() + count_, pieces_.get() + count_ + 1);
        *place = {offset, static_cast<uint32_t>(size), copy.release()};
        count_++;
        received_ += size;
        return true;
    }
    /// Puts all of them where they belong.
    void join(unsigned char* to) const {
        for (size_t i = 0; i < count_; i++)
            memcpy(to + at(i).offset, at(i).data, at(i).size);
    }
    void clear() {
        for (size_t i = 0; i < count_; i++)
            ombrel_free(at(i).data);
        pieces_.reset();
        count_ = room_ = 0;
        received_ = 0;
    }

private:
    const fragment_piece& at(size_t index) const { return pieces_.get()[index]; }
    /// The first that does not begin before an offset.
    size_t find(uint32_t offset) const {
        const fragment_piece* const found = std::lower_bound(
            pieces_.get(), pieces_.get() + count_, offset,
            [](const fragment_piece& piece, uint32_t wanted) { return piece.offset < wanted; });
        return static_cast<size_t>(found - pieces_.get());
    }
    size_t next_room() const { return std::max(size_t{4}, 2 * room_); }
    bool grow(call_site caller) {
        const size_t room = next_room();
        heap_ptr<fragment_piece> larger(static_cast<fragment_piece*>(
            ombrel_alloc_tag(room * sizeof(fragment_piece), caller.tag, caller.line)));
        if (!larger)
            return false;
        std::copy_n(pieces_.get(), count_, larger.get());
        pieces_ = std::move(larger);
        room_ = room;
        return true;
    }

    heap_ptr<fragment_piece> pieces_;
    size_t count_ = 0, room_ = 0;
    uint64_t received_ = 0;
};

} // namespace ombrel
