#include "protocol/ftp_server/ftp_listing.h"

#include <algorithm>

#include "core/fault.h"
#include "system/tree/path_pattern.h"
#include "text/slice.h"

namespace ombrel::protocol {

namespace {

constexpr int entries_at_once = 128; // each may be a look at a disk

bool is_pattern(std::string_view name) {
    return std::any_of(name.begin(), name.end(), [](char c) { return c == '*' || c == '?' || c == '['; });
}

/// What stands before the last name, with its "/".
std::string_view directory_part(std::string_view asked) {
    return slice(asked, 0, asked.rfind('/') + 1);
}

} // namespace

bool ftp_listing::open(const system::confined_tree& tree, const ftp_path& path, std::string_view asked) {
    directory_ = tree.open_directory(path.get());
    if (directory_ != nullptr)
        return keep(asked, {});
    const fault why = last_fault();
    if (style_.form == listing_form::facts) // which RFC 3659 tells of directories alone
        return false;
    if (tree.get_info(path.get(), single_) && single_.m_kind != def_ombrel_file_kind_directory)
        return keep(directory_part(asked), path.name());
    if (is_pattern(path.name()) && system::is_sound_pattern(path.name()))
        return open_pattern(tree, path, asked);
    leave_fault(why);
    return false;
}

bool ftp_listing::open_pattern(const system::confined_tree& tree, ftp_path path, std::string_view asked) {
    if (!keep(directory_part(asked), path.name()))
        return false;
    path.rise();
    directory_ = tree.open_directory(path.get());
    return directory_ != nullptr;
}

bool ftp_listing::keep(std::string_view prefix, std::string_view name) {
    if (style_.form != listing_form::names)
        prefix = {};
    const std::string_view end = prefix.empty() || prefix.back() == '/' ? "" : "/";
    const size_t prefix_size = prefix.size() + end.size();
    texts_.reset(
        static_cast<char*>(ombrel_alloc_tag(prefix_size + name.size() + 1, ftp_server_tag, __LINE__)));
    if (!texts_) {
        leave_fault(fault_code::no_memory);
        return false;
    }
    put_text(put_text(put_text(texts_.get(), prefix), end), name);
    prefix_ = {texts_.get(), prefix_size};
    name_ = {texts_.get() + prefix_size, name.size()};
    return true;
}

size_t ftp_listing::fill(char* text, size_t room) {
    size_t used = 0;
    for (int i = 0; i < entries_at_once && !is_over_ && room - used >= line_room; i++)
        used += put_next(text + used);
    return used;
}

size_t ftp_listing::put_next(char* text) {
    if (directory_ == nullptr) {
        is_over_ = true;
        return put_line(text, name_, single_);
    }
    platform::found_entry entry;
    const int found = platform::next_entry(directory_, entry);
    has_failed_ = found < 0;
    is_over_ = found <= 0;
    if (is_over_ || !is_listed(entry.name))
        return 0;
    was_cut_off_ = is_over_ = left_ == 0;
    return is_over_ ? 0 : put_entry(text, entry);
}

bool ftp_listing::is_listed(const char* name) const {
    return system::is_plain_name(name) && (name_.empty() || system::matches_pattern(name_, name, false));
}

/// What went meanwhile is passed over.
size_t ftp_listing::put_entry(char* text, const platform::found_entry& entry) {
    ombrel_file_info_t info{};
    left_--;
    if (style_.form != listing_form::names &&
        !platform::get_info_at(directory_, entry.name, platform::at_link::stay, info))
        return 0;
    return put_line(text, entry.name, info);
}

size_t ftp_listing::put_line(char* text, std::string_view name, const ombrel_file_info_t& info) const {
    char head[line_head_room];
    char* end = put_text(text, {head, put_line_head(head, info, style_)});
    end = put_text(put_text(end, prefix_), name);
    return static_cast<size_t>(put_text(end, "\r\n") - text);
}

} // namespace ombrel::protocol
