#include "system/process/launcher_events.h"

#include "platform/clock.h"
#include "platform/file.h"

namespace ombrel::system {

void tell(ombrel_launcher_t& launcher, int event) {
    const ombrel_launcher_state_t state = state_of(launcher);
    const ombrel_launcher_options_t& options = launcher.options;
    if (options.m_handler != nullptr && options.m_handler(&launcher, event, &state, options.m_context) != 0)
        launcher.wants_stop = true;
}

ombrel_launcher_state_t state_of(ombrel_launcher_t& launcher) {
    const short_lock_guard guard(launcher.guard);
    ombrel_launcher_state_t state = launcher.state;
    if (launcher.child != nullptr)
        state.m_run_time = static_cast<int64_t>(platform::monotonic_nanoseconds() - launcher.child_began);
    return state;
}

void wake(ombrel_launcher_t& launcher) {
    // A full pipe wakes as well.
    platform::write_at_once(launcher.wake.write_end.get(), "", 1);
}

} // namespace ombrel::system
