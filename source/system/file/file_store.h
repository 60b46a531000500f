// Files that are stored whole or not at all.
#pragma once

#include "system/file/file_internal.h"

struct ombrel_file_store_ts {
    uint32_t flags;
    int descriptor;  ///< of the temporary file; -1 once it is committed or has failed
    char* path;      ///< what is stored, no link any more
    char* temporary; ///< null once it has taken the place
};

namespace ombrel::system {

/// What a store leads to.
struct store_target {
    const char* path;
    uint32_t flags; ///< no_replace, no_sync; with no_follow a symbolic link itself is replaced
    uint32_t mode;  ///< of a file that was not there
};

/// What is there, where a path leads to in the end.
struct stored_file {
    quiet_ptr<char> path; ///< no link any more, unless links are not followed
    bool is_there = false;
    ombrel_file_info_t info{};
};

/// False, with the fault left, when it cannot be found out or may not be replaced.
bool find_stored_file(const store_target& target, call_site caller, stored_file& found);

/// Gives what is open the permissions and owner of an old file. What the old file lets its owner and its
/// group do must not become what ours may.
bool keep_rights(int descriptor, const ombrel_file_info_t& old);

/// What is known: the flags were checked. Null on failure.
ombrel_file_store_ts* open_store(const store_target& target, call_site caller);

/// Hands the names in the folder of a path, which is cut for it, to the device. A folder that we may not read
/// cannot be synced by us, which is no failure.
bool sync_folder(char* path);

struct store_closer {
    ombrel_file_store_ts* store;
    ~store_closer() {
        const fault_keeper kept;
        ombrel_close_file_store(store);
    }
};

} // namespace ombrel::system
