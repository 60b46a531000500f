// What differs between two files, and what mends it.
#include <cstring>

#include "system/file/file_internal.h"
#include "system/file/file_marks.h"
#include "system/file/unique_name.h"
#include "system/tree/entry_copy.h"
#include "system/tree/tree_removal.h"
#include "system/tree/tree_sync.h"

namespace ombrel::system {

namespace {

/// A name beside those of users, for what is to take another's place.
class passing_name {
public:
    passing_name() { fill_with_random_letters(text_ + sizeof start - 1, letters); }
    const char* get() const { return text_; }

private:
    static constexpr char start[] = ".ombrel_";
    static constexpr size_t letters = 12;
    char text_[sizeof start + letters] = ".ombrel_";
};

int open_for_reading(platform::open_directory* directory, const char* name) {
    platform::file_access access;
    access.read = access.at_once = access.refuse_link = true;
    return platform::open_file_at(directory, name, access);
}

bool have_same_mode(const ombrel_file_info_t& a, const ombrel_file_info_t& b) {
    return a.m_mode == b.m_mode;
}

} // namespace

/// A def_ombrel_difference_*, 0 for none, -1 with the fault left when that cannot be found out.
int tree_sync::judge(const pair& both) {
    constexpr int changed = def_ombrel_difference_changed, marks = def_ombrel_difference_marks;
    if (!is_there(both.to))
        return def_ombrel_difference_new;
    if (both.from.m_kind != both.to.m_kind)
        return changed;
    switch (both.from.m_kind) {
    case def_ombrel_file_kind_regular:
        return judge_files(both);
    case def_ombrel_file_kind_directory:
        return have_same_mode(both.from, both.to) ? 0 : marks;
    case def_ombrel_file_kind_link: {
        const answer same = have_same_texts(both.name);
        return same == answer::failed ? -1 : same == answer::no ? changed : 0;
    }
    default:
        return both.from.m_special == both.to.m_special && have_same_mode(both.from, both.to) ? 0 : changed;
    }
}

int tree_sync::judge_files(const pair& both) {
    constexpr int changed = def_ombrel_difference_changed, marks = def_ombrel_difference_marks;
    const bool same_time = is_same_time(both.from.m_modified, both.to.m_modified);
    if (both.from.m_size != both.to.m_size)
        return changed;
    if (!wants(def_ombrel_sync_content) && !same_time)
        return changed;
    if (wants(def_ombrel_sync_content)) {
        const answer same = have_same_bytes(both.name);
        if (same != answer::yes)
            return same == answer::failed ? -1 : changed;
    }
    return same_time && have_same_mode(both.from, both.to) ? 0 : marks;
}

tree_sync::answer tree_sync::have_same_bytes(const char* name) {
    constexpr size_t block = size_t{128} << 10;
    const owned_descriptor first(open_for_reading(from_.here(), name));
    const owned_descriptor second(open_for_reading(to_.here(), name));
    const quiet_ptr<char> room(allocate_text(2 * block, {tag_, __LINE__}));
    if (!first.is_open() || !second.is_open() || !room)
        return answer::failed;
    for (;;) {
        const int64_t got = ombrel_file_read_all(first.get(), room.get(), block);
        const int64_t other = ombrel_file_read_all(second.get(), room.get() + block, block);
        if (got < 0 || other < 0)
            return answer::failed;
        if (got != other || memcmp(room.get(), room.get() + block, static_cast<size_t>(got)) != 0)
            return answer::no;
        if (got == 0)
            return answer::yes;
    }
}

tree_sync::answer tree_sync::have_same_texts(const char* name) {
    const platform::host_text first = platform::read_link_at(from_.here(), name);
    const platform::host_text second = platform::read_link_at(to_.here(), name);
    if (first.get() == nullptr || second.get() == nullptr)
        return answer::failed;
    return strcmp(first.get(), second.get()) == 0 ? answer::yes : answer::no;
}

/// False, with the fault left.
bool tree_sync::mend(int difference, const pair& both) {
    constexpr uint32_t own = 0700;
    if (difference == 0)
        return true;
    if (difference == def_ombrel_difference_marks)
        return set_marks(both);
    if (!clear_way(both))
        return false;
    return is_directory(both.from)
               ? platform::make_directory_at(to_.here(), both.name, both.from.m_mode | own)
               : copy(both.name);
}

/// A file takes a file's place by itself.
bool tree_sync::clear_way(const pair& both) {
    if (!is_there(both.to) || is_directory(both.from) == is_directory(both.to))
        return true;
    if (is_directory(both.from))
        return platform::remove_file_at(to_.here(), both.name);
    if (!wants(def_ombrel_sync_delete))
        return refuse(fault_code::is_directory);
    remove(both);
    return goes_on();
}

void tree_sync::remove(const pair& both) {
    const char* const path = to_.path_of(both.name);
    if (path == nullptr)
        return failures_.tell(nullptr);
    const auto below = static_cast<size_t>(to_.below_root(path) - path);
    tree_removal({to_.here(), both.name, path, task_.options.m_filter, below}, failures_, tag_)
        .run(is_directory(both.to));
}

bool tree_sync::copy(const char* name) {
    constexpr uint32_t kept = def_ombrel_file_keep_mode | def_ombrel_file_keep_times;
    platform::open_directory* const directory = to_.here();
    const passing_name made;
    if (!copy_entry({from_.here(), name}, {directory, made.get()}, kept))
        return false;
    if (platform::rename_at(directory, made.get(), directory, name))
        return true;
    const fault_keeper kept_fault;
    platform::remove_file_at(directory, made.get());
    return false;
}

/// Those of directories are set when they are left.
bool tree_sync::set_marks(const pair& both) {
    if (is_directory(both.from))
        return true;
    const owned_descriptor file(open_for_reading(to_.here(), both.name));
    return file.is_open() &&
           (have_same_mode(both.from, both.to) || platform::set_file_mode(file.get(), both.from.m_mode)) &&
           platform::set_file_times(file.get(), {nullptr, &both.from.m_modified});
}

} // namespace ombrel::system
