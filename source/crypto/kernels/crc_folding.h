// Checksums by carry-less multiplication. A message is folded until 16 bytes with the same checksum are left,
// which the tables finish: the processor's part knows no width and no polynomial.
#pragma once

#include "crypto/kernels/generic/plain.h"

namespace ombrel::crypto {

/// How far a step of 16 bytes carries, for one vector, for four and for sixteen of them.
struct fold_distances {
    fold_factors by_16, by_64, by_256;
};

template<typename Model>
inline constexpr fold_distances model_distances = {Model::fold_over(8 * 16), Model::fold_over(8 * 64),
                                                   Model::fold_over(8 * 256)};

/// The fewest bytes that are worth folding.
constexpr size_t fold_minimum = 64;

/// Folds all whole 16 bytes of at least `fold_minimum` bytes and returns how many it folded. The register
/// goes into the first bytes.
using fold_function = size_t (*)(const fold_distances& distances, uint64_t crc, const unsigned char* data,
                                 size_t size, unsigned char (&rest)[16]);

template<typename Model, fold_function fold>
typename Model::word crc_by_folding(typename Model::word crc, const unsigned char* data, size_t size) {
    if (size < fold_minimum)
        return crc_by_slices<Model>(crc, data, size);
    unsigned char rest[16];
    const size_t done = fold(model_distances<Model>, crc, data, size, rest);
    crc = crc_by_slices<Model>(0, rest, sizeof rest);
    return crc_by_slices<Model>(crc, data + done, size - done);
}

} // namespace ombrel::crypto
