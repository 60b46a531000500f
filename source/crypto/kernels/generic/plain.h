// The kernels that every processor can run.
#pragma once

#include <cstddef>
#include <cstdint>

#include "crypto/kernels/byte_order.h"
#include "crypto/kernels/crc_model.h"

namespace ombrel::crypto {

/// Eight bytes a step, by a table for each of them.
template<typename Model>
typename Model::word crc_by_slices(typename Model::word crc, const unsigned char* data, size_t size);

extern template uint16_t crc_by_slices<crc16_ibm_model>(uint16_t, const unsigned char*, size_t);
extern template uint16_t crc_by_slices<crc16_ccitt_model>(uint16_t, const unsigned char*, size_t);
extern template uint32_t crc_by_slices<crc32_model>(uint32_t, const unsigned char*, size_t);
extern template uint64_t crc_by_slices<crc64_model>(uint64_t, const unsigned char*, size_t);

void md5_plain(uint32_t* state, const unsigned char* blocks, size_t count);
void sha1_plain(uint32_t* state, const unsigned char* blocks, size_t count);
void sha256_plain(uint32_t* state, const unsigned char* blocks, size_t count);

} // namespace ombrel::crypto
