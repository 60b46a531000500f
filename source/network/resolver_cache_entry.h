// The entries of the resolver cache and the lists they stand in.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/resolver_cache.h>

namespace ombrel {

struct cache_key {
    const char* name;
    int port;
};

struct cache_handler {
    ombrel_resolver_cache_handler_t call; ///< null for none
    void* context;
};

/// One name and port. It is one block: the text of the name stands behind the record.
struct cache_entry {
    cache_entry* next;
    uint64_t used_at;    ///< when it was last asked for or resolved, in milliseconds
    uint64_t resolution; ///< the number of the resolution that answered it last
    cache_key key;
    ombrel_resolver_t* answer; ///< null while it is pending and when it was resolved in vain
    cache_handler handler;
};

/// A pending entry; null when memory runs out.
cache_entry* new_cache_entry(cache_key key, const char* tag, unsigned long line);
void free_cache_entry(cache_entry* entry);

/// A singly linked list that owns its entries; zeroed memory is an empty one.
struct cache_list {
    cache_entry* first;
    cache_entry* last; ///< meaningful while there is a first

    cache_entry* find(cache_key key) const;
    void append(cache_entry* entry);
    void push_front(cache_entry* entry);
    cache_entry* take_first();
    void clear();

    /// Frees the entries that `drop` picks and gives how many they were.
    template<typename Predicate>
    size_t drop_if(Predicate drop) {
        cache_list kept{};
        size_t dropped = 0;
        while (cache_entry* const entry = take_first()) {
            if (drop(*entry)) {
                free_cache_entry(entry);
                dropped++;
            } else {
                kept.append(entry);
            }
        }
        *this = kept;
        return dropped;
    }
};

} // namespace ombrel
