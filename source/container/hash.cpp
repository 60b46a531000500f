#include <ombrel/hash.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "container/hash_entries.h"
#include "container/hash_release.h"
#include "container/kernels/hash_kernels.h"
#include "core/block.h"
#include "core/fault.h"

using namespace ombrel;

namespace {

using table_record = ombrel_hash_ts;

constexpr uint32_t known_flags = def_ombrel_hash_numbers | def_ombrel_hash_borrow | def_ombrel_hash_any_case;
constexpr size_t part_bytes = size_t{1} << 15; // so that a split is short
constexpr uint32_t largest_part = 6;           // the same for small entries

static_assert(hash_part::alignment >= def_ombrel_hash_alignment_max);

template<typename Result>
[[gnu::noinline]] Result refuse(fault_code why, Result result) {
    leave_fault(why);
    return result;
}

uint32_t round_up(size_t size, size_t step) {
    return static_cast<uint32_t>((size + step - 1) / step * step);
}

// Types of a size have no coarser alignment than that which divides it.
size_t usual_alignment(size_t value_size) {
    return std::min(size_t{1} << std::countr_zero(value_size), alignof(max_align_t));
}

hash_layout make_layout(const ombrel_hash_options_t& options, size_t value_size) {
    const bool has_numbers = (options.m_flags & def_ombrel_hash_numbers) != 0;
    const size_t value_alignment =
        options.m_value_alignment != 0 ? options.m_value_alignment : usual_alignment(value_size);
    const size_t key_size = has_numbers ? sizeof(hash_number) : sizeof(hash_bytes_head);
    const size_t key_alignment = has_numbers ? sizeof(hash_number) : alignof(hash_bytes_head);
    const size_t alignment = std::max(value_alignment, key_alignment);
    const uint32_t value_at = round_up(key_size, value_alignment);
    return {value_at, round_up(value_at + value_size, alignment)};
}

fault_code check_options(const ombrel_hash_options_t& options) {
    const uint32_t flags = options.m_flags;
    const size_t alignment = options.m_value_alignment;
    if ((flags & ~known_flags) != 0 ||
        ((flags & def_ombrel_hash_numbers) != 0 && flags != def_ombrel_hash_numbers))
        return fault_code::invalid;
    if (alignment > def_ombrel_hash_alignment_max || (alignment & (alignment - 1)) != 0)
        return fault_code::invalid;
    return options.m_value_size > def_ombrel_hash_value_max ? fault_code::too_large : fault_code::none;
}

uint32_t largest_part_of(const hash_layout& layout) {
    uint32_t bits = largest_part;
    while (bits > 0 && size_t{layout.slot_size} * hash_group_slots << bits > part_bytes)
        bits--;
    return bits;
}

template<typename Key>
void* refuse_key(const table_record&, Key) {
    return refuse<void*>(fault_code::invalid, nullptr);
}

table_record make_table(const ombrel_hash_options_t& options, const call_site& owner) {
    const bool holds_pointers = options.m_value_size == 0;
    const size_t value_size = holds_pointers ? sizeof(void*) : options.m_value_size;
    const hash_layout layout = make_layout(options, value_size);
    hash_kernel kernel = hash_kernels_here().of(options.m_flags);
    if (!holds_pointers)
        kernel.bytes.get = refuse_key<hash_bytes>, kernel.numbers.get = refuse_key<hash_number>;
    return {.kernel = kernel,
            .directory = {nullptr, 31, 0, nullptr, 0},
            .layout = layout,
            .secret = hash_secret::from(options.m_seed),
            .count = 0,
            .limit = options.m_limit,
            .parts = 0,
            .flags = options.m_flags,
            .value_size = static_cast<uint32_t>(value_size),
            .largest_part = largest_part_of(layout),
            .holds_pointers = holds_pointers,
            .release = options.m_release,
            .context = options.m_context,
            .owner = owner,
            .only_part = empty_hash_part(),
            .keys = hash_key_store(owner),
            .moves = 0,
            .additions = 0,
            .growths = 0};
}

// What a caller hands over as a key: a size that no key has stands for what is none.
hash_bytes bytes_of(const void* key, size_t size) {
    if (size == def_ombrel_hash_text)
        size = key != nullptr ? strlen(static_cast<const char*>(key)) : size;
    return {static_cast<const unsigned char*>(key), size};
}

const auto& functions_for(const table_record* table, const hash_bytes&) {
    return table->kernel.bytes;
}
const auto& functions_for(const table_record* table, const hash_number&) {
    return table->kernel.numbers;
}

bool is_key(const hash_bytes& key) {
    return key.size == 0 || (key.data != nullptr && key.size <= def_ombrel_hash_key_max);
}
bool is_key(const hash_number&) {
    return true;
}

// Why a table, or what is no key, is refused. Of a size beyond all keys no byte is looked at.
fault_code refusal_of(const table_record* table, const hash_bytes& key) {
    return table != nullptr && key.data != nullptr && key.size > def_ombrel_hash_key_max
               ? fault_code::too_large
               : fault_code::invalid;
}
fault_code refusal_of(const table_record*, const hash_number&) {
    return fault_code::invalid;
}

// Whether it can be asked for; whether it is a key of this kind of table is left to the functions.
template<typename Key>
bool may_ask(const table_record* table, const Key& key) {
    return table != nullptr && is_key(key);
}

template<typename Key>
bool fits(const table_record* table, const Key& key) {
    return may_ask(table, key) && functions_for(table, key).detach != nullptr;
}

template<typename Key>
void* find(const table_record* table, Key key) {
    if (!may_ask(table, key)) [[unlikely]]
        return refuse<void*>(refusal_of(table, key), nullptr);
    return functions_for(table, key).find(*table, key);
}

template<typename Key>
void* get(const table_record* table, Key key) {
    if (!may_ask(table, key)) [[unlikely]]
        return refuse<void*>(refusal_of(table, key), nullptr);
    return functions_for(table, key).get(*table, key);
}

template<typename Key>
void* obtain(table_record* table, Key key, bool& is_new) {
    if (!may_ask(table, key)) [[unlikely]]
        return refuse<void*>(refusal_of(table, key), nullptr);
    return functions_for(table, key).obtain(*table, key, is_new);
}

template<typename Key>
void* obtain(table_record* table, Key key, int* is_new) {
    bool was_added = false;
    void* const value = obtain(table, key, was_added);
    if (is_new != nullptr)
        *is_new = was_added && value != nullptr ? 1 : 0;
    return value;
}

void* load_pointer(const void* value) {
    void* pointer;
    memcpy(&pointer, value, sizeof pointer);
    return pointer;
}

template<typename Key>
int set(table_record* table, Key key, void* pointer) {
    if (table == nullptr || !table->holds_pointers) [[unlikely]]
        return refuse(fault_code::invalid, -1);
    bool is_new;
    void* const value = obtain(table, key, is_new);
    if (value == nullptr)
        return -1;
    void* const before = is_new ? nullptr : load_pointer(value);
    memcpy(value, &pointer, sizeof pointer);
    if (before != pointer)
        release_hash_pointer(*table, before);
    return 0;
}

template<typename Key>
int put(table_record* table, Key key, const void* from) {
    if (table != nullptr && table->holds_pointers)
        return set(table, key, from != nullptr ? load_pointer(from) : nullptr);
    bool is_new;
    void* const value = obtain(table, key, is_new);
    if (value == nullptr)
        return -1;
    if (!is_new && table->release != nullptr)
        table->release(value, table->context);
    if (from != nullptr)
        memmove(value, from, table->value_size);
    else
        memset(value, 0, table->value_size);
    return 0;
}

template<typename Key>
int remove(table_record* table, Key key) {
    if (!fits(table, key)) [[unlikely]]
        return refuse(fault_code::invalid, -1);
    unsigned char* const slot = functions_for(table, key).detach(*table, key);
    if (slot == nullptr)
        return 0;
    drop_hash_key(*table, slot);
    release_hash_value(*table, slot);
    return 1;
}

template<typename Key>
int take(table_record* table, Key key, void* value) {
    if (!fits(table, key) || value == nullptr) [[unlikely]]
        return refuse(fault_code::invalid, -1);
    unsigned char* const slot = functions_for(table, key).detach(*table, key);
    if (slot == nullptr)
        return 0;
    memcpy(value, slot + table->layout.value_at, table->value_size);
    drop_hash_key(*table, slot);
    return 1;
}

// Copies in blocks of their own are freed one by one, the others with their store.
bool needs_release(const table_record& table) {
    return table.release != nullptr || table.keys.has_long_copies();
}

// The slots first, so that a handler finds those entries alone for which it was not called yet.
void release_all(table_record& table) {
    if (!needs_release(table))
        return;
    for_each_entry(table, [&table](const hash_position& at) {
        at.tag() = 0; // without what goes with it, as all goes
        table.count--;
        drop_hash_key(table, table.slot_of(at));
        release_hash_value(table, table.slot_of(at));
    });
}

} // namespace

int ombrel_init_hash_options(ombrel_hash_options_t* options) {
    if (options == nullptr)
        return refuse(fault_code::invalid, -1);
    *options = {};
    return 0;
}

ombrel_hash_t* ombrel_open_hash_tag(const ombrel_hash_options_t* options, const char* function,
                                    unsigned long line) {
    constexpr ombrel_hash_options_t defaults{};
    const ombrel_hash_options_t& chosen = options != nullptr ? *options : defaults;
    if (const fault_code why = check_options(chosen); why != fault_code::none)
        return refuse<ombrel_hash_t*>(why, nullptr);
    void* const block = allocate_block(sizeof(table_record), function, line);
    if (block == nullptr)
        return refuse<ombrel_hash_t*>(fault_code::no_memory, nullptr);
    auto* const table = ::new (block) table_record(make_table(chosen, {function, line}));
    table->directory.parts = &table->only_part;
    if (chosen.m_reserve != 0 && !reserve_hash_room(*table, chosen.m_reserve)) {
        const fault_keeper keeper;
        ombrel_close_hash(table);
        return nullptr;
    }
    return table;
}

int ombrel_close_hash(ombrel_hash_t* table) {
    if (table == nullptr)
        return 0;
    release_all(*table);
    free_hash_parts(*table);
    table->keys.forget_all();
    free_block(table, table->owner.tag, table->owner.line);
    return 0;
}

int ombrel_hash_set(ombrel_hash_t* table, const void* key, size_t size, void* pointer) {
    return set(table, bytes_of(key, size), pointer);
}

int ombrel_hash_set_at(ombrel_hash_t* table, uint64_t number, void* pointer) {
    return set(table, hash_number{number}, pointer);
}

void* ombrel_hash_get(const ombrel_hash_t* table, const void* key, size_t size) {
    return get(table, bytes_of(key, size));
}

void* ombrel_hash_get_at(const ombrel_hash_t* table, uint64_t number) {
    return get(table, hash_number{number});
}

int ombrel_hash_put(ombrel_hash_t* table, const void* key, size_t size, const void* value) {
    return put(table, bytes_of(key, size), value);
}

int ombrel_hash_put_at(ombrel_hash_t* table, uint64_t number, const void* value) {
    return put(table, hash_number{number}, value);
}

void* ombrel_hash_find(const ombrel_hash_t* table, const void* key, size_t size) {
    return find(table, bytes_of(key, size));
}

void* ombrel_hash_find_at(const ombrel_hash_t* table, uint64_t number) {
    return find(table, hash_number{number});
}

void* ombrel_hash_obtain(ombrel_hash_t* table, const void* key, size_t size, int* is_new) {
    return obtain(table, bytes_of(key, size), is_new);
}

void* ombrel_hash_obtain_at(ombrel_hash_t* table, uint64_t number, int* is_new) {
    return obtain(table, hash_number{number}, is_new);
}

int ombrel_hash_remove(ombrel_hash_t* table, const void* key, size_t size) {
    return remove(table, bytes_of(key, size));
}

int ombrel_hash_remove_at(ombrel_hash_t* table, uint64_t number) {
    return remove(table, hash_number{number});
}

int ombrel_hash_take(ombrel_hash_t* table, const void* key, size_t size, void* value) {
    return take(table, bytes_of(key, size), value);
}

int ombrel_hash_take_at(ombrel_hash_t* table, uint64_t number, void* value) {
    return take(table, hash_number{number}, value);
}

size_t ombrel_hash_get_count(const ombrel_hash_t* table) {
    return table != nullptr ? table->count : refuse<size_t>(fault_code::invalid, 0);
}

int ombrel_hash_clear(ombrel_hash_t* table) {
    if (table == nullptr)
        return refuse(fault_code::invalid, -1);
    release_all(*table);
    empty_hash_parts(*table);
    table->count = 0;
    table->keys.forget_all();
    return 0;
}
