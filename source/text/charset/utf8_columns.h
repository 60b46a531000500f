// Columns of texts.
#pragma once

#include <cstdint>

#include "text/charset/code_point.h"
#include "text/charset/utf8_run.h"

namespace ombrel {

/// The columns of a character within a text, where a control character has none.
inline unsigned columns_in_text(uint32_t code, bool is_ambiguous_wide) {
    using namespace code_points;
    switch (width_of_code_point(code)) {
    case width_one:
        return 1;
    case width_two:
        return 2;
    case width_ambiguous:
        return is_ambiguous_wide ? 2 : 1;
    default:
        return 0;
    }
}

/// The beginning of a text that takes `most` columns at most.
struct fitting_columns {
    size_t size;
    uint64_t columns;
};
fitting_columns fit_columns(const char* text, size_t size, uint64_t most, bool is_ambiguous_wide);

/// All columns of a text.
inline uint64_t columns_of(const char* text, size_t size) {
    return fit_columns(text, size, UINT64_MAX, false).columns;
}

} // namespace ombrel
