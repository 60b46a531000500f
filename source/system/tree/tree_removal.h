// Removal of what has a name, with all that is in it, however deep, following no link.
#pragma once

#include <ombrel/match_filter.h>

#include "core/scratch_array.h"
#include "system/tree/directory_chain.h"
#include "system/tree/entry_list.h"
#include "system/tree/tree_failures.h"

namespace ombrel::system {

class tree_removal {
public:
    struct target {
        platform::open_directory* parent;
        const char* name;                    ///< in that directory
        const char* path;                    ///< what it is said to be
        const ombrel_match_filter_t* filter; ///< what it does not admit stays; null for none
        size_t below;                        ///< where in `path` that begins which the filter is asked about
    };

    tree_removal(const target& wanted, tree_failures& failures, const char* tag)
        : target_(wanted), failures_(failures), tag_(tag), chain_(tag), levels_(tag) {}
    ~tree_removal();
    tree_removal(const tree_removal&) = delete;
    tree_removal& operator=(const tree_removal&) = delete;

    /// What fails is told.
    void run(bool is_directory);

private:
    struct level {
        entry_list list;
        bool must_stay; ///< as something in it did
    };
    level& last() { return levels_[levels_.size() - 1]; }
    platform::open_directory* here();

    void remove(const char* name, bool is_directory);
    bool keeps(const char* name, bool is_directory);
    void remove_file(const char* name);
    void enter(const char* name);
    bool open(const char* name);
    void remove_unopened(const char* name);
    void read();
    void leave();
    void fail(const char* name);

    target target_;
    tree_failures& failures_;
    const char* tag_;
    directory_chain chain_;
    scratch_array<level, 16> levels_;
};

} // namespace ombrel::system
