// All entries of a hash table, one after the other.
#pragma once

#include "container/hash_growth.h"

namespace ombrel {

/// The first entry of a part from a slot on, counted over its groups. False behind the last one.
inline bool next_in_part(const hash_part& part, uint64_t& slot, hash_position& found) {
    for (; slot < part.capacity(); slot++) {
        found = {part, static_cast<size_t>(slot / hash_group_slots),
                 static_cast<unsigned>(slot % hash_group_slots)};
        if (found.tag() != 0)
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
        for (uint64_t slot = 0; next_in_part(part, slot, at);)
            visit(at);
}

inline hash_bytes_head& bytes_head_of(unsigned char* slot) {
    return *reinterpret_cast<hash_bytes_head*>(slot);
}

} // namespace ombrel
