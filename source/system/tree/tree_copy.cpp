#include "system/tree/tree_copy.h"

#include "system/file/file_internal.h"
#include "system/tree/entry_copy.h"

namespace ombrel::system {

using platform::at_link;

tree_copy::~tree_copy() {
    for (size_t i = 0; i < levels_.size(); i++)
        levels_[i].list.release();
}

void tree_copy::run(const char* from, const char* to) {
    enter(from, to);
    while (!is_at_root() && !failures_.end_work()) {
        entry_list::entry taken;
        if (!last().list.take(taken))
            leave();
        else if (taken.kind == def_ombrel_file_kind_directory)
            enter(taken.name, taken.name);
        else
            copy(taken.name);
    }
}

/// Goes into a directory and into its copy.
void tree_copy::enter(const char* from, const char* to) {
    level added{{}, {}, 0};
    if (!open_from(from))
        return failures_.tell(is_at_root() ? from : from_.path_of(from));
    if (platform::get_directory_info(from_.here(), added.info) && open_to(to, added))
        return push(added);
    const fault why = last_fault();
    from_.leave();
    leave_fault(why);
    failures_.tell(is_at_root() ? to : to_.path_of(to));
}

bool tree_copy::open_from(const char* name) {
    if (is_at_root() ? !from_.open(platform::by_path(), name, at_link::stay, name)
                     : !from_.enter(name, at_link::stay))
        return false;
    return !platform::has_hidden_links || !from_.turns_back();
}

/// Makes the copy unless it is there, so that it can be filled, and goes into it.
bool tree_copy::open_to(const char* name, level& added) {
    constexpr uint32_t all = 0777, own = 0700;
    platform::open_directory* const parent = is_at_root() ? platform::by_path() : to_.here();
    if (parent == nullptr)
        return false;
    if (platform::make_directory_at(parent, name, (added.info.m_mode & all) | own))
        added.taken = own & ~added.info.m_mode;
    else if (last_fault().code != fault_code::exists)
        return false;
    return is_at_root() ? to_.open(parent, name, at_link::stay, name) : to_.enter(name, at_link::stay);
}

void tree_copy::push(level& added) {
    if (!added.list.read(from_.here(), entry_list::order::of_host, tag_))
        failures_.tell(from_.path());
    if (levels_.push(added))
        return;
    added.list.release();
    leave_fault(fault_code::no_memory);
    failures_.tell(nullptr);
}

void tree_copy::copy(const char* name) {
    if (!copy_entry({from_.here(), name}, {to_.here(), name}, flags_))
        failures_.tell(from_.path_of(name));
}

void tree_copy::leave() {
    level left = last();
    left.list.release();
    if (platform::open_directory* const made = to_.here(); made == nullptr || !finish(made, left))
        failures_.tell(to_.path());
    levels_.shrink_to(levels_.size() - 1);
    from_.leave();
    to_.leave();
}

/// What a copy gets once it is filled: filling it changes its time and may need more permissions.
bool tree_copy::finish(platform::open_directory* made, const level& left) {
    if (has(flags_, def_ombrel_file_keep_owner) &&
        !platform::set_directory_owner(made, left.info.m_owner, left.info.m_group))
        platform::set_directory_owner(made, UINT32_MAX, left.info.m_group);
    return set_mode(made, left) &&
           (!has(flags_, def_ombrel_file_keep_times) ||
            platform::set_directory_times(made, {&left.info.m_accessed, &left.info.m_modified}));
}

bool tree_copy::set_mode(platform::open_directory* made, const level& left) {
    if (has(flags_, def_ombrel_file_keep_mode))
        return platform::set_directory_mode(made, left.info.m_mode);
    ombrel_file_info_t now;
    return left.taken == 0 || (platform::get_directory_info(made, now) &&
                               platform::set_directory_mode(made, now.m_mode & ~left.taken));
}

} // namespace ombrel::system
