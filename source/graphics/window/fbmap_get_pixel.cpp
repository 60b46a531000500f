#include <ombrel/bitmap.h>
#include <ombrel/color.h>

#include "graphics/pixel/canvas.h"
#include "graphics/window/drawing_operations.h"
#include "graphics/window/fbmap_internal.h"

namespace ombrel::graphics {
namespace {

void store_in(const ombrel_bitmap_t& bitmap, uint32_t bytes, int32_t x, int32_t y, uint32_t color) {
    const bool inside = x >= 0 && static_cast<uint32_t>(x) < bitmap.m_resx && y >= 0 &&
                        static_cast<uint32_t>(y) < bitmap.m_resy;
    if (!inside || bitmap.m_map == nullptr || bitmap.m_line_length < uint64_t{bitmap.m_resx} * bytes)
        return;
    auto* pixel = static_cast<uint8_t*>(bitmap.m_map) + static_cast<size_t>(y) * bitmap.m_line_length +
                  static_cast<size_t>(x) * bytes;
    fill_row(pixel, color, 1, bytes);
}

} // namespace

template<unsigned Bytes>
uint32_t get_pixel(ombrel_fbmap_t* map, ombrel_bitmap_t* bitmap, int32_t bitmap_x, int32_t bitmap_y,
                   int32_t x, int32_t y) {
    if (!is_inside(*map, x, y))
        return 0;
    const uint32_t color = canvas<Bytes>(*map).get(x, y);
    if (bitmap == nullptr)
        return color;
    const uint32_t interface =
        bitmap->m_color_interface != 0 ? bitmap->m_color_interface : map->m_color_interface;
    const uint32_t converted = ombrel_convert_color(interface, map->m_color_interface, color);
    const size_t depth = depth_index(ombrel_color_interface_to_bits_per_pixel(interface));
    if (depth < by_depth<int>().size())
        store_in(*bitmap, static_cast<uint32_t>(depth) + 1, bitmap_x, bitmap_y, converted);
    return converted;
}

template uint32_t get_pixel<1>(ombrel_fbmap_t*, ombrel_bitmap_t*, int32_t, int32_t, int32_t, int32_t);
template uint32_t get_pixel<2>(ombrel_fbmap_t*, ombrel_bitmap_t*, int32_t, int32_t, int32_t, int32_t);
template uint32_t get_pixel<3>(ombrel_fbmap_t*, ombrel_bitmap_t*, int32_t, int32_t, int32_t, int32_t);
template uint32_t get_pixel<4>(ombrel_fbmap_t*, ombrel_bitmap_t*, int32_t, int32_t, int32_t, int32_t);

} // namespace ombrel::graphics
