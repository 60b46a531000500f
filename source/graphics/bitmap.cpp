#include <ombrel/bitmap.h>

#include <ombrel/color.h>

#include "graphics/bitmap_box.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/fbmap";

// The same rows as pixels of a byte.
ombrel_bitmap_t bytes_of(const ombrel_bitmap_t& bitmap) {
    ombrel_bitmap_t bytes = bitmap;
    bytes.m_color_interface = def_ombrel_color_interface_palette8;
    bytes.m_resx = bitmap.m_line_length;
    return bytes;
}

} // namespace

int ombrel_copy_raw_bitmap(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, const ombrel_bitmap_t* from,
                           int32_t from_x, int32_t from_y, uint32_t width, uint32_t height) {
    if (to == nullptr || from == nullptr || !is_valid(*to) || !is_valid(*from))
        return -1;
    const auto depth = static_cast<int64_t>(depth_of(*to));
    const stretch columns = stretch{to_x, from_x, width}.cut(to->m_resx, from->m_resx);
    const stretch rows = stretch{to_y, from_y, height}.cut(to->m_resy, from->m_resy);
    if (columns.length == 0 || rows.length == 0)
        return -1;
    if (depth_of(*from) != depth || columns.to * depth % 8 != 0 || columns.from * depth % 8 != 0)
        return fbmap::fail({source_name, "ombrel_copy_raw_bitmap", __LINE__}, "not supported");
    const ombrel_bitmap_t target = bytes_of(*to), source = bytes_of(*from);
    put_rows(target, source, {columns.to * depth / 8, columns.from * depth / 8, columns.length * depth / 8},
             rows, row_writer(target, source, def_ombrel_fbmap_plain));
    return 0;
}

int ombrel_copy_raw_bitmap_scale(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, uint32_t to_width,
                                 uint32_t to_height, const ombrel_bitmap_t* from, int32_t from_x,
                                 int32_t from_y, uint32_t from_width, uint32_t from_height) {
    if (to == nullptr || from == nullptr)
        return -1;
    ombrel_bitmap_t source = *from;
    box_outcome outcome{depth_of(*to) == depth_of(*from)};
    if (outcome.supported) {
        // Colours are not looked at.
        source.m_color_interface = to->m_color_interface;
        outcome = put_box(*to, {to_x, to_y, to_width, to_height}, source,
                          {from_x, from_y, from_width, from_height}, def_ombrel_fbmap_plain);
    }
    return result_of(outcome, {source_name, "ombrel_copy_raw_bitmap_scale", __LINE__});
}
