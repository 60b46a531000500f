#include "core/kernel_table.h"
#include "encoding/kernels/kernels.h"

namespace ombrel::encoding {

namespace {

kernel_slots choose_all(uint32_t features) {
    return {choose(all_kernels.encode, features), choose(all_kernels.decode, features)};
}

constinit kernel_table<kernel_slots, choose_all> table;

} // namespace

const kernel_slots& kernels() {
    return table.get();
}

} // namespace ombrel::encoding
