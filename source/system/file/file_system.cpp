// File systems: their room, and where they are mounted.
#include <ombrel/file.h>

#include "platform/file_system.h"
#include "system/file/file_internal.h"
#include "system/file/mount_lines.h"

using namespace ombrel;
using namespace ombrel::system;

int ombrel_get_file_space(const char* path, ombrel_file_space_t* space) {
    if (space == nullptr)
        return result_of(refuse(fault_code::invalid));
    return result_of(is_path(path) && platform::get_file_space(path, *space));
}

ombrel_mount_t* ombrel_alloc_mount_table_tag(size_t* count, const char* function, unsigned long line) {
    const platform::host_text lines = platform::mount_lines();
    return lines.get() != nullptr ? parse_mount_lines(lines.get(), count, {function, line}) : nullptr;
}
