// Look-up, addition and removal in hash tables over a processor's instructions, which are a type with
//   of_number() and of_bytes(), the hash;
//   same(), which slots of a group have a tag, as bits.
//
// Compilers inline functions with special instructions only into others that have them too. So the
// instructions are given by the attribute OMBREL_HASH_TARGET, defined before this header is included, and
// each kernel compiles the loops for itself.
#pragma once

#include <bit>
#include <cstring>

#include "container/hash_growth.h"
#include "container/hash_table.h"
#include "core/fault.h"

#define OMBREL_PART_OF_HASH OMBREL_HASH_TARGET [[gnu::always_inline]] inline

namespace ombrel {
namespace {

template<typename Word>
OMBREL_PART_OF_HASH Word load_as(const unsigned char* bytes) {
    Word word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

template<bool folds, typename Word>
OMBREL_PART_OF_HASH bool equal_ends(const unsigned char* a, const unsigned char* b, size_t size) {
    const size_t last = size - sizeof(Word);
    return folded<folds>(load_as<Word>(a)) == folded<folds>(load_as<Word>(b)) &&
           folded<folds>(load_as<Word>(a + last)) == folded<folds>(load_as<Word>(b + last));
}

template<bool folds>
OMBREL_PART_OF_HASH bool equal_bytes(const unsigned char* a, const unsigned char* b, size_t size) {
    if (size > 16)
        for (; size > 16; a += 8, b += 8, size -= 8)
            if (folded<folds>(load_as<uint64_t>(a)) != folded<folds>(load_as<uint64_t>(b)))
                return false;
    if (size >= 8)
        return equal_ends<folds, uint64_t>(a, b, size);
    if (size >= 4)
        return equal_ends<folds, uint32_t>(a, b, size);
    for (size_t i = 0; i < size; i++)
        if (folded<folds>(a[i]) != folded<folds>(b[i]))
            return false;
    return true;
}

/// What differs by the kind of keys: their hash, what a slot begins with, whether it holds a key.
template<typename Machine>
struct number_keys {
    using key = hash_number;
    using head = hash_number;

    OMBREL_PART_OF_HASH static uint64_t hash(const hash_secret& secret, key wanted) {
        return Machine::of_number(secret, wanted.number);
    }
    OMBREL_PART_OF_HASH static bool is(const unsigned char* slot, key wanted, uint32_t) {
        return load_as<uint64_t>(slot) == wanted.number;
    }
    OMBREL_PART_OF_HASH static bool store(ombrel_hash_ts&, key wanted, uint32_t, hash_number& stored) {
        stored = wanted;
        return true;
    }
    OMBREL_PART_OF_HASH static uint32_t place(const ombrel_hash_ts& table, const unsigned char* slot) {
        return hash_home::of(Machine::of_number(table.secret, load_as<uint64_t>(slot))).place;
    }
};

template<typename Machine, bool folds>
struct bytes_keys {
    using key = hash_bytes;
    using head = hash_bytes_head;

    OMBREL_PART_OF_HASH static uint64_t hash(const hash_secret& secret, key wanted) {
        return Machine::template of_bytes<folds>(secret, wanted.data, wanted.size);
    }
    OMBREL_PART_OF_HASH static bool is(const unsigned char* slot, key wanted, uint32_t place) {
        const auto* const held = reinterpret_cast<const hash_bytes_head*>(slot);
        return held->place == place && held->size == wanted.size &&
               equal_bytes<folds>(held->data, wanted.data, wanted.size);
    }
    OMBREL_PART_OF_HASH static bool store(ombrel_hash_ts& table, key wanted, uint32_t place,
                                          hash_bytes_head& stored) {
        stored = {keep_hash_key(table, wanted), static_cast<uint32_t>(wanted.size), place};
        return stored.data != nullptr;
    }
    OMBREL_PART_OF_HASH static uint32_t place(const ombrel_hash_ts&, const unsigned char* slot) {
        return reinterpret_cast<const hash_bytes_head*>(slot)->place;
    }
};

/// The groups of a part in the order in which an entry is looked for: each of them once.
class hash_probe {
public:
    OMBREL_PART_OF_HASH hash_probe(const hash_part& part, const hash_home& home)
        : groups_(part.groups()), mask_(part.group_count() - 1), step_(home.step()),
          at_(part.group_for(home.place)), left_(mask_ + 1) {}

    OMBREL_PART_OF_HASH unsigned char* group() const { return groups_ + at_ * hash_group_size; }
    OMBREL_PART_OF_HASH size_t index() const { return at_; }
    OMBREL_PART_OF_HASH bool next() {
        at_ = (at_ + step_) & mask_;
        return --left_ != 0;
    }

private:
    unsigned char* const groups_;
    const size_t mask_, step_;
    size_t at_, left_;
};

template<typename Machine>
struct hash_slots {
    static constexpr unsigned all = (1u << hash_group_slots) - 1;

    OMBREL_PART_OF_HASH static unsigned used(const unsigned char* group) {
        return ~Machine::same(group, 0) & all;
    }
    OMBREL_PART_OF_HASH static unsigned free(const unsigned char* group) {
        return Machine::same(group, 0) & all;
    }

    /// Takes a slot for an entry that is not there; there is a free one.
    OMBREL_PART_OF_HASH static unsigned char* take(const ombrel_hash_ts& table, const hash_part& part,
                                                   const hash_home& home) {
        hash_probe probe(part, home);
        unsigned open;
        while ((open = free(probe.group())) == 0) {
            uint8_t& overflow = probe.group()[hash_overflow_at];
            overflow = static_cast<uint8_t>(overflow + (overflow < hash_overflow_most ? 1 : 0));
            probe.next();
        }
        const unsigned behind = open & ~0u << home.slot();
        const auto slot = static_cast<unsigned>(std::countr_zero(behind != 0 ? behind : open));
        probe.group()[slot] = home.tag;
        part.header().count++;
        return table.slot_of({part, probe.index(), slot});
    }

    OMBREL_PART_OF_HASH static void leave(const hash_position& at, const hash_home& home) {
        for (hash_probe probe(at.part, home); probe.index() != at.group; probe.next()) {
            uint8_t& overflow = probe.group()[hash_overflow_at];
            overflow = static_cast<uint8_t>(overflow - (overflow < hash_overflow_most ? 1 : 0));
        }
        at.tag() = 0;
        at.part.header().count--;
    }
};

template<typename Machine, typename Keys>
struct hash_loops {
    using key = typename Keys::key;
    using slots = hash_slots<Machine>;

    /// The slot of a key in a group, or null.
    OMBREL_PART_OF_HASH static unsigned char* look_at(const ombrel_hash_ts& table, key wanted,
                                                      const hash_home& home, hash_position& at) {
        const unsigned char* const group = at.part.group(at.group);
        for (unsigned hits = Machine::same(group, home.tag) & slots::all; hits != 0; hits &= hits - 1) {
            at.slot = static_cast<unsigned>(std::countr_zero(hits));
            unsigned char* const slot = table.slot_of(at);
            if (Keys::is(slot, wanted, home.place)) [[likely]]
                return slot;
        }
        return nullptr;
    }

    OMBREL_PART_OF_HASH static bool is_overflown(const hash_position& at) {
        return at.part.group(at.group)[hash_overflow_at] != 0;
    }

    OMBREL_PART_OF_HASH static uint64_t hash_of(const ombrel_hash_ts& table, key wanted) {
        return Keys::hash(table.secret, wanted);
    }

    OMBREL_PART_OF_HASH static hash_position first_of(const ombrel_hash_ts& table, const hash_home& home) {
        const hash_part part = table.directory.part_of(home.place);
        const hash_position at = {part, part.group_for(home.place), home.slot()};
        __builtin_prefetch(table.slot_of(at));
        return at;
    }

    /// In the groups behind the first one.
    OMBREL_PART_OF_HASH static unsigned char* look_further(const ombrel_hash_ts& table, key wanted,
                                                           const hash_home& home, hash_position& at) {
        for (hash_probe probe(at.part, home); is_overflown(at) && probe.next();) {
            at.group = probe.index();
            if (unsigned char* const slot = look_at(table, wanted, home, at))
                return slot;
        }
        return nullptr;
    }

    // What comes after the first group is rare, and out of line as it wants many registers.
    OMBREL_HASH_TARGET [[gnu::noinline]] static void* find_further(const ombrel_hash_ts& table, key wanted,
                                                                   uint64_t hash) {
        const hash_home home = hash_home::of(hash);
        hash_position at = first_of(table, home);
        unsigned char* const slot = look_further(table, wanted, home, at);
        return slot != nullptr ? slot + table.layout.value_at : nullptr;
    }

    OMBREL_HASH_TARGET static void* find(const ombrel_hash_ts& table, key wanted) {
        const uint64_t hash = hash_of(table, wanted);
        const hash_home home = hash_home::of(hash);
        hash_position at = first_of(table, home);
        if (unsigned char* const slot = look_at(table, wanted, home, at)) [[likely]]
            return slot + table.layout.value_at;
        return is_overflown(at) ? find_further(table, wanted, hash) : nullptr;
    }

    OMBREL_HASH_TARGET [[gnu::noinline]] static void* get_further(const ombrel_hash_ts& table, key wanted,
                                                                  uint64_t hash) {
        const void* const value = find_further(table, wanted, hash);
        return value != nullptr ? load_as<void*>(static_cast<const unsigned char*>(value)) : nullptr;
    }

    OMBREL_HASH_TARGET static void* get(const ombrel_hash_ts& table, key wanted) {
        const uint64_t hash = hash_of(table, wanted);
        const hash_home home = hash_home::of(hash);
        hash_position at = first_of(table, home);
        if (const unsigned char* const slot = look_at(table, wanted, home, at)) [[likely]]
            return load_as<void*>(slot + table.layout.value_at);
        return is_overflown(at) ? get_further(table, wanted, hash) : nullptr;
    }

    OMBREL_HASH_TARGET static void* obtain(ombrel_hash_ts& table, key wanted, bool& is_new) {
        const uint64_t hash = hash_of(table, wanted);
        const hash_home home = hash_home::of(hash);
        hash_position at = first_of(table, home);
        is_new = false;
        if (unsigned char* const slot = look_at(table, wanted, home, at))
            return slot + table.layout.value_at;
        if (is_overflown(at))
            return obtain_further(table, wanted, hash, is_new);
        is_new = true;
        return add(table, wanted, hash);
    }

    OMBREL_HASH_TARGET [[gnu::noinline]] static void* obtain_further(ombrel_hash_ts& table, key wanted,
                                                                     uint64_t hash, bool& is_new) {
        void* const value = find_further(table, wanted, hash);
        is_new = value == nullptr;
        return is_new ? add(table, wanted, hash) : value;
    }

    OMBREL_HASH_TARGET [[gnu::noinline]] static void* add(ombrel_hash_ts& table, key wanted, uint64_t hash) {
        const hash_home home = hash_home::of(hash);
        typename Keys::head head;
        if (!make_hash_room(table, home.place) || !Keys::store(table, wanted, home.place, head))
            return nullptr;
        unsigned char* const slot = slots::take(table, table.directory.part_of(home.place), home);
        memcpy(slot, &head, sizeof head);
        const hash_layout layout = table.layout;
        for (size_t at = layout.value_at; at < layout.slot_size; at += sizeof(size_t))
            memset(slot + at, 0, sizeof(size_t)); // in words, as copy_slot()
        table.count++;
        table.additions++;
        return slot + layout.value_at;
    }

    OMBREL_HASH_TARGET static unsigned char* detach(ombrel_hash_ts& table, key wanted) {
        const hash_home home = hash_home::of(hash_of(table, wanted));
        hash_position at = first_of(table, home);
        unsigned char* slot = look_at(table, wanted, home, at);
        if (slot == nullptr && (slot = look_further(table, wanted, home, at)) == nullptr)
            return nullptr;
        slots::leave(at, home);
        table.count--;
        return slot;
    }

    OMBREL_PART_OF_HASH static hash_home home_at(const ombrel_hash_ts& table, const hash_position& at) {
        return {Keys::place(table, table.slot_of(at)), at.tag()};
    }

    OMBREL_HASH_TARGET static unsigned char* detach_at(ombrel_hash_ts& table, const hash_position& at) {
        slots::leave(at, home_at(table, at));
        table.count--;
        return table.slot_of(at);
    }

    OMBREL_HASH_TARGET static size_t distance(const ombrel_hash_ts& table, const hash_position& at) {
        size_t groups = 1;
        for (hash_probe probe(at.part, home_at(table, at)); probe.index() != at.group; probe.next())
            groups++;
        return groups;
    }

    OMBREL_HASH_TARGET static void move(const ombrel_hash_ts& table, const hash_part& from,
                                        const hash_part& to, uint32_t bit) {
        for (size_t group = 0; group < from.group_count(); group++)
            for (unsigned used = slots::used(from.group(group)); used != 0; used &= used - 1)
                move_one(table, {from, group, static_cast<unsigned>(std::countr_zero(used))}, to, bit);
    }

    OMBREL_PART_OF_HASH static void move_one(const ombrel_hash_ts& table, const hash_position& at,
                                             const hash_part& to, uint32_t bit) {
        const hash_home home = home_at(table, at);
        if ((home.place & bit) != bit)
            return;
        copy_slot(slots::take(table, to, home), table.slot_of(at), table.layout.slot_size);
        if (bit != 0)
            slots::leave(at, home);
    }

    // In words, as a call for so few bytes takes longer than to copy them.
    OMBREL_PART_OF_HASH static void copy_slot(unsigned char* to, const unsigned char* from, size_t size) {
        for (size_t at = 0; at < size; at += sizeof(size_t))
            memcpy(to + at, from + at, sizeof(size_t));
    }
};

/// What tables of the other kind of keys do.
template<typename Key>
struct no_such_keys {
    static void* find(const ombrel_hash_ts&, Key) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    static void* obtain(ombrel_hash_ts&, Key, bool&) {
        leave_fault(fault_code::invalid);
        return nullptr;
    }
    static constexpr hash_functions<Key> functions = {find, find, obtain, nullptr};
};

template<typename Loops>
constexpr hash_functions<typename Loops::key> functions_of = {Loops::get, Loops::find, Loops::obtain,
                                                              Loops::detach};
template<typename Loops>
constexpr hash_upkeep upkeep_of = {Loops::detach_at, Loops::move, Loops::distance};

template<typename Machine>
constexpr hash_kernel number_kernel() {
    using loops = hash_loops<Machine, number_keys<Machine>>;
    return {functions_of<loops>, no_such_keys<hash_bytes>::functions, upkeep_of<loops>};
}

template<typename Machine, bool folds>
constexpr hash_kernel bytes_kernel() {
    using loops = hash_loops<Machine, bytes_keys<Machine, folds>>;
    return {no_such_keys<hash_number>::functions, functions_of<loops>, upkeep_of<loops>};
}

} // namespace
} // namespace ombrel
