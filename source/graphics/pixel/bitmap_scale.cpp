#include <ombrel/bitmap_transform.h>

#include "graphics/pixel/bitmap_call.h"
#include "graphics/pixel/scale.h"

using namespace ombrel::graphics;

int ombrel_bitmap_put_scaled(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, uint32_t to_width,
                             uint32_t to_height, const ombrel_bitmap_t* from, int32_t from_x, int32_t from_y,
                             uint32_t from_width, uint32_t from_height, uint32_t method, uint32_t mode) {
    constexpr rectangle (*methods[])(const box_job&) = {put_pixels, put_bilinear, put_averaged};
    static_assert(def_ombrel_bitmap_scale_nearest == 0 && def_ombrel_bitmap_scale_bilinear == 1 &&
                  def_ombrel_bitmap_scale_box == 2);
    const bool mixes = to_width != from_width || to_height != from_height;
    return put_checked({to,
                        {to_x, to_y, to_width, to_height},
                        from,
                        {from_x, from_y, from_width, from_height},
                        mode,
                        method <= def_ombrel_bitmap_scale_box},
                       // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): was checked
                       __func__, [&](const box_job& job) { return methods[mixes ? method : 0](job); });
}
