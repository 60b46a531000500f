// Where live blocks begin.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel {

/// The kinds of blocks that are remembered.
enum class block_kind : uint8_t { none, heap, exception };

/// A set of addresses, by which any pointer is judged without a look at what it points to.
///
/// There is a byte for each window of memory that is so short that two blocks cannot begin in it: it tells
/// the place in the window where one does. The bytes stand in leaves of a fixed span, made when first needed.
/// As every change writes one byte, each kind of blocks can have a lock of its own, and holds() needs none.
class block_index {
public:
    /// The byte for a block of a kind.
    class entry {
    public:
        /// False where no block has ever been, until make() was asked.
        bool exists() const { return byte_ != nullptr; }
        bool is_held() const { return exists() && __atomic_load_n(byte_, __ATOMIC_RELAXED) == mark_; }
        void set() const { __atomic_store_n(byte_, mark_, __ATOMIC_RELAXED); }
        void clear() const { __atomic_store_n(byte_, uint8_t{0}, __ATOMIC_RELAXED); }

    private:
        friend block_index;
        entry(uint8_t* byte, uint8_t mark) : byte_(byte), mark_(mark) {}

        uint8_t* byte_;
        uint8_t mark_;
    };

    entry find(const void* block, block_kind kind) const {
        const place at(block);
        uint8_t* leaf = at.leaf < leaf_count ? __atomic_load_n(&leaves_[at.leaf], __ATOMIC_ACQUIRE) : nullptr;
        return {leaf != nullptr ? leaf + at.window : nullptr, at.mark(kind)};
    }

    bool holds(const void* block, block_kind kind) const { return find(block, kind).is_held(); }

    /// find() with the leaf made; still nothing when the host has no memory for that.
    entry make(const void* block, block_kind kind) {
        const place at(block);
        if (at.leaf < leaf_count && __atomic_load_n(&leaves_[at.leaf], __ATOMIC_ACQUIRE) == nullptr)
            grow(at.leaf);
        return find(block, kind);
    }

private:
    static constexpr bool is_wide = sizeof(void*) == 8;
    static constexpr int address_bits = is_wide ? 48 : 32; // of a program's own memory, on any processor
    static constexpr int leaf_bits = is_wide ? 30 : 24;
    static constexpr int window_bits = 5; // the smallest block has 28 bytes, and every allocator aligns to 8
    static constexpr size_t leaf_count = size_t{1} << (address_bits - leaf_bits);
    static constexpr size_t windows = size_t{1} << (leaf_bits - window_bits);

    struct place {
        explicit place(const void* block)
            : address(reinterpret_cast<uintptr_t>(block)), leaf(address >> leaf_bits),
              window((address >> window_bits) % windows) {}

        uint8_t mark(block_kind kind) const {
            constexpr uintptr_t window_size = uintptr_t{1} << window_bits;
            return static_cast<uint8_t>(static_cast<uintptr_t>(kind) * window_size + address % window_size);
        }

        uintptr_t address;
        size_t leaf, window;
    };

    void grow(size_t leaf);

    uint8_t* leaves_[leaf_count] = {};
};

extern block_index index_of_blocks;

} // namespace ombrel
