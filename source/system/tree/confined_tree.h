// What lies below one directory, reached by paths that strangers give: none leads out of it, whatever it says
// and whoever exchanges directories and links meanwhile.
#pragma once

#include <cstdint>

#include "platform/directory.h"

namespace ombrel::system {

/// Whether a text is one name below a directory on every host: not empty, no "." or "..", no separator,
/// backslash or control character, and nothing that is more than a name on Windows.
bool is_plain_name(const char* name);

/// The root is held open, and each directory on the way is opened from the one above it, links refused: what
/// is reached was below the root when it was opened. Part of records that are all zero before it is opened.
///
/// Paths have "/" between their names, more of them count as one, at the ends they count for nothing: a
/// leading one is the root's. The root itself is the empty path. A path with a name that is none fails as
/// "not found", a link on the way as "link loop" or "not a directory"; links at the end stand for themselves,
/// and cannot be opened.
class confined_tree {
public:
    /// The root's path may lead through links. False with the fault left.
    bool open(const char* root);
    void close();

    /// A regular file's descriptor, or -1: other kinds are refused as "access denied", directories as such,
    /// and pipes are not waited for. Of `access`, links, waiting and inheritance are settled.
    /// @param info receives what is known of it; null for nothing
    int open_file(const char* path, platform::file_access access, ombrel_file_info_t* info) const;
    /// Null with the fault left; for platform::close_directory().
    platform::open_directory* open_directory(const char* path) const;

    bool get_info(const char* path, ombrel_file_info_t& info) const;
    bool make_directory(const char* path, uint32_t mode) const;
    /// Anything but a directory.
    bool remove_file(const char* path) const;
    /// An empty one.
    bool remove_directory(const char* path) const;
    /// What has the new name is replaced, as far as the host replaces such a thing.
    bool rename(const char* from, const char* to) const;
    bool set_times(const char* path, const platform::file_times& times) const;

private:
    platform::open_directory* root_;
};

} // namespace ombrel::system
