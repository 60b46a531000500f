// Removal of trees at the public interface.
#include <ombrel/directory.h>

#include "system/file/file_internal.h"
#include "system/file/path_parts.h"
#include "system/tree/tree_removal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr char tag[] = "ombrel_remove_tree";

/// Roots are not removed, nor what has another name outside.
bool is_removable(std::string_view path) {
    const std::string_view name = last_name(path);
    return (!name.empty() && name != "." && name != "..") || refuse(fault_code::invalid);
}

/// A separator behind a name says that it is a directory's, and would have a link followed.
bool is_as_said(const ombrel_file_info_t& info, bool has_separator) {
    return !has_separator || info.m_kind == def_ombrel_file_kind_directory ||
           refuse(fault_code::not_directory);
}

bool look_at(const char* path, bool has_separator, ombrel_file_info_t& info) {
    return platform::get_info_at(platform::by_path(), path, platform::at_link::stay, info) &&
           is_as_said(info, has_separator);
}

} // namespace

int ombrel_remove_tree(const char* path, ombrel_tree_failure_handler_t on_failure, void* context) {
    if (!is_path(path) || !is_removable(without_last_separators(path)))
        return -1;
    const std::string_view trimmed = without_last_separators(path);
    const quiet_ptr<char> root(joined_text(trimmed, {}, {tag, __LINE__}));
    if (!root)
        return -1;
    tree_failures failures(on_failure, context);
    ombrel_file_info_t info;
    if (look_at(root.get(), path[trimmed.size()] != '\0', info))
        tree_removal({platform::by_path(), root.get(), root.get(), nullptr, 0}, failures, tag)
            .run(info.m_kind == def_ombrel_file_kind_directory);
    else
        failures.tell(path);
    return failures.result();
}
