#include "graphics/pixel/rectangle.h"

namespace ombrel::graphics {

surroundings tile_by_turns(const rectangle& area, const rectangle& hole) {
    const int64_t right = right_of(hole), bottom = bottom_of(hole);
    return {between(area.m_x, area.m_y, right, hole.m_y), between(right, area.m_y, right_of(area), bottom),
            between(hole.m_x, bottom, right_of(area), bottom_of(area)),
            between(area.m_x, hole.m_y, hole.m_x, bottom_of(area))};
}

surroundings tile_by_rows(const rectangle& area, const rectangle& hole) {
    const int64_t bottom = bottom_of(hole);
    return {between(area.m_x, area.m_y, right_of(area), hole.m_y),
            between(area.m_x, hole.m_y, hole.m_x, bottom),
            between(right_of(hole), hole.m_y, right_of(area), bottom),
            between(area.m_x, bottom, right_of(area), bottom_of(area))};
}

namespace {

void clip_span(int32_t& start, uint32_t& length, uint32_t limit) {
    const int64_t end = std::min<int64_t>(int64_t{start} + length, limit);
    start = std::max(start, 0);
    length = end > start ? static_cast<uint32_t>(end - start) : 0;
}

} // namespace

void clip(rectangle& area, uint32_t resx, uint32_t resy) {
    clip_span(area.m_x, area.m_w, resx);
    clip_span(area.m_y, area.m_h, resy);
}

void unite(rectangle& area, const rectangle& more) {
    if (is_empty(area))
        area = more;
    else if (!is_empty(more))
        area = between(std::min(area.m_x, more.m_x), std::min(area.m_y, more.m_y),
                       std::max(right_of(area), right_of(more)), std::max(bottom_of(area), bottom_of(more)));
}

} // namespace ombrel::graphics
