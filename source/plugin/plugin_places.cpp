#include "plugin/plugin_places.h"

#include <string_view>

#include <ombrel/dl.h>
#include <ombrel/path.h>
#include <ombrel/printf.h>
#include <ombrel/string.h>

#include "core/heap_ptr.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/library_loader.h"
#include "platform/path.h"
#include "plugin/search_list.h"
#include "text/slice.h"

namespace ombrel::plugin {

namespace {

constexpr const char tag[] = "ombrel_load_plugin_ex";
constexpr std::string_view suffix = OMBREL_LIBRARY_SUFFIX;

/// A path put together; what is too long for it is in no place.
class place_path {
public:
    bool set(std::string_view directory, std::string_view name, std::string_view end) {
        const std::string_view separator = platform::path_separator;
        if (directory.size() + separator.size() + name.size() + end.size() >= sizeof text_)
            return false;
        char* to = text_;
        for (const std::string_view part : {directory, separator, name, end})
            to = put_text(to, part);
        *to = '\0';
        return true;
    }
    const char* get() const { return text_; }
    bool is_there() const { return platform::file_exists(text_); }

private:
    char text_[1024];
};

bool has_suffix(std::string_view name) {
    return name.size() > suffix.size() && slice(name, name.size() - suffix.size()) == suffix;
}

/// Calls use(path) for the file of the name in a directory, as it stands and with the suffix, while that
/// gives false; whether it gave true.
template<typename Use>
bool look_into(std::string_view directory, const char* name, Use use) {
    place_path path;
    for (const std::string_view end : {std::string_view(), suffix})
        if (!directory.empty() && !(end == suffix && has_suffix(name)) && path.set(directory, name, end) &&
            path.is_there() && use(path.get()))
            return true;
    return false;
}

template<typename Use>
bool look_into_variable(const char* name, Use use) {
    const platform::variable_text given = platform::trusted_environment_variable("OMBREL_PLUGIN_PATH");
    // Loading may change the environment.
    const heap_ptr<char> kept(given.get() != nullptr ? ombrel_strdup_tag(given.get(), tag, __LINE__)
                                                     : nullptr);
    search_list directories(kept.get());
    for (std::string_view directory; directories.next(directory);)
        if (look_into(directory, name, use))
            return true;
    return false;
}

/// A directory named from that of this library; null when that cannot be told.
heap_ptr<char> beside_library(const char* from_there) {
    const heap_ptr<char> own(ombrel_alloc_dirname_tag(platform::own_library_path(), tag, __LINE__));
    return heap_ptr<char>(own ? ombrel_alloc_sprintf("%s%s", own.get(), from_there) : nullptr);
}

template<typename Use>
bool look_beside_library(const char* directory, const char* name, Use use) {
    const heap_ptr<char> there = beside_library(directory);
    return there && look_into(there.get(), name, use);
}

template<typename Use>
bool look_into_build(const char* name, Use use) {
    const heap_ptr<char> mark = beside_library("/../CMakeCache.txt");
    return mark && platform::file_exists(mark.get()) && look_beside_library("/../plugins", name, use);
}

template<typename Use>
bool look_into_installed(const char* name, Use use) {
    return look_into_variable(name, use) || look_beside_library("/ombrel_tuk/plugins", name, use);
}

void* open_with_suffix(const char* path, const char* search_list) {
    const heap_ptr<char> whole(ombrel_alloc_sprintf("%s%s", path, suffix.data()));
    return whole ? ombrel_open_dl_ex(whole.get(), search_list, 0) : nullptr;
}

} // namespace

void* open_plugin_library(const char* path, const char* search_list) {
    void* library = ombrel_open_dl_ex(path, search_list, 0);
    const bool is_name = ombrel_basename_c(path) == path;
    if (library != nullptr || (!is_name && platform::file_exists(path)))
        return library;
    if (!has_suffix(path))
        library = open_with_suffix(path, search_list);
    const auto open = [&](const char* found) {
        return (library = platform::open_library(found, 0)) != nullptr;
    };
    if (library == nullptr && is_name && !look_into_installed(path, open))
        look_into_build(path, open);
    return library;
}

bool is_in_usual_place(const char* name) {
    return look_into_installed(name, [](const char*) { return true; });
}

} // namespace ombrel::plugin
