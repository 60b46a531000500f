// Lists of directories that are searched.
#pragma once

#include <cstring>
#include <string_view>

#include "platform/path.h"

namespace ombrel::plugin {

/// Takes the directories of a list one by one, empty ones too. Where paths begin with drives, the ":" of one
/// separates nothing.
class search_list {
public:
    /// @param list may be null
    explicit search_list(const char* list) : cursor_(list != nullptr ? list : "") {}

    bool next(std::string_view& directory) {
        if (*cursor_ == '\0')
            return false;
        const char* const end = end_of_first();
        directory = {cursor_, static_cast<size_t>(end - cursor_)};
        cursor_ = *end != '\0' ? end + 1 : end;
        return true;
    }

private:
    bool begins_with_drive() const {
        return platform::has_drives && is_letter(cursor_[0]) && cursor_[1] == ':' &&
               (cursor_[2] == '/' || cursor_[2] == '\\');
    }
    static bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
    const char* end_of_first() const {
        const char* const start = cursor_ + (begins_with_drive() ? strlen("C:") : 0);
        return start + strcspn(start, platform::list_separators);
    }

    const char* cursor_;
};

} // namespace ombrel::plugin
