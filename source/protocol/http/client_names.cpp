#include "protocol/http/client_names.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "core/short_lock_guard.h"

namespace ombrel::protocol {

namespace {

constexpr int kept_milliseconds = 60'000;

// On the resolver's thread.
void on_name(ombrel_resolver_cache_t* cache, int is_new, const char* name, int port, void* context) {
    auto& names = *static_cast<client_names*>(context);
    {
        const short_lock_guard guard(names.lock);
        for (name_lookup* lookup = names.first; lookup != nullptr; lookup = lookup->m_next)
            if (names.caches[lookup->thread] == cache && lookup->port == port &&
                std::string_view(lookup->name) == name)
                lookup->state = is_new < 0 ? lookup_state::failed : lookup_state::found;
    }
    ombrel_active_event(names.wake, def_ombrel_event_with_resolver);
}

// The thread with the least to do.
unsigned choose_thread(const client_names& names) {
    return static_cast<unsigned>(std::min_element(std::begin(names.asked), std::end(names.asked)) -
                                 std::begin(names.asked));
}

void unlink(client_names& names, name_lookup& lookup) OMBREL_REQUIRES(names.lock) {
    node_list<name_lookup>(names.first).unlink(lookup);
    names.asked[lookup.thread]--;
}

} // namespace

bool ask_name(client_names& names, name_lookup& lookup) {
    lookup.thread = choose_thread(names);
    ombrel_resolver_cache_t*& cache = names.caches[lookup.thread];
    if (cache == nullptr)
        cache = ombrel_open_resolver_cache_ex(kept_milliseconds);
    if (cache == nullptr)
        return false;
    {
        const short_lock_guard guard(names.lock);
        lookup.state = lookup_state::asked;
        node_list<name_lookup>(names.first).prepend(lookup);
        names.asked[lookup.thread]++;
    }
    if (ombrel_request_resolver_cache_with_handler(cache, lookup.name, lookup.port, on_name, &names) == 0)
        return true;
    drop_name(names, lookup);
    return false;
}

lookup_state look_at_name(client_names& names, name_lookup& lookup) {
    const short_lock_guard guard(names.lock);
    const lookup_state seen = lookup.state;
    if (seen == lookup_state::found || seen == lookup_state::failed) {
        unlink(names, lookup);
        lookup.state = lookup_state::none;
    }
    return seen;
}

ombrel_resolver_t* take_answers(client_names& names, const name_lookup& lookup) {
    return ombrel_get_resolver_cache(names.caches[lookup.thread], lookup.name, lookup.port, 0);
}

void drop_name(client_names& names, name_lookup& lookup) {
    const short_lock_guard guard(names.lock);
    if (lookup.state != lookup_state::none)
        unlink(names, lookup);
    lookup.state = lookup_state::none;
}

void close_names(client_names& names) {
    for (ombrel_resolver_cache_t*& cache : names.caches) {
        ombrel_close_resolver_cache(cache);
        cache = nullptr;
    }
}

} // namespace ombrel::protocol
