// What Unicode says of code points, as a program wrote it down in three stages: a code point's sixteen have a
// place in the middle table, some of those a place in the top one.
#pragma once

#include <cstdint>

namespace ombrel::code_points {

/// To be added for the other case.
struct case_differences {
    int32_t upper, lower, fold;
};

/// How columns are told, above the five bits of the general category, whose order is that of the public
/// classes.
enum width : uint8_t {
    width_none,
    width_one,
    width_two,
    width_ambiguous,
    width_not_shown, ///< control characters, halves of UTF-16
};

extern const char unicode_version[];

inline constexpr uint32_t leaf = 16, kind_middles = 32, case_middles = 64;

extern const uint8_t kind_top[];
extern const uint16_t kind_middle[];
extern const uint8_t kinds[]; ///< the category, and the width from bit 5 on

extern const uint8_t case_top[];
extern const uint8_t case_middle[];
extern const uint8_t cases[]; ///< places in `differences`
extern const case_differences differences[];

} // namespace ombrel::code_points
