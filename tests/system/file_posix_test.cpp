// Files beside the tools of POSIX, and what only POSIX has: permissions, processes that are killed, devices.
#include <ombrel/file.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ombrel/fault.h>
#include <ombrel/heap.h>
#include <ombrel/printf.h>

#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/scratch_directory.h"
#include "system/shell.h"

namespace {

using namespace ombrel_test;

class PosixFile : public ::testing::Test {
protected:
    std::string at(const char* name) const { return folder / name; }

    heap_balance heap;
    descriptor_balance descriptors;
    scratch_directory folder;
};

template<typename... Arguments>
std::string format(const char* text, Arguments... arguments) {
    char line[600];
    ombrel_snprintf(line, sizeof line, text, arguments...);
    return line;
}

long long wide(int64_t number) {
    return number;
}
unsigned long long wide(uint64_t number) {
    return number;
}

/// Before 1970 the fraction counts from there, too.
std::string text_of(const ombrel_instant_t& time) {
    if (time.m_seconds < 0 && time.m_nanoseconds > 0)
        return format("%lld.%09d", wide(time.m_seconds + 1), 1'000'000'000 - time.m_nanoseconds);
    return format("%lld.%09d", wide(time.m_seconds), time.m_nanoseconds);
}

/// As `stat -c "%a %u %g %s %b %h %d %i %.9X %.9Y %.9Z"` has it.
std::string text_of(const ombrel_file_info_t& info) {
    return format("%o %u %u %lld %lld %llu %llu %llu ", info.m_mode, info.m_owner, info.m_group,
                  wide(info.m_size), wide(info.m_allocated / 512), wide(info.m_links), wide(info.m_device),
                  wide(info.m_serial)) +
           text_of(info.m_accessed) + " " + text_of(info.m_modified) + " " + text_of(info.m_changed);
}

void make_socket(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    close(fd);
}

TEST_F(PosixFile, IsWhatStatSays) {
    if (output_of("stat -c %s .").empty())
        GTEST_SKIP() << "no GNU stat";
    const ombrel_instant_t old{-86400, 250'000'000}, late{4'000'000'000, 1};
    EXPECT_EQ(0, ombrel_set_file_times(folder.file("f", "12345").c_str(), 0, &old, &late));
    EXPECT_EQ(0, ombrel_set_file_mode(at("f").c_str(), 04751));
    EXPECT_EQ(0, mkfifo(at("pipe").c_str(), 0620));
    make_socket(at("socket"));
    EXPECT_EQ(0, ombrel_make_symbolic_link("f", at("link").c_str()));
    EXPECT_EQ(0, truncate(folder.file("holes", "x").c_str(), 1 << 24));
    const struct {
        std::string path;
        int kind;
    } rows[] = {
        {at("f"), def_ombrel_file_kind_regular},
        {at("holes"), def_ombrel_file_kind_regular},
        {folder.path(), def_ombrel_file_kind_directory},
        {at("link"), def_ombrel_file_kind_link},
        {at("pipe"), def_ombrel_file_kind_pipe},
        {at("socket"), def_ombrel_file_kind_socket},
        {"/dev/null", def_ombrel_file_kind_character_device},
    };
    for (const auto& row : rows) {
        ombrel_file_info_t info;
        ASSERT_EQ(0, ombrel_get_file_info(row.path.c_str(), def_ombrel_file_no_follow, &info));
        EXPECT_EQ(output_of("stat -c '%a %u %g %s %b %h %d %i %.9X %.9Y %.9Z' " + row.path), text_of(info));
        EXPECT_EQ(row.kind, info.m_kind) << row.path;
        EXPECT_EQ(row.kind, ombrel_get_file_kind(row.path.c_str(), def_ombrel_file_no_follow));
        const std::string made =
            info.m_has_created == 1 ? format("%lld", wide(info.m_created.m_seconds)) : "0";
        EXPECT_EQ(output_of("stat -c %W " + row.path), made);
        EXPECT_EQ(output_of("stat -c %Hr:%Lr " + row.path),
                  format("%u:%u", major(info.m_special), minor(info.m_special)));
    }
}

TEST_F(PosixFile, SpaceAndMountsAreThoseOfDfAndMount) {
    const std::string seen = output_of("df -B1 --output=size,iavail / | tail -n 1 | tr -s ' ' ' '");
    if (seen.empty() || output_of("command -v mount").empty())
        GTEST_SKIP() << "no GNU df, or no mount";
    ombrel_file_space_t space;
    ASSERT_EQ(0, ombrel_get_file_space("/", &space));
    EXPECT_EQ(seen.substr(0, seen.find(' ', 1)), format("%lld", wide(space.m_total)));
    ombrel_mount_t* const mounts = ombrel_alloc_mount_table(nullptr);
    ASSERT_NE(nullptr, mounts);
    std::string ours;
    for (const ombrel_mount_t* one = mounts; one->m_directory != nullptr; one++)
        ours += format("%s on %s type %s\n", one->m_source, one->m_directory, one->m_kind);
    ombrel_free(mounts);
    EXPECT_EQ(output_of("mount | sed 's/ (.*//'") + "\n", ours);
}

// Layouts by chance, copied by us and by cp.
TEST_F(PosixFile, CopiesHolesAsCpDoes) {
    std::mt19937 random(11);
    for (int i = 0; i < 12; i++) {
        const std::string from = at("from");
        folder.write("from", "");
        const int fd = ombrel_open_file(from.c_str(), def_ombrel_file_write, 0);
        for (int run = static_cast<int>(random() % 6); run > 0; run--) {
            const std::string bytes(random() % 300000, static_cast<char>(1 + random() % 3));
            ombrel_file_write_all_at(fd, bytes.data(), bytes.size(), random() % 64 * 65536);
        }
        if (random() % 2 == 0)
            ombrel_file_set_size(fd, 5'000'000 + random() % 5000);
        ombrel_close_file(fd);
        const uint32_t flags = i % 3 == 0 ? def_ombrel_file_at_once | def_ombrel_file_no_sync : 0;
        ASSERT_EQ(0, ombrel_copy_file(from.c_str(), at("ours").c_str(), flags, nullptr, nullptr));
        ASSERT_EQ(0, system(("cp --sparse=auto " + from + " " + at("theirs")).c_str()));
        EXPECT_EQ(0, system(("cmp " + from + " " + at("ours")).c_str()));
        ombrel_file_info_t ours, theirs;
        ombrel_get_file_info(at("ours").c_str(), 0, &ours);
        ombrel_get_file_info(at("theirs").c_str(), 0, &theirs);
        EXPECT_LE(ours.m_allocated, theirs.m_allocated);
    }
}

TEST_F(PosixFile, CopiesKeepWhatIsAskedFor) {
    const std::string from = folder.file("from", "bytes");
    const ombrel_instant_t time{1'000'000'000, 5};
    ASSERT_EQ(0, chmod(from.c_str(), 06757));
    const mode_t mask = umask(027);
    const uint32_t at_once = def_ombrel_file_at_once | def_ombrel_file_no_sync;
    const struct {
        uint32_t flags;
        bool is_there;
        uint32_t mode; ///< afterwards
    } rows[] = {
        {0, false, 0750},
        {0, true, 0604},
        {def_ombrel_file_keep_mode, false, 06757},
        {def_ombrel_file_keep_all, true, 06757},
        {at_once, false, 0750},
        {at_once, true, 0604},
        {at_once | def_ombrel_file_keep_all, false, 06757},
    };
    for (const auto& row : rows) {
        const std::string to = at("to");
        unlink(to.c_str());
        if (row.is_there)
            chmod(folder.file("to", "old and longer").c_str(), 0604);
        ASSERT_EQ(0, ombrel_set_file_times(from.c_str(), 0, &time, &time));
        ASSERT_EQ(0, ombrel_copy_file(from.c_str(), to.c_str(), row.flags, nullptr, nullptr)) << row.flags;
        ombrel_file_info_t info;
        ombrel_get_file_info(to.c_str(), 0, &info);
        EXPECT_EQ(row.mode, info.m_mode) << row.flags;
        EXPECT_EQ((row.flags & def_ombrel_file_keep_times) != 0, text_of(time) == text_of(info.m_modified));
        EXPECT_EQ("bytes", folder.read("to"));
    }
    umask(mask);
}

TEST_F(PosixFile, FollowsLinksOrCopiesThem) {
    folder.write("f", "bytes");
    const std::string link = at("link"), to = at("to");
    ASSERT_EQ(0, symlink("f", link.c_str()));
    const auto copy = [](const std::string& from, const std::string& to_path, uint32_t flags) {
        return ombrel_copy_file(from.c_str(), to_path.c_str(), flags, nullptr, nullptr);
    };
    const auto kind = [](const std::string& path) {
        return ombrel_get_file_kind(path.c_str(), def_ombrel_file_no_follow);
    };
    EXPECT_EQ(0, copy(link, to, 0));
    EXPECT_EQ(def_ombrel_file_kind_regular, kind(to));
    EXPECT_EQ(0, copy(link, to, def_ombrel_file_no_follow | def_ombrel_file_keep_all)); // replaces the file
    EXPECT_EQ(def_ombrel_file_kind_link, kind(to));
    EXPECT_EQ("bytes", folder.read("to"));
    for (const std::string& same : {at("f"), link, to}) { // each is the file itself
        for (const uint32_t flags : {0u, def_ombrel_file_at_once}) {
            EXPECT_EQ(-1, copy(link, same, flags)) << same;
            EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
        }
    }
    EXPECT_EQ(-1, copy(link, link, def_ombrel_file_no_follow));
    EXPECT_EQ(-1, copy(link, to, def_ombrel_file_no_follow | def_ombrel_file_no_replace));
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ("bytes", folder.read("f"));
    EXPECT_EQ(-1, ombrel_open_file(link.c_str(), def_ombrel_file_read | def_ombrel_file_no_follow, 0));
    EXPECT_EQ(def_ombrel_fault_link_loop, ombrel_last_fault());

    ASSERT_EQ(0, chmod(at("f").c_str(), 0640));
    ASSERT_EQ(0, mkdir(at("d").c_str(), 0700));
    ASSERT_EQ(0, symlink("../link", at("d/second").c_str()));
    EXPECT_EQ(0, ombrel_store_file(at("d/second").c_str(), "stored", 6, 0, 0666)); // through both
    EXPECT_EQ(def_ombrel_file_kind_link, kind(at("d/second")));
    EXPECT_EQ("stored", folder.read("f"));
    ombrel_file_info_t info;
    ombrel_get_file_info(at("f").c_str(), 0, &info);
    EXPECT_EQ(0640u, info.m_mode);
    ASSERT_EQ(0, symlink("new", at("d/dangling").c_str()));
    EXPECT_EQ(0, ombrel_store_file(at("d/dangling").c_str(), "made", 4, 0, 0666));
    EXPECT_EQ("made", folder.read("d/new"));
    ASSERT_EQ(0, symlink("loop", at("loop").c_str()));
    EXPECT_EQ(-1, ombrel_store_file(at("loop").c_str(), "", 0, 0, 0666));
    EXPECT_EQ(def_ombrel_fault_link_loop, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_store_file("/dev/null", "", 0, 0, 0666));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
}

TEST_F(PosixFile, ReadsFilesThatTellNoSize) {
    size_t size = 0;
    auto* const status = static_cast<char*>(ombrel_alloc_load_file("/proc/self/status", 0, &size));
    ASSERT_NE(nullptr, status);
    EXPECT_NE(std::string::npos, std::string(status, size).find("\nPPid:"));
    ombrel_free(status);
    EXPECT_EQ(nullptr, ombrel_alloc_load_file("/proc/self/status", 100, nullptr));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_alloc_load_file("/dev/zero", 100'000, nullptr));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    ASSERT_EQ(0, ombrel_copy_file("/proc/cpuinfo", at("copy").c_str(), 0, nullptr, nullptr));
    EXPECT_LT(0u, folder.read("copy").size());
    EXPECT_EQ(0, ombrel_copy_file(at("copy").c_str(), "/dev/null", 0, nullptr, nullptr));
}

TEST_F(PosixFile, MovesAcrossDevices) {
    struct stat here, there;
    const std::string other = "/dev/shm/ombrel_test_" + std::to_string(getpid());
    if (stat("/dev/shm", &there) != 0 || stat(folder.path().c_str(), &here) != 0 ||
        here.st_dev == there.st_dev)
        GTEST_SKIP() << "no second device";
    const auto move = [&](const char* from, uint32_t flags) {
        return ombrel_move_file(at(from).c_str(), other.c_str(), flags, nullptr, nullptr);
    };
    const ombrel_instant_t time{1'000'000'000, 5};
    for (const char* const name : {"one", "two", "three"}) {
        ASSERT_EQ(0, chmod(folder.file(name, name).c_str(), 0604));
        ASSERT_EQ(0, ombrel_set_file_times(at(name).c_str(), 0, &time, &time));
    }
    EXPECT_EQ(0, move("one", 0));
    EXPECT_EQ(0, ombrel_file_exists(at("one").c_str()));
    EXPECT_EQ("one", read_file(other));
    EXPECT_EQ(-1, move("two", def_ombrel_file_no_replace));
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ(0, move("two", def_ombrel_file_no_sync));
    ombrel_file_info_t info;
    ombrel_get_file_info(other.c_str(), 0, &info);
    EXPECT_EQ(0604u, info.m_mode);
    EXPECT_EQ(text_of(time), text_of(info.m_modified));
    const auto stop = [](int64_t, int64_t, void*) { return 3; };
    EXPECT_EQ(3, ombrel_move_file(at("three").c_str(), other.c_str(), 0, stop, nullptr));
    EXPECT_EQ("two", read_file(other));
    EXPECT_EQ("three", folder.read("three"));
    ASSERT_EQ(0, symlink("nowhere", at("link").c_str()));
    EXPECT_EQ(0, move("link", 0)); // in place of a file
    char* const text = ombrel_alloc_link_text(other.c_str());
    EXPECT_STREQ("nowhere", text);
    ombrel_check_free(text);
    EXPECT_EQ(0, move("three", 0)); // in place of a link, which is not followed
    EXPECT_EQ("three", read_file(other));
    ASSERT_EQ(0, mkdir(at("d").c_str(), 0700));
    unlink(other.c_str());
    EXPECT_EQ(-1, move("d", 0));
    EXPECT_EQ(def_ombrel_fault_other_device, ombrel_last_fault());
}

// Whenever it is killed, the file is one of those that were stored, whole.
TEST_F(PosixFile, StoresSoThatACrashLeavesTheOldOrTheNew) {
    const std::string path = at("f");
    const auto content = [](char letter) {
        return std::string(200000 + 1000 * static_cast<size_t>(letter - 'a'), letter);
    };
    folder.write("f", content('a'));
    std::mt19937 random(5);
    for (int i = 0; i < 60; i++) {
        const pid_t child = fork();
        if (child == 0) {
            for (char letter = 'a';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
                const std::string bytes = content(letter);
                const uint32_t flags = i % 2 == 0 ? 0 : def_ombrel_file_no_sync;
                if (ombrel_store_file(path.c_str(), bytes.data(), bytes.size(), flags, 0666) != 0)
                    _exit(1);
            }
        }
        usleep(static_cast<useconds_t>(random() % 6000));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        const std::string found = folder.read("f");
        ASSERT_FALSE(found.empty());
        ASSERT_EQ(content(found[0]), found) << "half a file after kill " << i;
    }
}

TEST_F(PosixFile, KeepsPermissionsFromWhomTheyAreNotFor) {
    const std::string path = folder.file("f", "secret");
    char* temporary = nullptr;
    const int fd = ombrel_open_temporary_file(folder.path().c_str(), "t", &temporary);
    ombrel_file_info_t info;
    ombrel_file_get_info(fd, &info);
    EXPECT_EQ(0600u, info.m_mode);
    ombrel_close_file(fd);
    ombrel_free(temporary);
    if (geteuid() != 0)
        return;
    ASSERT_EQ(0, ombrel_set_file_owner(path.c_str(), 0, 12, 34)); // which takes rights of the owner's away
    ASSERT_EQ(0, chmod(path.c_str(), 04640));
    ASSERT_EQ(0, ombrel_store_file(path.c_str(), "x", 1, 0, 0666));
    ombrel_get_file_info(path.c_str(), 0, &info);
    EXPECT_EQ("4640 12 34", format("%o %u %u", info.m_mode, info.m_owner, info.m_group));
    ASSERT_EQ(0,
              ombrel_copy_file(path.c_str(), at("copy").c_str(), def_ombrel_file_keep_all, nullptr, nullptr));
    ombrel_get_file_info(at("copy").c_str(), 0, &info);
    EXPECT_EQ("4640 12 34", format("%o %u %u", info.m_mode, info.m_owner, info.m_group));
    const pid_t child = fork();
    if (child == 0) { // somebody who may write to the folder, but not to the file
        chmod(folder.path().c_str(), 0777);
        const bool is_changed = setgid(99) == 0 && setuid(99) == 0;
        const bool is_refused = ombrel_store_file(path.c_str(), "y", 1, 0, 0666) == -1 &&
                                ombrel_last_fault() == def_ombrel_fault_access_denied &&
                                ombrel_check_file_access(path.c_str(), 2) == -1;
        _exit(is_changed && is_refused ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    EXPECT_EQ("x", folder.read("f"));
}

// A lock ends with the process that has it, and no signal comes for a pipe without a reader.
TEST_F(PosixFile, OutlivesOtherProcesses) {
    const std::string path = folder.file("f", "");
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    const pid_t child = fork();
    if (child == 0) {
        const int fd = ombrel_open_file(path.c_str(), def_ombrel_file_write, 0);
        ombrel_file_lock_region(fd, 0, 0, 0, -1);
        ombrel_file_write_all(ready[1], "x", 1);
        pause();
    }
    char byte;
    EXPECT_EQ(1, ombrel_file_read_all(ready[0], &byte, 1));
    const int fd = ombrel_open_file(path.c_str(), def_ombrel_file_write, 0);
    EXPECT_EQ(0, ombrel_file_lock_region(fd, 0, 0, 0, 1));
    kill(child, SIGKILL);
    EXPECT_EQ(1, ombrel_file_lock_region(fd, 0, 0, 0, -1));
    waitpid(child, nullptr, 0);
    EXPECT_EQ(0, ombrel_close_file(fd));
    close(ready[0]);
    EXPECT_EQ(-1, ombrel_file_write_all(ready[1], "x", 1));
    EXPECT_EQ(def_ombrel_fault_closed, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_file_seek(ready[1], 0, def_ombrel_file_seek_end));
    EXPECT_EQ(def_ombrel_fault_not_seekable, ombrel_last_fault());
    close(ready[1]);
}

} // namespace
