#include <ombrel/path.h>

#include <cstring>

#include <ombrel/heap.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "platform/path.h"

namespace {

constexpr const char separators[] = "/\\";

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

// The name of "no directory" and "no name"; nothing here ever writes to it.
char* current_directory() {
    return const_cast<char*>(".");
}

// Where the part of `path` up to `end` is left without the separators, or the name, at its end.
size_t skip_separators_back(const char* path, size_t end) {
    while (end > 0 && is_separator(path[end - 1]))
        end--;
    return end;
}

size_t skip_name_back(const char* path, size_t end) {
    while (end > 0 && !is_separator(path[end - 1]))
        end--;
    return end;
}

// The length of a path without the separators at its end; its first character always stays.
size_t trimmed_length(const char* path) {
    const size_t end = skip_separators_back(path, strlen(path));
    return end == 0 && *path != '\0' ? 1 : end;
}

// Where the last component begins.
size_t base_offset(const char* path) {
    const size_t end = trimmed_length(path);
    return end > 1 ? skip_name_back(path, end) : 0;
}

// A path that has no more than that is not written to, so that it may be a constant.
void cut_at(char* path, size_t length) {
    if (path[length] != '\0')
        path[length] = '\0';
}

using cutter = char* (*)(char*);

char* cut_copy(cutter cut, const char* path, const char* caller, unsigned long line) {
    const ombrel::heap_ptr<char> copy(ombrel_strdup_tag(path, caller, line));
    if (path != nullptr && !copy)
        return nullptr;
    return ombrel_strdup_tag(cut(copy.get()), caller, line);
}

} // namespace

ombrel_string_node_t* ombrel_path_to_node(const char* path) {
    return ombrel_string_to_node_ex(path, separators, 1);
}

char* ombrel_node_to_path(const ombrel_string_node_t* list, int skip_ignored) {
    return ombrel_node_to_string(list, ombrel::platform::path_separator, skip_ignored);
}

ombrel_string_node_t* ombrel_append_path_node(ombrel_string_node_t* list, ombrel_string_node_t* other,
                                              int restart_on_absolute) {
    return ombrel_append_string_node_ex(list, other, restart_on_absolute, 1);
}

ombrel_string_node_t* ombrel_copy_path_node(const ombrel_string_node_t* list) {
    const ombrel::heap_ptr<char> path(ombrel_node_to_path(list, 0));
    return ombrel_path_to_node(path.get());
}

void ombrel_free_path_node(ombrel_string_node_t* list) {
    ombrel_free_string_node(list);
}

char* ombrel_basename(char* path) {
    if (path == nullptr)
        return current_directory();
    if (*path == '\0')
        return path;
    cut_at(path, trimmed_length(path));
    return path + base_offset(path);
}

const char* ombrel_basename_c(const char* path) {
    return path != nullptr ? path + base_offset(path) : current_directory();
}

char* ombrel_dirname(char* path) {
    if (path == nullptr || *path == '\0')
        return current_directory();
    const size_t name_end = skip_separators_back(path, strlen(path));
    const size_t name = skip_name_back(path, name_end);
    if (name_end > 0 && name == 0)
        return current_directory();
    const size_t end = skip_separators_back(path, name);
    cut_at(path, end > 0 ? end : 1);
    return path;
}

char* ombrel_alloc_basename_tag(const char* path, const char* caller, unsigned long line) {
    return cut_copy(ombrel_basename, path, caller, line);
}

char* ombrel_alloc_dirname_tag(const char* path, const char* caller, unsigned long line) {
    return cut_copy(ombrel_dirname, path, caller, line);
}
