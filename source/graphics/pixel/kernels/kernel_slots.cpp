#include "core/kernel_table.h"
#include "graphics/pixel/kernels/kernels.h"

namespace ombrel::graphics {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.fill16, features),      choose(all_kernels.fill24, features),
            choose(all_kernels.fill32, features),      choose(all_kernels.copy, features),
            choose(all_kernels.widen, features),       choose(all_kernels.narrow, features),
            choose(all_kernels.glyph8, features),      choose(all_kernels.glyph16, features),
            choose(all_kernels.glyph24, features),     choose(all_kernels.glyph32, features),
            choose(all_kernels.blend, features),       choose(all_kernels.gather32, features),
            choose(all_kernels.reverse32, features),   choose(all_kernels.turn32, features),
            choose(all_kernels.mix_columns, features), choose(all_kernels.mix_rows, features),
            choose(all_kernels.weigh_rows, features)};
}

constinit kernel_table<kernel_slots, choose_all> table;

} // namespace

const kernel_slots& kernels() {
    return table.get();
}

} // namespace ombrel::graphics
