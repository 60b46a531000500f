// Ownership of tagged-heap blocks for a scope.
#pragma once

#include <utility>

#include <ombrel/heap.h>

#include "core/call_site.h"

namespace ombrel {

/// Frees its block at the end of the scope unless it was released. Reports of the heap name the function and
/// line where the guard was given the block.
template<typename T>
class heap_ptr {
public:
    heap_ptr() = default;
    explicit heap_ptr(T* block, const char* function = __builtin_FUNCTION(),
                      unsigned long line = __builtin_LINE())
        : block_(block), giver_{function, line} {}
    heap_ptr(heap_ptr&& other) noexcept : block_(other.release()), giver_(other.giver_) {}
    heap_ptr& operator=(heap_ptr&& other) noexcept {
        reset(other.release(), other.giver_.tag, other.giver_.line);
        return *this;
    }
    ~heap_ptr() { reset(); }

    T* get() const { return block_; }
    T* operator->() const { return block_; }
    T& operator*() const { return *block_; }
    explicit operator bool() const { return block_ != nullptr; }
    T* release() { return std::exchange(block_, nullptr); }
    void reset(T* block = nullptr, const char* function = __builtin_FUNCTION(),
               unsigned long line = __builtin_LINE()) {
        if (T* old = std::exchange(block_, block))
            ombrel_free_tag(const_cast<void*>(static_cast<const void*>(old)), giver_.tag, giver_.line);
        giver_ = {function, line};
    }

private:
    T* block_ = nullptr;
    call_site giver_{};
};

/// A block for one record of type T, not initialised.
template<typename T>
T* allocate_record(const char* tag, unsigned long line) {
    return static_cast<T*>(ombrel_alloc_tag(sizeof(T), tag, line));
}

} // namespace ombrel
