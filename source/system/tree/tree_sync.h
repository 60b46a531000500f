// Two trees side by side: how they differ, and what makes the second like the first.
#pragma once

#include <ombrel/directory.h>

#include "core/scratch_array.h"
#include "system/tree/directory_chain.h"
#include "system/tree/entry_list.h"
#include "system/tree/tree_failures.h"

namespace ombrel::system {

class tree_sync {
public:
    struct task {
        ombrel_sync_options_t options;
        bool changes;                             ///< whether the second tree is made like the first
        bool tells_gone;                          ///< of what is in the second tree alone
        ombrel_tree_difference_handler_t handler; ///< may be null
        void* context;
    };

    tree_sync(const task& wanted, tree_failures& failures, const char* tag)
        : task_(wanted), failures_(failures), tag_(tag), from_(tag), to_(tag), levels_(tag) {}
    ~tree_sync();
    tree_sync(const tree_sync&) = delete;
    tree_sync& operator=(const tree_sync&) = delete;

    /// What fails is told. 0, or what the handler gave.
    int run(const char* from, const char* to);

private:
    struct level {
        entry_list from, to;
        ombrel_file_info_t info; ///< of the first tree's directory
        bool has_to;             ///< whether the second tree has it
    };
    /// A name and what has it in either tree: of kind none where nothing does.
    struct pair {
        const char* name;
        ombrel_file_info_t from, to;
    };
    /// What a look at the files themselves came to.
    enum class answer { no, yes, failed };

    level& last() { return levels_[levels_.size() - 1]; }
    bool wants(uint32_t flag) const { return (task_.options.m_flags & flag) != 0; }
    bool goes_on() const { return broken_by_ == 0 && !failures_.end_work(); }

    void open_roots(const char* from, const char* to);
    bool open_second_root(const char* to, level& added);
    void push(level& added);
    void step();
    void leave();
    bool finish(const level& left);

    bool take(pair& both, bool& in_from, bool& in_to);
    bool look_at(pair& both, bool in_from, bool in_to);
    bool is_left_alone(const pair& both);
    bool is_filtered(const char* below, const ombrel_file_info_t& info) const;

    void handle(const pair& both);
    void handle_gone(const pair& both);
    void tell(int difference, const char* below, const pair& both);
    int judge(const pair& both);
    int judge_files(const pair& both);
    answer have_same_bytes(const char* name);
    answer have_same_texts(const char* name);

    bool mend(int difference, const pair& both);
    bool clear_way(const pair& both);
    void remove(const pair& both);
    bool copy(const char* name);
    bool set_marks(const pair& both);
    void enter(const pair& both);

    bool fail_from(const char* name);
    bool fail_to(const char* name);

    task task_;
    tree_failures& failures_;
    const char* tag_;
    directory_chain from_, to_;
    scratch_array<level, 4> levels_;
    int broken_by_ = 0;
};

} // namespace ombrel::system
