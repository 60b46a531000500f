// Files: what cannot be finished for want of memory leaves everything as it was.
#include <ombrel/file.h>

#include <ombrel/fault.h>

#include "alloc_failure/injection.h"
#include "support/descriptor_balance.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// -1 exactly when memory ran out, with that as the reason. @return whether the call did its work
template<typename Call>
bool refused_for_memory(injection& fail, Call call) {
    const bool is_done = refused_when_hit(fail, call);
    EXPECT_TRUE(is_done || ombrel_last_fault() == def_ombrel_fault_no_memory);
    return is_done;
}

OMBREL_FAILURES(File, load) {
    const descriptor_balance balance;
    const scratch_directory folder;
    const std::string path = folder.file("f", std::string(10000, 'x'));
    null_when_hit(fail, free_block, [&] { return ombrel_alloc_load_file(path.c_str(), 0, nullptr); });
    null_when_hit(fail, free_block, [] { return ombrel_alloc_load_file("/proc/self/maps", 0, nullptr); });
}

OMBREL_FAILURES(File, store) {
    const descriptor_balance balance;
    const scratch_directory folder;
    folder.write("f", "old");
    const std::string path = folder / "f", link = folder / "link";
    ASSERT_EQ(0, ombrel_make_symbolic_link("f", link.c_str()));
    for (const std::string& name : {path, link}) {
        folder.write("f", "old");
        const bool is_done =
            refused_for_memory(fail, [&] { return ombrel_store_file(name.c_str(), "new", 3, 0, 0666); });
        EXPECT_EQ(is_done ? "new" : "old", folder.read("f"));
    }
    EXPECT_EQ(0, ombrel_remove_file(link.c_str()));
    EXPECT_EQ(0, ombrel_remove_file(path.c_str()));
    EXPECT_EQ(0, ombrel_remove_directory(folder.path().c_str())); // nothing temporary is left
    EXPECT_EQ(0, ombrel_make_directory(folder.path().c_str(), 0700));
}

OMBREL_FAILURES(File, copy) {
    const descriptor_balance balance;
    const scratch_directory folder;
    const std::string from = folder.file("from", "bytes"), to = folder / "to", link = folder / "link";
    ASSERT_EQ(0, ombrel_make_symbolic_link("from", link.c_str()));
    const struct {
        std::string from;
        uint32_t flags;
    } rows[] = {{from, 0},
                {from, def_ombrel_file_at_once | def_ombrel_file_no_sync},
                {"/proc/self/maps", 0}, // block by block
                {link, def_ombrel_file_no_follow}};
    for (const auto& row : rows) {
        const bool is_done = refused_for_memory(fail, [&] {
            return ombrel_copy_file(row.from.c_str(), to.c_str(), row.flags, nullptr, nullptr);
        });
        EXPECT_EQ(is_done ? 1 : 0, ombrel_file_exists(to.c_str()));
        ombrel_remove_file(to.c_str());
    }
}

OMBREL_FAILURES(File, names) {
    const descriptor_balance balance;
    const scratch_directory folder;
    const std::string deep = folder / "a/b/c", link = folder / "link";
    refused_for_memory(fail, [&] { return ombrel_make_directories(deep.c_str(), 0777); });
    ASSERT_EQ(0, ombrel_make_symbolic_link("text", link.c_str()));
    text_or_null(fail, "text", [&] { return ombrel_alloc_link_text(link.c_str()); });
    null_when_hit(fail, free_block, [] { return ombrel_alloc_current_directory(); });
    null_when_hit(fail, free_block, [] { return ombrel_alloc_program_path(); });
    null_when_hit(fail, free_block, [] { return ombrel_alloc_temporary_folder(); });
    null_when_hit(fail, free_block, [] { return ombrel_alloc_mount_table(nullptr); });
    text_or_null(fail, "/", [] { return ombrel_alloc_canonical_path("/"); });
}

OMBREL_FAILURES(File, temporary) {
    const descriptor_balance balance;
    const scratch_directory folder;
    char* path = nullptr;
    const int fd =
        fail.during([&] { return ombrel_open_temporary_file(folder.path().c_str(), "prefix", &path); });
    EXPECT_EQ(fail.hit(), fd == -1 && path == nullptr);
    if (fd >= 0)
        ombrel_close_file(fd);
    ombrel_check_free(path);
    null_when_hit(fail, free_block,
                  [&] { return ombrel_alloc_temporary_directory(folder.path().c_str(), nullptr); });
}

} // namespace
} // namespace ombrel_test
