// How one of several inner loops for the same work is chosen by what the processor can do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace ombrel {

template<typename Kernel>
struct candidate {
    const char* name;
    uint32_t needs; ///< bits of platform::processor_feature that must all be there
    Kernel run;
};

/// The first one that the processor can run. Every list ends with the plain kernel, which needs nothing.
template<typename Kernel>
Kernel choose(std::span<const candidate<Kernel>> list, uint32_t features) {
    size_t i = 0;
    while ((list[i].needs & ~features) != 0)
        i++;
    return list[i].run;
}

/// The features to choose by: none when the setting asks for the plain kernels, which it does unless it is
/// null, empty or "0".
inline uint32_t features_to_use(const char* plain_kernels_setting, uint32_t present) {
    const std::string_view setting = plain_kernels_setting != nullptr ? plain_kernels_setting : "0";
    return setting.empty() || setting == "0" ? present : 0;
}

} // namespace ombrel
