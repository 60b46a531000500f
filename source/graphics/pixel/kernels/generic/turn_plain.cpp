#include <algorithm>

#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/pixel.h"
#include "graphics/pixel/turned_tiles.h"

namespace ombrel::graphics {

void gather32_plain(unsigned char* to, const unsigned char* row, const uint32_t* columns, size_t count) {
    for (size_t i = 0; i < count; i++)
        store_pixel<4>(to + 4 * i, load_pixel<4>(row + 4 * size_t{columns[i]}));
}

void reverse32_plain(unsigned char* to, const unsigned char* from, size_t count) {
    for (size_t i = 0; i < count; i++)
        store_pixel<4>(to + 4 * i, load_pixel<4>(from + 4 * (count - 1 - i)));
}

void turn32_plain(const turn_area& area) {
    turn_in_tiles<4>(area);
}

} // namespace ombrel::graphics
