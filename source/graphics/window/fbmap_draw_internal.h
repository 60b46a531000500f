// What the sources of the drawing functions share.
#pragma once

#include <ombrel/fbmap_draw.h>

#include "graphics/window/fbmap_internal.h"

/// Where a drawing function reports from.
#define OMBREL_DRAW_SITE                                                                                     \
    ombrel::graphics::report_site {                                                                          \
        "source/fbmap_draw", {                                                                               \
            __func__, __LINE__                                                                               \
        }                                                                                                    \
    }

namespace ombrel::graphics {

/// Refuses null and depths that are not supported, with a report.
inline bool is_drawable(const ombrel_fbmap_t* fbmap, const report_site& site) {
    return !is_refused(fbmap, site) && (depth_index(fbmap->m_bits_per_pixel) < by_depth<int>().size() ||
                                        fail(site, "not supported") == 0);
}

struct text_style;

/// Draws one line of Latin text in a drawable map.
void draw_label(ombrel_fbmap_t& map, const text_style& style, const char* text);

} // namespace ombrel::graphics
