#include <ombrel/bitmap.h>

#include "graphics/pixel/bitmap_box.h"
#include "graphics/window/fbmap_internal.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/fbmap";

int get(const ombrel_fbmap_t& map, ombrel_bitmap_t* bitmap, const rectangle& target, const rectangle& source,
        uint32_t mode, const report_site& site) {
    return bitmap != nullptr ? result_of(put_box(*bitmap, target, view_of(map), source, mode), site) : -1;
}

int set(ombrel_fbmap_t& map, const ombrel_bitmap_t* bitmap, const rectangle& source, const rectangle& target,
        uint32_t mode, const report_site& site) {
    if (bitmap == nullptr)
        return -1;
    const box_outcome outcome = put_box(view_of(map), target, *bitmap, source, mode);
    grow_update_region(map, outcome.touched);
    return result_of(outcome, site);
}

// The functions for a map's slots.

int get_box(ombrel_fbmap_t* map, ombrel_bitmap_t* bitmap, int32_t bitmap_x, int32_t bitmap_y, int32_t x,
            int32_t y, uint32_t w, uint32_t h, uint32_t mode) {
    return get(*map, bitmap, {bitmap_x, bitmap_y, w, h}, {x, y, w, h}, mode,
               {source_name, {"ombrel_fbmap_get_box", __LINE__}});
}

int set_box(ombrel_fbmap_t* map, const ombrel_bitmap_t* bitmap, int32_t bitmap_x, int32_t bitmap_y, int32_t x,
            int32_t y, uint32_t w, uint32_t h, uint32_t mode) {
    return set(*map, bitmap, {bitmap_x, bitmap_y, w, h}, {x, y, w, h}, mode,
               {source_name, {"ombrel_fbmap_set_box", __LINE__}});
}

int get_scale_box(ombrel_fbmap_t* map, ombrel_bitmap_t* bitmap, int32_t bitmap_x, int32_t bitmap_y,
                  uint32_t bitmap_w, uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                  uint32_t mode) {
    return get(*map, bitmap, {bitmap_x, bitmap_y, bitmap_w, bitmap_h}, {x, y, w, h}, mode,
               {source_name, {"ombrel_fbmap_get_scale_box", __LINE__}});
}

int set_scale_box(ombrel_fbmap_t* map, const ombrel_bitmap_t* bitmap, int32_t bitmap_x, int32_t bitmap_y,
                  uint32_t bitmap_w, uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                  uint32_t mode) {
    return set(*map, bitmap, {bitmap_x, bitmap_y, bitmap_w, bitmap_h}, {x, y, w, h}, mode,
               {source_name, {"ombrel_fbmap_set_scale_box", __LINE__}});
}

template<typename Function>
constexpr by_depth<Function> for_every_depth(Function function) {
    return {function, function, function, function};
}

// Calls the function in a slot, filling it first.
template<typename Function, typename... Arguments>
int call(ombrel_fbmap_t* map, Function ombrel_fbmap_t::*slot, Function public_function, Function own,
         const report_site& site, Arguments... arguments) {
    if (is_refused(map, site))
        return -1;
    const Function function = operation(*map, slot, public_function, for_every_depth(own), site);
    return function != nullptr ? function(map, arguments...) : -1;
}

} // namespace

int __ombrel_fbmap_get_box_internal(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                    int32_t bitmap_y, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                    uint32_t mode) {
    return call(fbmap, &ombrel_fbmap_t::m_get_box, ombrel_fbmap_get_box, get_box,
                {source_name, {__func__, __LINE__}}, bitmap, bitmap_x, bitmap_y, x, y, w, h, mode);
}

int __ombrel_fbmap_set_box_internal(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                    int32_t bitmap_y, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                    uint32_t mode) {
    return call(fbmap, &ombrel_fbmap_t::m_set_box, ombrel_fbmap_set_box, set_box,
                {source_name, {__func__, __LINE__}}, bitmap, bitmap_x, bitmap_y, x, y, w, h, mode);
}

int __ombrel_fbmap_get_scale_box_internal(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                          int32_t bitmap_y, uint32_t bitmap_w, uint32_t bitmap_h, int32_t x,
                                          int32_t y, uint32_t w, uint32_t h, uint32_t mode) {
    return call(fbmap, &ombrel_fbmap_t::m_get_scale_box, ombrel_fbmap_get_scale_box, get_scale_box,
                {source_name, {__func__, __LINE__}}, bitmap, bitmap_x, bitmap_y, bitmap_w, bitmap_h, x, y, w,
                h, mode);
}

int __ombrel_fbmap_set_scale_box_internal(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap,
                                          int32_t bitmap_x, int32_t bitmap_y, uint32_t bitmap_w,
                                          uint32_t bitmap_h, int32_t x, int32_t y, uint32_t w, uint32_t h,
                                          uint32_t mode) {
    return call(fbmap, &ombrel_fbmap_t::m_set_scale_box, ombrel_fbmap_set_scale_box, set_scale_box,
                {source_name, {__func__, __LINE__}}, bitmap, bitmap_x, bitmap_y, bitmap_w, bitmap_h, x, y, w,
                h, mode);
}

int ombrel_fbmap_get_box(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x, int32_t bitmap_y,
                         int32_t x, int32_t y, uint32_t w, uint32_t h, uint32_t mode) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] {
        return __ombrel_fbmap_get_box_internal(fbmap, bitmap, bitmap_x, bitmap_y, x, y, w, h, mode);
    });
}

int ombrel_fbmap_set_box(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                         int32_t bitmap_y, int32_t x, int32_t y, uint32_t w, uint32_t h, uint32_t mode) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] {
        return __ombrel_fbmap_set_box_internal(fbmap, bitmap, bitmap_x, bitmap_y, x, y, w, h, mode);
    });
}

int ombrel_fbmap_get_scale_box(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                               int32_t bitmap_y, uint32_t bitmap_w, uint32_t bitmap_h, int32_t x, int32_t y,
                               uint32_t w, uint32_t h, uint32_t mode) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] {
        return __ombrel_fbmap_get_scale_box_internal(fbmap, bitmap, bitmap_x, bitmap_y, bitmap_w, bitmap_h, x,
                                                     y, w, h, mode);
    });
}

int ombrel_fbmap_set_scale_box(ombrel_fbmap_t* fbmap, const ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                               int32_t bitmap_y, uint32_t bitmap_w, uint32_t bitmap_h, int32_t x, int32_t y,
                               uint32_t w, uint32_t h, uint32_t mode) {
    return locked(fbmap, {source_name, {__func__, __LINE__}}, -1, [&] {
        return __ombrel_fbmap_set_scale_box_internal(fbmap, bitmap, bitmap_x, bitmap_y, bitmap_w, bitmap_h, x,
                                                     y, w, h, mode);
    });
}
