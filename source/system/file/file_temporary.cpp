// Temporary files and directories.
#include <ombrel/file.h>

#include <algorithm>

#include "platform/file_names.h"
#include "platform/path.h"
#include "system/file/unique_name.h"

using namespace ombrel;
using namespace ombrel::system;

namespace {

constexpr bool is_separator(char character) {
    return character == '/' || (platform::has_drives && (character == '\\' || character == ':'));
}

/// A prefix must not lead out of the folder.
bool is_prefix(const char* prefix) {
    const std::string_view text(prefix != nullptr ? prefix : "");
    return std::none_of(text.begin(), text.end(), is_separator) || refuse(fault_code::invalid);
}

/// Makes something new in the folder, by `make(path)`, for this user alone. @return its path, or null
template<typename Make>
char* make_temporary(const char* folder, const char* prefix, call_site caller, Make make) {
    if (!is_prefix(prefix) || (folder != nullptr && !is_path(folder)))
        return nullptr;
    const quiet_ptr<char> usual(folder == nullptr ? copied_text(platform::temporary_folder(), caller)
                                                  : nullptr);
    const std::string_view where = folder != nullptr ? folder : usual ? usual.get() : "";
    if (where.empty())
        return nullptr;
    const quiet_ptr<char> start(
        joined_text(where, is_separator(where.back()) ? "" : platform::path_separator, caller));
    return start ? make_unique(start.get(), prefix != nullptr ? prefix : "", caller, make) : nullptr;
}

} // namespace

int ombrel_open_temporary_file_tag(const char* folder, const char* prefix, char** path, const char* function,
                                   unsigned long line) {
    int descriptor = -1;
    quiet_ptr<char> made(make_temporary(folder, prefix, {function, line}, [&](const char* name) {
        platform::file_access access;
        access.read = access.write = access.create = access.exclusive = true;
        access.mode = 0600;
        descriptor = platform::open_file(name, access);
        return descriptor >= 0;
    }));
    if (made && path == nullptr)
        platform::remove_file(made.get());
    if (path != nullptr)
        *path = made.release();
    return descriptor;
}

char* ombrel_alloc_temporary_directory_tag(const char* folder, const char* prefix, const char* function,
                                           unsigned long line) {
    return make_temporary(folder, prefix, {function, line},
                          [](const char* name) { return platform::make_directory(name, 0700); });
}
