// Rows of PNG pictures.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::graphics {

/// The colour interface whose pixels lie in memory as a format's do; another one for what is no format.
uint32_t png_interface(uint32_t format);

/// The filters: each byte becomes its difference from what its neighbours let expect.
inline constexpr size_t png_filters = 5;

/// Fills `to` with the filter's number and the row's differences. `row` and `above` have `pixel_bytes` zeros
/// in front of them.
/// @return the sum of the differences, each taken as nearest to 0
uint64_t filter_png_row(size_t filter, uint8_t* to, const uint8_t* row, const uint8_t* above, size_t size,
                        size_t pixel_bytes);

} // namespace ombrel::graphics
