// The drawing functions: each does its work by the operation in the map's slot.
#include <ombrel/fbmap_draw.h>

#include <ombrel/color.h>

#include "graphics/window/drawing_operations.h"
#include "graphics/window/fbmap_draw_internal.h"

using namespace ombrel::graphics;

namespace {

/// An operation's slot, the public function that stands for an empty one, and the library's functions.
template<typename Function>
struct slot {
    Function ombrel_fbmap_t::*field;
    Function public_function;
    by_depth<Function> functions;
};

template<typename Function, typename Result, typename... Arguments>
Result perform(ombrel_fbmap_t* fbmap, const slot<Function>& slot, const report_site& site, Result failure,
               Arguments... arguments) {
    if (is_refused(fbmap, site))
        return failure;
    const Function function = operation(*fbmap, slot.field, slot.public_function, slot.functions, site);
    return function != nullptr ? function(fbmap, arguments...) : failure;
}

uint32_t convert_color(ombrel_fbmap_t* fbmap, uint32_t to_interface, uint32_t from_interface,
                       uint32_t color) {
    const auto or_own = [&](uint32_t interface) {
        return interface != 0 ? interface : fbmap->m_color_interface;
    };
    return ombrel_convert_color(or_own(to_interface), or_own(from_interface), color);
}

constexpr slot<ombrel_fbmap_convert_color_t> converting = {
    &ombrel_fbmap_t::m_convert_color,
    ombrel_fbmap_convert_color,
    {convert_color, convert_color, convert_color, convert_color}};
constexpr slot<ombrel_fbmap_draw_clear_t> clearing = {
    &ombrel_fbmap_t::m_draw_clear,
    ombrel_fbmap_draw_clear,
    {draw_clear<1>, draw_clear<2>, draw_clear<3>, draw_clear<4>}};
constexpr slot<ombrel_fbmap_draw_pixel_t> pixels = {
    &ombrel_fbmap_t::m_draw_pixel,
    ombrel_fbmap_draw_pixel,
    {draw_pixel<1>, draw_pixel<2>, draw_pixel<3>, draw_pixel<4>}};
constexpr slot<ombrel_fbmap_draw_span_t> horizontal_lines = {
    &ombrel_fbmap_t::m_draw_hline,
    ombrel_fbmap_draw_hline,
    {draw_hline<1>, draw_hline<2>, draw_hline<3>, draw_hline<4>}};
constexpr slot<ombrel_fbmap_draw_span_t> vertical_lines = {
    &ombrel_fbmap_t::m_draw_vline,
    ombrel_fbmap_draw_vline,
    {draw_vline<1>, draw_vline<2>, draw_vline<3>, draw_vline<4>}};
constexpr slot<ombrel_fbmap_draw_box_t> boxes = {
    &ombrel_fbmap_t::m_draw_box, ombrel_fbmap_draw_box, {draw_box<1>, draw_box<2>, draw_box<3>, draw_box<4>}};
constexpr slot<ombrel_fbmap_draw_line_t> lines = {&ombrel_fbmap_t::m_draw_line,
                                                  ombrel_fbmap_draw_line,
                                                  {draw_line<1>, draw_line<2>, draw_line<3>, draw_line<4>}};
constexpr slot<ombrel_fbmap_draw_circle_t> circles = {
    &ombrel_fbmap_t::m_draw_circle,
    ombrel_fbmap_draw_circle,
    {draw_circle<1>, draw_circle<2>, draw_circle<3>, draw_circle<4>}};
constexpr slot<ombrel_fbmap_draw_pixel_t> filling = {
    &ombrel_fbmap_t::m_draw_fill,
    ombrel_fbmap_draw_fill,
    {draw_fill<1>, draw_fill<2>, draw_fill<3>, draw_fill<4>}};
constexpr slot<ombrel_fbmap_get_pixel_t> reading = {&ombrel_fbmap_t::m_get_pixel,
                                                    ombrel_fbmap_get_pixel,
                                                    {get_pixel<1>, get_pixel<2>, get_pixel<3>, get_pixel<4>}};

} // namespace

/* The forms for callers that hold the lock. */

int __ombrel_fbmap_draw_clear_internal(ombrel_fbmap_t* fbmap, uint32_t color) {
    return perform(fbmap, clearing, OMBREL_DRAW_SITE, -1, color);
}

int __ombrel_fbmap_draw_pixel_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y) {
    return perform(fbmap, pixels, OMBREL_DRAW_SITE, -1, color, x, y);
}

int __ombrel_fbmap_draw_hline_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                       uint32_t length) {
    return perform(fbmap, horizontal_lines, OMBREL_DRAW_SITE, -1, color, x, y, length);
}

int __ombrel_fbmap_draw_vline_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y,
                                       uint32_t length) {
    return perform(fbmap, vertical_lines, OMBREL_DRAW_SITE, -1, color, x, y, length);
}

int __ombrel_fbmap_draw_box_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y, uint32_t w,
                                     uint32_t h, int fill) {
    return perform(fbmap, boxes, OMBREL_DRAW_SITE, -1, color, x, y, w, h, fill);
}

int __ombrel_fbmap_draw_line_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x1, int32_t y1,
                                      int32_t x2, int32_t y2) {
    return perform(fbmap, lines, OMBREL_DRAW_SITE, -1, color, x1, y1, x2, y2);
}

int __ombrel_fbmap_draw_circle_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t cx, int32_t cy,
                                        uint32_t radius, int fill) {
    return perform(fbmap, circles, OMBREL_DRAW_SITE, -1, color, cx, cy, radius, fill);
}

int __ombrel_fbmap_draw_fill_internal(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y) {
    return perform(fbmap, filling, OMBREL_DRAW_SITE, -1, color, x, y);
}

uint32_t __ombrel_fbmap_get_pixel_internal(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                           int32_t bitmap_y, int32_t x, int32_t y) {
    return perform(fbmap, reading, OMBREL_DRAW_SITE, uint32_t{0}, bitmap, bitmap_x, bitmap_y, x, y);
}

/* The forms that take the lock. */

uint32_t ombrel_fbmap_convert_color(ombrel_fbmap_t* fbmap, uint32_t to_interface, uint32_t from_interface,
                                    uint32_t color) {
    const report_site site = OMBREL_DRAW_SITE;
    return locked(fbmap, site, UINT32_MAX, [&] {
        return perform(fbmap, converting, site, UINT32_MAX, to_interface, from_interface, color);
    });
}

int ombrel_fbmap_draw_clear(ombrel_fbmap_t* fbmap, uint32_t color) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_clear_internal(fbmap, color); });
}

int ombrel_fbmap_draw_pixel(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_pixel_internal(fbmap, color, x, y); });
}

int ombrel_fbmap_draw_hline(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y, uint32_t length) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_hline_internal(fbmap, color, x, y, length); });
}

int ombrel_fbmap_draw_vline(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y, uint32_t length) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_vline_internal(fbmap, color, x, y, length); });
}

int ombrel_fbmap_draw_box(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y, uint32_t w, uint32_t h,
                          int fill) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_box_internal(fbmap, color, x, y, w, h, fill); });
}

int ombrel_fbmap_draw_line(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x1, int32_t y1, int32_t x2,
                           int32_t y2) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_line_internal(fbmap, color, x1, y1, x2, y2); });
}

int ombrel_fbmap_draw_circle(ombrel_fbmap_t* fbmap, uint32_t color, int32_t cx, int32_t cy, uint32_t radius,
                             int fill) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_circle_internal(fbmap, color, cx, cy, radius, fill); });
}

int ombrel_fbmap_draw_fill(ombrel_fbmap_t* fbmap, uint32_t color, int32_t x, int32_t y) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_fill_internal(fbmap, color, x, y); });
}

uint32_t ombrel_fbmap_get_pixel(ombrel_fbmap_t* fbmap, ombrel_bitmap_t* bitmap, int32_t bitmap_x,
                                int32_t bitmap_y, int32_t x, int32_t y) {
    return locked(fbmap, OMBREL_DRAW_SITE, uint32_t{0},
                  [&] { return __ombrel_fbmap_get_pixel_internal(fbmap, bitmap, bitmap_x, bitmap_y, x, y); });
}
