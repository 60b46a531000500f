// The part of a stream that is being looked at.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <ombrel/buffer.h>

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel {

/// Bytes of a stream by their places in it: from `start` to `end`. What was dropped stays readable for `kept`
/// bytes.
class stream_window {
public:
    static constexpr size_t kept = 512;

    int64_t start() const { return start_; }
    int64_t end() const { return start_ + static_cast<int64_t>(held()); }
    size_t held() const { return size_ - front_; }
    const unsigned char* at(int64_t place) const { return block_.get() + front_ + (place - start_); }

    void drop(size_t count) {
        front_ += count;
        start_ += static_cast<int64_t>(count);
    }
    /// Takes so many bytes from a chain, or as many as there are. False when memory has run out.
    bool take(ombrel_buffer_t* buffer, size_t count, call_site caller) {
        count = std::min(count, ombrel_get_buffer_size(buffer));
        if (!make_room(count, caller))
            return false;
        size_ += ombrel_pop_buffer(buffer, block_.get() + size_, count);
        return true;
    }
    void clear() {
        start_ = 0;
        front_ = size_ = 0;
    }

private:
    bool make_room(size_t count, call_site caller) {
        if (count <= room_ - size_)
            return true;
        // Bytes are moved when at least as many were dropped, so that each is moved a few times at most.
        const size_t gone = front_ - std::min(front_, kept), left = size_ - gone;
        if (gone >= left && count <= room_ - left) {
            memmove(block_.get(), block_.get() + gone, left);
        } else {
            const size_t room = std::max(2 * (left + count), size_t{4096});
            heap_ptr<unsigned char> larger(
                static_cast<unsigned char*>(ombrel_alloc_tag(room, caller.tag, caller.line)));
            if (!larger)
                return false;
            if (left > 0)
                memcpy(larger.get(), block_.get() + gone, left);
            block_ = std::move(larger);
            room_ = room;
        }
        front_ -= gone;
        size_ = left;
        return true;
    }

    heap_ptr<unsigned char> block_;
    size_t room_ = 0, front_ = 0, size_ = 0;
    int64_t start_ = 0;
};

} // namespace ombrel
