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

namespace {

struct span {
    int32_t start;
    uint32_t length;
};

// What begins beyond the coordinates has no length; what begins before them is cut.
span span_between(int64_t from, int64_t to) {
    const int64_t start = std::clamp<int64_t>(from, INT32_MIN, INT32_MAX);
    const int64_t length = from > INT32_MAX ? 0 : std::clamp<int64_t>(to - start, 0, UINT32_MAX);
    return {static_cast<int32_t>(start), static_cast<uint32_t>(length)};
}

} // namespace

rectangle between(int64_t left, int64_t top, int64_t right, int64_t bottom) {
    const span columns = span_between(left, right);
    const span rows = span_between(top, bottom);
    return {columns.start, rows.start, columns.length, rows.length};
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
    const int64_t left = std::max(a->m_x, b->m_x);
    const int64_t top = std::max(a->m_y, b->m_y);
    const int64_t right = std::min(right_of(*a), right_of(*b));
    const int64_t bottom = std::min(bottom_of(*a), bottom_of(*b));
    if (right <= left || bottom <= top)
        return 0;
    const rectangle whole = *a; // either result may be one of the arguments
    if (rest_out != nullptr) {
        rest_out[0] = between(whole.m_x, whole.m_y, right, top);
        rest_out[1] = between(right, whole.m_y, right_of(whole), bottom);
        rest_out[2] = between(left, bottom, right_of(whole), bottom_of(whole));
        rest_out[3] = between(whole.m_x, top, left, bottom_of(whole));
    }
    if (overlap_out != nullptr)
        *overlap_out = between(left, top, right, bottom);
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
