// Local time.
#pragma once

#include <cstdint>

namespace ombrel::platform {

struct zone_state {
    int32_t offset; ///< seconds ahead of UTC
    bool is_summer;
    char name[48]; ///< ended by 0; cut at a whole character
};

/// What is in force where this program runs, so many seconds after 1970, by the environment variable TZ or
/// the system's setting. The host may keep what they were at the first call. The moment lies within a few
/// days of the years -1,000,000 to 1,000,000. In a child that was forked by a process with several threads it
/// is what was in force at the fork, whatever the moment.
zone_state local_zone_at(int64_t seconds);

/// Has the variable and the setting looked at again: 0, or -1 with its fault in such a child.
int refresh_local_zone();

} // namespace ombrel::platform
