// The way from a root down to a directory, as open directories. It may be of any length, but only so many of
// them are open at a time: the others are found again from below, and recognised.
#pragma once

#include <cstddef>

#include "core/scratch_array.h"
#include "platform/directory.h"
#include "system/file/path_text.h"

namespace ombrel::system {

class directory_chain {
public:
    explicit directory_chain(const char* tag) : levels_(tag), path_(tag) {}
    ~directory_chain();
    directory_chain(const directory_chain&) = delete;
    directory_chain& operator=(const directory_chain&) = delete;

    /// Opens the root. False, with the fault left, when that fails.
    /// @param shown what its path is said to be
    bool open(platform::open_directory* parent, const char* root, platform::at_link link,
              std::string_view shown);
    /// Goes down to a directory within the last one; false, with the fault left, stays where it is.
    bool enter(const char* name, platform::at_link link);
    /// Goes back up; from the root to nowhere.
    void leave();

    /// How many directories the way has; 0 before the root is open.
    size_t depth() const { return levels_.size(); }
    /// The last one; null, with the fault left, when it could not be found again.
    platform::open_directory* here();
    /// Whether the last one is one of those before it, to which links can lead back. If so it is left, with
    /// the fault left.
    bool turns_back();

    /// Its path, and that of an entry of it: null, with the fault left, when memory has run out.
    const char* path() { return path_.get(); }
    const char* path_of(const char* name) { return path_.get_with(name); }
    /// What of these paths stands behind the root.
    const char* below_root(const char* path) const { return path_.below_root(path); }
    /// The name of the directory that leave() left, until the next path_of() or enter().
    const char* name_left() const { return path_.at(name_left_); }

private:
    struct level {
        platform::open_directory* directory; ///< null while it is closed
        size_t name, path_size;              ///< where its name begins and its path ends
        uint64_t device, serial;             ///< which file it is, if that was asked for
        platform::at_link link;
        bool is_known;
    };
    level& last() { return levels_[depth() - 1]; }

    bool add(platform::open_directory* opened, level added);
    platform::open_directory* open_below(const char* name, platform::at_link link);
    bool goes_round();
    bool close_first();
    void find_again_from(platform::open_directory* below);
    platform::open_directory* find_from_root();
    static bool know(level& which);
    static platform::open_directory* recognise(const level& wanted, platform::open_directory* found);

    scratch_array<level, 16> levels_;
    size_t first_open_ = 1; ///< those from here on are open, and so is the root
    size_t name_left_ = 0;
    path_text path_;
};

} // namespace ombrel::system
