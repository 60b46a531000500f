#include "crypto/kernels/generic/plain.h"

namespace ombrel::crypto {

template<typename Model>
typename Model::word crc_by_slices(typename Model::word crc, const unsigned char* data, size_t size) {
    const auto& table = Model::table;
    for (; size >= 8; size -= 8, data += 8) {
        const uint32_t low = load_little(data) ^ static_cast<uint32_t>(crc);
        const uint32_t high = load_little(data + 4) ^ static_cast<uint32_t>(static_cast<uint64_t>(crc) >> 32);
        crc = static_cast<typename Model::word>(table[7][low & 255] ^ table[6][low >> 8 & 255] ^
                                                table[5][low >> 16 & 255] ^ table[4][low >> 24] ^
                                                table[3][high & 255] ^ table[2][high >> 8 & 255] ^
                                                table[1][high >> 16 & 255] ^ table[0][high >> 24]);
    }
    for (; size > 0; size--, data++)
        crc = static_cast<typename Model::word>(static_cast<uint64_t>(crc) >> 8 ^
                                                table[0][(crc ^ *data) & 255]);
    return crc;
}

template uint16_t crc_by_slices<crc16_ibm_model>(uint16_t, const unsigned char*, size_t);
template uint16_t crc_by_slices<crc16_ccitt_model>(uint16_t, const unsigned char*, size_t);
template uint32_t crc_by_slices<crc32_model>(uint32_t, const unsigned char*, size_t);
template uint64_t crc_by_slices<crc64_model>(uint64_t, const unsigned char*, size_t);

} // namespace ombrel::crypto
