// EUC-KR and CP949.
#include "text/charset/charset_form.h"
#include "text/charset/charset_loops.h"
#include "text/charset/charset_pairs.h"

namespace ombrel {

namespace {

size_t put_cp949(uint32_t code, uint8_t* to) {
    const unsigned bytes = find_in_blocks(korean_block_index, korean_blocks, code);
    store_pair(to, bytes);
    return bytes != 0 ? 2 : 0;
}

size_t put_euc_kr(uint32_t code, uint8_t* to) {
    const unsigned bytes = find_in_blocks(korean_block_index, korean_blocks, code);
    store_pair(to, bytes);
    // Other syllables of CP949 have a byte below those of KS X 1001.
    return bytes >= 0xA1A1 && (bytes & 0xFF) >= 0xA1 ? 2 : 0;
}

} // namespace

decode_result decode_euc_kr(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, [](const uint8_t* at, size_t size) {
        return get_pair({korean_cells, euc_kr_rows, euc_columns}, at, size);
    });
}

encode_result encode_euc_kr(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_euc_kr);
}

decode_result decode_cp949(const uint8_t* from, const uint8_t* end, uint32_t* to, uint32_t* to_end) {
    return decode_ascii_based(from, end, to, to_end, [](const uint8_t* at, size_t size) {
        return get_pair({korean_cells, cp949_rows, cp949_columns}, at, size);
    });
}

encode_result encode_cp949(const uint32_t* from, const uint32_t* end, uint8_t* to, uint8_t* to_end) {
    return encode_ascii_based(from, end, to, to_end, put_cp949);
}

} // namespace ombrel
