// All entries of a hash table, one after the other.
#pragma once

#include "container/hash_growth.h"

namespace ombrel {

inline bool is_used(const ombrel_hash_ts& table, const hash_position& at) {
    return at.part.groups()[at.group * table.layout.group_size + at.slot] != 0;
}

/// Without what goes with it: the part is on its way out.
inline void clear_slot(const ombrel_hash_ts& table, const hash_position& at) {
    at.part.groups()[at.group * table.layout.group_size + at.slot] = 0;
}

/// The first entry of a part from a slot on, counted over its groups. False behind the last one.
inline bool next_in_part(const ombrel_hash_ts& table, const hash_part& part, uint64_t& slot,
                         hash_position& found) {
    for (; slot < part.capacity(); slot++) {
        found = {part, static_cast<size_t>(slot / hash_group_slots),
                 static_cast<unsigned>(slot % hash_group_slots)};
        if (is_used(table, found))
            return slot++, true;
    }
    return false;
}

/// The table stays as it is meanwhile.
template<typename Visit>
void for_each_entry(const ombrel_hash_ts& table, Visit visit) {
    hash_part part;
    hash_position at;
    for (uint64_t place = 0; next_hash_part(table, place, part);)
        for (uint64_t slot = 0; next_in_part(table, part, slot, at);)
            visit(at);
}

inline hash_bytes_head& bytes_head_of(unsigned char* slot) {
    return *reinterpret_cast<hash_bytes_head*>(slot);
}

} // namespace ombrel
