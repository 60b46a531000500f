// Open directories, and what is in them reached by single names, so that nobody who exchanges directories on
// the way leads anywhere else. What fails leaves its fault (fault.h).
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/file.h"
#include "platform/file_info.h"
#include "platform/host_text.h"

namespace ombrel::platform {

struct open_directory; ///< the host's

/// Stands for no directory, where names count from one: the name is a path like any other. Null is nothing
/// that a name could count from.
inline open_directory* by_path() {
    static constinit char stand_in = 0;
    return reinterpret_cast<open_directory*>(&stand_in);
}

/// Whether a directory that was left can be found again by open_parent(). Where it cannot, all on the way
/// down are kept open.
#if defined(_WIN32)
inline constexpr bool has_parents = false;
#else
inline constexpr bool has_parents = true;
#endif

/// Whether a directory may lead elsewhere without showing as a link, as some reparse points do.
inline constexpr bool has_hidden_links = !has_parents;

/// Null on failure. A symbolic link that is not to be followed fails as "link loop" or "not a directory".
open_directory* open_directory_at(open_directory* parent, const char* name, at_link link);

/// The same one once more, to be read on its own.
open_directory* reopen_directory(open_directory* directory);

/// The directory that this one is in at this moment. Null on failure.
open_directory* open_parent(open_directory* directory);

void close_directory(open_directory* directory);

struct found_entry {
    const char* name; ///< until the next one is asked for
    int kind;         ///< a def_ombrel_file_kind_*
    int64_t size;     ///< where the host tells it along, else -1
};

/// The next entry, "." and ".." left out: 1; 0 at the end; -1 on failure.
int next_entry(open_directory* directory, found_entry& entry);

/// Which of two names comes first, as strcmp() gives it; 0 where they name the same file in a directory.
int compare_names(const char* first, const char* second);

/// Back to the first one.
bool rewind_directory(open_directory* directory);

bool get_info_at(open_directory* parent, const char* name, at_link link, ombrel_file_info_t& info);
bool get_directory_info(open_directory* directory, ombrel_file_info_t& info);

/// A descriptor, or -1, as open_file() gives.
int open_file_at(open_directory* parent, const char* name, const file_access& access);

/// A file of any kind but a directory; symbolic links themselves.
bool remove_file_at(open_directory* parent, const char* name);
/// An empty one.
bool remove_directory_at(open_directory* parent, const char* name);
bool make_directory_at(open_directory* parent, const char* name, uint32_t mode);
/// What has the new name is replaced.
bool rename_at(open_directory* parent, const char* from, open_directory* new_parent, const char* to);

host_text read_link_at(open_directory* parent, const char* name);
/// @param leads_to_directory what the link is made for, on a host whose links have kinds
bool make_symbolic_link_at(const char* text, open_directory* parent, const char* name,
                           bool leads_to_directory);
/// A pipe or device with the kind, permissions and number of `info`.
bool make_special_file_at(open_directory* parent, const char* name, const ombrel_file_info_t& info);

/// Of what is no directory, symbolic links themselves.
bool set_times_at(open_directory* parent, const char* name, const file_times& times);
bool set_owner_at(open_directory* parent, const char* name, uint32_t owner, uint32_t group);

bool set_directory_mode(open_directory* directory, uint32_t mode);
bool set_directory_times(open_directory* directory, const file_times& times);
bool set_directory_owner(open_directory* directory, uint32_t owner, uint32_t group);

} // namespace ombrel::platform
