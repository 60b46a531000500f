#include <ombrel/mime.h>

#include <cstring>

#include <ombrel/pattern.h>

namespace {

constexpr const char hint_separators[] = ";|";

} // namespace

int ombrel_compare_mime_type(const char* a, const char* b) {
    return strcmp(a != nullptr ? a : "", b != nullptr ? b : "");
}

int ombrel_compare_mime_type_hint(const char* hint, const char* mime_type) {
    return hint == nullptr ? 0 : ombrel_check_case_pattern_list(hint, hint_separators, mime_type);
}
