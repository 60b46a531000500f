// What becomes of the key and the value of an entry that has left its table, but whose slot is as it was.
#pragma once

#include <cstring>

#include "container/hash_entries.h"

namespace ombrel {

inline void drop_hash_key(ombrel_hash_ts& table, unsigned char* slot) {
    if (!table.copies_keys())
        return;
    const hash_bytes_head& head = bytes_head_of(slot);
    table.keys.drop(const_cast<unsigned char*>(head.data), head.size);
}

inline void release_hash_pointer(const ombrel_hash_ts& table, void* pointer) {
    if (pointer != nullptr && table.release != nullptr)
        table.release(pointer, table.context);
}

inline void release_hash_value(const ombrel_hash_ts& table, unsigned char* slot) {
    void* value = slot + table.layout.value_at;
    if (table.holds_pointers)
        memcpy(&value, slot + table.layout.value_at, sizeof value);
    release_hash_pointer(table, value);
}

} // namespace ombrel
