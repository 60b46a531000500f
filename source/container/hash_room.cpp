#include <ombrel/hash.h>

#include <algorithm>

#include "container/hash_entries.h"
#include "container/hash_growth.h"
#include "core/fault.h"

using namespace ombrel;

namespace {

int refuse(fault_code why) {
    leave_fault(why);
    return -1;
}

void count_part(const ombrel_hash_t& table, const hash_part& part, ombrel_hash_statistics_t& all) {
    all.m_room += part.capacity();
    all.m_bytes += static_cast<int64_t>(hash_part_bytes(table, part.size_bits()));
}

void count_parts(const ombrel_hash_t& table, ombrel_hash_statistics_t& all) {
    hash_part part;
    for (uint64_t place = 0; table.parts != 0 && next_hash_part(table, place, part);)
        count_part(table, part, all);
    if (table.directory.parts != &table.only_part)
        all.m_bytes += static_cast<int64_t>(table.directory.size() * sizeof(hash_part));
    if (table.directory.next != nullptr)
        all.m_bytes += static_cast<int64_t>(2 * table.directory.size() * sizeof(hash_part));
}

// Copies that no other lies between, behind each other again.
bool pack_keys(ombrel_hash_t& table) {
    size_t size = 0;
    for_each_entry(table, [&](const hash_position& at) {
        size += hash_key_store::shared_room(bytes_head_of(table.slot_of(at)).size);
    });
    hash_key_store packed(table.owner);
    if (size >= table.keys.shared_bytes())
        return true;
    if (size != 0 && !packed.open(size))
        return false;
    for_each_entry(table, [&](const hash_position& at) {
        hash_bytes_head& head = bytes_head_of(table.slot_of(at));
        if (!hash_key_store::is_long(head.size))
            head.data = packed.copy(head.data, head.size);
    });
    table.keys.become(packed);
    return true;
}

} // namespace

int ombrel_hash_reserve(ombrel_hash_t* table, size_t count) {
    if (table == nullptr)
        return refuse(fault_code::invalid);
    return reserve_hash_room(*table, count) ? 0 : -1;
}

int ombrel_hash_shrink(ombrel_hash_t* table) {
    if (table == nullptr)
        return refuse(fault_code::invalid);
    if (!shrink_hash_room(*table))
        return -1;
    return !table->copies_keys() || pack_keys(*table) ? 0 : refuse(fault_code::no_memory);
}

int ombrel_hash_get_statistics(const ombrel_hash_t* table, ombrel_hash_statistics_t* statistics) {
    if (statistics == nullptr)
        return refuse(fault_code::invalid);
    *statistics = {};
    if (table == nullptr)
        return refuse(fault_code::invalid);
    statistics->m_count = static_cast<int64_t>(table->count);
    statistics->m_parts = static_cast<int64_t>(table->parts);
    statistics->m_growths = static_cast<int64_t>(table->growths);
    statistics->m_key_bytes = static_cast<int64_t>(table->keys.bytes());
    statistics->m_bytes = static_cast<int64_t>(sizeof *table) + statistics->m_key_bytes;
    count_parts(*table, *statistics);
    for_each_entry(*table, [&](const hash_position& at) {
        const auto distance = static_cast<int64_t>(table->kernel.upkeep.distance(*table, at));
        statistics->m_longest_probe = std::max(statistics->m_longest_probe, distance);
        statistics->m_displaced += distance > 1 ? 1 : 0;
    });
    return 0;
}
