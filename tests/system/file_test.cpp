// Files at the public interface.
#include <ombrel/file.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"
#include "support/wine.h"

namespace {

using namespace ombrel_test;

constexpr uint32_t reads = def_ombrel_file_read, writes = def_ombrel_file_write,
                   creates = def_ombrel_file_create;

class File : public ::testing::Test {
protected:
    std::string at(const char* name) const { return folder / name; }

    heap_balance heap;
    descriptor_balance descriptors;
    scratch_directory folder;
};

/// What a failed call left; `none` after one that did not fail.
int fault_of(int64_t result) {
    return result == -1 ? ombrel_last_fault() : def_ombrel_fault_none;
}
int fault_of(const void* result) {
    return result == nullptr ? ombrel_last_fault() : def_ombrel_fault_none;
}

std::string text_of(char* heap_text) {
    const std::string text = heap_text != nullptr ? heap_text : "(null)";
    ombrel_check_free(heap_text);
    return text;
}

ombrel_file_info_t info_of(const std::string& path, uint32_t flags = 0) {
    ombrel_file_info_t info{};
    EXPECT_EQ(0, ombrel_get_file_info(path.c_str(), flags, &info)) << path;
    return info;
}

/// Makes a symbolic link, which not every host lets us.
bool link(const std::string& text, const std::string& path) {
    if (ombrel_make_symbolic_link(text.c_str(), path.c_str()) == 0)
        return true;
    const int why = ombrel_last_fault();
    EXPECT_TRUE(why == def_ombrel_fault_not_supported || why == def_ombrel_fault_access_denied) << why;
    return false;
}

struct opened_file {
    int fd;
    opened_file(const std::string& path, uint32_t flags) : fd(ombrel_open_file(path.c_str(), flags, 0666)) {
        EXPECT_LE(0, fd) << path;
    }
    ~opened_file() { EXPECT_EQ(0, ombrel_close_file(fd)); }
};

std::vector<std::string> names_in(const std::string& path) {
    std::vector<std::string> names;
#if defined(_WIN32)
    _WDIR* const folder = _wopendir(wide(path).c_str());
    while (const _wdirent* const entry = _wreaddir(folder))
        names.emplace_back(entry->d_name, entry->d_name + entry->d_namlen);
    _wclosedir(folder);
    std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
#else
    for (const auto& entry : std::filesystem::directory_iterator(path))
        names.push_back(entry.path().filename());
#endif
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(File, TellsWhatIsThere) {
    folder.write("f", "12345");
    make_directory(at("d"));
    const std::string file = at("f"), directory = at("d"), dangling = at("dangling"), good = at("good");
    EXPECT_EQ(def_ombrel_file_kind_regular, ombrel_get_file_kind(file.c_str(), 0));
    EXPECT_EQ(def_ombrel_file_kind_directory, ombrel_get_file_kind(directory.c_str(), 0));
    EXPECT_EQ(def_ombrel_file_kind_none, ombrel_get_file_kind(at("none").c_str(), 0));
    EXPECT_EQ(def_ombrel_file_kind_none, ombrel_get_file_kind((file + "/x").c_str(), 0));
    EXPECT_EQ(5, info_of(file).m_size);
    EXPECT_EQ(1u, info_of(file).m_links);
    EXPECT_EQ(1, ombrel_file_exists(directory.c_str()));
    EXPECT_EQ(0, ombrel_file_exists(at("none").c_str()));
    if (!link("nowhere", dangling) || !link("f", good))
        return;
    EXPECT_EQ(0, ombrel_file_exists(dangling.c_str()));
    EXPECT_EQ(def_ombrel_file_kind_none, ombrel_get_file_kind(dangling.c_str(), 0));
    EXPECT_EQ(def_ombrel_file_kind_link, ombrel_get_file_kind(dangling.c_str(), def_ombrel_file_no_follow));
    EXPECT_EQ("nowhere", text_of(ombrel_alloc_link_text(dangling.c_str())));
    EXPECT_EQ(info_of(file).m_serial, info_of(good).m_serial);
    EXPECT_NE(info_of(file).m_serial, info_of(good, def_ombrel_file_no_follow).m_serial);
    EXPECT_EQ(def_ombrel_fault_invalid, fault_of(ombrel_alloc_link_text(file.c_str())));
}

TEST_F(File, OpensAsTheFlagsSay) {
    constexpr uint32_t appends = def_ombrel_file_append, truncates = def_ombrel_file_truncate,
                       exclusive = def_ombrel_file_exclusive;
    make_directory(at("directory"));
    const struct {
        const char* name;
        uint32_t flags;
        int fault;
        const char* content; ///< once "new" has been written
    } rows[] = {
        {"none", reads, def_ombrel_fault_not_found, ""},
        {"none", writes, def_ombrel_fault_not_found, ""},
        {"made", writes | creates, 0, "new"},
        {"made", writes | creates | exclusive, def_ombrel_fault_exists, "new"},
        {"made", writes | creates, 0, "new"},
        {"made", appends, 0, "newnew"},
        {"made", appends | creates | truncates, 0, "new"},
        {"own", writes | creates | exclusive | def_ombrel_file_inherit, 0, "new"},
        {"own", reads | writes | truncates | def_ombrel_file_no_follow, 0, "new"},
        {"directory", reads, def_ombrel_fault_is_directory, ""},
        {"directory", writes, def_ombrel_fault_is_directory, ""},
        {"made/x", reads, def_ombrel_fault_not_directory, ""},
    };
    for (const auto& row : rows) {
        const int fd = ombrel_open_file(at(row.name).c_str(), row.flags, 0666);
        EXPECT_EQ(row.fault, fault_of(fd)) << row.name << " " << row.flags;
        if (fd >= 0) {
            EXPECT_EQ(0, ombrel_file_write_all(fd, "new", 3));
            EXPECT_EQ(0, ombrel_file_sync(fd));
            EXPECT_EQ(0, ombrel_close_file(fd));
        }
        EXPECT_EQ(row.content, folder.read(row.name)) << row.name << " " << row.flags;
    }
    char byte;
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, fault_of(ombrel_close_file(-1)));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, fault_of(ombrel_file_read(-1, &byte, 1)));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, fault_of(ombrel_file_write(-1, &byte, 1)));
}

// Beside a string that has the same done to it.
TEST_F(File, MovesBytesAsAModelDoes) {
    std::mt19937 random(7);
    const auto below = [&](size_t limit) { return random() % limit; };
    std::string model;
    size_t position = 0;
    const opened_file file(at("f"), reads | writes | creates);
    const auto put = [&](size_t place, const std::string& bytes) {
        model.resize(std::max(model.size(), place + bytes.size()));
        model.replace(place, bytes.size(), bytes);
    };
    for (int i = 0; i < 2000; i++) {
        const std::string bytes(1 + below(300), static_cast<char>('a' + below(26)));
        const size_t place = below(5000);
        std::string got(bytes.size(), '\0');
        switch (below(6)) {
        case 0:
            ASSERT_EQ(0, ombrel_file_write_all(file.fd, bytes.data(), bytes.size()));
            put(position, bytes);
            position += bytes.size();
            break;
        case 1:
            ASSERT_EQ(0, ombrel_file_write_all_at(file.fd, bytes.data(), bytes.size(),
                                                  static_cast<int64_t>(place)));
            put(place, bytes);
            break;
        case 2:
        case 3: {
            const bool moves = below(2) == 0;
            const size_t from = moves ? position : place;
            const int64_t size =
                moves ? ombrel_file_read_all(file.fd, got.data(), got.size())
                      : ombrel_file_read_all_at(file.fd, got.data(), got.size(), static_cast<int64_t>(place));
            const std::string expected = from < model.size() ? model.substr(from, got.size()) : "";
            ASSERT_EQ(expected, got.substr(0, static_cast<size_t>(size)));
            position += moves ? expected.size() : 0;
            break;
        }
        case 4:
            position = place;
            ASSERT_EQ(static_cast<int64_t>(place),
                      ombrel_file_seek(file.fd, static_cast<int64_t>(place), def_ombrel_file_seek_start));
            break;
        default:
            ASSERT_EQ(0, ombrel_file_set_size(file.fd, static_cast<int64_t>(place)));
            model.resize(place);
        }
        ASSERT_EQ(static_cast<int64_t>(position), ombrel_file_seek(file.fd, 0, def_ombrel_file_seek_current));
        ASSERT_EQ(static_cast<int64_t>(model.size()), ombrel_file_get_size(file.fd));
    }
    EXPECT_EQ(model, folder.read("f"));
    EXPECT_EQ(static_cast<int64_t>(model.size() - 1),
              ombrel_file_seek(file.fd, -1, def_ombrel_file_seek_end));
    EXPECT_EQ(0, ombrel_set_file_size(at("f").c_str(), 3));
    EXPECT_EQ(model.substr(0, 3), folder.read("f"));
}

TEST_F(File, ReachesPlacesBeyondFourGibibytes) {
    const opened_file file(at("f"), reads | writes | creates);
    constexpr int64_t far_place = (int64_t{5} << 30) + 3;
    char byte = 0;
    ASSERT_EQ(0, ombrel_file_write_all_at(file.fd, "x", 1, far_place));
    EXPECT_EQ(far_place + 1, ombrel_file_get_size(file.fd));
    EXPECT_EQ(far_place, ombrel_file_seek(file.fd, far_place, def_ombrel_file_seek_start));
    EXPECT_EQ(1, ombrel_file_read(file.fd, &byte, 1));
    EXPECT_EQ('x', byte);
    EXPECT_EQ(0, ombrel_file_read(file.fd, &byte, 1));
}

TEST_F(File, KeepsTimesAndPermissionsThatAreSet) {
    const std::string path = folder.file("f", "");
    const opened_file file(path, writes);
    const ombrel_instant_t times[] = {
        {0, 0}, {-1, 500'000'000}, {1'700'000'000, 123'456'700}, {4'294'967'297, 100}};
    for (const ombrel_instant_t& time : times) {
        const ombrel_instant_t other{time.m_seconds + 86400, 0};
        EXPECT_EQ(0, ombrel_set_file_times(path.c_str(), 0, nullptr, &time));
        EXPECT_EQ(0, ombrel_file_set_times(file.fd, &other, nullptr));
        const ombrel_file_info_t info = info_of(path);
        EXPECT_EQ(time.m_seconds, info.m_modified.m_seconds);
        EXPECT_EQ(time.m_nanoseconds, info.m_modified.m_nanoseconds);
        EXPECT_TRUE(is_wine() || info.m_accessed.m_seconds == other.m_seconds); // it reads what it tells of
    }
    EXPECT_EQ(0, ombrel_set_file_times(path.c_str(), 0, nullptr, nullptr));
    EXPECT_LT(1'700'000'000, info_of(path).m_modified.m_seconds);
    for (const uint32_t mode : {0444u, 0666u}) {
        EXPECT_EQ(0, ombrel_set_file_mode(path.c_str(), mode));
        EXPECT_EQ(mode, info_of(path).m_mode);
        EXPECT_EQ(0, ombrel_file_set_mode(file.fd, mode ^ 0222));
        EXPECT_EQ(mode ^ 0222, info_of(path).m_mode);
    }
    EXPECT_EQ(0, ombrel_check_file_access(path.c_str(), 4));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_check_file_access(at("none").c_str(), 0)));
}

TEST_F(File, RenamesRemovesAndMakesDirectories) {
    const auto path = [&](const char* name) { return at(name); };
    folder.write("a", "A");
    folder.write("b", "B");
    const auto rename = [&](const char* from, const char* to, uint32_t flags) {
        return fault_of(ombrel_rename_file(path(from).c_str(), path(to).c_str(), flags));
    };
    EXPECT_EQ(def_ombrel_fault_exists, rename("a", "b", def_ombrel_file_no_replace));
    EXPECT_EQ("B", folder.read("b"));
    EXPECT_EQ(0, rename("a", "c", def_ombrel_file_no_replace));
    EXPECT_EQ(0, rename("c", "b", 0));
    EXPECT_EQ("A", folder.read("b"));
    EXPECT_EQ(def_ombrel_fault_not_found, rename("c", "d", 0));

    const auto make_all = [&](const char* name) {
        return fault_of(ombrel_make_directories(path(name).c_str(), 0777));
    };
    EXPECT_EQ(0, make_all("x/y/z"));
    EXPECT_EQ(0, make_all("x/y/z//"));
    EXPECT_EQ(0, make_all("x//r/s/.."));
    EXPECT_EQ(0, make_all("x/q"));
    EXPECT_EQ(def_ombrel_fault_exists, make_all("b"));
    EXPECT_EQ(def_ombrel_fault_not_directory, make_all("b/c/d"));
    EXPECT_EQ(def_ombrel_fault_exists, fault_of(ombrel_make_directory(path("x").c_str(), 0777)));
    EXPECT_EQ(0, rename("x/q", "x/r/../q", 0)); // itself
    EXPECT_NE(0, rename("x", "x/q", 0));        // into itself
    EXPECT_EQ((std::vector<std::string>{"q", "r", "y"}), names_in(path("x")));
    EXPECT_EQ(0, ombrel_sync_directory(path("x").c_str()));

    const auto remove_directory = [&](const char* name) {
        return fault_of(ombrel_remove_directory(path(name).c_str()));
    };
    EXPECT_EQ(def_ombrel_fault_not_empty, remove_directory("x/y"));
    EXPECT_EQ(def_ombrel_fault_not_directory, remove_directory("b"));
    EXPECT_EQ(def_ombrel_fault_is_directory, fault_of(ombrel_remove_file(path("x").c_str())));
    EXPECT_EQ(0, remove_directory("x/y/z"));
    EXPECT_EQ(0, rename("x/q", "x/y", 0)); // over an empty directory
    EXPECT_EQ(0, ombrel_make_link(path("b").c_str(), path("e").c_str()));
    EXPECT_EQ(2u, info_of(path("e")).m_links);
    EXPECT_EQ(def_ombrel_fault_exists, fault_of(ombrel_make_link(path("b").c_str(), path("e").c_str())));
    EXPECT_EQ(0, ombrel_set_file_mode(path("b").c_str(), 0444));
    EXPECT_EQ(0, ombrel_remove_file(path("b").c_str())); // read-only, but of a directory that is not
    EXPECT_EQ("A", folder.read("e"));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_remove_file(path("b").c_str())));
}

TEST_F(File, HasLongPathsAndNamesOfAnyLanguage) {
    std::string path = folder.path();
    for (int i = 0; i < 8; i++)
        path += "/" + std::string(60, 'd');
    const std::string file = path + "/na\xc3\xafve \xe6\x97\xa5\xe6\x9c\xac", copy = file + ".copy";
    ASSERT_EQ(0, ombrel_make_directories(path.c_str(), 0777));
    EXPECT_EQ(0, ombrel_store_file(file.c_str(), "text", 4, 0, 0666));
    EXPECT_EQ(0, ombrel_copy_file(file.c_str(), copy.c_str(), def_ombrel_file_keep_mode, nullptr, nullptr));
    EXPECT_EQ(0, ombrel_rename_file(copy.c_str(), file.c_str(), 0));
    EXPECT_EQ("text", text_of(static_cast<char*>(ombrel_alloc_load_file(file.c_str(), 0, nullptr))));
    const std::string canonical = text_of(ombrel_alloc_canonical_path(file.c_str()));
    EXPECT_TRUE(is_wine() ||
                info_of(file).m_serial == info_of(canonical).m_serial); // it has the old limit there
    for (std::string at_path = file; at_path.size() > folder.path().size();
         at_path.resize(at_path.rfind('/')))
        EXPECT_EQ(0, at_path == file ? ombrel_remove_file(file.c_str())
                                     : ombrel_remove_directory(at_path.c_str()));
}

TEST_F(File, LoadsUpToALimit) {
    const std::string bytes("one\0two", 7), path = folder.file("f", bytes);
    for (const unsigned limit : {6u, 7u, 8u, 0u}) {
        size_t size = 0;
        auto* const loaded = static_cast<char*>(ombrel_alloc_load_file(path.c_str(), limit, &size));
        EXPECT_EQ(limit == 6 ? def_ombrel_fault_too_large : 0, fault_of(loaded)) << limit;
        if (loaded == nullptr)
            continue;
        EXPECT_EQ(bytes + '\0', std::string(loaded, size + 1));
        ombrel_free(loaded);
    }
    const opened_file file(path, reads);
    ombrel_file_seek(file.fd, 4, def_ombrel_file_seek_start);
    EXPECT_EQ("two", text_of(static_cast<char*>(ombrel_file_alloc_load(file.fd, 3, nullptr))));
    EXPECT_EQ("", text_of(static_cast<char*>(ombrel_file_alloc_load(file.fd, 3, nullptr))));
    EXPECT_EQ(def_ombrel_fault_is_directory,
              fault_of(ombrel_alloc_load_file(folder.path().c_str(), 0, nullptr)));
}

TEST_F(File, StoresWholeFiles) {
    const std::string path = at("f");
    const auto store = [&](const std::string& to, const std::string& bytes, uint32_t flags) {
        return fault_of(ombrel_store_file(to.c_str(), bytes.data(), bytes.size(), flags, 0666));
    };
    EXPECT_EQ(0, store(path, "first", def_ombrel_file_no_replace));
    EXPECT_EQ(def_ombrel_fault_exists, store(path, "other", def_ombrel_file_no_replace));
    EXPECT_EQ(0, store(path, "second", def_ombrel_file_no_sync));
    EXPECT_EQ("second", folder.read("f"));
    EXPECT_EQ(def_ombrel_fault_is_directory, store(folder.path(), "", 0));
    EXPECT_EQ(def_ombrel_fault_not_found, store(at("none/f"), "", 0));
    EXPECT_EQ(0, store(at(std::string(250, 'n').c_str()), "long", 0));
    EXPECT_EQ(0, ombrel_remove_file(at(std::string(250, 'n').c_str()).c_str()));

    ombrel_file_store_t* const dropped = ombrel_open_file_store(path.c_str(), 0, 0666);
    ASSERT_NE(nullptr, dropped);
    EXPECT_EQ(0, ombrel_file_write_all(ombrel_file_store_get_descriptor(dropped), "half", 4));
    ombrel_close_file_store(dropped);
    EXPECT_EQ("second", folder.read("f"));
    ombrel_file_store_t* const kept = ombrel_open_file_store(path.c_str(), 0, 0666);
    EXPECT_EQ(0, ombrel_file_write_all(ombrel_file_store_get_descriptor(kept), "third", 5));
    EXPECT_EQ(0, ombrel_file_store_commit(kept));
    EXPECT_EQ(def_ombrel_fault_invalid, fault_of(ombrel_file_store_commit(kept)));
    ombrel_close_file_store(kept);
    EXPECT_EQ("third", folder.read("f"));
    EXPECT_EQ(std::vector<std::string>{"f"}, names_in(folder.path())); // and nothing temporary
}

TEST_F(File, ReplacesFilesThatAreOpen) {
    if (is_wine())
        GTEST_SKIP() << "wine does not rename over open files";
    const std::string path = folder.file("f", "old");
    const opened_file reader(path, reads);
    EXPECT_EQ(0, ombrel_store_file(path.c_str(), "new", 3, def_ombrel_file_no_sync, 0666));
    EXPECT_EQ("new", folder.read("f"));
    char old[4] = {};
    EXPECT_EQ(3, ombrel_file_read_all(reader.fd, old, sizeof old));
    EXPECT_STREQ("old", old);
}

TEST_F(File, CopiesWithHolesAndProgress) {
    constexpr int64_t mib = 1 << 20;
    {
        const opened_file file(at("from"), writes | creates);
        EXPECT_EQ(0, ombrel_file_write_all_at(file.fd, "start", 5, 0));
        EXPECT_EQ(0, ombrel_file_write_all_at(file.fd, "middle", 6, 40 * mib));
        EXPECT_EQ(0, ombrel_file_set_size(file.fd, 130 * mib));
    }
    const ombrel_instant_t old{1'000'000'000, 0};
    EXPECT_EQ(0, ombrel_set_file_times(at("from").c_str(), 0, &old, &old));
    struct told {
        int64_t done = 0, total = 0, stop = INT64_MAX;
        static int take(int64_t done, int64_t total, void* context) {
            auto& self = *static_cast<told*>(context);
            EXPECT_LE(self.done, done);
            EXPECT_LE(done, total);
            self.done = done;
            self.total = total;
            return done >= self.stop ? 77 : 0;
        }
    };
    const auto copy = [&](const char* to, uint32_t flags, told& told) {
        return ombrel_copy_file(at("from").c_str(), at(to).c_str(), flags, told::take, &told);
    };
    for (const uint32_t flags : {0u, def_ombrel_file_at_once | def_ombrel_file_no_sync}) {
        told all, broken{.stop = 1};
        folder.write("over", "longer than nothing");
        for (const char* const to : {"new", "over"}) {
            EXPECT_EQ(0, copy(to, flags | def_ombrel_file_keep_times, all));
            EXPECT_EQ(130 * mib, all.done);
            EXPECT_EQ(all.done, all.total);
            all = {};
            const ombrel_file_info_t info = info_of(at(to));
            EXPECT_EQ(130 * mib, info.m_size);
            EXPECT_EQ(old.m_seconds, info.m_modified.m_seconds);
            const bool knows_holes = info_of(at("from")).m_allocated < mib;
            EXPECT_TRUE(!knows_holes || info.m_allocated < mib) << info.m_allocated;
            char bytes[7] = {};
            const opened_file file(at(to), reads);
            EXPECT_EQ(6, ombrel_file_read_all_at(file.fd, bytes, 6, 40 * mib));
            EXPECT_STREQ("middle", bytes);
            EXPECT_EQ(6, ombrel_file_read_all_at(file.fd, bytes, 6, 1));
            EXPECT_STREQ("tart", bytes);
        }
        EXPECT_EQ(def_ombrel_fault_exists, fault_of(copy("new", flags | def_ombrel_file_no_replace, all)));
        EXPECT_EQ(77, copy("broken", flags, broken));
        EXPECT_EQ(0, ombrel_file_exists(at("broken").c_str()));
        EXPECT_EQ(0, ombrel_remove_file(at("new").c_str()));
    }
    folder.write("kept", "kept");
    told broken{.stop = 1};
    EXPECT_EQ(77, copy("kept", def_ombrel_file_at_once, broken));
    EXPECT_EQ("kept", folder.read("kept"));
    EXPECT_EQ((std::vector<std::string>{"from", "kept", "over"}), names_in(folder.path()));
    EXPECT_EQ(def_ombrel_fault_is_directory,
              fault_of(ombrel_copy_file(folder.path().c_str(), at("x").c_str(), 0, nullptr, nullptr)));
    EXPECT_EQ(def_ombrel_fault_is_directory,
              fault_of(ombrel_copy_file(at("kept").c_str(), folder.path().c_str(), 0, nullptr, nullptr)));
}

TEST_F(File, LocksRegionsAgainstOtherOpenings) {
    constexpr uint32_t shared = def_ombrel_file_shared;
    const std::string path = folder.file("f", "0123456789");
    const opened_file one(path, reads | writes), two(path, reads | writes);
    const struct {
        int64_t offset, size;
        uint32_t flags;
        int free, under_shared, under_exclusive; ///< what the second gets beside a lock on 2 to 5
    } rows[] = {
        {2, 4, 0, 1, 0, 0}, {2, 4, shared, 1, 1, 0}, {0, 2, 0, 1, 1, 1},
        {6, 0, 0, 1, 1, 1}, {5, 0, 0, 1, 0, 0},      {0, 0, shared, 1, 1, 0},
    };
    const auto try_second = [&](const auto& row) {
        const int result = ombrel_file_lock_region(two.fd, row.offset, row.size, row.flags, 0);
        const int unlocked = result == 1 ? ombrel_file_unlock_region(two.fd, row.offset, row.size) : 0;
        EXPECT_EQ(0, unlocked);
        return result;
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.free, try_second(row)) << row.offset;
        EXPECT_EQ(1, ombrel_file_lock_region(one.fd, 2, 4, shared, -1));
        EXPECT_EQ(row.under_shared, try_second(row)) << row.offset;
        EXPECT_EQ(0, ombrel_file_unlock_region(one.fd, 2, 4));
        EXPECT_EQ(1, ombrel_file_lock_region(one.fd, 2, 4, 0, 0));
        EXPECT_EQ(row.under_exclusive, try_second(row)) << row.offset;
        EXPECT_EQ(0, ombrel_file_unlock_region(one.fd, 2, 4));
    }
    for (const int limit : {60000, -1}) {
        EXPECT_EQ(1, ombrel_file_lock_region(one.fd, 0, 0, 0, 0));
        EXPECT_EQ(0, ombrel_file_lock_region(two.fd, 0, 0, 0, 5));
        std::thread waiter([&] { EXPECT_EQ(1, ombrel_file_lock_region(two.fd, 0, 0, 0, limit)); });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(0, ombrel_file_unlock_region(one.fd, 0, 0));
        waiter.join();
        EXPECT_EQ(0, ombrel_file_unlock_region(two.fd, 0, 0));
    }
}

TEST_F(File, MakesTemporaryFilesForThisUserAlone) {
    char *first = nullptr, *second = nullptr;
    const std::string where = folder.path();
    const int one = ombrel_open_temporary_file(where.c_str(), "pre", &first);
    const int two = ombrel_open_temporary_file((where + "/").c_str(), nullptr, &second);
    ASSERT_TRUE(one >= 0 && two >= 0);
    EXPECT_STRNE(first, second);
    EXPECT_EQ(0u, std::string(first).find(where + separator + "pre"));
    EXPECT_EQ(def_ombrel_file_kind_regular, ombrel_get_file_kind(first, 0));
    const int nameless = ombrel_open_temporary_file(nullptr, nullptr, nullptr);
    char byte = 0;
    EXPECT_EQ(0, ombrel_file_write_all_at(nameless, "x", 1, 0));
    EXPECT_EQ(1, ombrel_file_read(nameless, &byte, 1));
    char* const directory = ombrel_alloc_temporary_directory(where.c_str(), "dir");
    EXPECT_EQ(def_ombrel_file_kind_directory, ombrel_get_file_kind(directory, 0));
    EXPECT_EQ(0, ombrel_remove_directory(directory));
    char* none = first;
    EXPECT_EQ(def_ombrel_fault_not_found,
              fault_of(ombrel_open_temporary_file(at("none").c_str(), nullptr, &none)));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(2u, names_in(where).size());
    for (const int fd : {one, two, nameless})
        EXPECT_EQ(0, ombrel_close_file(fd));
    for (char* const text : {first, second, directory})
        ombrel_free(text);
    char* const usual = ombrel_alloc_temporary_folder();
    EXPECT_EQ(def_ombrel_file_kind_directory, ombrel_get_file_kind(usual, 0));
    ombrel_free(usual);
}

TEST_F(File, FindsItsPlaces) {
    const std::string before = text_of(ombrel_alloc_current_directory());
    const std::string canonical = text_of(ombrel_alloc_canonical_path(folder.path().c_str()));
    folder.write("f", "here");
    ASSERT_EQ(0, ombrel_set_current_directory(folder.path().c_str()));
    EXPECT_EQ(canonical, text_of(ombrel_alloc_current_directory()));
    EXPECT_EQ("here", text_of(static_cast<char*>(ombrel_alloc_load_file("f", 0, nullptr))));
    EXPECT_EQ(0, ombrel_store_file("f", "x", 1, 0, 0666));
    EXPECT_EQ(0, ombrel_make_directories("a/b", 0777));
    EXPECT_EQ(canonical + separator + "a" + separator + "b",
              text_of(ombrel_alloc_canonical_path("./a/../a//b/.")));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_alloc_canonical_path("none")));
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_set_current_directory("none")));
    EXPECT_EQ(0, ombrel_set_current_directory(before.c_str()));
    const std::string program = text_of(ombrel_alloc_program_path());
    EXPECT_EQ(1, ombrel_file_exists(program.c_str())) << program;
    EXPECT_NE(std::string::npos, program.find("system_test")) << program;
}

TEST_F(File, KnowsFileSystems) {
    ombrel_file_space_t space;
    ASSERT_EQ(0, ombrel_get_file_space(folder.file("f", "").c_str(), &space));
    EXPECT_LT(0, space.m_block_size);
    EXPECT_LE(space.m_available, space.m_total);
    EXPECT_EQ(def_ombrel_fault_not_found, fault_of(ombrel_get_file_space(at("none").c_str(), &space)));
    size_t count = 0;
    ombrel_mount_t* const mounts = ombrel_alloc_mount_table(&count);
    ASSERT_NE(nullptr, mounts);
    EXPECT_LT(0u, count);
    EXPECT_EQ(nullptr, mounts[count].m_directory);
    bool has_root = false;
    for (size_t i = 0; i < count; i++)
        has_root = has_root || std::string(mounts[i].m_directory) == "/" || mounts[i].m_directory[1] == ':';
    EXPECT_TRUE(has_root);
    ombrel_free(mounts);
}

} // namespace
