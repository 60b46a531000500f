#include "graphics/kernels/generic/plain.h"
#include "graphics/kernels/kernels.h"

namespace ombrel::graphics {

namespace {

constexpr candidate<fill_kernel> fill16_list[] = {
    {"plain", 0, fill16_plain},
};
constexpr candidate<fill_kernel> fill24_list[] = {
    {"plain", 0, fill24_plain},
};
constexpr candidate<fill_kernel> fill32_list[] = {
    {"plain", 0, fill32_plain},
};
constexpr candidate<widen_kernel> widen_list[] = {
    {"plain", 0, widen_plain},
};
constexpr candidate<narrow_kernel> narrow_list[] = {
    {"plain", 0, narrow_plain},
};
constexpr candidate<blend_kernel> blend_list[] = {
    {"plain", 0, blend_plain},
};

} // namespace

constinit const kernel_candidates all_kernels = {fill16_list, fill24_list, fill32_list,
                                                 widen_list,  narrow_list, blend_list};

} // namespace ombrel::graphics
