// The entries of the resolver cache, the table that finds them and the queue of those to be resolved.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/resolver_cache.h>

struct ombrel_event_ts;

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
    cache_entry* next_of_bucket;
    cache_entry* next_request;
    uint64_t hash;
    uint64_t used_at;    ///< when it was last asked for or resolved, in milliseconds
    uint64_t resolution; ///< the number of the resolution that answered it last, 0 for none
    cache_key key;
    ombrel_resolver_t* answer; ///< null while it has none
    cache_handler handler;
    bool pending; ///< in the queue; such an entry is not dropped
    ombrel_event_ts*
        waiting; ///< for the listener alone: the events that wait for the name, while it is pending
};

/// An entry that is neither in a table nor in a queue; null when memory runs out.
cache_entry* new_cache_entry(cache_key key, const char* tag, unsigned long line);
void free_cache_entry(cache_entry* entry);

/// A hash table that owns its entries; zeroed memory is an empty one. Its secret keeps those who choose the
/// names from choosing names that meet in one place.
class cache_table {
public:
    cache_entry* find(cache_key key) const;
    /// False, and the entry stays the caller's, when memory runs out.
    bool insert(cache_entry* entry);
    void clear();

    /// Frees the entries that `drop` picks.
    template<typename Predicate>
    void drop_if(Predicate drop) {
        for (size_t i = 0; i < bucket_count_; i++) {
            for (cache_entry** link = &buckets_[i]; *link != nullptr;) {
                cache_entry* const entry = *link;
                if (!drop(*entry)) {
                    link = &entry->next_of_bucket;
                    continue;
                }
                *link = entry->next_of_bucket;
                free_cache_entry(entry);
                count_--;
            }
        }
    }

private:
    uint64_t hash(cache_key key) const;
    cache_entry*& bucket_of(uint64_t hash) const { return buckets_[hash & (bucket_count_ - 1)]; }
    void grow();

    cache_entry** buckets_;
    size_t bucket_count_; ///< a power of two, 0 before the first entry
    size_t count_;
    uint64_t secret_[2];
};

/// First come, first served; zeroed memory is an empty queue.
struct request_queue {
    cache_entry* first;
    cache_entry* last; ///< meaningful while there is a first

    void append(cache_entry* entry);
    cache_entry* take_first();
};

} // namespace ombrel
