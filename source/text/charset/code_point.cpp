#include "text/charset/code_point.h"

using namespace ombrel;

namespace {

uint32_t classes_of(uint32_t code) {
    if (code > last_code_point)
        return def_ombrel_utf8_unassigned;
    const uint32_t category = uint32_t{1} << (code_point_kind(code) & 31);
    const bool is_space =
        (code >= '\t' && code <= '\r') || code == 0x85 || (category & def_ombrel_utf8_separator) != 0;
    return category | (is_space ? def_ombrel_utf8_space : 0);
}

} // namespace

int ombrel_code_point_select(uint32_t code, uint32_t mask) {
    return (classes_of(code) & mask) != 0 ? 1 : 0;
}

uint32_t ombrel_code_point_change_case(uint32_t code, int mapping) {
    return change_case(code, mapping);
}

int ombrel_code_point_get_columns(uint32_t code, uint32_t flags) {
    using namespace code_points;
    switch (code > last_code_point ? width_not_shown : width_of_code_point(code)) {
    case width_none:
        return 0;
    case width_one:
        return 1;
    case width_two:
        return 2;
    case width_ambiguous:
        return (flags & def_ombrel_utf8_ambiguous_wide) != 0 ? 2 : 1;
    default:
        return -1;
    }
}

const char* ombrel_get_unicode_version(void) {
    return code_points::unicode_version;
}
