#include <ombrel/mime.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include <ombrel/pattern.h>
#include <ombrel/string.h>

#include "text/mime_table.h"

namespace {

using ombrel::mime_ending;

constexpr bool come_in_order(const mime_ending& a, const mime_ending& b) {
    return std::string_view(a.ending) < b.ending;
}
static_assert(std::is_sorted(std::begin(ombrel::mime_endings), std::end(ombrel::mime_endings),
                             come_in_order));

/// What stands behind the last dot of a path's last name; null for nothing.
const char* ending_of(const char* path) {
    const char* ending = nullptr;
    for (; *path != '\0'; path++)
        if (*path == '.')
            ending = path + 1;
        else if (*path == '/' || *path == '\\')
            ending = nullptr;
    return ending;
}

constexpr const char hint_separators[] = ";|";

} // namespace

int ombrel_compare_mime_type(const char* a, const char* b) {
    return strcmp(a != nullptr ? a : "", b != nullptr ? b : "");
}

int ombrel_compare_mime_type_hint(const char* hint, const char* mime_type) {
    return hint == nullptr ? 0 : ombrel_check_case_pattern_list(hint, hint_separators, mime_type);
}

const char* ombrel_get_mime_type(const char* name) {
    const char* const ending = name != nullptr ? ending_of(name) : nullptr;
    if (ending == nullptr)
        return "application/octet-stream";
    const auto* const found = std::lower_bound(
        std::begin(ombrel::mime_endings), std::end(ombrel::mime_endings), ending,
        [](const mime_ending& row, const char* wanted) { return ombrel_strcasecmp(row.ending, wanted) < 0; });
    const bool is_known =
        found != std::end(ombrel::mime_endings) && ombrel_strcasecmp(found->ending, ending) == 0;
    return is_known ? found->type : "application/octet-stream";
}
