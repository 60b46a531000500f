#include "system/tree/same_tree.h"

#include <cstring>

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

/// Of the directory in which a path's last component is; a root is in itself.
size_t size_above(std::string_view path) {
    const std::string_view above = slice(path, 0, path.size() - last_name(path).size());
    const std::string_view trimmed = without_last_separators(above);
    return trimmed.empty() || trimmed.back() == ':' ? above.size() : trimmed.size();
}

} // namespace

bool lies_outside(const char* path, const ombrel_file_info_t& directory) {
    if (is_same(path, directory))
        return refuse(fault_code::invalid);
    const quiet_ptr<char> folder(real_folder(path));
    if (!folder)
        return false;
    for (char* const text = folder.get(); !is_same(text, directory);) {
        const size_t above = size_above(text);
        if (above == strlen(text))
            return true;
        text[above] = '\0';
    }
    return refuse(fault_code::invalid);
}

} // namespace ombrel::system
