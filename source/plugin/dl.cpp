#include <ombrel/dl.h>

#include <string_view>

#include <ombrel/path.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "platform/library_loader.h"
#include "platform/path.h"
#include "plugin/search_list.h"

using namespace ombrel;

namespace {

void* open_in_directory(std::string_view directory, const char* name, int flags) {
    const heap_ptr<char> terminated(
        ombrel_strndup_tag(directory.data(), directory.size(), "ombrel_open_dl_ex", __LINE__));
    if (!terminated)
        return nullptr;
    const heap_ptr<char> path(
        ombrel_alloc_sprintf("%s%s%s", terminated.get(), platform::path_separator, name));
    return path ? platform::open_library(path.get(), flags) : nullptr;
}

void* open_in_list(const char* list, const char* name, int flags) {
    plugin::search_list directories(list);
    for (std::string_view directory; directories.next(directory);)
        if (void* library = directory.empty() ? nullptr : open_in_directory(directory, name, flags))
            return library;
    return nullptr;
}

} // namespace

void* ombrel_open_dl_ex(const char* path, const char* search_list, int flags) {
    void* library = platform::open_library(path, flags);
    if (library != nullptr || path == nullptr || search_list == nullptr)
        return library;
    return open_in_list(search_list, ombrel_basename_c(path), flags);
}

void* ombrel_open_dl(const char* path) {
    return ombrel_open_dl_ex(path, nullptr, 0);
}

int ombrel_close_dl(void* handle) {
    return handle != nullptr ? platform::close_library(handle) : -1;
}

void* ombrel_import_dl(void* handle, const char* symbol) {
    return handle != nullptr && symbol != nullptr ? platform::library_symbol(handle, symbol) : nullptr;
}

const char* ombrel_dl_error(void) {
    return platform::library_error();
}
