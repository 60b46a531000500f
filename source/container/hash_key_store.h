// Copies of keys, packed together, as a block of the heap for each would cost more than the key.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/call_site.h"

namespace ombrel {

/// Copies stay where they are until they are dropped. What was dropped is used again for copies of the same
/// size, rounded up; long ones have a block of their own.
class hash_key_store {
public:
    explicit hash_key_store(const call_site& owner) : owner_(owner) {}

    /// A copy with a zero byte behind it; null when memory has run out.
    unsigned char* copy(const void* key, size_t size);
    void drop(unsigned char* copy, size_t size);
    /// Of all copies. The caller drops the long ones first.
    void forget_all();

    /// Room for copies of so many bytes in all, each with its shared_room(). A store is opened once, and may
    /// be used without. False when memory has run out.
    bool open(size_t size);
    /// Takes what the other store holds for its own, but keeps the long copies.
    void become(const hash_key_store& other);

    /// What a copy takes of the blocks that many share: nothing when it is long.
    static size_t shared_room(size_t size) { return is_long(size) ? 0 : rounded(size); }
    static bool is_long(size_t size) { return size >= longest_shared; }
    bool has_long_copies() const { return long_bytes_ != 0; }
    size_t shared_bytes() const { return shared_bytes_; }
    size_t bytes() const { return shared_bytes_ + long_bytes_; }

private:
    struct block {
        block* older;
        size_t size;
    };
    struct gap {
        gap* next;
    };
    static constexpr size_t grain = 8;
    static constexpr size_t longest_shared = 256;
    static constexpr size_t first_block = 512 - sizeof(block),
                            largest_block = (size_t{1} << 15) - sizeof(block);

    static size_t rounded(size_t size) { return (size + grain) & ~(grain - 1); } // with the zero byte
    unsigned char* take_room(size_t size);
    unsigned char* take_block(size_t size);
    bool open_next();
    void close_blocks();
    void leave_gap(unsigned char* at, size_t size);

    call_site owner_;
    block* newest_ = nullptr;
    unsigned char *at_ = nullptr, *end_ = nullptr; // of the newest block
    gap* gaps_[longest_shared / grain + 1]{};      // by size
    size_t shared_bytes_ = 0, long_bytes_ = 0;
};

} // namespace ombrel
