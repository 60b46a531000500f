// What the sources of frame-buffer maps share: the lock, rectangles, the update region and the slots.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <ombrel/fbmap.h>

#include "core/lock_guard.h"

namespace ombrel::fbmap {

/// Where a function reports from.
struct place {
    const char* source;
    const char* function;
    unsigned long line;
};

/// Reports an assertion of the given text. Gives -1.
int fail(const place& where, const char* text);

/// Whether the map is null, which is reported.
bool is_refused(const ombrel_fbmap_t* fbmap, const place& where);

/// The lock of all maps. A thread that holds it may take it again.
ombrel_lock_t& global_lock();

/// What every public function of a map does: refuses null, and works with the lock held.
template<typename Result, typename Work>
Result locked(const ombrel_fbmap_t* fbmap, const place& where, Result failure, Work work) {
    if (is_refused(fbmap, where))
        return failure;
    const lock_guard guard(global_lock(), where.function, where.line);
    return guard ? work() : failure;
}

// --- the tree -------------------------------------------------------------------------------------------

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

// --- rectangles -----------------------------------------------------------------------------------------

using rectangle = ombrel_fbmap_rectangle_t;

constexpr bool is_empty(const rectangle& area) {
    return area.m_w == 0 || area.m_h == 0;
}
constexpr int64_t right_of(const rectangle& area) {
    return int64_t{area.m_x} + area.m_w;
}
constexpr int64_t bottom_of(const rectangle& area) {
    return int64_t{area.m_y} + area.m_h;
}

/// A window's place in its root.
struct placement {
    ombrel_fbmap_t* root;
    rectangle visible; ///< what its ancestors leave of a rectangle of it
    int64_t x, y;      ///< where its own left column and top row are
};

/// Follows a rectangle of a window, given in its own coordinates, up to the root.
placement locate(ombrel_fbmap_t& fbmap, rectangle area);

/// The rectangle between the edges, as much of it as coordinates and sizes can tell: what begins before them
/// is cut, and what begins beyond them is empty.
constexpr rectangle between(int64_t left, int64_t top, int64_t right, int64_t bottom) {
    const auto start = [](int64_t edge) { return std::clamp<int64_t>(edge, INT32_MIN, INT32_MAX); };
    const auto length = [&](int64_t from, int64_t to) {
        return from > INT32_MAX ? 0 : std::clamp<int64_t>(to - start(from), 0, UINT32_MAX);
    };
    return {static_cast<int32_t>(start(left)), static_cast<int32_t>(start(top)),
            static_cast<uint32_t>(length(left, right)), static_cast<uint32_t>(length(top, bottom))};
}

/// Whether the rectangles share a pixel; what they share is in `common` then, which may be one of them.
inline bool overlap(const rectangle& a, const rectangle& b, rectangle& common) {
    const int64_t left = std::max(a.m_x, b.m_x), right = std::min(right_of(a), right_of(b));
    const int64_t top = std::max(a.m_y, b.m_y), bottom = std::min(bottom_of(a), bottom_of(b));
    if (right <= left || bottom <= top)
        return false;
    common = {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<uint32_t>(right - left),
              static_cast<uint32_t>(bottom - top)};
    return true;
}

/// The rest of an area around a hole in it: four rectangles, any of which may be empty.
using surroundings = std::array<rectangle, 4>;
using tiling = surroundings (*)(const rectangle& area, const rectangle& hole);

/// Above the hole, right of it, below and left of it, each from one of its corners to an edge of the area.
surroundings tile_by_turns(const rectangle& area, const rectangle& hole);

/// Above, left, right and below, with rows as long as they can be.
surroundings tile_by_rows(const rectangle& area, const rectangle& hole);

/// Cuts off what lies outside of 0 ... resx, 0 ... resy.
void clip(rectangle& area, uint32_t resx, uint32_t resy);

/// Makes `area` cover `more`, too.
void unite(rectangle& area, const rectangle& more);

/// Adds what a drawing function has touched to the map's update region; a hidden map has none.
void grow_update_region(ombrel_fbmap_t& fbmap, const rectangle& touched);

/// The map's rectangle in its own coordinates.
constexpr rectangle whole(const ombrel_fbmap_t& fbmap) {
    return {0, 0, fbmap.m_resx, fbmap.m_resy};
}

// --- pixels and slots -----------------------------------------------------------------------------------

/// Sets line length and map size for the map's resolution and depth. False, with both as they were, when the
/// pixels would have 2^32 bytes or more.
bool measure(ombrel_fbmap_t& fbmap);

/// The address of a pixel inside the map.
inline unsigned char* pixel_at(const ombrel_fbmap_t& fbmap, uint32_t x, uint32_t y) {
    return static_cast<unsigned char*>(fbmap.m_map) + size_t{y} * fbmap.m_line_length +
           size_t{x} * (fbmap.m_bits_per_pixel / 8);
}

constexpr bool is_hidden(const ombrel_fbmap_t& fbmap) {
    return (fbmap.m_flags & def_ombrel_fbmap_hidden) != 0;
}
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
                   const by_depth<Function>& functions, const place& where) {
    Function& present = fbmap.*slot;
    if (present != nullptr && present != public_function)
        return present;
    const size_t index = depth_index(fbmap.m_bits_per_pixel);
    if (index >= functions.size()) {
        fail(where, "not supported");
        return nullptr;
    }
    return present = functions[index];
}

} // namespace ombrel::fbmap
