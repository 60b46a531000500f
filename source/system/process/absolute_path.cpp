#include "system/process/absolute_path.h"

#include <cstring>

#include <ombrel/file.h>
#include <ombrel/string.h>

#include "core/fault.h"
#include "platform/path.h"

namespace ombrel::system {

namespace {

bool begins_elsewhere(const char* path) {
    const bool has_drive = platform::has_drives && path[0] != '\0' && path[1] == ':';
    return has_drive || path[0] == '/' || path[0] == platform::path_separator[0];
}

char* join(const char* directory, const char* path, const call_site& caller) {
    const size_t front = strlen(directory), back = strlen(path);
    auto* const joined = static_cast<char*>(ombrel_alloc_tag(front + back + 2, caller.tag, caller.line));
    if (joined == nullptr)
        return nullptr;
    memcpy(joined, directory, front);
    joined[front] = platform::path_separator[0];
    memcpy(joined + front + 1, path, back + 1);
    return joined;
}

} // namespace

heap_ptr<char> absolute_path(const char* path, const call_site& caller) {
    if (path[0] == '\0') {
        leave_fault(fault_code::not_found);
        return {};
    }
    heap_ptr<char> result;
    if (begins_elsewhere(path)) {
        result.reset(ombrel_strdup_tag(path, caller.tag, caller.line));
    } else {
        const heap_ptr<char> directory(ombrel_alloc_current_directory_tag(caller.tag, caller.line));
        if (!directory)
            return {};
        result.reset(join(directory.get(), path, caller));
    }
    if (!result)
        leave_fault(fault_code::no_memory);
    return result;
}

} // namespace ombrel::system
