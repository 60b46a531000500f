// How common the characters of two national sets are: a class of four bits for each cell of the rows from 1
// on, two cells a byte, the first of them in its lower half. Class 0 has no character.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::detection {

inline constexpr size_t cells_of_row = 94, korean_rows = 41, japanese_rows = 47;

/// KS X 1001: 1 to 4 for syllables from common to rare, 5 for letters of Hangul. Behind these rows stand
/// Hanja.
extern const uint8_t korean_cells[];
/// JIS X 0208: 1 to 3 for Hiragana, 4 to 6 for Katakana, 7 to 9 for Kanji. Behind these rows stands their
/// level 2.
extern const uint8_t japanese_cells[];
// In both, 12 is for punctuation, 13 for other symbols, 14 for Latin letters as wide as the rest, 15 for
// letters of other scripts.

} // namespace ombrel::detection
