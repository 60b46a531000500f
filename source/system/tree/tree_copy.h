// A copy of a directory with all that is in it, however deep.
#pragma once

#include "core/scratch_array.h"
#include "system/tree/directory_chain.h"
#include "system/tree/entry_list.h"
#include "system/tree/tree_failures.h"

namespace ombrel::system {

class tree_copy {
public:
    tree_copy(uint32_t flags, tree_failures& failures, const char* tag)
        : flags_(flags), failures_(failures), tag_(tag), from_(tag), to_(tag), levels_(tag) {}
    ~tree_copy();
    tree_copy(const tree_copy&) = delete;
    tree_copy& operator=(const tree_copy&) = delete;

    /// Tells of what fails.
    void run(const char* from, const char* to);

private:
    struct level {
        entry_list list;
        ombrel_file_info_t info; ///< of the original
        uint32_t taken;          ///< permissions that the copy has only until it is filled
    };
    level& last() { return levels_[levels_.size() - 1]; }
    bool is_at_root() const { return levels_.size() == 0; }

    void enter(const char* from, const char* to);
    bool open_from(const char* name);
    bool open_to(const char* name, level& added);
    void push(level& added);
    void copy(const char* name);
    void leave();
    bool finish(platform::open_directory* made, const level& left);
    bool set_mode(platform::open_directory* made, const level& left);

    uint32_t flags_;
    tree_failures& failures_;
    const char* tag_;
    directory_chain from_, to_;
    scratch_array<level, 4> levels_;
};

} // namespace ombrel::system
