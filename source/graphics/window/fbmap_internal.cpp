#include "graphics/window/fbmap_internal.h"

namespace ombrel::graphics {

bool is_refused(const ombrel_fbmap_t* fbmap, const report_site& site) {
    return fbmap == nullptr && fail(site, "s_fbmap is null !") != 0;
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

placement locate(ombrel_fbmap_t& fbmap, rectangle area) {
    ombrel_fbmap_t* at = &fbmap;
    place origin = {0, 0};
    if (at->m_parent == nullptr)
        clip(area, at->m_resx, at->m_resy);
    for (; at->m_parent != nullptr; at = at->m_parent) {
        origin.x += at->m_x;
        origin.y += at->m_y;
        const int64_t left = int64_t{area.m_x} + at->m_x;
        const int64_t top = int64_t{area.m_y} + at->m_y;
        area = between(left, top, left + area.m_w, top + area.m_h);
        clip(area, at->m_parent->m_resx, at->m_parent->m_resy);
    }
    return {at, area, origin};
}

bool measure(ombrel_fbmap_t& fbmap) {
    const uint64_t line_length = uint64_t{fbmap.m_resx} * fbmap.m_bits_per_pixel / 8;
    if (line_length > UINT32_MAX || line_length * fbmap.m_resy > UINT32_MAX)
        return false;
    fbmap.m_line_length = static_cast<uint32_t>(line_length);
    fbmap.m_map_size = static_cast<uint32_t>(line_length * fbmap.m_resy);
    return true;
}

} // namespace ombrel::graphics

using namespace ombrel::graphics;

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
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return nullptr;
    const placement at = locate(*fbmap, in_rect != nullptr ? *in_rect : whole(*fbmap));
    const rectangle origin = between(at.origin.x, at.origin.y, at.origin.x, at.origin.y);
    if (out_rect != nullptr)
        *out_rect = at.visible;
    if (x_out != nullptr)
        *x_out = origin.m_x;
    if (y_out != nullptr)
        *y_out = origin.m_y;
    return at.root;
}
