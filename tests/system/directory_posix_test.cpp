// Directories with what POSIX has: links, pipes, paths of any length, and the tools to compare with.
#include <ombrel/directory.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"

namespace {

using namespace ombrel_test;

/// What a shell prints in the folder.
std::string output(const scratch_directory& folder, const std::string& command) {
    std::FILE* const pipe = popen(("cd " + folder.path() + " && " + command).c_str(), "r");
    std::string text;
    for (int c; (c = fgetc(pipe)) != EOF;)
        text += static_cast<char>(c);
    pclose(pipe);
    return text;
}

std::multiset<std::string> lines_of(const std::string& text) {
    std::multiset<std::string> lines;
    for (size_t at = 0, end; (end = text.find('\n', at)) != text.npos; at = end + 1)
        lines.insert(text.substr(at, end - at));
    return lines;
}

int note(const char*, int fault, void* context) {
    static_cast<std::vector<int>*>(context)->push_back(fault);
    return 0;
}

class DirectoryOfHost : public testing::Test {
protected:
    std::multiset<std::string> walked(const char* root, uint32_t flags) {
        ombrel_walk_options_t options;
        ombrel_init_walk_options(&options);
        options.m_flags = flags;
        options.m_on_failure = note;
        options.m_failure_context = &failures_;
        std::multiset<std::string> found;
        ombrel_walk_t* const walk = ombrel_open_walk((folder_ / root).c_str(), &options);
        ombrel_walk_entry_t entry;
        while (ombrel_walk_next(walk, &entry) == 1) {
            EXPECT_TRUE(entry.m_info == nullptr || entry.m_info->m_kind == entry.m_kind);
            found.insert(entry.m_path + folder_.path().size() + 1 + std::string(" ") +
                         "?fdlpscb"[entry.m_kind]);
        }
        EXPECT_EQ(0, ombrel_close_walk(walk));
        return found;
    }

    const scratch_directory folder_;
    const heap_balance balance_;
    const descriptor_balance descriptors_;
    std::vector<int> failures_;
};

// Random trees with every kind of file that anybody may make.
constexpr char make_random[] =
    "mkdir r; for i in $(seq 60); do d=$(find r -type d | sort | sed -n \"$((i * 7 % 11 + 1))p\"); "
    "d=${d:-r}; "
    "f=$(find r -type f | sort | head -n1); "
    "case $((i % 6)) in 0|1) mkdir \"$d/d $i\";; 2) ln -s \"../d 1\" \"$d/l$i\";; 3) mkfifo \"$d/p$i\";; "
    "4) printf %$((i * 37))d 7 >\"$d/f$i\";; 5) ln \"$f\" \"$d/h$i\";; esac; done; chmod 640 \"$f\"; "
    "ln -s . r/dot; ln -s nowhere r/lost; ln -s f4 r/file";

TEST_F(DirectoryOfHost, AgreesWithTheToolsOfTheHost) {
    output(folder_, make_random);
    const std::string from = folder_ / "r", to = folder_ / "c";
    const auto expected = lines_of(output(folder_, "find r -printf '%p %y\\n'"));
    EXPECT_LT(60u, expected.size());
    for (const uint32_t flags :
         {0u, def_ombrel_walk_info, def_ombrel_walk_sorted | def_ombrel_walk_one_device})
        EXPECT_EQ(expected, walked("r", flags)) << flags;
    EXPECT_EQ((std::multiset<std::string>{"r/dot l"}), walked("r/dot", 0));

    ombrel_tree_t* const tree = ombrel_alloc_tree(from.c_str(), nullptr);
    EXPECT_EQ(std::to_string(tree->m_records[0].m_total) + "\n",
              output(folder_, "find r ! -type d -print0 | du -bc --files0-from=- | tail -n1 | cut -f1"));
    ombrel_free(tree);

    EXPECT_EQ(0, chmod((folder_ / "r/d 1").c_str(), 0500));
    constexpr uint32_t kept = def_ombrel_file_keep_mode | def_ombrel_file_keep_times;
    EXPECT_EQ(0, ombrel_copy_tree(from.c_str(), to.c_str(), kept, note, &failures_));
    EXPECT_EQ(0, ombrel_sync_trees(from.c_str(), (folder_ / "s").c_str(), nullptr, nullptr, nullptr));
    const auto marks = [&](const char* name) {
        return lines_of(
            output(folder_, "cd " + std::string(name) +
                                "; find . -type d -printf '%p %m %t\\n' -o -printf '%p %y %m %s %t %l\\n'"));
    };
    for (const char* made : {"c", "s"}) {
        EXPECT_EQ(marks("r"), marks(made));
        EXPECT_EQ(
            "", output(folder_, std::string("diff -r --no-dereference r ") + made + " 2>&1 | grep -v fifo"));
    }
    EXPECT_TRUE(failures_.empty());
}

TEST_F(DirectoryOfHost, GoesNoWayRoundThroughLinks) {
    output(folder_, "mkdir -p r/a/b side; ln -s .. r/a/up; ln -s ../../side r/a/over; ln -s ../r/a "
                    "side/back; ln -s x r/lost; echo >side/f");
    const std::multiset<std::string> expected = {"r d",        "r/a d",           "r/a/b d",      "r/a/up d",
                                                 "r/a/over d", "r/a/over/back d", "r/a/over/f f", "r/lost l"};
    EXPECT_EQ(expected, walked("r", def_ombrel_walk_follow));
    EXPECT_EQ((std::vector<int>{def_ombrel_fault_link_loop, def_ombrel_fault_link_loop}), failures_);
    EXPECT_EQ(expected, walked("r", def_ombrel_walk_follow | def_ombrel_walk_info));
}

/// The way down, made and opened by single names.
void make_deep(const scratch_directory& folder, const char* name, int depth) {
    int at = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < depth && at >= 0; i++) {
        const char* const component = i == 0 ? name : i % 100 == 0 ? "hundred" : "d";
        EXPECT_EQ(0, mkdirat(at, component, 0700));
        const int next = openat(at, component, O_RDONLY | O_DIRECTORY);
        if (i % 100 == 50) {
            EXPECT_EQ(0, close(openat(at, "file", O_WRONLY | O_CREAT, 0600)));
        }
        close(at);
        at = next;
    }
    EXPECT_EQ(0, close(at));
}

/// Scratch directories lie in memory if that is to be had: others take seconds for thousands of directories.
class in_memory : no_copy {
public:
    in_memory() {
        const char* const before = getenv("TMPDIR");
        before_ = before != nullptr ? before : "/tmp";
        if (access("/dev/shm", W_OK | X_OK) == 0)
            setenv("TMPDIR", "/dev/shm", 1);
    }
    ~in_memory() { setenv("TMPDIR", before_.c_str(), 1); }

private:
    std::string before_;
};

/// Few may be open at a time.
class few_descriptors : no_copy {
public:
    few_descriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few = {std::min<rlim_t>(120, before_.rlim_max), before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~few_descriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_;
};

TEST_F(DirectoryOfHost, MayBeOfAnyDepth) {
    constexpr int depth = 10000, files = depth / 100;
    const in_memory kept;
    const scratch_directory folder;
    make_deep(folder, "deep", depth);
    const few_descriptors few;
    const std::string from = folder / "deep", to = folder / "copy";
    ombrel_walk_options_t options;
    ombrel_init_walk_options(&options);
    options.m_flags = def_ombrel_walk_leave;
    int counts[2] = {}, opened = 0;
    ombrel_walk_t* const walk = ombrel_open_walk(from.c_str(), &options);
    ombrel_walk_entry_t entry;
    while (ombrel_walk_next(walk, &entry) == 1) {
        counts[entry.m_leaves]++;
        if (entry.m_kind == def_ombrel_file_kind_regular)
            opened += ombrel_close_file(ombrel_walk_open_file(walk)) == 0;
    }
    EXPECT_EQ(0, ombrel_walk_get_failures(walk));
    ombrel_close_walk(walk);
    EXPECT_EQ(depth + files, counts[0]);
    EXPECT_EQ(depth, counts[1]);
    EXPECT_EQ(files, opened);

    EXPECT_EQ(0, ombrel_copy_tree(from.c_str(), to.c_str(), 0, nullptr, nullptr));
    EXPECT_EQ(0, ombrel_sync_trees(from.c_str(), to.c_str(), nullptr, nullptr, nullptr));
    const auto fail = [](const ombrel_tree_difference_t*, void*) { return 1; };
    EXPECT_EQ(0, ombrel_compare_trees(from.c_str(), to.c_str(), nullptr, fail, nullptr));
    for (const std::string& path : {from, to})
        EXPECT_EQ(0, ombrel_remove_tree(path.c_str(), nullptr, nullptr));
    EXPECT_EQ("", output(folder, "ls"));
}

// A directory that was left for a deep descent and moved away meanwhile is not looked for elsewhere.
TEST_F(DirectoryOfHost, IsNotFoundAgainWhereItWasMoved) {
    make_deep(folder_, "deep", 60);
    folder_.write("deep/d/z", "");
    ombrel_walk_options_t options;
    ombrel_init_walk_options(&options);
    options.m_flags = def_ombrel_walk_info | def_ombrel_walk_leave;
    options.m_on_failure = note;
    options.m_failure_context = &failures_;
    ombrel_walk_t* const walk = ombrel_open_walk((folder_ / "deep").c_str(), &options);
    ombrel_walk_entry_t entry;
    while (ombrel_walk_next(walk, &entry) == 1 && entry.m_depth < 59) {
    }
    output(folder_, "mkdir other; mv deep/d/d other/; mv deep/d other/e; mkdir -p deep/d/d/d");
    while (ombrel_walk_next(walk, &entry) == 1)
        EXPECT_STRNE("deep/d/d/d/d", entry.m_path);
    EXPECT_LT(0, ombrel_walk_get_failures(walk));
    EXPECT_EQ(static_cast<int64_t>(failures_.size()), ombrel_walk_get_failures(walk));
    ombrel_close_walk(walk);
}

#if defined(SYS_renameat2)

constexpr unsigned exchange = 2;

bool swap(const std::string& a, const std::string& b) {
    return syscall(SYS_renameat2, AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), exchange) == 0;
}

TEST_F(DirectoryOfHost, IsLeftThroughNoLink) {
    output(folder_, "mkdir -p out/in/in more/in/in; for i in 1 2 3 4 5 6 7 8; do for d in . in in/in; do "
                    "echo out >out/$d/f$i; echo >more/$d/m$i; done; done; "
                    "for l in w v; do mkdir $l; ln -s $PWD/out $l/in; ln -s $PWD/out/f3 $l/m1; done");
    const auto outside = [this] { return output(folder_, "grep -r '' out | sort"); };
    const std::string before = outside(), more = folder_ / "more", tree = folder_ / "t";
    EXPECT_EQ(-1, ombrel_copy_tree(more.c_str(), (folder_ / "w").c_str(), 0, nullptr, nullptr));
    EXPECT_EQ(def_ombrel_fault_not_directory, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_sync_trees(more.c_str(), (folder_ / "v").c_str(), nullptr, nullptr, nullptr));
    EXPECT_EQ(before, outside());
    EXPECT_EQ("\n\n\n", folder_.read("w/m1") + folder_.read("v/m1") + folder_.read("v/in/in/m8"));

    if (!swap(folder_ / "out/f1", folder_ / "out/f2"))
        GTEST_SKIP() << "this host does not exchange names in one step";
    for (int round = 0; round < 25; round++) {
        output(folder_, "rm -rf t; cp -r out t; ln -s $PWD/out t/l; ln -s $PWD/out/in t/in/l");
        std::atomic<bool> ends{false};
        std::thread swapper([&] {
            while (!ends) {
                swap(tree + "/in", tree + "/l");
                swap(tree + "/in/in", tree + "/in/l");
            }
        });
        ombrel_copy_tree(more.c_str(), tree.c_str(), 0, nullptr, nullptr);
        ombrel_sync_trees(more.c_str(), tree.c_str(), nullptr, nullptr, nullptr);
        ombrel_remove_tree(tree.c_str(), nullptr, nullptr);
        ends = true;
        swapper.join();
        ASSERT_EQ(before, outside()) << round;
    }
}

#endif

} // namespace
