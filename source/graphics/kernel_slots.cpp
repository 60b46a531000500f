#include <cstring>

#include "core/kernel_table.h"
#include "graphics/kernels/kernels.h"
#include "graphics/row_fill.h"

namespace ombrel::graphics {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.fill16, features), choose(all_kernels.fill24, features),
            choose(all_kernels.fill32, features), choose(all_kernels.widen, features),
            choose(all_kernels.narrow, features), choose(all_kernels.blend, features)};
}

constinit kernel_table<kernel_slots, choose_all> table;

} // namespace

const kernel_slots& kernels() {
    return table.get();
}

void fill_row(unsigned char* to, uint32_t color, size_t count, unsigned bytes_per_pixel) {
    switch (bytes_per_pixel) {
    case 1:
        memset(to, static_cast<unsigned char>(color), count);
        break;
    case 2:
        kernels().fill16(to, color, count);
        break;
    case 3:
        kernels().fill24(to, color, count);
        break;
    default:
        kernels().fill32(to, color, count);
        break;
    }
}

} // namespace ombrel::graphics
