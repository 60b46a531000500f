#include "container/hash_growth.h"

#include <algorithm>
#include <cstring>

#include "core/block.h"
#include "core/fault.h"

namespace ombrel {

namespace {

constexpr unsigned deepest = 24;        // leaves bits of a place for the groups
constexpr unsigned most_size_bits = 20; // of a part in which the entries of one place are crowded
constexpr uint64_t all_places = uint64_t{1} << 32;

// A part of no room, which is never written.
struct alignas(hash_part::alignment) {
    unsigned char group[hash_group_size];
    hash_part_header header;
} constinit nothing{};

bool refuse(fault_code why) {
    leave_fault(why);
    return false;
}

// A look-up that misses ends sooner with some free slots in each group. A lone group has none behind it.
uint32_t most_of(unsigned size_bits) {
    return size_bits == 0 ? hash_group_slots : (hash_group_slots - 4u) << size_bits;
}

unsigned size_bits_for(size_t count) {
    unsigned bits = 0;
    while (most_of(bits) < count)
        bits++;
    return bits;
}

void clear_part(const hash_part& part) {
    memset(part.groups(), 0, part.group_count() * hash_group_size);
    part.header().count = 0;
    part.header().most = most_of(part.size_bits());
}

// Empty; its word is 0 when memory has run out.
hash_part open_part(const ombrel_hash_ts& table, unsigned size_bits, uint32_t depth) {
    void* const block = allocate_block(hash_part_bytes(table, size_bits), table.owner.tag, table.owner.line);
    if (block == nullptr)
        return {};
    const size_t slots = (size_t{hash_group_slots} << size_bits) * table.layout.slot_size;
    const size_t skipped = (0 - reinterpret_cast<uintptr_t>(block) - slots) % hash_part::alignment;
    const hash_part part(static_cast<unsigned char*>(block) + skipped + slots, size_bits);
    part.header().block = block;
    part.header().depth = depth;
    clear_part(part);
    return part;
}

void close_part(const ombrel_hash_ts& table, const hash_part& part) {
    if (part != empty_hash_part())
        free_block(part.header().block, table.owner.tag, table.owner.line);
}

// Makes the part that of all places which share its high bits with this one.
void enter_part(ombrel_hash_ts& table, uint32_t place, const hash_part& part) {
    hash_directory& directory = table.directory;
    const size_t span = size_t{1} << (directory.depth - part.header().depth);
    const size_t first = directory.index_of(place) & ~(span - 1);
    std::fill_n(directory.parts + first, span, part);
    if (first < directory.made)
        std::fill_n(directory.next + 2 * first, 2 * std::min(span, directory.made - first), part);
}

void make_next_directory(hash_directory& directory, size_t count) {
    for (; directory.made < directory.size() && count > 0; directory.made++, count--) {
        hash_part* const pair = directory.next + 2 * directory.made;
        pair[0] = pair[1] = directory.parts[directory.made];
    }
}

// False when memory has run out.
bool open_next_directory(ombrel_hash_ts& table) {
    hash_directory& directory = table.directory;
    if (directory.next == nullptr)
        directory.next = static_cast<hash_part*>(
            allocate_block(2 * directory.size() * sizeof(hash_part), table.owner.tag, table.owner.line));
    return directory.next != nullptr;
}

// A large directory would take too long to be copied by one call, its pages most of all. Splits come in
// waves, as parts fill alike: it begins towards the end of one and is there long before the next.
void look_ahead(ombrel_hash_ts& table) {
    constexpr size_t at_once = 64;
    if (table.directory.depth < deepest && table.parts > table.directory.size() / 4 * 3 &&
        table.directory.size() >= at_once && open_next_directory(table))
        make_next_directory(table.directory, at_once);
}

bool open_first_part(ombrel_hash_ts& table, unsigned size_bits) {
    const hash_part part = open_part(table, size_bits, 0);
    if (part == hash_part())
        return false;
    enter_part(table, 0, part);
    table.parts = 1;
    table.moves++;
    return true;
}

// Larger or smaller, with room for what is there.
bool resize_part(ombrel_hash_ts& table, uint32_t place, const hash_part& part, unsigned size_bits) {
    const hash_part resized = open_part(table, size_bits, part.header().depth);
    if (resized == hash_part())
        return false;
    table.kernel.upkeep.move(table, part, resized);
    enter_part(table, place, resized);
    close_part(table, part);
    table.moves++;
    return true;
}

// By the first bit that its places do not share.
bool split_part(ombrel_hash_ts& table, uint32_t place, const hash_part& part) {
    hash_part_header& header = part.header();
    const hash_part other = open_part(table, part.size_bits(), header.depth + 1);
    if (other == hash_part())
        return false;
    const uint32_t bit = uint32_t{1} << (31 - header.depth);
    table.kernel.upkeep.split(table, part, other, bit);
    header.depth++;
    header.most = most_of(part.size_bits());
    enter_part(table, place | bit, other);
    table.parts++;
    table.moves++;
    look_ahead(table);
    return true;
}

void change_directory(ombrel_hash_ts& table, hash_part* parts, uint32_t depth) {
    if (table.directory.parts != &table.only_part)
        free_block(table.directory.parts, table.owner.tag, table.owner.line);
    if (table.directory.next != nullptr && table.directory.next != parts)
        free_block(table.directory.next, table.owner.tag, table.owner.line);
    table.directory = {parts, 31 - depth, depth, nullptr, 0};
}

bool deepen_directory(ombrel_hash_ts& table) {
    if (!open_next_directory(table))
        return false;
    make_next_directory(table.directory, table.directory.size());
    change_directory(table, table.directory.next, table.directory.depth + 1);
    return true;
}

// Places that someone chose who knows the seed may share many bits: the memory of a directory stays in
// proportion to that of the parts then, which are enlarged instead.
bool may_deepen(const ombrel_hash_ts& table) {
    return table.directory.depth < deepest &&
           2 * table.directory.size() <= std::max(size_t{64}, 16 * table.parts);
}

bool split_deeply(ombrel_hash_ts& table, uint32_t place, const hash_part& part) {
    return (part.header().depth < table.directory.depth || deepen_directory(table)) &&
           split_part(table, place, part);
}

bool grow(ombrel_hash_ts& table, uint32_t place, const hash_part& part) {
    if (part == empty_hash_part())
        return open_first_part(table, 0);
    if (part.size_bits() < table.largest_part)
        return resize_part(table, place, part, std::min(part.size_bits() + 2, table.largest_part));
    if (part.header().depth < table.directory.depth || may_deepen(table))
        return split_deeply(table, place, part);
    return part.size_bits() < most_size_bits && resize_part(table, place, part, part.size_bits() + 1);
}

// Without memory a part is filled to the last slot. Growth is tried again now and then, not each time.
bool make_do(const hash_part& part) {
    if (part == empty_hash_part() || part.header().count >= part.capacity())
        return refuse(fault_code::no_memory);
    hash_part_header& header = part.header();
    header.most += std::max(1u, (part.capacity() - header.most) / 2);
    return true;
}

} // namespace

hash_part empty_hash_part() {
    return {nothing.group, 0};
}

size_t hash_part_bytes(const ombrel_hash_ts& table, unsigned size_bits) {
    const size_t group = hash_group_size + size_t{hash_group_slots} * table.layout.slot_size;
    return (group << size_bits) + sizeof(hash_part_header) + hash_part::alignment - 1;
}

bool next_hash_part(const ombrel_hash_ts& table, uint64_t& place, hash_part& part) {
    if (place >= all_places)
        return false;
    part = table.directory.part_of(static_cast<uint32_t>(place));
    const uint64_t span = all_places >> part.header().depth;
    place = (place & ~(span - 1)) + span;
    return true;
}

bool make_hash_room(ombrel_hash_ts& table, uint32_t place) {
    if (table.limit != 0 && table.count >= table.limit)
        return refuse(fault_code::too_large);
    for (;;) {
        const hash_part part = table.directory.part_of(place);
        if (part.header().count < part.header().most) [[likely]]
            return true;
        if (!grow(table, place, part))
            return make_do(part);
        table.growths++;
    }
}

const unsigned char* copy_hash_key(ombrel_hash_ts& table, const hash_bytes& key) {
    const unsigned char* const copy = table.keys.copy(key.data, key.size);
    if (copy == nullptr)
        leave_fault(fault_code::no_memory);
    return copy;
}

void empty_hash_parts(ombrel_hash_ts& table) {
    hash_part part;
    for (uint64_t place = 0; next_hash_part(table, place, part);) {
        if (part == empty_hash_part())
            return;
        clear_part(part);
    }
}

void free_hash_parts(ombrel_hash_ts& table) {
    hash_part part;
    for (uint64_t place = 0; next_hash_part(table, place, part);)
        close_part(table, part);
    table.only_part = empty_hash_part();
    table.parts = 0;
    change_directory(table, &table.only_part, 0);
}

namespace {

// Whether the host could have so much at all, so that a wish beyond all bounds is refused at once and not
// when there is no memory left for others.
bool could_have(const ombrel_hash_ts& table, size_t parts) {
    const size_t each = hash_part_bytes(table, table.largest_part) + sizeof(hash_part);
    if (parts > PTRDIFF_MAX / each)
        return refuse(fault_code::too_large);
    void* const block = allocate_block(parts * each, table.owner.tag, table.owner.line);
    if (block == nullptr)
        return refuse(fault_code::no_memory);
    free_block(block, table.owner.tag, table.owner.line);
    return true;
}

// One step of growth at a place on the way to parts of a size and depth: 1, or 0 where they are there, or -1.
int reserve_step(ombrel_hash_ts& table, uint32_t place, unsigned size_bits, uint32_t depth) {
    const hash_part part = table.directory.part_of(place);
    if (part == empty_hash_part())
        return open_first_part(table, size_bits) ? 1 : -1;
    if (part.size_bits() < size_bits)
        return resize_part(table, place, part, size_bits) ? 1 : -1;
    if (part.header().depth < depth)
        return split_deeply(table, place, part) ? 1 : -1;
    return 0;
}

bool reserve_parts(ombrel_hash_ts& table, unsigned size_bits, uint32_t depth) {
    hash_part part;
    for (uint64_t place = 0; place < all_places; next_hash_part(table, place, part))
        while (const int step = reserve_step(table, static_cast<uint32_t>(place), size_bits, depth)) {
            if (step < 0)
                return refuse(fault_code::no_memory);
            table.growths++;
        }
    return true;
}

} // namespace

bool reserve_hash_room(ombrel_hash_ts& table, size_t count) {
    if (table.limit != 0 && count > table.limit)
        return refuse(fault_code::too_large);
    if (count <= table.count)
        return true;
    if (count <= most_of(table.largest_part) && table.directory.depth == 0)
        return reserve_parts(table, size_bits_for(count), 0);
    // Parts are not filled evenly.
    const size_t usual = most_of(table.largest_part) - most_of(table.largest_part) / 8;
    uint32_t depth = 0;
    while ((count - 1) >> depth >= usual)
        depth++;
    if (depth > deepest)
        return refuse(fault_code::too_large);
    return could_have(table, size_t{1} << depth) && reserve_parts(table, table.largest_part, depth);
}

namespace {

uint32_t joint_count(const hash_part& low, const hash_part& high) {
    return low.header().count + high.header().count;
}

// The parts on both sides of the last bit that all of their entries share become one.
bool join_parts(ombrel_hash_ts& table, uint32_t place, const hash_part& low, const hash_part& high) {
    const uint32_t depth = low.header().depth - 1;
    const hash_part joint = open_part(table, size_bits_for(joint_count(low, high)), depth);
    if (joint == hash_part())
        return refuse(fault_code::no_memory);
    for (const hash_part& part : {low, high}) {
        table.kernel.upkeep.move(table, part, joint);
        close_part(table, part);
    }
    enter_part(table, place, joint);
    table.parts--;
    table.moves++;
    return true;
}

bool are_joinable(const ombrel_hash_ts& table, const hash_part& low, const hash_part& high, uint32_t depth) {
    return low.header().depth == depth && high.header().depth == depth &&
           joint_count(low, high) <= most_of(table.largest_part) / 4 * 3;
}

bool join_at_depth(ombrel_hash_ts& table, uint32_t depth) {
    const uint64_t bit = all_places >> depth;
    for (uint64_t place = 0; place < all_places; place += 2 * bit) {
        const auto at = static_cast<uint32_t>(place);
        const hash_part low = table.directory.part_of(at);
        const hash_part high = table.directory.part_of(at | static_cast<uint32_t>(bit));
        if (are_joinable(table, low, high, depth) && !join_parts(table, at, low, high))
            return false;
    }
    return true;
}

uint32_t depth_of_parts(const ombrel_hash_ts& table) {
    uint32_t depth = 0;
    hash_part part;
    for (uint64_t place = 0; next_hash_part(table, place, part);)
        depth = std::max(depth, part.header().depth);
    return depth;
}

bool flatten_directory(ombrel_hash_ts& table, uint32_t depth) {
    const uint32_t less = table.directory.depth - depth;
    if (less == 0)
        return true;
    hash_part* const parts = depth == 0 ? &table.only_part
                                        : static_cast<hash_part*>(allocate_block(
                                              sizeof(hash_part) << depth, table.owner.tag, table.owner.line));
    if (parts == nullptr)
        return refuse(fault_code::no_memory);
    for (size_t i = 0; i < size_t{1} << depth; i++)
        parts[i] = table.directory.parts[i << less];
    change_directory(table, parts, depth);
    return true;
}

bool fit_part(ombrel_hash_ts& table, uint32_t place, const hash_part& part) {
    const unsigned size_bits = size_bits_for(part.header().count);
    return size_bits >= part.size_bits() || resize_part(table, place, part, size_bits) ||
           refuse(fault_code::no_memory);
}

} // namespace

bool shrink_hash_room(ombrel_hash_ts& table) {
    if (table.count == 0)
        return free_hash_parts(table), true;
    for (uint32_t depth = table.directory.depth; depth > 0; depth--)
        if (!join_at_depth(table, depth))
            return false;
    if (!flatten_directory(table, depth_of_parts(table)))
        return false;
    hash_part part;
    for (uint64_t place = 0, next = 0; next_hash_part(table, next, part); place = next)
        if (!fit_part(table, static_cast<uint32_t>(place), part))
            return false;
    return true;
}

} // namespace ombrel
