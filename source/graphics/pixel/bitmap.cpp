#include <ombrel/bitmap.h>

#include <ombrel/color.h>

#include "graphics/pixel/bitmap_box.h"
#include "graphics/pixel/rows.h"
#include "graphics/pixel/stretch.h"

using namespace ombrel;
using namespace ombrel::graphics;

static constexpr char source_name[] = "source/fbmap";

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
        return fail({source_name, {"ombrel_copy_raw_bitmap", __LINE__}}, "not supported");
    const auto bytes = [&](int64_t pixels) { return static_cast<size_t>(pixels * depth / 8); };
    copy_rows({row_at(*to, rows.to) + bytes(columns.to), to->m_line_length,
               row_at(*from, rows.from) + bytes(columns.from), from->m_line_length, bytes(columns.length),
               static_cast<size_t>(rows.length)});
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
    return result_of(outcome, {source_name, {"ombrel_copy_raw_bitmap_scale", __LINE__}});
}
