// Tables of the double-byte sets, written by tools/charset/generate.py.
//
// From bytes: the second byte has a column, by the set's table of columns; the first byte has a row, which is
// a part of a pool of code points, from its first used column to its last. Sets of one nation share a pool:
// the rows of EUC-KR are parts of those of CP949, two of EUC-JP are one of Shift_JIS.
//
// From code points: an index by blocks of 64 leads into a pool of such blocks. A cell has the bytes of CP949
// for Korea. For Japan it has two numbers of seven bits, the row and the column of JIS X 0208 from 0x21 on,
// or those of JIS X 0212 with the highest bit set. What CP932 has beside JIS X 0208 stands in a sorted list.
#pragma once

#include <cstdint>
#include <span>

namespace ombrel {

struct charset_row {
    uint16_t start; ///< where the first column stands in the pool
    uint8_t first;  ///< the first column; no_charset_lead when the byte begins no character
    uint8_t count;
};
inline constexpr uint8_t no_charset_lead = 0xFF;
inline constexpr uint8_t no_charset_column = 0xFF;
inline constexpr unsigned charset_block_bits = 6;

extern const uint8_t euc_columns[256], cp949_columns[256], shift_jis_columns[256];

/// Rows of the bytes from 0x80 on.
extern const charset_row euc_kr_rows[128], cp949_rows[128];
extern const charset_row euc_jp_rows[128], jis_x_0212_rows[128], shift_jis_rows[128], cp932_rows[128];

extern const uint16_t korean_cells[], japanese_cells[];
extern const uint16_t korean_block_index[], korean_blocks[];
extern const uint16_t japanese_block_index[], japanese_blocks[];

inline constexpr size_t cp932_extra_count = 453;
extern const uint16_t cp932_extra_codes[cp932_extra_count], cp932_extra_bytes[cp932_extra_count];

} // namespace ombrel
