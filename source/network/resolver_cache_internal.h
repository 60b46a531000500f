// What the event loop needs of the resolver cache beyond its interface.
#pragma once

#include "network/resolver_cache_entry.h"

namespace ombrel {

/// Told of each resolution before the handler of the name, on the service thread, with no lock held. The
/// entry is not dropped meanwhile.
struct resolver_listener {
    void (*resolved)(cache_entry& entry, bool has_answer, void* context); ///< null for nobody
    void* context;
};

/// A cache of the default expiry time; null when memory or threads run out.
ombrel_resolver_cache_t* open_resolver_cache(resolver_listener listener);

/// What a cache says to a name at once. At most one of both is there; neither when memory runs out.
struct cached_name {
    ombrel_resolver_t* answer; ///< a copy
    cache_entry* pending;      ///< a request; valid until the listener was told of its resolution
    uint64_t seen;             ///< the last resolution before it
};

/// Never waits for a look-up.
cached_name ask_resolver_cache(ombrel_resolver_cache_t* cache, cache_key key, cache_handler handler);

} // namespace ombrel
