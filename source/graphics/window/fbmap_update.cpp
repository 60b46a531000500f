#include <ombrel/fbmap.h>

#include <algorithm>

#include <ombrel/heap.h>
#include <ombrel/memory.h>

#include "graphics/pixel/pixel_block.h"
#include "graphics/window/fbmap_recompose.h"

using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/fbmap_update";

int transfer_nothing(ombrel_fbmap_t*) {
    return 0;
}

int redraw_whole(ombrel_fbmap_t& fbmap) {
    fbmap.m_update_region = whole(fbmap);
    return __ombrel_fbmap_redraw_region_with_transfer_internal(&fbmap, &fbmap.m_update_region, 0);
}

bool take_size(ombrel_fbmap_t& fbmap, uint32_t resx, uint32_t resy) {
    ombrel_fbmap_t resized = fbmap;
    resized.m_resx = resx;
    resized.m_resy = resy;
    resized.m_map = nullptr;
    if (!measure(resized))
        return false;
    if (resized.m_map_size != 0) {
        resized.m_map = new_pixels(resized.m_map_size, "ombrel_fbmap_resize", __LINE__);
        if (resized.m_map == nullptr)
            return false;
    }
    if (resized.m_map != nullptr && fbmap.m_map != nullptr)
        ombrel_memcpy_blit(resized.m_map, fbmap.m_map, std::min(resized.m_line_length, fbmap.m_line_length),
                           resized.m_line_length, fbmap.m_line_length, std::min(resy, fbmap.m_resy));
    if ((fbmap.m_flags & def_ombrel_fbmap_own_map) != 0)
        ombrel_check_free_tag(fbmap.m_map, "ombrel_fbmap_resize", __LINE__);
    resized.m_flags |= def_ombrel_fbmap_own_map;
    fbmap = resized;
    return true;
}

// Shows a window at its new place, and what it has left at the old one.
int recompose_moved(ombrel_fbmap_t& fbmap, const rectangle& before, uint32_t mode) {
    const rectangle after = locate(fbmap, whole(fbmap)).visible;
    int result = recompose(fbmap, after, mode);
    surroundings uncovered = {before};
    if (rectangle common; overlap(before, after, common))
        uncovered = tile_by_rows(before, common);
    for (const rectangle& piece : uncovered)
        if (recompose(fbmap, piece, mode) != 0)
            result = -1;
    return result;
}

} // namespace

int __ombrel_fbmap_redraw_region_with_transfer_internal(ombrel_fbmap_t* fbmap,
                                                        ombrel_fbmap_rectangle_t* region, uint32_t mode) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}) || region == nullptr)
        return -1;
    const placement at = locate(*fbmap, *region);
    if (is_empty(at.visible))
        return 0;
    const rectangle asked = *region;
    *region = {};
    const int result = recompose(*fbmap, at.visible, mode);
    const int transferred = __ombrel_fbmap_transfer_internal(at.root);
    if (result != 0)
        unite(*region, asked); // so that the caller may try again
    return result != 0 ? result : transferred;
}

int __ombrel_fbmap_transfer_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return -1;
    const by_depth<ombrel_fbmap_transfer_t> none = {transfer_nothing, transfer_nothing, transfer_nothing,
                                                    transfer_nothing};
    const ombrel_fbmap_transfer_t transfer =
        operation(*fbmap, &ombrel_fbmap_t::m_transfer, ombrel_fbmap_transfer, none,
                  {source_name, {__func__, __LINE__}});
    if (transfer == nullptr)
        return -1;
    const int result = transfer(fbmap);
    // A window's region is what is still to be recomposed, which no transfer does.
    if (result != -1 && fbmap->m_parent == nullptr)
        fbmap->m_update_region = {};
    return result;
}

int __ombrel_fbmap_update_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return -1;
    if (is_empty(fbmap->m_update_region))
        return 0;
    if (fbmap->m_parent == nullptr)
        return __ombrel_fbmap_transfer_internal(fbmap);
    return __ombrel_fbmap_redraw_region_with_transfer_internal(fbmap, &fbmap->m_update_region, 0);
}

int __ombrel_fbmap_show_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return -1;
    if (!is_hidden(*fbmap) || fbmap->m_parent == nullptr)
        return 0;
    fbmap->m_flags &= ~def_ombrel_fbmap_hidden;
    return redraw_whole(*fbmap);
}

int __ombrel_fbmap_hide_internal(ombrel_fbmap_t* fbmap) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return -1;
    if (is_hidden(*fbmap) || fbmap->m_parent == nullptr)
        return 0;
    fbmap->m_flags |= def_ombrel_fbmap_hidden;
    return redraw_whole(*fbmap);
}

int __ombrel_fbmap_move_internal(ombrel_fbmap_t* fbmap, int32_t x, int32_t y) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return -1;
    return __ombrel_fbmap_resize_internal(fbmap, x, y, fbmap->m_resx, fbmap->m_resy);
}

int __ombrel_fbmap_resize_internal(ombrel_fbmap_t* fbmap, int32_t x, int32_t y, uint32_t resx,
                                   uint32_t resy) {
    if (is_refused(fbmap, {source_name, {__func__, __LINE__}}))
        return -1;
    const bool same_size = resx == fbmap->m_resx && resy == fbmap->m_resy;
    if (fbmap->m_parent == nullptr || (same_size && x == fbmap->m_x && y == fbmap->m_y))
        return 0;
    // Children of a window without pixels of its own count as above it, but move with it, too.
    const uint32_t mode =
        (fbmap->m_flags & def_ombrel_fbmap_own_map) != 0 ? 0 : def_ombrel_fbmap_redraw_reached;
    const rectangle before = locate(*fbmap, whole(*fbmap)).visible;
    fbmap->m_x = x;
    fbmap->m_y = y;
    int result = 0;
    if (!same_size && !take_size(*fbmap, resx, resy))
        result = fail({source_name, {__func__, __LINE__}}, "not enough memory ! resize failed !");
    if (recompose_moved(*fbmap, before, mode) != 0)
        result = -1;
    const int transferred = __ombrel_fbmap_transfer_internal(&root_of(*fbmap));
    return result != 0 ? result : transferred;
}
