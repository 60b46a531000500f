// Names of files: renamed, removed, made; directories and links; places.
#include <ombrel/file.h>

#include <cstring>

#include "platform/file_names.h"
#include "platform/path.h"
#include "system/file/file_internal.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

bool is_separator(char character) {
    return character == '/' || (platform::has_drives && character == '\\');
}

bool is_directory(const char* path) {
    ombrel_file_info_t info;
    return platform::get_file_info(path, platform::at_link::follow, info) &&
           info.m_kind == def_ombrel_file_kind_directory;
}

/// What is there already is as good as made if it is a directory.
bool make_or_find(const char* path, uint32_t mode) {
    if (platform::make_directory(path, mode))
        return true;
    const fault_keeper kept;
    return is_directory(path);
}

/// Where the parent's path ends in a path of `size` characters; 0 where it has none.
size_t parent_size(const char* path, size_t size) {
    while (size > 0 && !is_separator(path[size - 1]))
        size--;
    while (size > 0 && is_separator(path[size - 1]))
        size--;
    return size;
}

/// Cuts the path until what is left is there or could be made, and puts the ends back one by one.
bool make_directories(char* path, uint32_t mode) {
    constexpr uint32_t passable = 0300; // for the directory below
    const size_t whole = strlen(path);
    size_t size = whole;
    while (!make_or_find(path, size == whole ? mode : mode | passable)) {
        size = last_fault().code == fault_code::not_found ? parent_size(path, size) : 0;
        if (size == 0)
            return false;
        path[size] = '\0';
    }
    while (size < whole) {
        path[size] = '/';
        size += strlen(path + size);
        if (!make_or_find(path, size == whole ? mode : mode | passable))
            return false;
    }
    return true;
}

} // namespace

int ombrel_rename_file(const char* from, const char* to, uint32_t flags) {
    const auto target =
        has(flags, def_ombrel_file_no_replace) ? platform::at_target::refuse : platform::at_target::replace;
    return result_of(is_path(from) && is_path(to) && has_only(flags, def_ombrel_file_no_replace) &&
                     platform::rename_file(from, to, target));
}

int ombrel_remove_file(const char* path) {
    return result_of(is_path(path) && platform::remove_file(path));
}

int ombrel_remove_directory(const char* path) {
    return result_of(is_path(path) && platform::remove_directory(path));
}

int ombrel_make_directory(const char* path, uint32_t mode) {
    return result_of(is_path(path) && platform::make_directory(path, mode));
}

int ombrel_make_directories(const char* path, uint32_t mode) {
    if (!is_path(path))
        return -1;
    size_t size = strlen(path);
    while (size > 1 && is_separator(path[size - 1]))
        size--;
    const quiet_ptr<char> copy(joined_text({path, size}, {}, {"ombrel_make_directories", __LINE__}));
    return result_of(copy && make_directories(copy.get(), mode));
}

int ombrel_sync_directory(const char* path) {
    return result_of(is_path(path) && platform::sync_directory(path));
}

int ombrel_make_link(const char* path, const char* new_path) {
    return result_of(is_path(path) && is_path(new_path) && platform::make_link(path, new_path));
}

int ombrel_make_symbolic_link(const char* text, const char* new_path) {
    return result_of(is_path(text) && is_path(new_path) && platform::make_symbolic_link(text, new_path));
}

char* ombrel_alloc_link_text_tag(const char* path, const char* function, unsigned long line) {
    return is_path(path) ? copied_text(platform::read_link(path), {function, line}) : nullptr;
}

char* ombrel_alloc_program_path_tag(const char* function, unsigned long line) {
    return copied_text(platform::program_path(), {function, line});
}

char* ombrel_alloc_current_directory_tag(const char* function, unsigned long line) {
    return copied_text(platform::current_directory(), {function, line});
}

int ombrel_set_current_directory(const char* path) {
    return result_of(is_path(path) && platform::set_current_directory(path));
}

char* ombrel_alloc_canonical_path_tag(const char* path, const char* function, unsigned long line) {
    return is_path(path) ? copied_text(platform::canonical_path(path), {function, line}) : nullptr;
}

char* ombrel_alloc_temporary_folder_tag(const char* function, unsigned long line) {
    return copied_text(platform::temporary_folder(), {function, line});
}
