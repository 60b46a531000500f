#include "system/tree/directory_chain.h"

#include "core/fault.h"

namespace ombrel::system {

using platform::open_directory;

namespace {

/// Besides the root. Deep trees are rare, and each step up beyond this costs one more call.
constexpr size_t most_open = 32;

void close_quietly(open_directory* directory) {
    const fault_keeper kept;
    if (directory != nullptr)
        platform::close_directory(directory);
}

} // namespace

directory_chain::~directory_chain() {
    for (size_t i = 0; i < depth(); i++)
        close_quietly(levels_[i].directory);
}

bool directory_chain::open(open_directory* parent, const char* root, platform::at_link link,
                           std::string_view shown) {
    return path_.begin(shown) && add(platform::open_directory_at(parent, root, link),
                                     {nullptr, 0, path_.size(), 0, 0, link, false});
}

bool directory_chain::enter(const char* name, platform::at_link link) {
    const size_t size = path_.size(), at = path_.next_name();
    if (here() == nullptr || !path_.append(name))
        return false;
    if (add(open_below(path_.at(at), link), {nullptr, at, path_.size(), 0, 0, link, false}))
        return true;
    path_.cut(size);
    return false;
}

void directory_chain::leave() {
    path_.get(); // ends the name that is left
    const level left = last();
    levels_.shrink_to(depth() - 1);
    name_left_ = left.name;
    if (depth() > 0) {
        path_.cut(last().path_size);
        if (last().directory == nullptr && left.directory != nullptr)
            find_again_from(left.directory);
    }
    close_quietly(left.directory);
}

open_directory* directory_chain::here() {
    if (last().directory == nullptr) {
        last().directory = find_from_root();
        first_open_ = last().directory != nullptr ? depth() - 1 : depth();
    }
    return last().directory;
}

bool directory_chain::turns_back() {
    if (!goes_round())
        return false;
    leave();
    leave_fault(fault_code::link_loop);
    return true;
}

bool directory_chain::goes_round() {
    if (here() == nullptr || !know(levels_[0]) || !know(last()))
        return false;
    const level& end = last();
    for (size_t i = 0; i + 1 < depth(); i++) {
        const level& before = levels_[i];
        if (before.is_known && before.device == end.device && before.serial == end.serial)
            return true;
    }
    return false;
}

bool directory_chain::add(open_directory* opened, level added) {
    if (opened == nullptr)
        return false;
    added.directory = opened;
    if (levels_.push(added))
        return true;
    close_quietly(opened);
    leave_fault(fault_code::no_memory);
    return false;
}

open_directory* directory_chain::open_below(const char* name, platform::at_link link) {
    if (depth() - first_open_ >= most_open)
        close_first();
    for (;;) {
        open_directory* const opened = platform::open_directory_at(here(), name, link);
        if (opened != nullptr || last_fault().code != fault_code::no_descriptor || !close_first())
            return opened;
    }
}

/// Closes the one nearest to the root, but not the last one.
bool directory_chain::close_first() {
    if (!platform::has_parents || first_open_ + 1 >= depth())
        return false;
    const fault_keeper kept;
    level& first = levels_[first_open_];
    if (!know(first))
        return false;
    close_quietly(std::exchange(first.directory, nullptr));
    first_open_++;
    return true;
}

/// The last one, from one that is in it, unless it was moved meanwhile or reached by a link.
void directory_chain::find_again_from(open_directory* below) {
    last().directory = recognise(last(), platform::open_parent(below));
    first_open_ = last().directory != nullptr ? depth() - 1 : depth();
}

/// From the root, by the names on the way.
open_directory* directory_chain::find_from_root() {
    open_directory* found = levels_[0].directory;
    for (size_t i = 1; i < depth() && found != nullptr; i++) {
        const level& next = levels_[i];
        open_directory* const above = found;
        found = path_.with_component(next.name, next.path_size, [&](const char* name) {
            return platform::open_directory_at(above, name, next.link);
        });
        if (i > 1)
            close_quietly(above);
    }
    return recognise(last(), found);
}

bool directory_chain::know(level& which) {
    ombrel_file_info_t info;
    if (!which.is_known && platform::get_directory_info(which.directory, info)) {
        which.device = info.m_device;
        which.serial = info.m_serial;
        which.is_known = true;
    }
    return which.is_known;
}

/// The directory if it is the one of the level; else it is closed and null, with the fault left.
open_directory* directory_chain::recognise(const level& wanted, open_directory* found) {
    level other{found, 0, 0, 0, 0, platform::at_link::stay, false};
    if (found != nullptr && know(other)) {
        if (other.device == wanted.device && other.serial == wanted.serial)
            return found;
        leave_fault(fault_code::not_found);
    }
    close_quietly(found);
    return nullptr;
}

} // namespace ombrel::system
