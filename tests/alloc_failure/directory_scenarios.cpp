// Directories, trees and filters: what memory runs out for says so, and leaves no descriptor behind.
#include <ombrel/directory.h>

#include <ombrel/fault.h>

#include "alloc_failure/injection.h"
#include "support/descriptor_balance.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// A chain of directories, too long for some of the rooms that need no memory.
void make_tree(const scratch_directory& folder, const std::string& root, int depth) {
    std::string path = root;
    for (int i = 0; i < depth; i++, path += "/directory") {
        ASSERT_EQ(0, make_directory(folder / path));
        folder.write(path + "/" + std::string(60, 'x'), "x");
    }
}

ombrel_match_filter_t* open_filter(const char* list) {
    ombrel_match_filter_t* const filter = ombrel_open_match_filter(0);
    if (filter != nullptr &&
        ombrel_match_filter_add_text(filter, def_ombrel_match_exclude, list, strlen(list), nullptr) == 2)
        return filter;
    ombrel_close_match_filter(filter);
    return nullptr;
}

OMBREL_FAILURES(Directory, filters) {
    null_when_hit(fail, ombrel_close_match_filter, [] { return open_filter("*.o\n!a/b\n"); });
}

OMBREL_FAILURES(Directory, entries) {
    const descriptor_balance balance;
    const scratch_directory folder;
    make_tree(folder, "t", 5);
    null_when_hit(fail, ombrel_close_directory, [&] { return ombrel_open_directory(folder.path().c_str()); });
    null_when_hit(fail, free_block,
                  [&] { return ombrel_alloc_directory_list(folder.path().c_str(), nullptr); });
    ombrel_tree_t* const tree = ombrel_alloc_tree(folder.path().c_str(), nullptr);
    null_when_hit(fail, free_block, [&] { return ombrel_alloc_tree_path(tree, 9); });
    ombrel_free(tree);
    null_when_hit(fail, free_block, [&] { return ombrel_alloc_tree(folder.path().c_str(), nullptr); });
}

OMBREL_FAILURES(Directory, walks) {
    const descriptor_balance balance;
    const scratch_directory folder;
    make_tree(folder, "t", 17);
    const ombrel_walk_options_t options{def_ombrel_walk_sorted | def_ombrel_walk_leave, -1, nullptr, nullptr,
                                        nullptr};
    refused_when_hit(fail, [&] {
        ombrel_walk_t* const walk = ombrel_open_walk(folder.path().c_str(), &options);
        ombrel_walk_entry_t entry;
        int result = walk != nullptr ? 1 : -1;
        while (result == 1)
            result = ombrel_walk_next(walk, &entry);
        EXPECT_TRUE(result == 0 || ombrel_last_fault() == def_ombrel_fault_no_memory);
        ombrel_close_walk(walk);
        return result;
    });
}

OMBREL_FAILURES(Directory, changes) {
    const descriptor_balance balance;
    const scratch_directory folder;
    make_tree(folder, "t", 5);
    const std::string from = folder / "t", to = folder / "c", made = folder / "s";
    const auto of_memory = [](bool is_done) {
        EXPECT_TRUE(is_done || ombrel_last_fault() == def_ombrel_fault_no_memory);
    };
    of_memory(refused_when_hit(
        fail, [&] { return ombrel_copy_tree(from.c_str(), to.c_str(), 0, nullptr, nullptr); }));
    ombrel_sync_options_t options;
    ombrel_init_sync_options(&options);
    options.m_flags = def_ombrel_sync_content | def_ombrel_sync_delete;
    for (const std::string& target : {to, made})
        of_memory(refused_when_hit(fail, [&] {
            return ombrel_sync_trees(from.c_str(), target.c_str(), &options, nullptr, nullptr);
        }));
    of_memory(refused_when_hit(fail, [&] { return ombrel_remove_tree(from.c_str(), nullptr, nullptr); }));
}

} // namespace
} // namespace ombrel_test
