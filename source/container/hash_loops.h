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
    OMBREL_PART_OF_HASH hash_probe(const ombrel_hash_ts& table, const hash_part& part, const hash_home& home)
        : groups_(part.groups()), mask_(part.group_mask()), group_size_(table.layout.group_size),
          step_(home.step()), at_(home.place & mask_), left_(mask_ + 1) {}

    OMBREL_PART_OF_HASH unsigned char* group() const { return groups_ + at_ * group_size_; }
    OMBREL_PART_OF_HASH size_t index() const { return at_; }
    OMBREL_PART_OF_HASH bool next() {
        at_ = (at_ + step_) & mask_;
        return --left_ != 0;
    }

private:
    unsigned char* const groups_;
    const size_t mask_, group_size_, step_;
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
        hash_probe probe(table, part, home);
        unsigned open;
        while ((open = free(probe.group())) == 0) {
            uint8_t& overflow = probe.group()[hash_overflow_at];
            overflow = static_cast<uint8_t>(overflow + (overflow < hash_overflow_most ? 1 : 0));
            probe.next();
        }
        const auto slot = static_cast<unsigned>(std::countr_zero(open));
        probe.group()[slot] = home.tag;
        part.header().count++;
        return table.slot_at(probe.group(), slot);
    }

    OMBREL_PART_OF_HASH static void leave(const ombrel_hash_ts& table, const hash_position& at,
                                          const hash_home& home) {
        for (hash_probe probe(table, at.part, home); probe.index() != at.group; probe.next()) {
            uint8_t& overflow = probe.group()[hash_overflow_at];
            overflow = static_cast<uint8_t>(overflow - (overflow < hash_overflow_most ? 1 : 0));
        }
        at.part.groups()[at.group * table.layout.group_size + at.slot] = 0;
        at.part.header().count--;
    }
};

template<typename Machine, typename Keys>
struct hash_loops {
    using key = typename Keys::key;
    using slots = hash_slots<Machine>;

    /// The slot of a key, or null.
    OMBREL_PART_OF_HASH static unsigned char* search(const ombrel_hash_ts& table, key wanted,
                                                     const hash_home& home, const hash_part& part,
                                                     hash_position* found = nullptr) {
        hash_probe probe(table, part, home);
        do {
            unsigned char* const group = probe.group();
            for (unsigned hits = Machine::same(group, home.tag) & slots::all; hits != 0; hits &= hits - 1) {
                const auto slot = static_cast<unsigned>(std::countr_zero(hits));
                unsigned char* const at = table.slot_at(group, slot);
                if (!Keys::is(at, wanted, home.place)) [[unlikely]]
                    continue;
                if (found != nullptr)
                    *found = {part, probe.index(), slot};
                return at;
            }
            if (group[hash_overflow_at] == 0) [[likely]]
                return nullptr;
        } while (probe.next());
        return nullptr;
    }

    OMBREL_HASH_TARGET static void* find(const ombrel_hash_ts& table, key wanted) {
        const hash_home home = hash_home::of(Keys::hash(table.secret, wanted));
        unsigned char* const slot = search(table, wanted, home, table.directory.part_of(home.place));
        return slot != nullptr ? slot + table.layout.value_at : nullptr;
    }

    OMBREL_HASH_TARGET static void* obtain(ombrel_hash_ts& table, key wanted, bool& is_new) {
        const hash_home home = hash_home::of(Keys::hash(table.secret, wanted));
        unsigned char* slot = search(table, wanted, home, table.directory.part_of(home.place));
        is_new = slot == nullptr;
        if (is_new && (slot = add(table, wanted, home)) == nullptr)
            return nullptr;
        return slot + table.layout.value_at;
    }

    OMBREL_PART_OF_HASH static unsigned char* add(ombrel_hash_ts& table, key wanted, const hash_home& home) {
        typename Keys::head head;
        if (!make_hash_room(table, home.place) || !Keys::store(table, wanted, home.place, head))
            return nullptr;
        unsigned char* const slot = slots::take(table, table.directory.part_of(home.place), home);
        memcpy(slot, &head, sizeof head);
        for (size_t at = table.layout.value_at; at < table.layout.slot_size; at += sizeof(size_t))
            memset(slot + at, 0, sizeof(size_t)); // in words, as copy_slot()
        table.count++;
        table.additions++;
        return slot;
    }

    OMBREL_HASH_TARGET static unsigned char* detach(ombrel_hash_ts& table, key wanted) {
        const hash_home home = hash_home::of(Keys::hash(table.secret, wanted));
        hash_position at{};
        unsigned char* const slot = search(table, wanted, home, table.directory.part_of(home.place), &at);
        if (slot == nullptr)
            return nullptr;
        slots::leave(table, at, home);
        table.count--;
        return slot;
    }

    OMBREL_PART_OF_HASH static hash_home home_at(const ombrel_hash_ts& table, const hash_position& at) {
        return {Keys::place(table, table.slot_of(at)),
                at.part.groups()[at.group * table.layout.group_size + at.slot]};
    }

    OMBREL_HASH_TARGET static unsigned char* detach_at(ombrel_hash_ts& table, const hash_position& at) {
        slots::leave(table, at, home_at(table, at));
        table.count--;
        return table.slot_of(at);
    }

    OMBREL_HASH_TARGET static size_t distance(const ombrel_hash_ts& table, const hash_position& at) {
        size_t groups = 1;
        for (hash_probe probe(table, at.part, home_at(table, at)); probe.index() != at.group; probe.next())
            groups++;
        return groups;
    }

    OMBREL_HASH_TARGET static void move(const ombrel_hash_ts& table, const hash_part& from,
                                        const hash_part& to, uint32_t bit) {
        for (size_t group = 0; group < from.group_count(); group++)
            for (unsigned used = slots::used(from.groups() + group * table.layout.group_size); used != 0;
                 used &= used - 1)
                move_one(table, {from, group, static_cast<unsigned>(std::countr_zero(used))}, to, bit);
    }

    OMBREL_PART_OF_HASH static void move_one(const ombrel_hash_ts& table, const hash_position& at,
                                             const hash_part& to, uint32_t bit) {
        const hash_home home = home_at(table, at);
        if ((home.place & bit) != bit)
            return;
        copy_slot(slots::take(table, to, home), table.slot_of(at), table.layout.slot_size);
        if (bit != 0)
            slots::leave(table, at, home);
    }

    // In words, as a call for so few bytes takes longer than to copy them.
    OMBREL_PART_OF_HASH static void copy_slot(unsigned char* to, const unsigned char* from, size_t size) {
        for (size_t at = 0; at < size; at += sizeof(size_t))
            memcpy(to + at, from + at, sizeof(size_t));
    }
};

template<typename Machine>
constexpr hash_kernel number_kernel() {
    using loops = hash_loops<Machine, number_keys<Machine>>;
    return {
        {loops::find, loops::obtain, loops::detach}, {}, {loops::detach_at, loops::move, loops::distance}};
}

template<typename Machine, bool folds>
constexpr hash_kernel bytes_kernel() {
    using loops = hash_loops<Machine, bytes_keys<Machine, folds>>;
    return {
        {}, {loops::find, loops::obtain, loops::detach}, {loops::detach_at, loops::move, loops::distance}};
}

} // namespace
} // namespace ombrel
