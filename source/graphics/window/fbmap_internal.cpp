#include "graphics/window/fbmap_internal.h"

#include <algorithm>

#include <ombrel/assert.h>

namespace ombrel::fbmap {

int fail(const place& where, const char* text) {
    ombrel_assert_fail_tag(where.source, where.function, where.line, text);
    return -1;
}

bool is_refused(const ombrel_fbmap_t* fbmap, const place& where) {
    return fbmap == nullptr && fail(where, "s_fbmap is null !") != 0;
}

ombrel_lock_t& global_lock() {
    static constinit ombrel_lock_t lock = {
        def_ombrel_lock_flag_initialized | def_ombrel_lock_flag_thread_aware,
        def_ombrel_infinite,
        {0},
        nullptr,
        nullptr,
        nullptr,
        "ombrel_fbmap_lock",
        __LINE__,
    };
    return lock;
}

ombrel_fbmap_t& root_of(ombrel_fbmap_t& fbmap) {
    ombrel_fbmap_t* root = &fbmap;
    while (root->m_parent != nullptr)
        root = root->m_parent;
    return *root;
}

ombrel_fbmap_t* next_outside(ombrel_fbmap_t& window, const ombrel_fbmap_t& top,
                             ombrel_fbmap_t* ombrel_fbmap_t::*link) {
    ombrel_fbmap_t* from = &window;
    while (from != &top && from->*link == nullptr)
        from = from->m_parent;
    return from != &top ? from->*link : nullptr;
}

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

void grow_update_region(ombrel_fbmap_t& fbmap, const rectangle& touched) {
    if (!is_hidden(fbmap))
        unite(fbmap.m_update_region, touched);
}

placement locate(ombrel_fbmap_t& fbmap, rectangle area) {
    ombrel_fbmap_t* at = &fbmap;
    int64_t x = 0;
    int64_t y = 0;
    if (at->m_parent == nullptr)
        clip(area, at->m_resx, at->m_resy);
    for (; at->m_parent != nullptr; at = at->m_parent) {
        x += at->m_x;
        y += at->m_y;
        const int64_t left = int64_t{area.m_x} + at->m_x;
        const int64_t top = int64_t{area.m_y} + at->m_y;
        area = between(left, top, left + area.m_w, top + area.m_h);
        clip(area, at->m_parent->m_resx, at->m_parent->m_resy);
    }
    return {at, area, x, y};
}

bool measure(ombrel_fbmap_t& fbmap) {
    const uint64_t line_length = uint64_t{fbmap.m_resx} * fbmap.m_bits_per_pixel / 8;
    if (line_length > UINT32_MAX || line_length * fbmap.m_resy > UINT32_MAX)
        return false;
    fbmap.m_line_length = static_cast<uint32_t>(line_length);
    fbmap.m_map_size = static_cast<uint32_t>(line_length * fbmap.m_resy);
    return true;
}

} // namespace ombrel::fbmap

using namespace ombrel::fbmap;

namespace {

constexpr const char source_name[] = "source/fbmap_internal";

} // namespace

int ombrel_sep_overlap_window(const ombrel_fbmap_rectangle_t* a, const ombrel_fbmap_rectangle_t* b,
                              ombrel_fbmap_rectangle_t* overlap_out, ombrel_fbmap_rectangle_t* rest_out) {
    if (a == nullptr || b == nullptr)
        return -1;
    rectangle common;
    if (!overlap(*a, *b, common))
        return 0;
    const surroundings rest = tile_by_turns(*a, common); // either result may be one of the arguments
    if (rest_out != nullptr)
        std::copy(rest.begin(), rest.end(), rest_out);
    if (overlap_out != nullptr)
        *overlap_out = common;
    return 1;
}

ombrel_fbmap_t* __ombrel_fbmap_get_abs_region_internal(ombrel_fbmap_t* fbmap,
                                                       ombrel_fbmap_rectangle_t* out_rect,
                                                       const ombrel_fbmap_rectangle_t* in_rect,
                                                       int32_t* x_out, int32_t* y_out) {
    if (is_refused(fbmap, {source_name, __func__, __LINE__}))
        return nullptr;
    const placement place = locate(*fbmap, in_rect != nullptr ? *in_rect : whole(*fbmap));
    const rectangle origin = between(place.x, place.y, place.x, place.y);
    if (out_rect != nullptr)
        *out_rect = place.visible;
    if (x_out != nullptr)
        *x_out = origin.m_x;
    if (y_out != nullptr)
        *y_out = origin.m_y;
    return place.root;
}
