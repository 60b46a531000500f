// Records or bytes that grow as they come.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "core/call_site.h"
#include "core/heap_ptr.h"

namespace ombrel::document {

template<typename T>
class growing_array {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    explicit growing_array(const call_site& giver) : giver_(giver) {}

    /// Makes room for so many more. False, with nothing changed, when memory has run out.
    bool reserve(size_t more) { return more <= room_ - size_ || grow(more); }
    /// False, with nothing added, when memory has run out.
    bool push(const T& item) {
        if (size_ == room_) {
            const T kept = item;
            return grow(1) && (add(kept), true);
        }
        add(item);
        return true;
    }
    bool append(const T* items, size_t count) {
        if (!reserve(count))
            return false;
        if (count > 0)
            memcpy(items_.get() + size_, items, count * sizeof(T));
        size_ += count;
        return true;
    }
    /// What was written behind the end, into room that was reserved, becomes part of it.
    void extend(size_t count) { size_ += count; }
    void truncate(size_t size) { size_ = size; }
    void drop_front(size_t count) {
        size_ -= count;
        if (size_ > 0 && count > 0)
            memmove(static_cast<void*>(items_.get()), items_.get() + count, size_ * sizeof(T));
    }
    void clear() { size_ = 0; }
    /// The block, which is the caller's now; null when there is none.
    T* detach() {
        size_ = room_ = 0;
        return items_.release();
    }
    /// Gives the memory back, too.
    void release() {
        items_.reset();
        size_ = room_ = 0;
    }

    T* data() const { return items_.get(); }
    T* begin() const { return items_.get(); }
    T* end() const { return items_.get() + size_; }
    T& operator[](size_t index) const { return items_.get()[index]; }
    T& last() const { return items_.get()[size_ - 1]; }
    size_t size() const { return size_; }
    size_t room() const { return room_; }
    bool empty() const { return size_ == 0; }

private:
    void add(const T& item) { items_.get()[size_++] = item; }
    bool grow(size_t more) {
        constexpr size_t most = static_cast<size_t>(PTRDIFF_MAX) / sizeof(T);
        constexpr size_t least = std::max<size_t>(64 / sizeof(T), 4);
        if (more > most - size_)
            return false;
        const size_t room = std::max({least, size_ + more, std::min(most, 2 * room_)});
        void* const larger = ombrel_realloc_tag(const_cast<std::remove_const_t<T>*>(items_.get()),
                                                room * sizeof(T), giver_.tag, giver_.line);
        if (larger == nullptr)
            return false;
        (void)items_.release();
        items_.reset(static_cast<T*>(larger), giver_.tag, giver_.line);
        room_ = room;
        return true;
    }

    call_site giver_;
    heap_ptr<T> items_;
    size_t size_ = 0, room_ = 0;
};

} // namespace ombrel::document
