// Locks on regions of files. What fails leaves its fault (fault.h).
#pragma once

#include <cstdint>

namespace ombrel::platform {

struct file_region {
    int64_t offset;
    int64_t size; ///< 0 for all from the offset on
    bool is_shared = false;
};

/// Takes a lock if nobody has one that excludes it; fails as "would block" when somebody has.
bool try_lock_region(int descriptor, const file_region& region);

/// Waits for it as long as it takes.
bool lock_region(int descriptor, const file_region& region);

bool unlock_region(int descriptor, const file_region& region);

} // namespace ombrel::platform
