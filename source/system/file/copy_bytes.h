// The bytes of a copy.
#pragma once

#include <ombrel/file.h>

namespace ombrel::system {

struct copy_progress {
    ombrel_file_progress_t handler; ///< may be null
    void* context;

    int tell(int64_t done, int64_t total) const {
        return handler != nullptr ? handler(done, total > done ? total : done, context) : 0;
    }
};

/// Copies a file that was opened just now into an empty one or a device. Holes stay holes.
/// @return 0, what the handler gave, or -1 with the fault left
int copy_all_bytes(int from, const ombrel_file_info_t& info, int to, const copy_progress& progress);

/// Gives a copy what the def_ombrel_file_keep_* among the flags ask for of the original.
bool keep_what_is_asked(const ombrel_file_info_t& info, int to, uint32_t flags);

/// Permissions of a copy that is made, before the process's mask and what is kept.
uint32_t first_mode(const ombrel_file_info_t& info, uint32_t flags);

} // namespace ombrel::system
