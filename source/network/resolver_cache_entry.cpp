#include "network/resolver_cache_entry.h"

#include <cstring>

#include <ombrel/heap.h>

namespace ombrel {

cache_entry* new_cache_entry(cache_key key, const char* tag, unsigned long line) {
    const size_t name_size = std::strlen(key.name) + 1;
    auto* const entry =
        static_cast<cache_entry*>(ombrel_alloc_tag(sizeof(cache_entry) + name_size, tag, line));
    if (entry == nullptr)
        return nullptr;
    char* const name = reinterpret_cast<char*>(entry + 1);
    std::memcpy(name, key.name, name_size);
    *entry = {};
    entry->key = {name, key.port};
    return entry;
}

void free_cache_entry(cache_entry* entry) {
    ombrel_close_resolver(entry->answer);
    ombrel_free(entry);
}

cache_entry* cache_list::find(cache_key key) const {
    for (cache_entry* entry = first; entry != nullptr; entry = entry->next)
        if (entry->key.port == key.port && std::strcmp(entry->key.name, key.name) == 0)
            return entry;
    return nullptr;
}

void cache_list::append(cache_entry* entry) {
    entry->next = nullptr;
    (first == nullptr ? first : last->next) = entry;
    last = entry;
}

void cache_list::push_front(cache_entry* entry) {
    if (first == nullptr)
        last = entry;
    entry->next = first;
    first = entry;
}

cache_entry* cache_list::take_first() {
    cache_entry* const entry = first;
    if (entry != nullptr)
        first = entry->next;
    return entry;
}

void cache_list::clear() {
    while (cache_entry* const entry = take_first())
        free_cache_entry(entry);
}

} // namespace ombrel
