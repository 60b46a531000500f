#include <ombrel/fbmap.h>

#include <algorithm>
#include <cstddef>

#include <ombrel/color.h>
#include <ombrel/heap.h>
#include <ombrel/linked_list.h>

#include "core/node_list.h"
#include "graphics/pixel/pixel_block.h"
#include "graphics/window/fbmap_recompose.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/fbmap";

constexpr uint32_t argb8888 = 0x18485868;
constexpr uint32_t cleared_at_creation = 0x20 | 0x40;

void link(ombrel_fbmap_t& fbmap, ombrel_fbmap_t& parent) {
    const auto add = (fbmap.m_flags & def_ombrel_fbmap_append) != 0 ? ombrel_doubly_linked_list_append_tag
                                                                    : ombrel_doubly_linked_list_prepend_tag;
    fbmap.m_parent = &parent;
    add(&parent.m_children, nullptr, &fbmap, offsetof(ombrel_fbmap_t, m_prev),
        offsetof(ombrel_fbmap_t, m_next), __func__, __LINE__);
}

void unlink(ombrel_fbmap_t& fbmap) {
    if (fbmap.m_parent != nullptr)
        node_list<ombrel_fbmap_t>(fbmap.m_parent->m_children).unlink(fbmap);
    fbmap.m_parent = nullptr;
}

void inherit(ombrel_fbmap_t& fbmap, const ombrel_fbmap_t& parent) {
    fbmap.m_ctx = parent.m_ctx;
    if (fbmap.m_color_interface == 0)
        fbmap.m_color_interface = parent.m_color_interface;
    if (fbmap.m_resx == 0)
        fbmap.m_resx = parent.m_resx;
    if (fbmap.m_resy == 0)
        fbmap.m_resy = parent.m_resy;
}

void take_brush(ombrel_fbmap_t& fbmap) {
    fbmap.m_brush_x_scale = fbmap.m_brush_y_scale = {1, 1};
    fbmap.m_brush_fcolor = ombrel_convert_color(fbmap.m_color_interface, argb8888, 0xFFFFFFFF);
    fbmap.m_brush_bcolor = fbmap.m_brush_ocolor =
        ombrel_convert_color(fbmap.m_color_interface, argb8888, 0xFF000000);
}

// Whether the map has its pixels, if it is to have some of its own.
bool take_pixels(ombrel_fbmap_t& fbmap) {
    fbmap.m_bits_per_pixel = ombrel_color_interface_to_bits_per_pixel(fbmap.m_color_interface);
    if (!measure(fbmap))
        return false;
    if ((fbmap.m_flags & def_ombrel_fbmap_own_map) == 0 || fbmap.m_map_size == 0)
        return true;
    fbmap.m_map = new_pixels(fbmap.m_map_size, "ombrel_init_fbmap", __LINE__);
    return fbmap.m_map != nullptr;
}

bool stays_shown(const ombrel_fbmap_t& fbmap) {
    return (fbmap.m_flags & def_ombrel_fbmap_keep_shown) != 0;
}

bool leaves(const ombrel_fbmap_t& fbmap) {
    return is_shown(fbmap) && fbmap.m_parent != nullptr && !stays_shown(fbmap);
}

// Whether something that a root, a group or a hidden window holds is shown, and none of it stays.
bool leaves_at_once(ombrel_fbmap_t& top) {
    bool any_shown = false, any_stays = false;
    for_each_within(top, [&](const ombrel_fbmap_t& window) {
        any_shown |= window.m_parent != nullptr && is_shown(window);
        any_stays |= window.m_parent != nullptr && stays_shown(window);
    });
    return any_shown && !any_stays;
}

// Shows what lies below a window that is to be destroyed with all that it holds.
void take_down(ombrel_fbmap_t& top) {
    if (leaves(top) || leaves_at_once(top)) {
        conceal(top);
        return;
    }
    for (ombrel_fbmap_t* window = &top; window != nullptr;) {
        const bool all = leaves(*window);
        if (all)
            conceal(*window);
        window = !all && window->m_children != nullptr ? window->m_children
                                                       : next_outside(*window, top, &ombrel_fbmap_t::m_next);
    }
}

void dismantle(ombrel_fbmap_t& fbmap) {
    if ((fbmap.m_flags & def_ombrel_fbmap_initialized) == 0)
        return;
    ombrel_check_free_tag(fbmap.m_composite_map, "ombrel_destroy_fbmap", __LINE__);
    fbmap.m_composite_map = nullptr;
    if ((fbmap.m_flags & def_ombrel_fbmap_own_map) != 0) {
        ombrel_check_free_tag(fbmap.m_map, "ombrel_destroy_fbmap", __LINE__);
        fbmap.m_map = nullptr;
    }
    fbmap.m_flags &= ~def_ombrel_fbmap_initialized;
}

void release(ombrel_fbmap_t& fbmap) {
    dismantle(fbmap);
    unlink(fbmap);
    if ((fbmap.m_flags & def_ombrel_fbmap_new) != 0)
        ombrel_free_tag(&fbmap, "ombrel_free_fbmap", __LINE__);
}

// From the innermost outwards, without recursion: how deep windows nest is the caller's doing.
void release_children(ombrel_fbmap_t& fbmap) {
    ombrel_fbmap_t* innermost = &fbmap;
    for (;;) {
        while (innermost->m_children != nullptr)
            innermost = innermost->m_children;
        if (innermost == &fbmap)
            return;
        ombrel_fbmap_t* const parent = innermost->m_parent;
        release(*innermost);
        innermost = parent;
    }
}

void destroy(ombrel_fbmap_t& fbmap) {
    if ((fbmap.m_flags & def_ombrel_fbmap_initialized) == 0)
        return;
    take_down(fbmap);
    release_children(fbmap);
    unlink(fbmap);
    dismantle(fbmap);
}

ombrel_fbmap_t* initialize(ombrel_fbmap_t& fbmap, ombrel_fbmap_t* parent, uint32_t flags,
                           uint32_t color_interface, const rectangle& area) {
    fbmap = {};
    fbmap.m_flags = (flags | def_ombrel_fbmap_initialized) & ~cleared_at_creation;
    fbmap.m_color_interface = color_interface;
    fbmap.m_x = area.m_x;
    fbmap.m_y = area.m_y;
    fbmap.m_resx = area.m_w;
    fbmap.m_resy = area.m_h;
    if (parent != nullptr)
        inherit(fbmap, *parent);
    take_brush(fbmap);
    if (!take_pixels(fbmap)) {
        fail({source_name, {"ombrel_init_fbmap", __LINE__}}, "s_fbmap->m_map is null !");
        release(fbmap);
        return nullptr;
    }
    if (parent != nullptr)
        link(fbmap, *parent);
    return &fbmap;
}

} // namespace

ombrel_fbmap_t* ombrel_init_fbmap(ombrel_fbmap_t* fbmap, ombrel_fbmap_t* parent, uint32_t flags,
                                  uint32_t color_interface, int32_t x, int32_t y, uint32_t resx,
                                  uint32_t resy) {
    return locked<ombrel_fbmap_t*>(fbmap, {source_name, {__func__, __LINE__}}, nullptr, [&] {
        return initialize(*fbmap, parent, flags, color_interface, {x, y, resx, resy});
    });
}

int ombrel_destroy_fbmap(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] {
        destroy(*fbmap);
        return 0;
    });
}

ombrel_fbmap_t* ombrel_new_fbmap(ombrel_fbmap_t* parent, uint32_t flags, uint32_t color_interface, int32_t x,
                                 int32_t y, uint32_t resx, uint32_t resy) {
    const lock_guard guard(global_lock(), __func__, __LINE__);
    if (!guard)
        return nullptr;
    auto* fbmap = static_cast<ombrel_fbmap_t*>(ombrel_alloc_tag(sizeof(ombrel_fbmap_t), __func__, __LINE__));
    if (fbmap == nullptr)
        return nullptr;
    return initialize(*fbmap, parent, flags | def_ombrel_fbmap_new, color_interface, {x, y, resx, resy});
}

ombrel_fbmap_t* ombrel_free_fbmap(ombrel_fbmap_t* fbmap) {
    return locked<ombrel_fbmap_t*>(fbmap, {source_name, {__func__, __LINE__}}, nullptr, [&] {
        destroy(*fbmap);
        release(*fbmap);
        return nullptr;
    });
}

int ombrel_fbmap_lock(void) {
    return ombrel_lock(&global_lock());
}

int ombrel_fbmap_unlock(void) {
    return ombrel_unlock(&global_lock());
}

int ombrel_fbmap_show(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1,
                  [&] { return __ombrel_fbmap_show_internal(fbmap); });
}

int ombrel_fbmap_hide(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1,
                  [&] { return __ombrel_fbmap_hide_internal(fbmap); });
}

int ombrel_fbmap_move(ombrel_fbmap_t* fbmap, int32_t x, int32_t y) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1,
                  [&] { return __ombrel_fbmap_move_internal(fbmap, x, y); });
}

int ombrel_fbmap_resize(ombrel_fbmap_t* fbmap, int32_t x, int32_t y, uint32_t resx, uint32_t resy) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1,
                  [&] { return __ombrel_fbmap_resize_internal(fbmap, x, y, resx, resy); });
}

int ombrel_fbmap_update(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1,
                  [&] { return __ombrel_fbmap_update_internal(fbmap); });
}

int ombrel_fbmap_transfer(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1,
                  [&] { return __ombrel_fbmap_transfer_internal(fbmap); });
}
