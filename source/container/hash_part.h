// The parts that hash tables consist of: groups of tags, and the slots of the entries that they stand for.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel {

/// A group is 15 tags, 0 for a slot that is free, and a count of entries that belong to this group and stand
/// in one behind it, as it was full: 0 ends a look-up. It stays at 255, once there.
inline constexpr unsigned hash_group_slots = 15;
inline constexpr unsigned hash_group_size = 16;
inline constexpr unsigned hash_overflow_at = 15;
inline constexpr uint8_t hash_overflow_most = 255;

/// Where an entry belongs, of its hash: the high bits of the place choose the part, the low 8 the group.
struct hash_home {
    uint32_t place;
    uint8_t tag; // never 0

    static hash_home of(uint64_t hash) { return {static_cast<uint32_t>(hash >> 32), tag_of(hash)}; }
    static uint8_t tag_of(uint64_t hash) {
        const auto low = static_cast<uint8_t>(hash);
        return static_cast<uint8_t>(low + (low == 0 ? 1 : 0));
    }
    /// The slot of a group that is taken if it is free, or else the next one: what a look-up will want is
    /// fetched while the tags still are.
    unsigned slot() const { return tag * hash_group_slots >> 8; }
    /// From group to group. Odd, so that it meets each of a power of two.
    size_t step() const { return 2 * size_t{tag} + 1; }
};

/// What a table knows of a part, just behind its last group.
struct hash_part_header {
    void* block; // of the heap, in which the part lies
    uint32_t count;
    uint32_t most;  // entries at which it is to grow
    uint32_t depth; // high bits of a place that all its entries share
};

/// A part of so many groups, 2 to the power of `size_bits`, in one word: they begin at multiples of 64. The
/// groups of a part lie together, so that many of them stay in the processor's memory; before them lie their
/// slots, the first one last.
class hash_part {
public:
    static constexpr size_t alignment = 64;

    constexpr hash_part() = default;
    hash_part(unsigned char* groups, unsigned size_bits)
        : word_(reinterpret_cast<uintptr_t>(groups) | (32 - size_bits)) {}

    unsigned char* groups() const { return reinterpret_cast<unsigned char*>(word_ & ~(alignment - 1)); }
    unsigned size_bits() const { return static_cast<unsigned>(32 - word_ % alignment); }
    size_t group_count() const { return size_t{1} << size_bits(); }
    /// In which an entry is looked for first.
    size_t group_for(uint32_t place) const {
        return static_cast<size_t>(uint64_t{place << 24} >> (word_ % alignment));
    }
    unsigned char* group(size_t index) const { return groups() + index * hash_group_size; }
    hash_part_header& header() const { return *reinterpret_cast<hash_part_header*>(group(group_count())); }
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

    size_t index() const { return group * hash_group_slots + slot; }
    uint8_t& tag() const { return part.group(group)[slot]; }
};

} // namespace ombrel
