// Copies of files, and moves across devices.
#include <ombrel/file.h>

#include <algorithm>

#include "core/scratch_array.h"
#include "platform/file_copy.h"
#include "platform/file_names.h"
#include "system/file/copy_bytes.h"
#include "system/file/file_store.h"
#include "system/file/unique_name.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr char tag[] = "ombrel_copy_file";
constexpr uint32_t copy_flags = def_ombrel_file_no_replace | def_ombrel_file_at_once |
                                def_ombrel_file_no_sync | def_ombrel_file_keep_all |
                                def_ombrel_file_no_follow;
constexpr uint32_t move_flags = def_ombrel_file_no_replace | def_ombrel_file_no_sync;

struct original {
    int descriptor;
    ombrel_file_info_t info;
};

/// 0, what the handler gave, or -1.
int fill(const original& from, int to, uint32_t flags, const copy_progress& progress) {
    const int result = copy_all_bytes(from.descriptor, from.info, to, progress);
    return result != 0 || keep_what_is_asked(from.info, to, flags) ? result : -1;
}

/// What is at a path, if anything, is what is copied.
bool is_original(const char* path, platform::at_link link, const ombrel_file_info_t& info) {
    ombrel_file_info_t target;
    return platform::get_file_info(path, link, target) && is_same_file(target, info);
}

int copy_at_once(const original& from, const char* to, uint32_t flags, const copy_progress& progress) {
    if (is_original(to, link_of(flags), from.info))
        return result_of(refuse(fault_code::invalid));
    const store_target target{
        to, flags & (def_ombrel_file_no_replace | def_ombrel_file_no_sync | def_ombrel_file_no_follow),
        first_mode(from.info, flags)};
    const store_closer guard{open_store(target, {tag, __LINE__})};
    if (guard.store == nullptr)
        return -1;
    const int result = fill(from, guard.store->descriptor, flags, progress);
    return result != 0 ? result : ombrel_file_store_commit(guard.store);
}

/// What a copy goes to: made by it, or there before.
struct opened_target {
    int descriptor;
    bool is_made;
};

opened_target open_target(const char* path, uint32_t mode, uint32_t flags) {
    platform::file_access access;
    access.write = access.create = access.exclusive = true;
    access.mode = mode;
    const int made = platform::open_file(path, access);
    if (made >= 0 || last_fault().code != fault_code::exists || has(flags, def_ombrel_file_no_replace))
        return {made, made >= 0};
    access.create = access.exclusive = false;
    return {platform::open_file(path, access), false};
}

/// Empties what was there, unless it is what is copied.
bool prepare(const original& from, const opened_target& target) {
    ombrel_file_info_t info;
    if (target.is_made)
        return true;
    if (!platform::get_file_info(target.descriptor, info))
        return false;
    if (is_same_file(info, from.info))
        return refuse(fault_code::invalid);
    return info.m_kind != def_ombrel_file_kind_regular || platform::set_file_size(target.descriptor, 0);
}

int copy_over(const original& from, const char* to, uint32_t flags, const copy_progress& progress) {
    const opened_target target = open_target(to, first_mode(from.info, flags), flags);
    owned_descriptor file(target.descriptor);
    if (!file.is_open() || !prepare(from, target))
        return -1;
    int result = fill(from, file.get(), flags, progress);
    const fault_keeper kept;
    if (!platform::close_file(file.release()) && result == 0)
        result = -1;
    if (result != 0 && target.is_made)
        platform::remove_file(to);
    return result;
}

int copy_file(const char* from, const char* to, uint32_t flags, const copy_progress& progress) {
    const owned_descriptor file(platform::open_file_for_reading(from));
    original source{file.get(), {}};
    if (!file.is_open() || !platform::get_file_info(file.get(), source.info))
        return -1;
    return has(flags, def_ombrel_file_at_once) ? copy_at_once(source, to, flags, progress)
                                               : copy_over(source, to, flags, progress);
}

/// What was there is replaced in one step, as the new link has another name before.
bool replace_link(const char* text, const char* to) {
    const std::string_view folder = folder_part(to);
    const quiet_ptr<char> made(make_unique(folder, ".", {tag, __LINE__}, [=](const char* name) {
        return platform::make_symbolic_link(text, name);
    }));
    if (!made)
        return false;
    if (platform::rename_file(made.get(), to, platform::at_target::replace))
        return true;
    const fault_keeper kept;
    platform::remove_file(made.get());
    return false;
}

bool copy_link(const char* from, const char* to, uint32_t flags, const ombrel_file_info_t& info) {
    const platform::host_text text = platform::read_link(from);
    if (text.get() == nullptr)
        return false;
    if (!platform::make_symbolic_link(text.get(), to) &&
        (last_fault().code != fault_code::exists || has(flags, def_ombrel_file_no_replace) ||
         !replace_link(text.get(), to)))
        return false;
    if (has(flags, def_ombrel_file_keep_owner))
        platform::set_file_owner(to, platform::at_link::stay, info.m_owner, info.m_group);
    return !has(flags, def_ombrel_file_keep_times) ||
           platform::set_file_times(to, platform::at_link::stay, {&info.m_accessed, &info.m_modified});
}

int copy_any(const char* from, const char* to, uint32_t flags, const copy_progress& progress) {
    ombrel_file_info_t info;
    if (!has(flags, def_ombrel_file_no_follow))
        return copy_file(from, to, flags, progress);
    if (!platform::get_file_info(from, platform::at_link::stay, info))
        return -1;
    if (info.m_kind != def_ombrel_file_kind_link)
        return copy_file(from, to, flags & ~def_ombrel_file_no_follow, progress);
    if (is_original(to, platform::at_link::stay, info))
        return result_of(refuse(fault_code::invalid));
    return result_of(copy_link(from, to, flags, info));
}

bool sync_new_link(const char* path, uint32_t flags) {
    const quiet_ptr<char> copy(joined_text(path, {}, {tag, __LINE__}));
    return has(flags, def_ombrel_file_no_sync) || (copy && sync_folder(copy.get()));
}

/// Copies what cannot be renamed, and removes the original.
int move_across(const char* from, const char* to, uint32_t flags, const copy_progress& progress) {
    ombrel_file_info_t info;
    if (!platform::get_file_info(from, platform::at_link::stay, info))
        return -1;
    const bool is_link = info.m_kind == def_ombrel_file_kind_link;
    if (!is_link && info.m_kind != def_ombrel_file_kind_regular)
        return result_of(refuse(fault_code::other_device));
    const uint32_t all =
        flags | def_ombrel_file_at_once | def_ombrel_file_keep_all | def_ombrel_file_no_follow;
    const int result = is_link ? result_of(copy_link(from, to, all, info) && sync_new_link(to, all))
                               : copy_file(from, to, all, progress);
    return result != 0 ? result : result_of(platform::remove_file(from));
}

} // namespace

int ombrel_copy_file(const char* from, const char* to, uint32_t flags, ombrel_file_progress_t handler,
                     void* context) {
    if (!is_path(from) || !is_path(to) || !has_only(flags, copy_flags))
        return -1;
    return copy_any(from, to, flags, {handler, context});
}

int ombrel_move_file(const char* from, const char* to, uint32_t flags, ombrel_file_progress_t handler,
                     void* context) {
    if (!is_path(from) || !is_path(to) || !has_only(flags, move_flags))
        return -1;
    if (ombrel_rename_file(from, to, flags & def_ombrel_file_no_replace) == 0)
        return 0;
    return last_fault().code == fault_code::other_device ? move_across(from, to, flags, {handler, context})
                                                         : -1;
}
