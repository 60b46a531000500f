// Ownership of tagged-heap blocks for a scope.
#pragma once

#include <utility>

#include <ombrel/heap.h>

namespace ombrel {

/// Frees its block at the end of the scope unless it was released.
template<typename T>
class heap_ptr {
public:
    heap_ptr() = default;
    explicit heap_ptr(T* block) : block_(block) {}
    heap_ptr(heap_ptr&& other) noexcept : block_(other.release()) {}
    heap_ptr& operator=(heap_ptr&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~heap_ptr() { reset(); }

    T* get() const { return block_; }
    T* operator->() const { return block_; }
    T& operator*() const { return *block_; }
    explicit operator bool() const { return block_ != nullptr; }
    T* release() { return std::exchange(block_, nullptr); }
    void reset(T* block = nullptr) {
        if (T* old = std::exchange(block_, block))
            ombrel_free_tag(const_cast<void*>(static_cast<const void*>(old)), "heap_ptr", 0);
    }

private:
    T* block_ = nullptr;
};

/// A block for one record of type T, not initialised.
template<typename T>
T* allocate_record(const char* tag, unsigned long line) {
    return static_cast<T*>(ombrel_alloc_tag(sizeof(T), tag, line));
}

} // namespace ombrel
