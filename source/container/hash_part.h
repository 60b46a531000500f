// The parts that hash tables consist of: groups of entries behind their tags.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel {

/// The entries of a group. A group is 15 tags and a count, then the slots of its entries: what is looked at
/// first and what is wanted then lie on one page.
///
/// A tag is 0 where a slot is free. The count tells how many entries belong to this group and stand in one
/// behind it, as it was full: 0 ends a look-up. It stays at 255, once there.
inline constexpr unsigned hash_group_slots = 15;
inline constexpr unsigned hash_group_header = 16;
inline constexpr unsigned hash_overflow_at = 15;
inline constexpr uint8_t hash_overflow_most = 255;

/// Where an entry belongs, of its hash: the high bits of the place choose the part, the low ones the group.
struct hash_home {
    uint32_t place;
    uint8_t tag; // never 0

    static hash_home of(uint64_t hash) { return {static_cast<uint32_t>(hash >> 32), tag_of(hash)}; }
    static uint8_t tag_of(uint64_t hash) {
        const auto low = static_cast<uint8_t>(hash);
        return static_cast<uint8_t>(low + (low == 0 ? 1 : 0));
    }
    /// From group to group. Odd, so that it meets each of a power of two.
    size_t step() const { return 2 * size_t{tag} + 1; }
};

/// What a table knows of a part, just before its first group.
struct hash_part_header {
    void* block; // of the heap, in which the part lies
    uint32_t count;
    uint32_t most;  // entries at which it is to grow
    uint32_t depth; // high bits of a place that all its entries share
};

/// The groups of a part, 2 to the power of `size_bits`, in one word: they begin at multiples of 64.
class hash_part {
public:
    static constexpr size_t alignment = 64;

    constexpr hash_part() = default;
    hash_part(unsigned char* groups, unsigned size_bits)
        : word_(reinterpret_cast<uintptr_t>(groups) | size_bits) {}

    unsigned char* groups() const { return reinterpret_cast<unsigned char*>(word_ & ~(alignment - 1)); }
    unsigned size_bits() const { return static_cast<unsigned>(word_ % alignment); }
    size_t group_mask() const { return (size_t{1} << (word_ % alignment)) - 1; }
    size_t group_count() const { return group_mask() + 1; }
    hash_part_header& header() const { return *(reinterpret_cast<hash_part_header*>(groups()) - 1); }
    uint32_t capacity() const { return static_cast<uint32_t>(group_count() * hash_group_slots); }
    bool operator==(const hash_part& other) const = default;

private:
    uintptr_t word_ = 0;
};

/// A slot of a part.
struct hash_position {
    hash_part part;
    size_t group;
    unsigned slot;
};

} // namespace ombrel
