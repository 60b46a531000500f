// Storing a whole file: the bytes go to a temporary file beside it, to the device, and then take its name.
#include "system/file/file_store.h"

#include <algorithm>

#include "platform/file_names.h"
#include "platform/path.h"
#include "system/file/unique_name.h"

namespace ombrel::system {

namespace {

constexpr uint32_t known_flags = def_ombrel_file_no_replace | def_ombrel_file_no_sync;

bool is_absolute(const char* path) {
    return path[0] == '/' ||
           (platform::has_drives && (path[0] == '\\' || (path[0] != '\0' && path[1] == ':')));
}

/// The link itself may lead nowhere, so the host cannot be asked for the whole way at once.
bool follow(quiet_ptr<char>& path, call_site caller) {
    const platform::host_text text = platform::read_link(path.get());
    if (text.get() == nullptr)
        return false;
    const std::string_view folder = is_absolute(text.get()) ? std::string_view() : folder_part(path.get());
    path = quiet_ptr<char>(joined_text(folder, text.get(), caller));
    return static_cast<bool>(path);
}

bool find(stored_file& found, bool follows, call_site caller) {
    constexpr int most_links = 40;
    for (int links = 0; links <= most_links; links++) {
        found.is_there = platform::get_file_info(found.path.get(), platform::at_link::stay, found.info);
        if (!found.is_there)
            return last_fault().code == fault_code::not_found;
        if (found.info.m_kind != def_ombrel_file_kind_link || !follows)
            return true;
        if (!follow(found.path, caller))
            return false;
    }
    return refuse(fault_code::link_loop);
}

/// Whether what is there may be replaced: by the rename alone it could be whatever its permissions say.
bool may_replace(const stored_file& found, uint32_t flags) {
    if (has(flags, def_ombrel_file_no_replace))
        return refuse(fault_code::exists);
    if (found.info.m_kind == def_ombrel_file_kind_directory)
        return refuse(fault_code::is_directory);
    if (found.info.m_kind == def_ombrel_file_kind_link)
        return true;
    constexpr int to_write = 2;
    return found.info.m_kind == def_ombrel_file_kind_regular
               ? platform::has_file_rights(found.path.get(), to_write)
               : refuse(fault_code::not_supported);
}

/// Names have a limit, so of a long one the beginning stands for it, cut between characters.
std::string_view short_name(std::string_view name) {
    constexpr size_t most = 200;
    size_t size = std::min(name.size(), most);
    while (size < name.size() && size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80)
        size--;
    return {name.data(), size};
}

/// Opens a file beside the path. @return its path, the caller's
char* open_beside(const char* path, uint32_t mode, call_site caller, int& descriptor) {
    const std::string_view folder = folder_part(path);
    const std::string_view name = short_name(path + folder.size());
    const quiet_ptr<char> start(joined_text(".", name, ".", caller));
    if (!start)
        return nullptr;
    return make_unique(folder, start.get(), caller, [&](const char* unique) {
        platform::file_access access;
        access.read = access.write = access.create = access.exclusive = true;
        access.mode = mode;
        descriptor = platform::open_file(unique, access);
        return descriptor >= 0;
    });
}

bool begin(ombrel_file_store_ts& store, const store_target& target, call_site caller) {
    stored_file found;
    if (!find_stored_file(target, caller, found))
        return false;
    const bool keeps = found.is_there && found.info.m_kind == def_ombrel_file_kind_regular;
    constexpr uint32_t until_known = 0600;
    store.temporary =
        open_beside(found.path.get(), keeps ? until_known : target.mode, caller, store.descriptor);
    store.path = found.path.release();
    return store.temporary != nullptr && (!keeps || keep_rights(store.descriptor, found.info));
}

bool finish(ombrel_file_store_ts& store) {
    const bool syncs = !has(store.flags, def_ombrel_file_no_sync);
    const bool is_written = !syncs || platform::sync_file(store.descriptor);
    const fault why = last_fault();
    const bool is_closed = platform::close_file(std::exchange(store.descriptor, -1));
    if (!is_written)
        return leave_fault(why), false;
    const auto target = has(store.flags, def_ombrel_file_no_replace) ? platform::at_target::refuse
                                                                     : platform::at_target::replace;
    if (!is_closed || !platform::rename_file(store.temporary, store.path, target))
        return false;
    const quiet_ptr<char> renamed(std::exchange(store.temporary, nullptr));
    return !syncs || sync_folder(renamed.get()); // which needs no memory that could run out now
}

} // namespace

bool find_stored_file(const store_target& target, call_site caller, stored_file& found) {
    found.path = quiet_ptr<char>(joined_text(target.path, {}, caller));
    return found.path && find(found, !has(target.flags, def_ombrel_file_no_follow), caller) &&
           (!found.is_there || may_replace(found, target.flags));
}

bool keep_rights(int descriptor, const ombrel_file_info_t& old) {
    constexpr uint32_t as_owner = 04000, of_group = 02070;
    constexpr uint32_t stays = UINT32_MAX;
    ombrel_file_info_t own;
    if (!platform::get_file_info(descriptor, own))
        return false;
    bool has_group = own.m_group == old.m_group;
    bool has_owner = own.m_owner == old.m_owner;
    if (!has_group)
        has_group = platform::set_file_owner(descriptor, stays, old.m_group);
    if (!has_owner)
        has_owner = platform::set_file_owner(descriptor, old.m_owner, stays);
    const uint32_t lost = (has_owner ? 0 : as_owner) | (has_group ? 0 : of_group);
    return platform::set_file_mode(descriptor, old.m_mode & ~lost);
}

bool sync_folder(char* path) {
    const size_t size = folder_part(path).size();
    if (size == 0)
        *path = '.';
    path[std::max<size_t>(size, 1)] = '\0';
    return platform::sync_directory(path) || last_fault().code == fault_code::access_denied;
}

ombrel_file_store_ts* open_store(const store_target& target, call_site caller) {
    quiet_ptr<ombrel_file_store_ts> store(allocate_record<ombrel_file_store_ts>(caller.tag, caller.line));
    if (!store) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    *store = {target.flags, -1, nullptr, nullptr};
    if (begin(*store, target, caller))
        return store.release();
    const fault_keeper kept;
    ombrel_close_file_store(store.release());
    return nullptr;
}

} // namespace ombrel::system

using namespace ombrel;
using namespace ombrel::system;

ombrel_file_store_t* ombrel_open_file_store_tag(const char* path, uint32_t flags, uint32_t mode,
                                                const char* function, unsigned long line) {
    if (!is_path(path) || !has_only(flags, known_flags) || !has_only(mode, 07777))
        return nullptr;
    return open_store({path, flags, mode}, {function, line});
}

int ombrel_file_store_get_descriptor(const ombrel_file_store_t* store) {
    if (store == nullptr)
        leave_fault(fault_code::invalid);
    return store != nullptr ? store->descriptor : -1;
}

int ombrel_file_store_commit(ombrel_file_store_t* store) {
    if (store == nullptr || store->descriptor < 0)
        return result_of(refuse(fault_code::invalid));
    return result_of(finish(*store));
}

int ombrel_close_file_store(ombrel_file_store_t* store) {
    if (store == nullptr)
        return 0;
    if (store->descriptor >= 0)
        platform::close_descriptor(store->descriptor);
    if (store->temporary != nullptr)
        platform::remove_file(store->temporary);
    for (char* const text : {store->path, store->temporary})
        ombrel_check_free(text);
    return ombrel_free(store);
}

int ombrel_store_file(const char* path, const void* data, size_t size, uint32_t flags, uint32_t mode) {
    if (data == nullptr && size != 0)
        return result_of(refuse(fault_code::invalid));
    const store_closer guard{ombrel_open_file_store_tag(path, flags, mode, "ombrel_store_file", __LINE__)};
    return result_of(guard.store != nullptr && write_whole(guard.store->descriptor, data, size) &&
                     finish(*guard.store));
}
