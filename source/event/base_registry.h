// The bases that exist. An event that hangs on its base by nothing but its own pointer may outlive it.
#pragma once

#include <atomic>
#include <cstdint>

#include <ombrel/event.h>

#include "event/fair_gate.h"

namespace ombrel {

/// Guards the list of the bases. Entered before the gate of a base, never after it.
extern fair_gate base_registry_gate;

void enlist_base(ombrel_event_base_t& base);

enum class delisting { done, gone, in_use };
/// Takes a base out before it is freed, unless its loop runs or its service starts or stops.
delisting delist_base(ombrel_event_base_t* base);

extern std::atomic<uint32_t> freed_base_count;

/// Bases freed so far: as long as the figure stands, a base that existed exists.
inline uint32_t freed_bases() {
    return freed_base_count.load(std::memory_order_relaxed);
}

} // namespace ombrel
