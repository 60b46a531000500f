#include "core/kernel_table.h"
#include "text/charset/kernels/kernels.h"

namespace ombrel::charset {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.ascii, features), choose(all_kernels.utf8, features),
            choose(all_kernels.count, features), choose(all_kernels.unpack, features),
            choose(all_kernels.pack, features)};
}

constinit kernel_table<kernel_slots, choose_all> table;

} // namespace

const kernel_slots& kernels() {
    return table.get();
}

} // namespace ombrel::charset
