// How hash tables get room and give it back, part by part.
#pragma once

#include <cstddef>
#include <cstdint>

#include "container/hash_table.h"

namespace ombrel {

/// Sees to room for one more entry at a place. False, with a fault and no entry changed, above the table's
/// limit, and when no memory is left and the part is full.
bool make_hash_room(ombrel_hash_ts& table, uint32_t place);

/// The table's own copy of a key. Null, with a fault, when memory has run out.
const unsigned char* copy_hash_key(ombrel_hash_ts& table, const hash_bytes& key);

/// A table begins with this, which has no slot.
hash_part empty_hash_part();

/// Room for so many entries in all. False as above.
bool reserve_hash_room(ombrel_hash_ts& table, size_t count);

/// Joins parts that are nearly empty, and replaces the last one by a smaller one. False as above.
bool shrink_hash_room(ombrel_hash_ts& table);

/// Makes the parts as if new. The entries are not counted down.
void empty_hash_parts(ombrel_hash_ts& table);

/// Whatever entries there are.
void free_hash_parts(ombrel_hash_ts& table);

/// Of every part once, in the order of places: the next one, from 0 on. Gives false at the end.
bool next_hash_part(const ombrel_hash_ts& table, uint64_t& place, hash_part& part);

/// Bytes of the heap for a part.
size_t hash_part_bytes(const ombrel_hash_ts& table, unsigned size_bits);

} // namespace ombrel
