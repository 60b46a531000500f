#include "event/base_registry.h"

#include <iterator>

#include "event/event_guard.h"

namespace ombrel {

std::atomic<uint32_t> freed_base_count;
fair_gate base_registry_gate;

namespace {

/// Chains of bases by address.
ombrel_event_base_t* chains[64] OMBREL_GUARDED_BY(base_registry_gate);

class OMBREL_GUARD_CLASS registry_guard {
public:
    registry_guard() OMBREL_ACQUIRES(base_registry_gate) { base_registry_gate.enter(); }
    ~registry_guard() OMBREL_RELEASES() { base_registry_gate.leave(); }
    registry_guard(const registry_guard&) = delete;
    registry_guard& operator=(const registry_guard&) = delete;
};

ombrel_event_base_t*& chain_of(const ombrel_event_base_t* base) OMBREL_REQUIRES(base_registry_gate) {
    return chains[reinterpret_cast<uintptr_t>(base) / 256 % std::size(chains)];
}

/// The link that points to the base, or to null when it is gone.
ombrel_event_base_t** find_link(const ombrel_event_base_t* base) OMBREL_REQUIRES(base_registry_gate) {
    ombrel_event_base_t** link = &chain_of(base);
    while (*link != nullptr && *link != base)
        link = &(*link)->m_next_base;
    return link;
}

bool is_in_use(ombrel_event_base_t& base) {
    const base_guard guard(base);
    return base.m_running != 0 || base.m_service_changing;
}

} // namespace

void enlist_base(ombrel_event_base_t& base) {
    const registry_guard guard;
    base.m_next_base = chain_of(&base);
    chain_of(&base) = &base;
}

bool enter_living_base(ombrel_event_base_t* base) {
    const registry_guard guard;
    const bool lives = *find_link(base) != nullptr;
    if (lives)
        enter_base(*base);
    return lives;
}

delisting delist_base(ombrel_event_base_t* base) {
    const registry_guard guard;
    ombrel_event_base_t** link = find_link(base);
    if (*link == nullptr)
        return delisting::gone;
    if (is_in_use(*base))
        return delisting::in_use;
    *link = base->m_next_base;
    freed_base_count.fetch_add(1);
    return delisting::done;
}

namespace {

bool enter_if_living(ombrel_event_t& event, ombrel_event_base_t* base) OMBREL_TRIES(base->m_gate) {
    const uint32_t now = freed_bases();
    if (enter_living_base(base)) {
        if (base_of(event) == base && !is_in_loop(event))
            note_base_lives(event, now);
        return true;
    }
    __atomic_compare_exchange_n(&event.m_base, &base, nullptr, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
    return false;
}

} // namespace

ombrel_event_base_t* enter_base_slowly(ombrel_event_t& event) OMBREL_UNCHECKED {
    while (ombrel_event_base_t* base = base_of(event)) {
        if (!may_have_outlived_its_base(event))
            enter_base(*base);
        else if (!enter_if_living(event, base))
            continue;
        if (base_of(event) == base)
            return base;
        leave_base(*base);
    }
    return nullptr;
}

} // namespace ombrel
