#include "system/tree/tree_removal.h"

#include "system/file/file_internal.h"

namespace ombrel::system {

tree_removal::~tree_removal() {
    for (size_t i = 0; i < levels_.size(); i++)
        levels_[i].list.release();
}

void tree_removal::run(bool is_directory) {
    remove(target_.name, is_directory);
    while (levels_.size() > 0 && !failures_.end_work()) {
        entry_list::entry taken;
        if (last().list.take(taken))
            remove(taken.name, taken.kind == def_ombrel_file_kind_directory);
        else
            leave();
    }
}

platform::open_directory* tree_removal::here() {
    return levels_.size() > 0 ? chain_.here() : target_.parent;
}

void tree_removal::remove(const char* name, bool is_directory) {
    if (keeps(name, is_directory))
        last().must_stay = true;
    else if (is_directory)
        enter(name);
    else
        remove_file(name);
}

/// Whether a filter leaves it alone; where that cannot be found out, too.
bool tree_removal::keeps(const char* name, bool is_directory) {
    if (target_.filter == nullptr || levels_.size() == 0)
        return false;
    const char* const path = chain_.path_of(name);
    if (path == nullptr) {
        failures_.tell(nullptr);
        return true;
    }
    const char* const below = path + target_.below;
    return is_directory ? ombrel_match_filter_match(target_.filter, below, 1) == def_ombrel_match_exclude
                        : ombrel_match_filter_admits(target_.filter, below, 0) == 0;
}

/// What has become a directory since its name was read is one.
void tree_removal::remove_file(const char* name) {
    if (platform::remove_file_at(here(), name) || last_fault().code == fault_code::not_found)
        return;
    if (last_fault().code == fault_code::is_directory)
        enter(name);
    else
        fail(name);
}

void tree_removal::enter(const char* name) {
    if (open(name))
        read();
    else
        remove_unopened(name);
}

bool tree_removal::open(const char* name) {
    return levels_.size() > 0 ? chain_.enter(name, platform::at_link::stay)
                              : chain_.open(target_.parent, name, platform::at_link::stay, target_.path);
}

/// What is no directory any more is not entered, above all no link. One that may not be read can be empty.
void tree_removal::remove_unopened(const char* name) {
    const fault why = last_fault();
    const bool is_other = why.code == fault_code::not_directory || why.code == fault_code::link_loop;
    if (why.code == fault_code::not_found ||
        (is_other ? platform::remove_file_at(here(), name) : platform::remove_directory_at(here(), name)))
        return;
    leave_fault(why);
    fail(name);
}

void tree_removal::read() {
    level added{{}, false};
    added.must_stay = !added.list.read(chain_.here(), entry_list::order::of_host, tag_);
    if (added.must_stay)
        failures_.tell(chain_.path());
    if (levels_.push(added))
        return;
    added.list.release();
    leave_fault(fault_code::no_memory);
    failures_.tell(nullptr);
}

void tree_removal::leave() {
    level left = last();
    left.list.release();
    levels_.shrink_to(levels_.size() - 1);
    chain_.leave();
    const bool has_parent = levels_.size() > 0;
    const char* const name = has_parent ? chain_.name_left() : target_.name;
    if (left.must_stay && has_parent)
        last().must_stay = true;
    else if (!left.must_stay && !platform::remove_directory_at(here(), name) &&
             last_fault().code != fault_code::not_found)
        fail(name);
}

void tree_removal::fail(const char* name) {
    if (levels_.size() > 0)
        last().must_stay = true;
    failures_.tell(levels_.size() > 0 ? chain_.path_of(name) : target_.path);
}

} // namespace ombrel::system
