#include "system/tree/entry_copy.h"

#include "system/file/copy_bytes.h"
#include "system/file/file_internal.h"

namespace ombrel::system {

using platform::at_link;

namespace {

/// Calls `make()` for a name that must be new. What has the name is removed, unless it is to stay.
template<typename Make>
auto make_in_place_of(const directory_place& to, uint32_t flags, Make make) {
    const auto made = make();
    if (made || last_fault().code != fault_code::exists || has(flags, def_ombrel_file_no_replace))
        return made;
    return platform::remove_file_at(to.directory, to.name) ? make() : made;
}

/// A descriptor that may be -1, and is asked about as a pointer is.
struct opened_file {
    int descriptor;
    explicit operator bool() const { return descriptor >= 0; }
};

opened_file open_new(const directory_place& to, uint32_t mode) {
    platform::file_access access;
    access.write = access.create = access.exclusive = true;
    access.mode = mode;
    return {platform::open_file_at(to.directory, to.name, access)};
}

opened_file open_old(const directory_place& to) {
    platform::file_access access;
    access.write = access.refuse_link = access.at_once = true;
    return {platform::open_file_at(to.directory, to.name, access)};
}

/// Empties a regular file that is not the original.
bool prepare(int file, const ombrel_file_info_t& original) {
    ombrel_file_info_t info;
    if (!platform::get_file_info(file, info))
        return false;
    if (is_same_file(info, original))
        return refuse(fault_code::invalid);
    return platform::set_file_size(file, 0);
}

bool is_regular_at(const directory_place& place) {
    const fault_keeper kept;
    ombrel_file_info_t info;
    return platform::get_info_at(place.directory, place.name, at_link::stay, info) &&
           info.m_kind == def_ombrel_file_kind_regular;
}

/// A file that is there is written anew in its place, and keeps its permissions and names.
opened_file open_target(const directory_place& to, const ombrel_file_info_t& original, uint32_t flags,
                        bool& is_made) {
    const uint32_t mode = first_mode(original, flags);
    is_made = has(flags, def_ombrel_file_no_replace) || !is_regular_at(to);
    if (is_made)
        return make_in_place_of(to, flags, [&] { return open_new(to, mode); });
    owned_descriptor old(open_old(to).descriptor);
    if (!old.is_open() || !prepare(old.get(), original))
        return {-1};
    return {old.release()};
}

bool copy_regular(const directory_place& from, const directory_place& to, uint32_t flags) {
    platform::file_access access;
    access.read = access.at_once = access.refuse_link = true;
    const owned_descriptor source(platform::open_file_at(from.directory, from.name, access));
    ombrel_file_info_t info;
    if (!source.is_open() || !platform::get_file_info(source.get(), info))
        return false;
    if (info.m_kind != def_ombrel_file_kind_regular)
        return refuse(fault_code::invalid); // it was one just now
    bool is_made;
    owned_descriptor target(open_target(to, info, flags, is_made).descriptor);
    if (!target.is_open())
        return false;
    bool is_done = copy_all_bytes(source.get(), info, target.get(), {nullptr, nullptr}) == 0 &&
                   keep_what_is_asked(info, target.get(), flags);
    const fault_keeper kept;
    is_done = platform::close_file(target.release()) && is_done;
    if (!is_done && is_made)
        platform::remove_file_at(to.directory, to.name);
    return is_done;
}

/// What is no file has no descriptor to set these by.
bool keep_marks(const directory_place& to, const ombrel_file_info_t& info, uint32_t flags) {
    if (has(flags, def_ombrel_file_keep_owner))
        platform::set_owner_at(to.directory, to.name, info.m_owner, info.m_group);
    return !has(flags, def_ombrel_file_keep_times) ||
           platform::set_times_at(to.directory, to.name, {&info.m_accessed, &info.m_modified});
}

bool leads_to_directory(const directory_place& place) {
    const fault_keeper kept;
    ombrel_file_info_t info;
    return platform::get_info_at(place.directory, place.name, at_link::follow, info) &&
           info.m_kind == def_ombrel_file_kind_directory;
}

bool copy_link(const directory_place& from, const directory_place& to, uint32_t flags) {
    const platform::host_text text = platform::read_link_at(from.directory, from.name);
    const bool to_directory = leads_to_directory(from);
    return text.get() != nullptr && make_in_place_of(to, flags, [&] {
               return platform::make_symbolic_link_at(text.get(), to.directory, to.name, to_directory);
           });
}

bool copy_special(const ombrel_file_info_t& info, const directory_place& to, uint32_t flags) {
    return make_in_place_of(to, flags,
                            [&] { return platform::make_special_file_at(to.directory, to.name, info); });
}

} // namespace

bool copy_entry(const directory_place& from, const directory_place& to, uint32_t flags) {
    ombrel_file_info_t info, target;
    if (!platform::get_info_at(from.directory, from.name, at_link::stay, info))
        return false;
    if (platform::get_info_at(to.directory, to.name, at_link::stay, target) && is_same_file(info, target))
        return refuse(fault_code::invalid);
    if (info.m_kind == def_ombrel_file_kind_regular)
        return copy_regular(from, to, flags);
    const bool is_link = info.m_kind == def_ombrel_file_kind_link;
    return (is_link ? copy_link(from, to, flags) : copy_special(info, to, flags)) &&
           keep_marks(to, info, flags);
}

} // namespace ombrel::system
