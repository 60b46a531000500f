// Room for records while a function works.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "core/heap_ptr.h"

namespace ombrel {

/// A stack of records that takes memory from the heap when it grows out of its own room.
template<typename T, size_t own_room>
class scratch_array {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    explicit scratch_array(const char* tag) : tag_(tag) {}
    scratch_array(const scratch_array&) = delete;
    scratch_array& operator=(const scratch_array&) = delete;

    /// False, with nothing added, when memory has run out.
    bool push(T item) {
        if (size_ == room_ && !grow())
            return false;
        (*this)[size_++] = item;
        return true;
    }
    /// Takes away what was pushed last.
    void shrink_to(size_t size) { size_ = size; }

    T& operator[](size_t index) { return grown_ ? grown_.get()[index] : own_[index]; }
    size_t size() const { return size_; }

private:
    bool grow() {
        if (room_ > PTRDIFF_MAX / sizeof(T) / 2)
            return false;
        heap_ptr<T> larger(static_cast<T*>(ombrel_alloc_tag(2 * room_ * sizeof(T), tag_, __LINE__)));
        if (!larger)
            return false;
        std::copy_n(&(*this)[0], size_, larger.get());
        grown_ = std::move(larger);
        room_ *= 2;
        return true;
    }

    const char* tag_;
    size_t size_ = 0, room_ = own_room;
    std::array<T, own_room> own_;
    heap_ptr<T> grown_;
};

} // namespace ombrel
