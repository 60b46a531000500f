#include <ombrel/directory.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/heap_balance.h"
#include "support/scratch_directory.h"
#include "support/texts.h"

namespace {

using namespace ombrel_test;
using lines = std::vector<std::string>;

/// Directories end with "/".
void make_tree(const scratch_directory& folder, const lines& entries) {
    for (const std::string& entry : entries) {
        if (entry.back() == '/')
            EXPECT_EQ(0, make_directory(folder / entry.substr(0, entry.size() - 1))) << entry;
        else
            folder.write(entry, entry);
    }
}

/// With the path below the root after its depth, "<" for leaving.
lines walked(const std::string& root, const ombrel_walk_options_t& options, lines* failures = nullptr) {
    lines result;
    ombrel_walk_options_t settings = options;
    if (failures != nullptr) {
        settings.m_failure_context = failures;
        settings.m_on_failure = [](const char* path, int fault, void* context) {
            static_cast<lines*>(context)->push_back(std::string(path) + " " + ombrel_fault_name(fault));
            return 0;
        };
    }
    ombrel_walk_t* const walk = ombrel_open_walk(root.c_str(), &settings);
    ombrel_walk_entry_t entry;
    while (ombrel_walk_next(walk, &entry) == 1) {
        const std::string path = entry.m_path, below = entry.m_below, name = entry.m_name;
        EXPECT_EQ(path, below.empty() ? root : root + "/" + below);
        EXPECT_EQ(name, below.empty() ? root : below.substr(below.rfind('/') + 1));
        result.push_back(std::to_string(entry.m_depth) + (entry.m_leaves != 0 ? "<" : " ") + below);
    }
    EXPECT_EQ(0, ombrel_walk_next(walk, &entry));
    EXPECT_EQ(failures != nullptr ? failures->size() : 0, ombrel_walk_get_failures(walk));
    ombrel_close_walk(walk);
    return result;
}

ombrel_walk_options_t walk_options(uint32_t flags, int depth_max = -1,
                                   const ombrel_match_filter_t* filter = nullptr) {
    ombrel_walk_options_t options;
    EXPECT_EQ(0, ombrel_init_walk_options(&options));
    options.m_flags = flags;
    options.m_depth_max = depth_max;
    options.m_filter = filter;
    return options;
}

class Directory : public testing::Test {
protected:
    const scratch_directory folder_;
    const heap_balance balance_;
};

TEST_F(Directory, IsReadInPiecesAndSorted) {
    make_tree(folder_, texts("b", "a/", "a/x", "\xC3\xA9", "C"));
    std::map<std::string, int> found;
    ombrel_directory_entry_t entry;
    ombrel_directory_t* const directory = ombrel_open_directory(folder_.path().c_str());
    for (int round = 0; round < 2; round++) {
        while (ombrel_directory_next(directory, &entry) == 1)
            found[entry.m_name] += entry.m_kind;
        EXPECT_EQ(0, ombrel_directory_rewind(directory));
    }
    EXPECT_EQ(0, ombrel_close_directory(directory));
    constexpr int file = def_ombrel_file_kind_regular, folder = def_ombrel_file_kind_directory;
    EXPECT_EQ((std::map<std::string, int>{
                  {"C", 2 * file}, {"a", 2 * folder}, {"b", 2 * file}, {"\xC3\xA9", 2 * file}}),
              found);

    size_t count = 0;
    ombrel_directory_entry_t* const list = ombrel_alloc_directory_list(folder_.path().c_str(), &count);
    lines names;
    for (const ombrel_directory_entry_t* each = list; each->m_name != nullptr; each++)
        names.push_back(each->m_name);
    EXPECT_EQ(texts("C", "a", "b", "\xC3\xA9"), names);
    EXPECT_EQ(4u, count);
    ombrel_free(list);

    EXPECT_EQ(nullptr, ombrel_open_directory((folder_ / "none").c_str()));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_alloc_directory_list((folder_ / "b").c_str(), nullptr));
    EXPECT_EQ(def_ombrel_fault_not_directory, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_open_directory(""));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_directory_next(nullptr, &entry));
    EXPECT_EQ(0, ombrel_close_directory(nullptr));
}

TEST_F(Directory, IsWalkedByDepthFilterAndOrder) {
    make_tree(folder_, texts("a/", "a/b/", "a/b/c.o", "a/x.c", "a.c", "out/", "out/y.c"));
    const std::string& root = folder_.path();
    constexpr uint32_t sorted = def_ombrel_walk_sorted;
    EXPECT_EQ(texts("0 ", "1 a", "2 a/b", "3 a/b/c.o", "2 a/x.c", "1 a.c", "1 out", "2 out/y.c"),
              walked(root, walk_options(sorted)));
    EXPECT_EQ(texts("0 ", "1 a", "1<a", "1 a.c", "1 out", "1<out", "0<"),
              walked(root, walk_options(sorted | def_ombrel_walk_leave, 1)));
    EXPECT_EQ(texts("0 ", "0<"), walked(root, walk_options(def_ombrel_walk_leave, 0)));
    EXPECT_EQ(texts("0 "), walked(root + "/a.c", walk_options(def_ombrel_walk_leave)));

    ombrel_match_filter_t* const filter = ombrel_open_match_filter(0);
    ombrel_match_filter_add(filter, def_ombrel_match_include, "*.c");
    ombrel_match_filter_add(filter, def_ombrel_match_exclude, "/out/");
    EXPECT_EQ(texts("0 ", "2 a/x.c", "1 a.c", "0<"),
              walked(root, walk_options(sorted | def_ombrel_walk_leave, -1, filter)));

    ombrel_walk_options_t options = walk_options(sorted, -1, filter);
    ombrel_tree_t* const tree = ombrel_alloc_tree(root.c_str(), &options);
    lines records;
    for (size_t i = 0; i < tree->m_count; i++) {
        char* const path = ombrel_alloc_tree_path(tree, i);
        records.push_back(path + root.size() + std::string(" ") + std::to_string(tree->m_records[i].m_total) +
                          " to " + std::to_string(tree->m_records[i].m_end));
        ombrel_free(path);
    }
    EXPECT_EQ(texts(" 8 to 5", "/a 5 to 4", "/a/b 0 to 3", "/a/x.c 5 to 4", "/a.c 3 to 5"), records);
    ombrel_free(tree);
    ombrel_close_match_filter(filter);
}

TEST_F(Directory, TellsOfWhatGoesWhileItIsWalked) {
    make_tree(folder_, texts("a/", "b", "c/"));
    lines failures;
    ombrel_walk_options_t options = walk_options(def_ombrel_walk_sorted | def_ombrel_walk_info);
    options.m_failure_context = &failures;
    options.m_on_failure = [](const char* path, int fault, void* context) {
        static_cast<lines*>(context)->push_back(path + std::string(" ") + ombrel_fault_name(fault));
        return static_cast<int>(static_cast<lines*>(context)->size()) == 3 ? 7 : 0;
    };
    ombrel_walk_t* const walk = ombrel_open_walk(folder_.path().c_str(), &options);
    ombrel_walk_entry_t entry;
    EXPECT_EQ(1, ombrel_walk_next(walk, &entry));
    EXPECT_EQ(1, ombrel_walk_next(walk, &entry));
    EXPECT_STREQ("a", entry.m_name);
    EXPECT_EQ(-1, ombrel_walk_open_file(walk));
    remove_all(folder_ / "a");
    remove_all(folder_ / "b");
    EXPECT_EQ(1, ombrel_walk_next(walk, &entry));
    EXPECT_STREQ("c", entry.m_name);
    remove_all(folder_ / "c");
    EXPECT_EQ(-1, ombrel_walk_next(walk, &entry));
    EXPECT_EQ(0, ombrel_walk_next(walk, &entry));
    const std::string& root = folder_.path();
    EXPECT_EQ(texts(root + "/a not_found", root + "/b not_found", root + "/c not_found"), failures);
    EXPECT_EQ(0, ombrel_close_walk(walk));

    EXPECT_EQ(nullptr, ombrel_open_walk((root + "/a").c_str(), nullptr));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    options.m_flags = 0x100;
    EXPECT_EQ(nullptr, ombrel_open_walk(root.c_str(), &options));
    EXPECT_EQ(-1, ombrel_walk_next(nullptr, &entry));
    EXPECT_EQ(-1, ombrel_walk_skip(nullptr));
}

TEST_F(Directory, IsSkippedAndItsFilesAreOpened) {
    make_tree(folder_, texts("a/", "a/x", "b"));
    ombrel_walk_options_t options = walk_options(def_ombrel_walk_sorted | def_ombrel_walk_leave);
    ombrel_walk_t* const walk = ombrel_open_walk(folder_.path().c_str(), &options);
    ombrel_walk_entry_t entry;
    lines found;
    while (ombrel_walk_next(walk, &entry) == 1) {
        found.push_back(entry.m_below);
        if (found.back() == "a") {
            EXPECT_EQ(0, ombrel_walk_skip(walk));
        }
        if (found.back() == "b") {
            char text[9];
            const int fd = ombrel_walk_open_file(walk);
            EXPECT_EQ(1, ombrel_file_read_all(fd, text, sizeof text));
            EXPECT_EQ(0, ombrel_close_file(fd));
        }
    }
    EXPECT_EQ(texts("", "a", "b", ""), found);
    ombrel_close_walk(walk);
}

int note_difference(const ombrel_tree_difference_t* difference, void* context) {
    constexpr const char* words[] = {"", "new", "changed", "marks", "gone"};
    static_cast<lines*>(context)->push_back(std::string(words[difference->m_difference]) + " " +
                                            difference->m_path);
    return 0;
}

lines differences(const std::string& from, const std::string& to, uint32_t flags = 0) {
    ombrel_sync_options_t options;
    ombrel_init_sync_options(&options);
    options.m_flags = flags;
    lines found;
    EXPECT_EQ(0, ombrel_compare_trees(from.c_str(), to.c_str(), &options, note_difference, &found));
    return found;
}

TEST_F(Directory, IsComparedAndMadeLikeAnother) {
    make_tree(folder_, texts("f/", "f/a/", "f/a/n", "f/c", "f/k/", "f/s", "f/t", "f/x", "t/", "t/a/", "t/c",
                             "t/g/", "t/g/h", "t/g/kept.o", "t/s", "t/t", "t/x/", "t/x/y", "t/z"));
    const std::string from = folder_ / "f", to = folder_ / "t";
    folder_.write("t/c", "f/d");
    const ombrel_instant_t old{1000000000, 0}, older{999999999, 0};
    for (const char* name : {"f/c", "t/c", "f/s", "t/s", "f/t"})
        EXPECT_EQ(0, ombrel_set_file_times((folder_ / name).c_str(), 0, nullptr, &old));
    EXPECT_EQ(0, ombrel_set_file_times((folder_ / "t/t").c_str(), 0, nullptr, &older));
    folder_.write("t/s", "longer");
    folder_.write("t/t", "f/t");
    const lines by_time =
        texts("new a/n", "gone g", "new k", "changed s", "changed t", "changed x", "gone z");
    EXPECT_EQ(by_time, differences(from, to));
    EXPECT_EQ(texts("new a/n", "changed c", "gone g", "new k", "changed s", "marks t", "changed x", "gone z"),
              differences(from, to, def_ombrel_sync_content));

    ombrel_sync_options_t options;
    ombrel_init_sync_options(&options);
    options.m_flags = def_ombrel_sync_dry_run | def_ombrel_sync_delete;
    lines told;
    EXPECT_EQ(0, ombrel_sync_trees(from.c_str(), to.c_str(), &options, note_difference, &told));
    EXPECT_EQ(by_time, told);
    EXPECT_EQ(by_time, differences(from, to));

    options.m_flags = def_ombrel_sync_content;
    EXPECT_EQ(-1, ombrel_sync_trees(from.c_str(), to.c_str(), &options, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_is_directory, ombrel_last_fault());
    EXPECT_EQ(texts("gone g", "changed x", "gone z"), differences(from, to, def_ombrel_sync_content));

    ombrel_match_filter_t* const filter = ombrel_open_match_filter(0);
    ombrel_match_filter_add(filter, def_ombrel_match_exclude, "*.o");
    options.m_flags = def_ombrel_sync_delete;
    options.m_filter = filter;
    EXPECT_EQ(0, ombrel_sync_trees(from.c_str(), to.c_str(), &options, nullptr, nullptr));
    EXPECT_EQ(texts("gone g"), differences(from, to, def_ombrel_sync_content));
    EXPECT_EQ("t/g/kept.o", folder_.read("t/g/kept.o"));
    EXPECT_EQ("f/x", folder_.read("t/x"));
    ombrel_close_match_filter(filter);

    EXPECT_EQ(0, ombrel_sync_trees(from.c_str(), (folder_ / "made").c_str(), nullptr, nullptr, nullptr));
    EXPECT_EQ(lines(), differences(from, folder_ / "made", def_ombrel_sync_content));
    EXPECT_EQ(-1, ombrel_sync_trees(from.c_str(), (from + "/a").c_str(), nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_sync_trees(from.c_str(), (from + "/new").c_str(), nullptr, nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_sync_trees((from + "/a").c_str(), from.c_str(), nullptr, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(-1,
              ombrel_compare_trees((from + "/none").c_str(), to.c_str(), nullptr, note_difference, &told));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    told.clear();
    EXPECT_EQ(5, ombrel_compare_trees(
                     from.c_str(), folder_.path().c_str(), nullptr,
                     [](const ombrel_tree_difference_t*, void*) { return 5; }, nullptr));
}

TEST_F(Directory, IsCopiedAndRemovedWithWhatIsInIt) {
    make_tree(folder_, texts("a/", "a/b/", "a/b/c", "a/d", "e", "old/", "old/d", "way/", "way/b"));
    const std::string from = folder_ / "a", to = folder_ / "copy";
    const auto copy = [](const std::string& first, const std::string& second,
                         uint32_t flags = def_ombrel_file_keep_times) {
        return ombrel_copy_tree(first.c_str(), second.c_str(), flags, nullptr, nullptr);
    };
    const auto remove = [](const std::string& path) {
        return ombrel_remove_tree(path.c_str(), nullptr, nullptr);
    };
    EXPECT_EQ(0, copy(from, to));
    EXPECT_EQ(lines(), differences(from, to, def_ombrel_sync_content));
    EXPECT_EQ(0, copy(from, to));
    EXPECT_EQ(-1, copy(from, folder_ / "old", def_ombrel_file_no_replace));
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ("old/d", folder_.read("old/d"));
    EXPECT_EQ(0, copy(from, folder_ / "old"));
    EXPECT_EQ("a/d", folder_.read("old/d"));
    EXPECT_EQ(-1, copy(from, folder_ / "way"));
    EXPECT_EQ(def_ombrel_fault_not_directory, ombrel_last_fault());
    EXPECT_EQ("a/d", folder_.read("way/d"));
    for (const char* within : {"a", "a/b/new", "a/b"})
        EXPECT_EQ(-1, copy(from, folder_ / within)) << within;
    EXPECT_EQ(-1, copy(from + "/d", from + "/d"));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ("a/d", folder_.read("a/d"));
    EXPECT_EQ(-1, copy(folder_ / "e", to));
    EXPECT_EQ(def_ombrel_fault_is_directory, ombrel_last_fault());

    for (const char* name : {"a", "copy", "e", "old", "way"})
        EXPECT_EQ(0, remove(folder_ / name)) << name;
    EXPECT_EQ(texts("0 "), walked(folder_.path(), walk_options(0)));
    EXPECT_EQ(-1, remove(from));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    for (const std::string& path :
         texts("/", "//", "", ".", "..", folder_ / ".", folder_ / "..", folder_ / "../"))
        EXPECT_EQ(-1, remove(path)) << path;
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
}

} // namespace
