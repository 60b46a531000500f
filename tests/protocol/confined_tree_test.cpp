#include "system/tree/confined_tree.h"

#include <ombrel/fault.h>
#include <ombrel/file.h>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include <thread>

#include <gtest/gtest.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"

using namespace ombrel_test;
using ombrel::system::confined_tree;

namespace {

/// A tree to be kept to, "root", and what must not be reached beside it.
class ConfinedTree : public balanced_test {
protected:
    void SetUp() override {
        for (const char* name : {"root", "root/in", "root/in/deep", "out"})
            ASSERT_EQ(0, ombrel_make_directory(path(name).c_str(), 0777));
        for (const char* name : {"root/plain", "root/in/deep/file", "out/secret"})
            ASSERT_EQ(0, ombrel_store_file(path(name).c_str(), name, strlen(name), 0, 0666));
        ASSERT_TRUE(tree_.open(path("root").c_str()));
    }
    void TearDown() override { tree_.close(); }
    std::string path(const std::string& name) const { return folder_ / name; }
    int open(const char* name, ombrel::platform::file_access access = {.read = true}) {
        ombrel_file_info_t info;
        return tree_.open_file(name, access, &info);
    }
    /// What a file has in it, or why it cannot be opened.
    std::string content(const char* name) {
        const int descriptor = open(name);
        if (descriptor < 0)
            return ombrel_fault_name(ombrel_last_fault());
        char bytes[64];
        const int size = ombrel::platform::read_descriptor(descriptor, bytes, sizeof bytes);
        ombrel::platform::close_descriptor(descriptor);
        return {bytes, static_cast<size_t>(size)};
    }

    descriptor_balance descriptors_;
    scratch_directory folder_;
    confined_tree tree_{};
};

TEST_F(ConfinedTree, OpensPlainNamesOnly) {
    static constexpr const char* cases[][2] = {
        {"plain", "root/plain"},
        {"/plain", "root/plain"},
        {"in/deep/file", "root/in/deep/file"},
        {"//in//deep///file/", "root/in/deep/file"},
        {"", "is_directory"},
        {"///", "is_directory"},
        {"in", "is_directory"},
        {"none", "not_found"},
        {"none/file", "not_found"},
        {"plain/file", "not_directory"},
        {".", "not_found"},
        {"./plain", "not_found"},
        {"in/../plain", "not_found"},
        {"../out/secret", "not_found"},
        {"in/../../out/secret", "not_found"},
        {"..", "not_found"},
        {"..\\out\\secret", "not_found"},
        {"in\\deep\\file", "not_found"},
        {"pl\x01in", "not_found"},
        {"plain\x7f", "not_found"},
#if defined(_WIN32)
        {"C:/Windows/win.ini", "not_found"},
        {"plain::$DATA", "not_found"},
        {"plain.", "not_found"},
        {"plain ", "not_found"},
        {"nul", "not_found"},
        {"in/Com1.txt", "not_found"},
        {"PLAIN~1", "not_found"},
        {"PLAIN", "root/plain"},
#endif
    };
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(expected, content(name)) << name;
    EXPECT_EQ("not_found", content(std::string(5000, 'n').c_str()));
    EXPECT_EQ("not_found", content(path("root/plain").c_str())) << "absolute";
}

TEST_F(ConfinedTree, MakesRenamesAndRemovesBelowTheRoot) {
    EXPECT_TRUE(tree_.make_directory("new", 0777));
    EXPECT_TRUE(tree_.rename("in/deep/file", "new/file"));
    EXPECT_TRUE(tree_.rename("plain", "new/file")) << "replaces";
    EXPECT_EQ("root/plain", content("new/file"));
    ombrel_file_info_t info;
    const ombrel_instant_t moment{1'000'000'000, 0};
    EXPECT_TRUE(tree_.set_times("new/file", {nullptr, &moment}));
    ASSERT_TRUE(tree_.get_info("new/file", info));
    EXPECT_EQ(moment.m_seconds, info.m_modified.m_seconds);
    EXPECT_TRUE(tree_.get_info("/", info));
    EXPECT_EQ(def_ombrel_file_kind_directory, info.m_kind);
    const int made = open("new/made", {.write = true, .create = true, .exclusive = true});
    ASSERT_LE(0, made);
    ombrel::platform::close_descriptor(made);
    EXPECT_FALSE(tree_.remove_directory("new"));
    EXPECT_EQ(def_ombrel_fault_not_empty, ombrel_last_fault());
    for (const char* name : {"new/file", "new/made"})
        EXPECT_TRUE(tree_.remove_file(name));
    EXPECT_TRUE(tree_.remove_directory("new"));
    EXPECT_FALSE(tree_.remove_file("in"));

    // None of them goes up, nor touches the root itself.
    for (const char* name : {"../out/secret", "..", "", "in/../in"}) {
        EXPECT_FALSE(tree_.remove_file(name)) << name;
        EXPECT_FALSE(tree_.remove_directory(name)) << name;
        EXPECT_FALSE(tree_.make_directory(name, 0777)) << name;
        EXPECT_FALSE(tree_.rename(name, "x")) << name;
        EXPECT_FALSE(tree_.rename("in", name)) << name;
        EXPECT_FALSE(tree_.set_times(name, {nullptr, &moment})) << name;
    }
    for (const char* name : {"", "in", "in/deep"}) {
        auto* const directory = tree_.open_directory(name);
        ASSERT_NE(nullptr, directory) << name;
        ombrel::platform::found_entry entry;
        EXPECT_EQ(name[0] == '\0' || name[2] == '\0', ombrel::platform::next_entry(directory, entry) == 1)
            << name;
        ombrel::platform::close_directory(directory);
    }
    EXPECT_EQ(nullptr, tree_.open_directory("in/.."));
}

#if !defined(_WIN32)

TEST_F(ConfinedTree, RefusesLinksAndWhatIsNoFile) {
    ASSERT_EQ(0, symlink("../out", path("root/way").c_str()));
    ASSERT_EQ(0, symlink("../out/secret", path("root/secret").c_str()));
    ASSERT_EQ(0, symlink("plain", path("root/harmless").c_str()));
    ASSERT_EQ(0, symlink("../out/new", path("root/nowhere").c_str()));
    ASSERT_EQ(0, mkfifo(path("root/pipe").c_str(), 0666));
    for (const auto& [name, expected] : {std::pair{"way/secret", "not_directory"},
                                         {"secret", "link_loop"},
                                         {"harmless", "link_loop"},
                                         {"pipe", "access_denied"}})
        EXPECT_EQ(expected, content(name)) << name;
    for (const char* name : {"nowhere", "way/new", "pipe"})
        EXPECT_EQ(-1, open(name, {.write = true, .create = true})) << name;
    for (const char* name : {"way", "in/way"})
        EXPECT_EQ(nullptr, tree_.open_directory(name));
    EXPECT_FALSE(tree_.remove_file("way/secret"));
    EXPECT_FALSE(tree_.rename("way/secret", "mine"));
    EXPECT_FALSE(tree_.rename("plain", "way/plain"));
    EXPECT_FALSE(tree_.make_directory("way/new", 0777));
    EXPECT_TRUE(tree_.remove_file("way")) << "the link, not where it leads";
    EXPECT_EQ(0, access(path("out/secret").c_str(), F_OK));
}

TEST_F(ConfinedTree, StaysInsideWhileDirectoriesBecomeLinks) {
    constexpr unsigned exchange = 2;
    ASSERT_EQ(0, ombrel_make_directory(path("out/deep").c_str(), 0777));
    ASSERT_EQ(0, ombrel_store_file(path("out/deep/file").c_str(), "secret", 6, 0, 0666));
    ASSERT_EQ(0, symlink("../out", path("root/link").c_str()));
    const auto swap = [&] {
        return syscall(SYS_renameat2, AT_FDCWD, path("root/in").c_str(), AT_FDCWD, path("root/link").c_str(),
                       exchange) == 0;
    };
    if (!swap())
        GTEST_SKIP() << "this host does not exchange names in one step";
    std::atomic<bool> ends{false};
    std::thread swapper([&] {
        while (!ends)
            swap();
    });
    for (int i = 0; i < 3000; i++) {
        EXPECT_NE("secret", content("in/deep/file"));
        EXPECT_FALSE(tree_.remove_file("in/secret"));
    }
    ends = true;
    swapper.join();
    EXPECT_EQ(0, access(path("out/secret").c_str(), F_OK));
}

#endif

} // namespace
