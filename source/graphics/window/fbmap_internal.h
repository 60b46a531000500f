// What the sources of frame-buffer maps share: the lock, the tree and the slots.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <ombrel/fbmap.h>

#include "core/lock_guard.h"
#include "graphics/pixel/canvas.h"
#include "graphics/pixel/rectangle.h"
#include "graphics/pixel/report.h"

namespace ombrel::graphics {

/// Whether the map is null, which is reported.
bool is_refused(const ombrel_fbmap_t* fbmap, const report_site& site);

/// The lock of all maps. A thread that holds it may take it again.
ombrel_lock_t& global_lock();

/// What every public function of a map does: refuses null, and works with the lock held.
template<typename Result, typename Work>
Result locked(const ombrel_fbmap_t* fbmap, const report_site& site, Result failure, Work work) {
    if (is_refused(fbmap, site))
        return failure;
    const lock_guard guard(global_lock(), site.caller.tag, site.caller.line);
    return guard ? work() : failure;
}

ombrel_fbmap_t& root_of(ombrel_fbmap_t& fbmap);

/// Where a walk through all that `top` holds, parents first, goes on behind a window and all that this one
/// holds; null at the end. Siblings come in the order of the link.
ombrel_fbmap_t* next_outside(ombrel_fbmap_t& window, const ombrel_fbmap_t& top,
                             ombrel_fbmap_t* ombrel_fbmap_t::*link);

/// Calls work(window) for the window and all that it holds, parents first.
template<typename Work>
void for_each_within(ombrel_fbmap_t& top, Work work) {
    for (ombrel_fbmap_t* window = &top; window != nullptr;) {
        work(*window);
        window = window->m_children != nullptr ? window->m_children
                                               : next_outside(*window, top, &ombrel_fbmap_t::m_next);
    }
}

/// Where a window is in its root.
struct placement {
    ombrel_fbmap_t* root;
    rectangle visible; ///< what its ancestors leave of a rectangle of it
    place origin;      ///< where its own left column and top row are
};

/// Follows a rectangle of a window, given in its own coordinates, up to the root.
placement locate(ombrel_fbmap_t& fbmap, rectangle area);

/// Sets line length and map size for the map's resolution and depth. False, with both as they were, when the
/// pixels would have 2^32 bytes or more.
bool measure(ombrel_fbmap_t& fbmap);

/// Whether the window has pixels to show. One without any may hold others together.
constexpr bool is_shown(const ombrel_fbmap_t& fbmap) {
    return !is_hidden(fbmap) && fbmap.m_map != nullptr;
}
/// Whether what lies below the window may show through.
constexpr bool is_transparent(const ombrel_fbmap_t& fbmap) {
    return (fbmap.m_flags & def_ombrel_fbmap_transparent) != 0;
}

/// One operation's functions for 8, 16, 24 and 32 bits.
template<typename Function>
using by_depth = std::array<Function, 4>;

/// The place of a depth in by_depth; beyond the end for a depth that is not supported.
constexpr size_t depth_index(uint32_t bits_per_pixel) {
    return bits_per_pixel % 8 == 0 ? size_t{bits_per_pixel / 8} - 1 : SIZE_MAX;
}

/// The function in a slot, filled first if it is null or holds the public function of the operation. Null,
/// after the report, for a depth that is not supported.
template<typename Function>
Function operation(ombrel_fbmap_t& fbmap, Function ombrel_fbmap_t::*slot, Function public_function,
                   const by_depth<Function>& functions, const report_site& site) {
    Function& present = fbmap.*slot;
    if (present != nullptr && present != public_function)
        return present;
    const size_t index = depth_index(fbmap.m_bits_per_pixel);
    if (index >= functions.size()) {
        fail(site, "not supported");
        return nullptr;
    }
    return present = functions[index];
}

} // namespace ombrel::graphics
