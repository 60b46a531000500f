// A hash table as its sources see it.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/hash.h>

#include "container/hash_key_store.h"
#include "container/hash_part.h"
#include "container/hash_secret.h"
#include "core/call_site.h"

namespace ombrel {

struct hash_number {
    uint64_t number;
};

struct hash_bytes {
    const unsigned char* data;
    size_t size;
};

/// What a slot begins with in a table of bytes, before the value. The place saves a look at the key when
/// parts are split; in a table of numbers a slot begins with the number.
struct hash_bytes_head {
    const unsigned char* data;
    uint32_t size;
    uint32_t place;
};

/// What is done by functions for one kind of processor and of keys. Those for the keys that a table has not
/// leave the fault invalid; of them detach is null.
template<typename Key>
struct hash_functions {
    /// The pointer in a table of pointers; null when the key is not there.
    void* (*get)(const ombrel_hash_ts& table, Key key);
    /// Where the value lies; null when the key is not there.
    void* (*find)(const ombrel_hash_ts& table, Key key);
    /// The same; adds the key with a value of zeros. Null, with a fault, when it could not.
    void* (*obtain)(ombrel_hash_ts& table, Key key, bool& is_new);
    /// Takes an entry out. Its slot, which stays as it is until the next change; null when it is not there.
    unsigned char* (*detach)(ombrel_hash_ts& table, Key key);
};

struct hash_upkeep {
    unsigned char* (*detach_at)(ombrel_hash_ts& table, const hash_position& at);
    /// Copies all entries of a part that is about to go into one that has room for them.
    void (*move)(const ombrel_hash_ts& table, const hash_part& from, const hash_part& to);
    /// Moves those whose place has the bit into an empty part of the same size.
    void (*split)(const ombrel_hash_ts& table, const hash_part& from, const hash_part& to, uint32_t bit);
    /// Groups looked at until an entry is found.
    size_t (*distance)(const ombrel_hash_ts& table, const hash_position& at);
};

/// Everything that is chosen by the processor, for one kind of keys.
struct hash_kernel {
    hash_functions<hash_number> numbers;
    hash_functions<hash_bytes> bytes;
    hash_upkeep upkeep;
};

/// What lies where in a slot, in bytes.
struct hash_layout {
    uint32_t value_at;
    uint32_t slot_size;
};

/// The parts by the high bits of places, a power of two of them. Each part stands as often as it is less deep
/// than the directory.
struct hash_directory {
    hash_part* parts;
    uint32_t shift; // 31 - depth, behind a shift by one, as words cannot be shifted by their width
    uint32_t depth;
    hash_part* next; // the directory of the next depth, made ahead of time step by step, or null
    size_t made;     // how many of the parts stand in it

    size_t index_of(uint32_t place) const { return (place >> 1) >> shift; }
    hash_part part_of(uint32_t place) const { return parts[index_of(place)]; }
    size_t size() const { return size_t{1} << depth; }
    /// Whether the parts do not fit into a processor's nearest memories.
    bool is_large() const { return shift <= 31 - 5; }
};

} // namespace ombrel

/// What look-ups need comes first.
struct ombrel_hash_ts {
    ombrel::hash_kernel kernel;
    ombrel::hash_directory directory;
    ombrel::hash_layout layout;
    ombrel::hash_secret secret;

    size_t count;
    size_t limit;
    size_t parts;
    uint32_t flags;
    uint32_t value_size;
    uint32_t largest_part; // in groups, by the power of two
    bool holds_pointers;
    ombrel_hash_release_t release;
    void* context;
    ombrel::call_site owner;
    ombrel::hash_part only_part; // the directory of depth 0
    ombrel::hash_key_store keys;
    uint64_t moves;     // how often entries were moved by growth and the like
    uint64_t additions; // how often a slot was filled
    uint64_t growths;

    bool has_numbers() const { return (flags & def_ombrel_hash_numbers) != 0; }
    bool copies_keys() const { return (flags & (def_ombrel_hash_numbers | def_ombrel_hash_borrow)) == 0; }
    unsigned char* slot_of(const ombrel::hash_position& at) const {
        return at.part.groups() - (at.index() + 1) * layout.slot_size;
    }
};
