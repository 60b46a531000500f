#include "graphics/pixel/png.h"

#include <algorithm>
#include <array>

namespace ombrel::graphics {

namespace {

// Written without branches and with a sum that does not overflow in a run, so that the compiler makes vectors
// of it.
constexpr size_t run = 4096;

// Of 16 bits, so that a vector holds twice as many.
struct neighbours {
    int16_t left, above, above_left;
};

int16_t expect_nothing(const neighbours&) {
    return 0;
}
int16_t expect_left(const neighbours& near) {
    return near.left;
}
int16_t expect_above(const neighbours& near) {
    return near.above;
}
int16_t expect_average(const neighbours& near) {
    return static_cast<int16_t>((near.left + near.above) >> 1);
}
// The neighbour that is nearest to left + above - above_left.
int16_t expect_nearest(const neighbours& near) {
    const auto distance = [](int value) { return static_cast<int16_t>(value < 0 ? -value : value); };
    const int16_t to_left = distance(near.above - near.above_left);
    const int16_t to_above = distance(near.left - near.above_left);
    const int16_t to_above_left = distance(near.left + near.above - 2 * near.above_left);
    const int16_t upper = to_above <= to_above_left ? near.above : near.above_left;
    return to_left <= std::min(to_above, to_above_left) ? near.left : upper;
}

template<int16_t (*expect)(const neighbours&)>
uint64_t filter(uint8_t* to, const uint8_t* row, const uint8_t* above, size_t size, size_t pixel_bytes) {
    const uint8_t *const left = row - pixel_bytes, *const above_left = above - pixel_bytes;
    uint64_t total = 0;
    for (size_t first = 0; first < size; first += run) {
        uint32_t sum = 0;
        for (size_t i = first, end = std::min(size, first + run); i < end; i++) {
            const auto difference = static_cast<uint8_t>(row[i] - expect({left[i], above[i], above_left[i]}));
            to[i] = difference;
            sum += difference < 128 ? difference : 256u - difference;
        }
        total += sum;
    }
    return total;
}

using filter_function = uint64_t (*)(uint8_t*, const uint8_t*, const uint8_t*, size_t, size_t);
constexpr std::array<filter_function, png_filters> filters = {filter<expect_nothing>, filter<expect_left>,
                                                              filter<expect_above>, filter<expect_average>,
                                                              filter<expect_nearest>};

} // namespace

uint64_t filter_png_row(size_t number, uint8_t* to, const uint8_t* row, const uint8_t* above, size_t size,
                        size_t pixel_bytes) {
    to[0] = static_cast<uint8_t>(number);
    return filters[number](to + 1, row, above, size, pixel_bytes);
}

} // namespace ombrel::graphics
