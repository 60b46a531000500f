// A walk over a tree, entry by entry.
#pragma once

#include <ombrel/directory.h>

#include "core/scratch_array.h"
#include "system/tree/directory_chain.h"
#include "system/tree/entry_list.h"
#include "system/tree/tree_failures.h"

namespace ombrel::system {

class tree_walk {
public:
    /// Whether directories that a filter does not include but lets through are given.
    enum class ways { hidden, given };

    tree_walk(const ombrel_walk_options_t& options, ways passed, const char* tag);
    ~tree_walk();
    tree_walk(const tree_walk&) = delete;
    tree_walk& operator=(const tree_walk&) = delete;

    /// False, with the fault left, when there is no such root.
    bool begin(const char* root);
    /// 1; 0 at the end; -1, with the fault left, when the walk was ended.
    int next(ombrel_walk_entry_t& entry);
    /// Leaves out the directory that was given last.
    void skip();
    /// A descriptor for the regular file that was given last; -1, with the fault left.
    int open_file();

    const tree_failures& failures() const { return failures_; }

private:
    enum class state {
        begins,
        enters, ///< the directory that was given last
        goes_on,
        is_over
    };
    struct level {
        entry_list list;
        bool is_given; ///< the directory itself
    };
    /// What was come to last.
    struct found {
        const char* name; ///< of the root its path
        int kind;
        bool is_given;
    };

    bool wants(uint32_t flag) const { return (options_.m_flags & flag) != 0; }
    bool is_at_root() const { return levels_.size() == 0; }
    platform::at_link link() const;
    platform::open_directory* here() { return is_at_root() ? platform::by_path() : chain_.here(); }
    const char* path();
    bool get_info(platform::at_link link);

    bool fail(const char* path);
    bool visit(const entry_list::entry& taken, ombrel_walk_entry_t& entry);
    void follow();
    bool filter(const char* below);
    bool enter();
    bool may_enter();
    bool open_last();
    bool read_last();
    bool leave(ombrel_walk_entry_t& entry);
    bool give_once_more(ombrel_walk_entry_t& entry);
    bool give(ombrel_walk_entry_t& entry, int leaves);

    ombrel_walk_options_t options_;
    ways passed_;
    const char* tag_;
    tree_failures failures_;
    directory_chain chain_;
    scratch_array<level, 16> levels_;
    path_text root_;
    state state_ = state::begins;
    found last_{};
    ombrel_file_info_t info_{};
    uint64_t device_ = 0; ///< of the root
};

/// The settings of a walk from a path, the initial ones for null. False, with the fault left, when they or
/// the path make no sense.
bool take_walk_options(const char* path, const ombrel_walk_options_t* given, ombrel_walk_options_t& taken);

} // namespace ombrel::system
