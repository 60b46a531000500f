// Rectangles of pixels put from one bitmap upon another.
#pragma once

#include <ombrel/bitmap.h>

#include "graphics/pixel/rectangle.h"
#include "graphics/pixel/report.h"
#include "graphics/pixel/row_writer.h"

namespace ombrel::graphics {

unsigned depth_of(const ombrel_bitmap_t& bitmap);

/// A map as the bitmap that its flags, key and alpha describe.
inline ombrel_bitmap_t view_of(const ombrel_fbmap_t& map) {
    return {map.m_map,         map.m_color_interface, map.m_resx,   map.m_resy,
            map.m_line_length, map.m_flags,           map.m_ccolor, map.m_alpha_window};
}

/// Where a row of a valid bitmap begins.
unsigned char* row_at(const ombrel_bitmap_t& bitmap, int64_t row);

/// Whether the bitmap has pixels, and its rows lie within its memory.
bool is_valid(const ombrel_bitmap_t& bitmap);

/// Whether a pixel has 8, 16, 24 or 32 bits.
bool is_supported(const ombrel_bitmap_t& bitmap);

/// A rectangle of one bitmap that goes upon one of another, which may have another size. Both may lie
/// anywhere and are not empty; the bitmaps are valid for pixels of their depth.
struct box_job {
    const ombrel_bitmap_t& to;
    rectangle target;
    const ombrel_bitmap_t& from;
    rectangle source;
    uint32_t mode;
    color_rule rule;
};

/// Does it, each pixel from the nearest one. Gives what was written to.
rectangle put_pixels(const box_job& job);

struct box_outcome {
    bool supported;      ///< whether both depths are
    rectangle touched{}; ///< what was written to
};

/// Puts the source rectangle of one bitmap upon the target rectangle of another, which may have another size.
/// Both are cut to their bitmaps; they may lie anywhere. Bitmaps that are not valid are not touched.
box_outcome put_box(const ombrel_bitmap_t& to, const rectangle& target, const ombrel_bitmap_t& from,
                    const rectangle& source, uint32_t mode);

/// The result of a function that did this: 0 or -1. Reports what is not supported.
int result_of(const box_outcome& outcome, const report_site& site);

} // namespace ombrel::graphics
