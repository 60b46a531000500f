#include "system/tree/tree_sync.h"

#include "system/file/file_internal.h"
#include "system/file/file_marks.h"

namespace ombrel::system {

using platform::at_link;

namespace {

constexpr uint32_t own = 0700;

} // namespace

tree_sync::~tree_sync() {
    for (size_t i = 0; i < levels_.size(); i++) {
        levels_[i].from.release();
        levels_[i].to.release();
    }
}

int tree_sync::run(const char* from, const char* to) {
    open_roots(from, to);
    while (levels_.size() > 0 && goes_on())
        step();
    return broken_by_;
}

void tree_sync::open_roots(const char* from, const char* to) {
    level added{{}, {}, {}, false};
    if (!from_.open(platform::by_path(), from, at_link::follow, from) ||
        !platform::get_directory_info(from_.here(), added.info))
        failures_.tell(from);
    else if (!open_second_root(to, added))
        failures_.tell(to);
    else if (goes_on())
        push(added);
}

/// It need not be there.
bool tree_sync::open_second_root(const char* to, level& added) {
    added.has_to = to_.open(platform::by_path(), to, at_link::follow, to);
    if (added.has_to || last_fault().code != fault_code::not_found)
        return added.has_to;
    tell(def_ombrel_difference_new, "", {"", added.info, {}});
    if (!task_.changes || !goes_on())
        return true;
    added.has_to = platform::make_directory_at(platform::by_path(), to, added.info.m_mode | own) &&
                   to_.open(platform::by_path(), to, at_link::follow, to);
    return added.has_to;
}

void tree_sync::push(level& added) {
    constexpr auto order = entry_list::order::of_names;
    if (!added.from.read(from_.here(), order, tag_))
        failures_.tell(from_.path());
    if (added.has_to && !added.to.read(to_.here(), order, tag_))
        failures_.tell(to_.path());
    if (levels_.push(added))
        return;
    added.from.release();
    added.to.release();
    leave_fault(fault_code::no_memory);
    failures_.tell(nullptr);
}

/// One name further, or back up.
void tree_sync::step() {
    pair both{nullptr, {}, {}};
    bool in_from, in_to;
    if (!take(both, in_from, in_to))
        leave();
    else if (look_at(both, in_from, in_to) && !is_left_alone(both))
        handle(both);
}

void tree_sync::leave() {
    level left = last();
    left.from.release();
    left.to.release();
    if (left.has_to && task_.changes && !finish(left))
        failures_.tell(to_.path());
    levels_.shrink_to(levels_.size() - 1);
    from_.leave();
    if (left.has_to)
        to_.leave();
}

/// Once a directory is filled, which changed its time.
bool tree_sync::finish(const level& left) {
    platform::open_directory* const made = to_.here();
    ombrel_file_info_t now;
    return made != nullptr && platform::get_directory_info(made, now) &&
           (now.m_mode == left.info.m_mode || platform::set_directory_mode(made, left.info.m_mode)) &&
           (is_same_time(now.m_modified, left.info.m_modified) ||
            platform::set_directory_times(made, {nullptr, &left.info.m_modified}));
}

/// The next name in either list.
bool tree_sync::take(pair& both, bool& in_from, bool& in_to) {
    entry_list::entry first, second;
    in_from = last().from.peek(first);
    in_to = last().to.peek(second);
    if (in_from && in_to) {
        const int order = platform::compare_names(first.name, second.name);
        in_from = order <= 0;
        in_to = order >= 0;
    }
    both.name = in_from ? first.name : second.name;
    const bool from_first = in_from && last().from.take(first);
    const bool from_second = in_to && last().to.take(second);
    return from_first || from_second;
}

bool tree_sync::look_at(pair& both, bool in_from, bool in_to) {
    if (in_from && !platform::get_info_at(from_.here(), both.name, at_link::stay, both.from))
        return fail_from(both.name);
    return !in_to || platform::get_info_at(to_.here(), both.name, at_link::stay, both.to) ||
           fail_to(both.name);
}

bool tree_sync::is_left_alone(const pair& both) {
    if (task_.options.m_filter == nullptr)
        return false;
    const char* const path = from_.path_of(both.name);
    if (path == nullptr)
        return !fail_from(both.name);
    const char* const below = from_.below_root(path);
    return is_filtered(below, both.from) || is_filtered(below, both.to);
}

bool tree_sync::is_filtered(const char* below, const ombrel_file_info_t& info) const {
    if (!is_there(info))
        return false;
    return is_directory(info)
               ? ombrel_match_filter_match(task_.options.m_filter, below, 1) == def_ombrel_match_exclude
               : ombrel_match_filter_admits(task_.options.m_filter, below, 0) == 0;
}

void tree_sync::handle(const pair& both) {
    if (!is_there(both.from))
        return handle_gone(both);
    const int difference = judge(both);
    const char* const path = from_.path_of(both.name);
    if (difference < 0 || path == nullptr) {
        fail_from(both.name);
        return;
    }
    tell(difference, from_.below_root(path), both);
    if (!goes_on())
        return;
    if (task_.changes && !mend(difference, both))
        fail_to(both.name);
    else if (is_directory(both.from))
        enter(both);
}

void tree_sync::handle_gone(const pair& both) {
    const char* const path = task_.tells_gone ? from_.path_of(both.name) : "";
    if (path == nullptr)
        failures_.tell(nullptr);
    if (path == nullptr || !task_.tells_gone)
        return;
    tell(def_ombrel_difference_gone, from_.below_root(path), both);
    if (goes_on() && task_.changes)
        remove(both);
}

void tree_sync::tell(int difference, const char* below, const pair& both) {
    if (difference == 0 || task_.handler == nullptr)
        return;
    const ombrel_tree_difference_t told{
        difference, below, both.from.m_kind, both.to.m_kind, content_size(both.from), content_size(both.to)};
    broken_by_ = task_.handler(&told, task_.context);
}

void tree_sync::enter(const pair& both) {
    level added{{}, {}, both.from, false};
    if (!from_.enter(both.name, at_link::stay) || (platform::has_hidden_links && from_.turns_back())) {
        fail_from(both.name);
        return;
    }
    added.has_to = last().has_to && (task_.changes || is_directory(both.to));
    if (!added.has_to || to_.enter(both.name, at_link::stay)) {
        if (task_.changes && (both.to.m_mode & own) != own)
            platform::set_directory_mode(to_.here(), both.from.m_mode | own); // until it is left
        return push(added);
    }
    const fault why = last_fault();
    from_.leave();
    leave_fault(why);
    fail_to(both.name);
}

/// False, to be returned at once.
bool tree_sync::fail_from(const char* name) {
    failures_.tell(from_.path_of(name));
    return false;
}

bool tree_sync::fail_to(const char* name) {
    failures_.tell(to_.path_of(name));
    return false;
}

} // namespace ombrel::system
