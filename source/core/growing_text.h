// Bytes that are gathered up to a limit, with a zero behind them where they become texts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel {

class growing_text {
public:
    growing_text() = default;
    growing_text(growing_text&& other) noexcept { *this = std::move(other); }
    growing_text& operator=(growing_text&& other) noexcept {
        block_ = std::move(other.block_);
        size_ = std::exchange(other.size_, 0);
        room_ = std::exchange(other.room_, 0);
        return *this;
    }

    /// False, with nothing added, when memory has run out.
    bool append(std::string_view bytes, call_site caller) {
        if (bytes.size() >= room_ - size_ && !grow(bytes.size(), caller))
            return false;
        if (!bytes.empty())
            memcpy(block_.get() + size_, bytes.data(), bytes.size());
        size_ += bytes.size();
        block_.get()[size_] = '\0';
        return true;
    }
    /// Makes room even for nothing, so that data() is a text.
    bool be_text(call_site caller) { return append({"", 0}, caller); }
    void clear() { size_ = 0; }
    /// Takes away what stands in front of what is left.
    void drop_front(size_t count) {
        size_ -= count;
        if (size_ > 0)
            memmove(block_.get(), block_.get() + count, size_);
    }
    void drop_last() { block_.get()[--size_] = '\0'; }
    /// The block, which is the caller's now; the size stays.
    char* release() {
        room_ = 0;
        return block_.release();
    }

    /// Null before the first byte.
    char* data() const { return block_.get(); }
    size_t size() const { return size_; }
    std::string_view view() const { return {block_.get(), size_}; }

private:
    bool grow(size_t more, call_site caller) {
        constexpr size_t least = 64, most = static_cast<size_t>(-1) / 2;
        if (more >= most - size_)
            return false;
        const size_t room = std::max({least, size_ + more + 1, std::min(most, 2 * room_)});
        heap_ptr<char> larger(static_cast<char*>(ombrel_alloc_tag(room, caller.tag, caller.line)), caller.tag,
                              caller.line);
        if (!larger)
            return false;
        if (size_ > 0)
            memcpy(larger.get(), block_.get(), size_);
        block_ = std::move(larger);
        room_ = room;
        return true;
    }

    heap_ptr<char> block_;
    size_t size_ = 0, room_ = 0;
};

} // namespace ombrel
