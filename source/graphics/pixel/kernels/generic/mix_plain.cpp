#include "graphics/pixel/kernels/generic/plain.h"

namespace ombrel::graphics {

namespace {

constexpr int less = 16384; // by which sums are stored

} // namespace

void mix_columns_plain(int16_t* to, const unsigned char* row, const unsigned char* /* next_row */,
                       const uint32_t* columns, const uint16_t* weights, size_t count) {
    for (size_t i = 0; i < count; i++) {
        const unsigned char* const pair = row + 4 * size_t{columns[i]};
        const int first = weights[i] & 0xFF, second = weights[i] >> 8;
        for (size_t c = 0; c < 4; c++)
            to[4 * i + c] = static_cast<int16_t>(pair[c] * first + pair[c + 4] * second - less);
    }
}

// The product is rounded, then the sum.
void mix_rows_plain(unsigned char* to, const int16_t* upper, const int16_t* lower, unsigned weight,
                    size_t count) {
    const int share = static_cast<int>(weight) << 8;
    for (size_t i = 0; i < 4 * count; i++) {
        const int more = ((lower[i] - upper[i]) * share + 16384) >> 15;
        to[i] = static_cast<unsigned char>((upper[i] + more + less + 64) >> 7);
    }
}

void weigh_rows_plain(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                      const unsigned char* second, unsigned second_weight, size_t count) {
    for (size_t i = 0; i < count; i++)
        sums[i] += first[i] * first_weight + second[i] * second_weight;
}

} // namespace ombrel::graphics
