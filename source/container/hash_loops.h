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
#include <utility>

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

/// The bits in which the first and the last words of so many bytes differ, which may overlap.
template<bool folds, typename Word>
OMBREL_PART_OF_HASH Word differing(const unsigned char* a, const unsigned char* b, size_t size) {
    const size_t last = size - sizeof(Word);
    return (folded<folds>(load_as<Word>(a)) ^ folded<folds>(load_as<Word>(b))) |
           (folded<folds>(load_as<Word>(a + last)) ^ folded<folds>(load_as<Word>(b + last)));
}

template<bool folds>
OMBREL_PART_OF_HASH bool equal_bytes(const unsigned char* a, const unsigned char* b, size_t size) {
    for (; size > 32; a += 16, b += 16, size -= 16)
        if (differing<folds, uint64_t>(a, b, 16) != 0)
            return false;
    if (size > 16) // without a step whose number would differ from key to key
        return (differing<folds, uint64_t>(a, b, 16) |
                differing<folds, uint64_t>(a + size - 16, b + size - 16, 16)) == 0;
    if (size >= 8)
        return differing<folds, uint64_t>(a, b, size) == 0;
    if (size >= 4)
        return differing<folds, uint32_t>(a, b, size) == 0;
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
        const unsigned char* const kept = table.copies_keys() ? copy_hash_key(table, wanted)
                                          : wanted.size != 0  ? wanted.data
                                                              : reinterpret_cast<const unsigned char*>("");
        stored = {kept, static_cast<uint32_t>(wanted.size), place};
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

    /// Of free slots, as bits, the one for an entry.
    OMBREL_PART_OF_HASH static unsigned nearest(unsigned open, const hash_home& home) {
        const unsigned behind = open & ~0u << home.slot();
        return static_cast<unsigned>(std::countr_zero(behind != 0 ? behind : open));
    }

    OMBREL_PART_OF_HASH static unsigned char* enter(const ombrel_hash_ts& table, const hash_position& at,
                                                    const hash_home& home) {
        unsigned char* const slot = table.slot_of(at);
        at.part.header().count++;
        at.tag() = home.tag;
        return slot;
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
        return enter(table, {part, probe.index(), nearest(open, home)}, home);
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
        if (table.directory.is_large()) // a small one is near anyway
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
        const unsigned open = slots::free(at.part.group(at.group));
        if (open == 0 || !has_room(table, at.part)) [[unlikely]]
            return add(table, wanted, hash);
        typename Keys::head head;
        if (!Keys::store(table, wanted, home.place, head)) [[unlikely]]
            return nullptr;
        at.slot = slots::nearest(open, home);
        return fill(table, slots::enter(table, at, home), head);
    }

    OMBREL_HASH_TARGET [[gnu::noinline]] static void* obtain_further(ombrel_hash_ts& table, key wanted,
                                                                     uint64_t hash, bool& is_new) {
        void* const value = find_further(table, wanted, hash);
        is_new = value == nullptr;
        return is_new ? add(table, wanted, hash) : value;
    }

    // Whether there is nothing to see to, as is usual.
    OMBREL_PART_OF_HASH static bool has_room(const ombrel_hash_ts& table, const hash_part& part) {
        const hash_part_header& header = part.header();
        return header.count < header.most && (table.limit == 0 || table.count < table.limit);
    }

    // In whatever group has room, after growth if it is time for that.
    OMBREL_HASH_TARGET [[gnu::noinline]] static void* add(ombrel_hash_ts& table, key wanted, uint64_t hash) {
        const hash_home home = hash_home::of(hash);
        typename Keys::head head;
        if (!has_room(table, table.directory.part_of(home.place)) && !make_hash_room(table, home.place))
            return nullptr;
        if (!Keys::store(table, wanted, home.place, head)) [[unlikely]]
            return nullptr;
        return fill(table, slots::take(table, table.directory.part_of(home.place), home), head);
    }

    // An entry's slot, its value with zeros.
    OMBREL_PART_OF_HASH static void* fill(ombrel_hash_ts& table, unsigned char* slot,
                                          const typename Keys::head& head) {
        const hash_layout layout = table.layout;
        memcpy(slot, &head, sizeof head);
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

    // Slot by slot over all groups, so that what goes to one group does not come at once: its tags are read
    // as a whole, and a processor waits when one of them has only just been written.
    OMBREL_HASH_TARGET static void move(const ombrel_hash_ts& table, const hash_part& from,
                                        const hash_part& to) {
        for (unsigned slot = 0; slot < hash_group_slots; slot++)
            for (size_t group = 0; group < from.group_count(); group++)
                if (const hash_position at = {from, group, slot}; at.tag() != 0)
                    copy_slot(slots::take(table, to, home_at(table, at)), table.slot_of(at),
                              table.layout.slot_size);
    }

    /// What is to leave a group when its part is split, as bits: that which stands where it belongs, and the
    /// rest.
    struct leavers {
        unsigned at_home, displaced;
    };
    OMBREL_PART_OF_HASH static leavers leavers_of(const ombrel_hash_ts& table, const hash_part& part,
                                                  size_t group, uint32_t bit) {
        unsigned all = 0, displaced = 0;
        for (unsigned used = slots::used(part.group(group)); used != 0; used &= used - 1) {
            const auto slot = static_cast<unsigned>(std::countr_zero(used));
            const uint32_t place = Keys::place(table, table.slot_of({part, group, slot}));
            all |= ((place & bit) != 0 ? 1u : 0u) << slot;
            displaced |= (part.group_for(place) != group ? 1u : 0u) << slot;
        }
        return {all & ~displaced, all & displaced};
    }

    // The parts are alike, so that a group's entries find the same slots free in the other one.
    OMBREL_PART_OF_HASH static void move_group(const ombrel_hash_ts& table, const hash_part& from,
                                               const hash_part& to, size_t group, unsigned which) {
        uint32_t count = 0;
        for (; which != 0; which &= which - 1, count++) {
            const auto slot = static_cast<unsigned>(std::countr_zero(which));
            const hash_position old = {from, group, slot}, place = {to, group, slot};
            copy_slot(table.slot_of(place), table.slot_of(old), table.layout.slot_size);
            place.tag() = std::exchange(old.tag(), uint8_t{0});
        }
        from.header().count -= count, to.header().count += count;
    }

    OMBREL_PART_OF_HASH static void move_displaced(const ombrel_hash_ts& table, const hash_part& from,
                                                   const hash_part& to, size_t group, unsigned which) {
        for (; which != 0; which &= which - 1) {
            const hash_position at = {from, group, static_cast<unsigned>(std::countr_zero(which))};
            const hash_home home = home_at(table, at);
            copy_slot(slots::take(table, to, home), table.slot_of(at), table.layout.slot_size);
            slots::leave(at, home);
        }
    }

    // What is displaced comes last, as the others need no search for as long as nothing else stands there.
    OMBREL_HASH_TARGET static void split(const ombrel_hash_ts& table, const hash_part& from,
                                         const hash_part& to, uint32_t bit) {
        bool is_displaced = false;
        for (size_t group = 0; group < from.group_count(); group++) {
            const leavers leaving = leavers_of(table, from, group, bit);
            move_group(table, from, to, group, leaving.at_home);
            is_displaced |= leaving.displaced != 0;
        }
        for (size_t group = 0; is_displaced && group < from.group_count(); group++)
            move_displaced(table, from, to, group, leavers_of(table, from, group, bit).displaced);
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
constexpr hash_upkeep upkeep_of = {Loops::detach_at, Loops::move, Loops::split, Loops::distance};

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
