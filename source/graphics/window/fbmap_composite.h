// Painting of a recomposed region into the root.
#pragma once

#include "graphics/window/fbmap_internal.h"

namespace ombrel::graphics {

using rectangle_node = ombrel_fbmap_rectangle_node_t;

/// Flags of a rectangle node.
constexpr uint32_t needs_blending = 1;
constexpr uint32_t settled = 2; ///< what lies below its transparent owner is in the list, too

/// Paints the rectangles of a list, in which what is lower comes first, and adds them to the root's update
/// region. False when some of them cannot be blended.
bool paint_nodes(ombrel_fbmap_t& root, const rectangle_node* nodes);

} // namespace ombrel::graphics
