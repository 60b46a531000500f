// What Unicode says of single code points, for inner loops.
#pragma once

#include <cstdint>

#include <ombrel/utf8.h>

#include "text/charset/code_point_data.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel {

/// The place of a code point in the last of three stages.
template<uint32_t middles, typename Top, typename Middle>
uint32_t staged(const Top* top, const Middle* middle, uint32_t code) {
    constexpr uint32_t leaf = code_points::leaf;
    return middle[top[code / (leaf * middles)] * middles + code / leaf % middles] * leaf + code % leaf;
}

/// The category and the width, as the data has them.
/// @param code at most the last code point
inline uint8_t code_point_kind(uint32_t code) {
    using namespace code_points;
    return kinds[staged<kind_middles>(kind_top, kind_middle, code)];
}

inline code_points::width width_of_code_point(uint32_t code) {
    return static_cast<code_points::width>(code_point_kind(code) >> 5);
}

/// @param mapping a def_ombrel_utf8_* one
inline uint32_t change_case(uint32_t code, int mapping) {
    using namespace code_points;
    if (code > last_code_point)
        return code;
    const case_differences& found = differences[cases[staged<case_middles>(case_top, case_middle, code)]];
    const int32_t by = mapping == def_ombrel_utf8_upper   ? found.upper
                       : mapping == def_ombrel_utf8_lower ? found.lower
                       : mapping == def_ombrel_utf8_fold  ? found.fold
                                                          : 0;
    return code + static_cast<uint32_t>(by);
}

} // namespace ombrel
