// The name by which a program was called.
#pragma once

#include <string_view>

#include <ombrel/path.h>
#include <ombrel/string.h>

#include "text/slice.h"

namespace ombrel::command {

/// As commands are named: the last component of the path, without an ending ".exe".
inline std::string_view called_name(const char* path) {
    constexpr std::string_view suffix = ".exe";
    std::string_view name = ombrel_basename_c(path);
    if (name.size() > suffix.size() &&
        ombrel_strcasecmp(name.data() + name.size() - suffix.size(), suffix.data()) == 0)
        name.remove_suffix(suffix.size());
    return name;
}

/// A name as a text of its own.
class terminated_name {
public:
    explicit terminated_name(std::string_view name) {
        *put_text(text_, slice(name, 0, sizeof text_ - 1)) = '\0';
    }
    const char* get() const { return text_; }

private:
    char text_[256];
};

} // namespace ombrel::command
