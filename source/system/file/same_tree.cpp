#include "system/file/same_tree.h"

#include "system/file/file_internal.h"
#include "system/file/path_parts.h"

namespace ombrel::system {

namespace {

constexpr char tag[] = "ombrel_copy_tree";

bool is_same(const char* path, const ombrel_file_info_t& directory) {
    ombrel_file_info_t info;
    return platform::get_file_info(path, platform::at_link::follow, info) && is_same_file(info, directory);
}

/// The real path of the directory in which a path ends, as a new text.
char* real_folder(const char* path) {
    const std::string_view trimmed = without_last_separators(path);
    const size_t size = trimmed.size() - last_name(trimmed).size();
    const std::string_view folder = size > 0 ? slice(trimmed, 0, size) : ".";
    const quiet_ptr<char> text(joined_text(folder, {}, {tag, __LINE__}));
    return text ? ombrel_alloc_canonical_path_tag(text.get(), tag, __LINE__) : nullptr;
}

} // namespace

bool is_at_or_below(const char* path, const ombrel_file_info_t& directory) {
    const fault_keeper kept;
    if (is_same(path, directory))
        return true;
    const quiet_ptr<char> folder(real_folder(path));
    if (!folder)
        return false;
    // Cuts a component at a time, down to the root with its separator.
    for (std::string_view rest(folder.get()); !rest.empty();) {
        if (is_same(folder.get(), directory))
            return true;
        const std::string_view above = slice(rest, 0, rest.size() - last_name(rest).size());
        const std::string_view trimmed = without_last_separators(above);
        const std::string_view next = trimmed.size() == 0 || trimmed.back() == ':' ? above : trimmed;
        if (next.size() == rest.size())
            return false;
        folder.get()[next.size()] = '\0';
        rest = next;
    }
    return false;
}

} // namespace ombrel::system
