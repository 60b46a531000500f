#include <ombrel/hash.h>

#include <cstring>

#include "container/hash_entries.h"
#include "container/hash_release.h"
#include "core/fault.h"

using namespace ombrel;

namespace {

// What m_state holds.
enum state : unsigned {
    place,     // of the part that the walk is in
    slot,      // of the part, the next to be looked at; above it the place of the entry met, if it has bytes
    moves,     // of the table, when the part was begun
    additions, // of the table, when the entry was met
};

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

constexpr unsigned above_slot = 32;

uint32_t slot_of(const ombrel_hash_walk_t* walk) {
    return static_cast<uint32_t>(walk->m_state[slot]);
}

// Growth may have moved what is still to come to where the walk has been: it begins the part anew. Places
// stay, so that no part is left out.
void look_at_growth(ombrel_hash_walk_t* walk) {
    if (walk->m_state[moves] == walk->m_table->moves)
        return;
    walk->m_state[moves] = walk->m_table->moves;
    walk->m_state[slot] = 0;
}

bool find_next(ombrel_hash_walk_t* walk, hash_position& found) {
    walk->m_state[slot] = slot_of(walk);
    uint64_t next = walk->m_state[place];
    for (hash_part part; next_hash_part(*walk->m_table, next, part);) {
        if (next_in_part(part, walk->m_state[slot], found))
            return true;
        walk->m_state[place] = next;
        walk->m_state[slot] = 0;
    }
    return false;
}

void show(ombrel_hash_walk_t* walk, const hash_position& at) {
    const ombrel_hash_t* const table = walk->m_table;
    unsigned char* const slot = table->slot_of(at);
    if (table->has_numbers()) {
        memcpy(&walk->m_number, slot, sizeof walk->m_number);
    } else {
        walk->m_key = bytes_head_of(slot).data;
        walk->m_key_size = bytes_head_of(slot).size;
        walk->m_state[state::slot] |= uint64_t{bytes_head_of(slot).place} << above_slot;
    }
    walk->m_value = slot + table->layout.value_at;
    walk->m_state[additions] = table->additions;
}

void show_none(ombrel_hash_walk_t* walk) {
    walk->m_key = walk->m_value = nullptr;
    walk->m_key_size = 0;
    walk->m_number = 0;
}

// What was added since may stand in the same slot.
bool is_as_it_was(const ombrel_hash_walk_t* walk) {
    return walk->m_state[moves] == walk->m_table->moves &&
           walk->m_state[additions] == walk->m_table->additions;
}

hash_position position_of(const ombrel_hash_walk_t* walk) {
    const uint32_t last = slot_of(walk) - 1;
    return {walk->m_table->directory.part_of(static_cast<uint32_t>(walk->m_state[place])),
            size_t{last / hash_group_slots}, last % hash_group_slots};
}

// The key's bytes are gone with their entry, and others may lie there: it is known by its place and address.
unsigned char* detach_by_address(const ombrel_hash_walk_t* walk) {
    ombrel_hash_t& table = *walk->m_table;
    const auto home = static_cast<uint32_t>(walk->m_state[slot] >> above_slot);
    const hash_part part = table.directory.part_of(home);
    hash_position at;
    for (uint64_t next = 0; next_in_part(part, next, at);)
        if (const hash_bytes_head& head = bytes_head_of(table.slot_of(at));
            head.data == walk->m_key && head.size == walk->m_key_size && head.place == home)
            return table.kernel.upkeep.detach_at(table, at);
    return nullptr;
}

unsigned char* detach_moved(const ombrel_hash_walk_t* walk) {
    ombrel_hash_t& table = *walk->m_table;
    return table.has_numbers() ? table.kernel.numbers.detach(table, {walk->m_number})
                               : detach_by_address(walk);
}

unsigned char* detach(ombrel_hash_walk_t* walk) {
    if (!is_as_it_was(walk))
        return detach_moved(walk);
    const hash_position at = position_of(walk);
    return at.tag() != 0 ? walk->m_table->kernel.upkeep.detach_at(*walk->m_table, at) : nullptr;
}

} // namespace

int ombrel_init_hash_walk(ombrel_hash_walk_t* walk, ombrel_hash_t* table) {
    if (walk == nullptr)
        return refuse(fault_code::invalid);
    *walk = {};
    if (table == nullptr)
        return refuse(fault_code::invalid);
    walk->m_table = table;
    walk->m_state[moves] = table->moves;
    return 0;
}

int ombrel_hash_walk_step(ombrel_hash_walk_t* walk) {
    if (walk == nullptr || walk->m_table == nullptr)
        return refuse(fault_code::invalid);
    look_at_growth(walk);
    hash_position at;
    const bool is_there = find_next(walk, at);
    if (is_there)
        show(walk, at);
    else
        show_none(walk);
    return is_there ? 1 : 0;
}

int ombrel_hash_walk_remove(ombrel_hash_walk_t* walk) {
    if (walk == nullptr || walk->m_table == nullptr)
        return refuse(fault_code::invalid);
    unsigned char* const slot = walk->m_value != nullptr ? detach(walk) : nullptr;
    show_none(walk);
    if (slot == nullptr)
        return refuse(fault_code::not_found);
    drop_hash_key(*walk->m_table, slot);
    release_hash_value(*walk->m_table, slot);
    return 0;
}
