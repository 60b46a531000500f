#include "system/tree/tree_walk.h"

#include <cstring>

#include "platform/file.h"
#include "system/file/file_internal.h"
#include "system/tree/match_filter_default.h"

namespace ombrel::system {

using platform::at_link;

tree_walk::tree_walk(const ombrel_walk_options_t& options, ways passed, const char* tag)
    : options_(options), passed_(passed), tag_(tag),
      failures_(options.m_on_failure, options.m_failure_context), chain_(tag), levels_(tag), root_(tag) {}

tree_walk::~tree_walk() {
    for (size_t i = 0; i < levels_.size(); i++)
        levels_[i].list.release();
}

bool tree_walk::begin(const char* root) {
    if (!root_.begin(root))
        return false;
    last_ = {root_.get(), def_ombrel_file_kind_none, true};
    if (!get_info(link()) && !get_info(at_link::stay))
        return false;
    last_.kind = info_.m_kind;
    device_ = info_.m_device;
    return true;
}

int tree_walk::next(ombrel_walk_entry_t& entry) {
    if (state_ == state::is_over)
        return 0;
    const state before = std::exchange(state_, state::goes_on);
    if (before == state::begins && give(entry, 0))
        return 1;
    if (before == state::enters && !enter() && give_once_more(entry))
        return 1;
    while (state_ == state::goes_on && !is_at_root()) {
        entry_list::entry taken;
        if (levels_[levels_.size() - 1].list.take(taken) ? visit(taken, entry) : leave(entry))
            return 1;
    }
    return std::exchange(state_, state::is_over) == state::is_over ? -1 : 0;
}

void tree_walk::skip() {
    if (state_ == state::enters)
        state_ = state::goes_on;
}

int tree_walk::open_file() {
    if (state_ == state::begins || last_.kind != def_ombrel_file_kind_regular)
        return result_of(refuse(fault_code::invalid));
    platform::file_access access;
    access.read = access.at_once = true;
    access.refuse_link = link() == at_link::stay;
    owned_descriptor file(platform::open_file_at(here(), last_.name, access));
    if (file.is_open() && !platform::is_regular_file(file.get()))
        return result_of(refuse(fault_code::invalid));
    return file.release();
}

at_link tree_walk::link() const {
    return wants(def_ombrel_walk_follow) ? at_link::follow : at_link::stay;
}

const char* tree_walk::path() {
    return is_at_root() ? root_.get() : chain_.path_of(last_.name);
}

bool tree_walk::get_info(at_link link) {
    platform::open_directory* const directory = here();
    return directory != nullptr && platform::get_info_at(directory, last_.name, link, info_);
}

/// False, to be returned at once.
bool tree_walk::fail(const char* path) {
    failures_.tell(path);
    if (failures_.end_work())
        state_ = state::is_over;
    return false;
}

/// True when it is given.
bool tree_walk::visit(const entry_list::entry& taken, ombrel_walk_entry_t& entry) {
    last_ = {taken.name, taken.kind, true};
    const char* const place = path();
    if (place == nullptr)
        return fail(nullptr);
    if (wants(def_ombrel_walk_follow) && last_.kind == def_ombrel_file_kind_link)
        follow();
    if (!filter(chain_.below_root(place)))
        return false;
    if (last_.is_given)
        return give(entry, 0);
    enter();
    return false;
}

void tree_walk::follow() {
    if (get_info(at_link::follow))
        last_.kind = info_.m_kind;
}

/// Whether it is given or, as a directory, entered.
bool tree_walk::filter(const char* below) {
    if (options_.m_filter == nullptr)
        return true;
    const bool is_directory = last_.kind == def_ombrel_file_kind_directory;
    const int verdict = ombrel_match_filter_match(options_.m_filter, below, is_directory);
    const bool is_included = verdict == def_ombrel_match_include ||
                             (verdict == def_ombrel_match_none && includes_others(options_.m_filter));
    last_.is_given = is_included || (is_directory && passed_ == ways::given);
    return is_included || (is_directory && verdict != def_ombrel_match_exclude);
}

/// Goes into the last directory.
bool tree_walk::enter() {
    if (!may_enter())
        return false;
    return open_last() ? read_last() : fail(path());
}

bool tree_walk::may_enter() {
    if (options_.m_depth_max >= 0 && levels_.size() >= static_cast<size_t>(options_.m_depth_max))
        return false;
    if (!wants(def_ombrel_walk_one_device))
        return true;
    return get_info(link()) ? info_.m_device == device_ : fail(path());
}

bool tree_walk::open_last() {
    if (is_at_root() ? !chain_.open(platform::by_path(), last_.name, link(), last_.name)
                     : !chain_.enter(last_.name, link()))
        return false;
    const bool has_links = platform::has_hidden_links || wants(def_ombrel_walk_follow);
    return !has_links || !chain_.turns_back();
}

bool tree_walk::read_last() {
    const auto order =
        wants(def_ombrel_walk_sorted) ? entry_list::order::of_bytes : entry_list::order::of_host;
    level added{{}, last_.is_given};
    const bool is_read = added.list.read(chain_.here(), order, tag_);
    if (!is_read)
        fail(last_fault().code == fault_code::no_memory ? nullptr : chain_.path());
    if (levels_.push(added))
        return true;
    added.list.release();
    refuse(fault_code::no_memory);
    return fail(nullptr);
}

/// Goes back up; true when the directory is given once more.
bool tree_walk::leave(ombrel_walk_entry_t& entry) {
    level left = levels_[levels_.size() - 1];
    levels_.shrink_to(levels_.size() - 1);
    left.list.release();
    chain_.leave();
    last_ = {is_at_root() ? root_.get() : chain_.name_left(), def_ombrel_file_kind_directory, left.is_given};
    return give_once_more(entry);
}

bool tree_walk::give_once_more(ombrel_walk_entry_t& entry) {
    return state_ != state::is_over && wants(def_ombrel_walk_leave) && last_.is_given && give(entry, 1);
}

bool tree_walk::give(ombrel_walk_entry_t& entry, int leaves) {
    const char* const place = path();
    if (place == nullptr)
        return fail(nullptr);
    if (wants(def_ombrel_walk_info)) {
        if (!get_info(link()) && !get_info(at_link::stay))
            return fail(place);
        last_.kind = info_.m_kind;
    }
    if (leaves == 0 && last_.kind == def_ombrel_file_kind_directory)
        state_ = state::enters;
    const size_t size = strlen(place);
    entry = {place,
             is_at_root() ? place + size : chain_.below_root(place),
             is_at_root() ? place : place + size - strlen(last_.name),
             last_.kind,
             static_cast<int>(levels_.size()),
             leaves,
             wants(def_ombrel_walk_info) ? &info_ : nullptr};
    return true;
}

} // namespace ombrel::system
