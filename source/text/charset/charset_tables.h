// Tables of the double-byte sets, written by tools/charset/generate.py.
//
// From bytes: the first byte tells where its row of code points begins, the second one, by a table, the
// column in it, from 1 on, 0 for no second byte. What is missing leads to an empty cell, so that nothing
// needs to be asked on the way. A row has two halves with an empty cell before each: those of CP949 have KS X
// 1001 in the second, which is the row of EUC-KR; those of Shift_JIS two rows of JIS X 0208, which are rows
// of EUC-JP.
//
// From code points: an index by blocks of 64 leads into a pool of such blocks. A cell has the two bytes of
// CP949, or those of Shift_JIS for JIS X 0208 and, with seven bits each, those of JIS X 0212. What CP932 has
// beside JIS X 0208 stands in a sorted list.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel {

inline constexpr unsigned charset_block_bits = 6; ///< as many as a byte of UTF-8 has
inline constexpr unsigned charset_block_mask = (1u << charset_block_bits) - 1;

extern const uint8_t euc_columns[256], cp949_columns[256], shift_jis_columns[256];

/// By the first byte less 0x80.
inline constexpr size_t charset_starts_count = 128;
extern const uint16_t euc_kr_starts[charset_starts_count], cp949_starts[charset_starts_count];
extern const uint16_t euc_jp_starts[charset_starts_count], jis_x_0212_starts[charset_starts_count];
extern const uint16_t shift_jis_starts[charset_starts_count], cp932_starts[charset_starts_count];

extern const uint16_t korean_cells[], japanese_cells[];
extern const uint16_t korean_block_index[], korean_blocks[];
extern const uint16_t japanese_block_index[], japanese_blocks[];

inline constexpr size_t cp932_extra_count = 453;
extern const uint16_t cp932_extra_codes[cp932_extra_count], cp932_extra_bytes[cp932_extra_count];

} // namespace ombrel
