// What all events that watch one child process know of it.
#pragma once

#include <ombrel/event_process.h>

#include "platform/process.h"

namespace ombrel {

enum class watch_refusal { no_child, no_memory, not_supported };

/// One more user of the watch of a child; null with the reason.
ombrel_process_watch_t* open_process_watch(int process, watch_refusal& refusal);
void close_process_watch(ombrel_process_watch_t* watch);

/// The descriptor that is readable once the child has ended.
int descriptor_of(const ombrel_process_watch_t& watch);

/// Takes the child's status, for all users, if it has ended; else false.
bool has_ended(ombrel_process_watch_t& watch, platform::process_end& end);

} // namespace ombrel
