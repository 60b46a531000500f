// Rectangles and places of pixels.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include <ombrel/fbmap.h>

namespace ombrel::graphics {

/// A column and a row, which may lie outside of all maps.
struct place {
    int64_t x, y;
    bool operator==(const place&) const = default;
};

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

} // namespace ombrel::graphics
