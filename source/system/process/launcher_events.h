// What a launcher knows of itself, what it tells, and how it is woken.
#pragma once

#include "system/process/launcher_internal.h"

namespace ombrel::system {

/// Changes the state that others may look at.
template<typename Change>
void note(ombrel_launcher_t& launcher, Change change) {
    const short_lock_guard guard(launcher.guard);
    change(launcher.state);
}

/// Tells the handler of an event, in which a result other than 0 is a request to stop.
void tell(ombrel_launcher_t& launcher, int event);

/// What is known at the moment.
ombrel_launcher_state_t state_of(ombrel_launcher_t& launcher);

/// Wakes the thread, for a request that was noted.
void wake(ombrel_launcher_t& launcher);

} // namespace ombrel::system
