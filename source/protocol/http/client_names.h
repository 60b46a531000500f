// Names that a client looks up: on threads of the resolver, told of on the loop.
#pragma once

#include <ombrel/event.h>
#include <ombrel/resolver_cache.h>
#include <ombrel/short_lock.h>

#include "core/node_list.h"
#include "core/thread_safety.h"

namespace ombrel::protocol {

enum class lookup_state : uint8_t { none, asked, found, failed };

/// A name that is looked up; part of what waits for it.
struct name_lookup {
    name_lookup* m_prev;
    name_lookup* m_next;
    const char* name;
    int port;
    unsigned thread;
    lookup_state state; ///< under the lock while it is in the list
};

/// Look-ups go to several caches, as a name whose servers are silent holds up those behind it.
struct client_names {
    static constexpr unsigned most_threads = 4;

    ombrel_event_t* wake; ///< activated when a name was answered
    ombrel_short_lock_t lock;
    name_lookup* first OMBREL_GUARDED_BY(lock);
    ombrel_resolver_cache_t* caches[most_threads];
    unsigned asked[most_threads];
};

/// Whether any name is being looked up. The loop alone changes the list, so that it looks without the lock.
inline bool has_lookups(const client_names& names) OMBREL_UNCHECKED {
    return names.first != nullptr;
}

/// Begins a look-up. False when there is neither memory nor a thread for it.
bool ask_name(client_names& names, name_lookup& lookup);

/// What is known of it now. Once it is found or has failed it is in no list any more.
lookup_state look_at_name(client_names& names, name_lookup& lookup);

/// The answers of one that was found; null when memory runs out.
ombrel_resolver_t* take_answers(client_names& names, const name_lookup& lookup);

/// Forgets a look-up, whatever its state.
void drop_name(client_names& names, name_lookup& lookup);

/// Ends the threads; no look-up may be left.
void close_names(client_names& names);

} // namespace ombrel::protocol
