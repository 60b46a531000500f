// EUC-KR and CP949.
#include "text/charset/charset_pairs.h"

namespace ombrel {

namespace {

constexpr double_byte_set euc_kr = {korean_cells, euc_kr_starts, euc_columns, {{0xA1, 0xFE}, {1, 0}}};
constexpr double_byte_set cp949 = {korean_cells, cp949_starts, cp949_columns, {{0x81, 0xFE}, {1, 0}}};

constexpr block_table korean = {korean_block_index, korean_blocks};

constexpr auto cp949_pair = [](unsigned cell) { return cell; };
/// The other syllables of CP949 have a byte below those of KS X 1001.
constexpr auto euc_kr_pair = [](unsigned cell) { return cell >= 0xA1A1 && (cell & 0xFF) >= 0xA1 ? cell : 0; };

size_t put_none(uint32_t /* code */, uint8_t* /* to */) {
    return 0;
}

} // namespace

decode_result decode_euc_kr(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_pairs(euc_kr, from, end, to, to_end,
                        [](const uint8_t* at, size_t size) { return get_pair(euc_kr, at, size); });
}

encode_result encode_euc_kr(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_pairs(korean, from, end, to, to_end, euc_kr_pair, put_none);
}

decode_result decode_cp949(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_pairs(cp949, from, end, to, to_end,
                        [](const uint8_t* at, size_t size) { return get_pair(cp949, at, size); });
}

encode_result encode_cp949(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_pairs(korean, from, end, to, to_end, cp949_pair, put_none);
}

direct_result utf_8_to_euc_kr(const uint8_t* from, const uint8_t* end, uint8_t* to, uint8_t* to_end) {
    return pairs_of_utf_8(korean, from, end, to, to_end, euc_kr_pair);
}

direct_result utf_8_to_cp949(const uint8_t* from, const uint8_t* end, uint8_t* to, uint8_t* to_end) {
    return pairs_of_utf_8(korean, from, end, to, to_end, cp949_pair);
}

} // namespace ombrel
