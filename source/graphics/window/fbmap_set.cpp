#include <ombrel/fbmap.h>

#include "graphics/window/fbmap_internal.h"

using namespace ombrel::graphics;

namespace {

constexpr const char source_name[] = "source/fbmap_get";

void set_flags(ombrel_fbmap_t& fbmap, uint32_t flags, bool on) {
    fbmap.m_flags = on ? fbmap.m_flags | flags : fbmap.m_flags & ~flags;
}

/// Changes how the map looks, and shows it.
template<typename Change>
int change_look(ombrel_fbmap_t* fbmap, const char* function, unsigned long line, Change change) {
    return locked(fbmap, {source_name, {function, line}}, -1, [&] {
        change();
        if (is_hidden(*fbmap))
            return 0;
        fbmap->m_update_region = whole(*fbmap);
        return __ombrel_fbmap_update_internal(fbmap);
    });
}

int use(ombrel_fbmap_t* fbmap, uint32_t flags, bool on, const char* function, unsigned long line) {
    return change_look(fbmap, function, line, [&] { set_flags(*fbmap, flags, on); });
}

/// Changes the brush, which shows in what is drawn from then on.
template<typename Change>
int change_brush(ombrel_fbmap_t* fbmap, const char* function, unsigned long line, Change change) {
    return locked(fbmap, {source_name, {function, line}}, -1, [&] {
        change();
        return 0;
    });
}

int use_brush(ombrel_fbmap_t* fbmap, uint32_t flags, bool on, const char* function, unsigned long line) {
    return change_brush(fbmap, function, line, [&] { set_flags(*fbmap, flags, on); });
}

template<typename Value>
int set_brush(ombrel_fbmap_t* fbmap, Value ombrel_fbmap_t::*field, Value value, const char* function,
              unsigned long line) {
    return change_brush(fbmap, function, line, [&] { fbmap->*field = value; });
}

template<typename Value>
int set_brush(ombrel_fbmap_t* fbmap, Value ombrel_fbmap_t::*x_field, Value x, Value ombrel_fbmap_t::*y_field,
              Value y, const char* function, unsigned long line) {
    return change_brush(fbmap, function, line, [&] {
        fbmap->*x_field = x;
        fbmap->*y_field = y;
    });
}

} // namespace

int ombrel_fbmap_use_ccolor(ombrel_fbmap_t* fbmap, int on) {
    return use(fbmap, def_ombrel_fbmap_ccolor, on != 0, __func__, __LINE__);
}

int ombrel_fbmap_set_ccolor(ombrel_fbmap_t* fbmap, uint32_t color) {
    return change_look(fbmap, __func__, __LINE__, [&] { fbmap->m_ccolor = color; });
}

int ombrel_fbmap_use_alpha_window(ombrel_fbmap_t* fbmap, int on) {
    return use(fbmap, def_ombrel_fbmap_alpha_window, on != 0, __func__, __LINE__);
}

int ombrel_fbmap_set_alpha_window(ombrel_fbmap_t* fbmap, uint32_t alpha) {
    return change_look(fbmap, __func__, __LINE__, [&] { fbmap->m_alpha_window = alpha; });
}

int ombrel_fbmap_use_alpha_pixel(ombrel_fbmap_t* fbmap, int on) {
    return use(fbmap, def_ombrel_fbmap_alpha_pixel, on != 0, __func__, __LINE__);
}

// The flag says the opposite of the argument.
int ombrel_fbmap_use_alpha_transfer(ombrel_fbmap_t* fbmap, int on) {
    return use(fbmap, def_ombrel_fbmap_no_alpha_transfer, on == 0, __func__, __LINE__);
}

int ombrel_fbmap_use_brush_fcolor(ombrel_fbmap_t* fbmap, int on) {
    return use_brush(fbmap, def_ombrel_fbmap_brush_fcolor, on != 0, __func__, __LINE__);
}

int ombrel_fbmap_use_brush_bcolor(ombrel_fbmap_t* fbmap, int on) {
    return use_brush(fbmap, def_ombrel_fbmap_brush_bcolor, on != 0, __func__, __LINE__);
}

int ombrel_fbmap_use_brush_ocolor(ombrel_fbmap_t* fbmap, int on) {
    return use_brush(fbmap, def_ombrel_fbmap_brush_ocolor, on != 0, __func__, __LINE__);
}

int ombrel_fbmap_use_brush_color(ombrel_fbmap_t* fbmap, int on) {
    return use_brush(
        fbmap, def_ombrel_fbmap_brush_fcolor | def_ombrel_fbmap_brush_bcolor | def_ombrel_fbmap_brush_ocolor,
        on != 0, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_fcolor(ombrel_fbmap_t* fbmap, uint32_t color) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_fcolor, color, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_bcolor(ombrel_fbmap_t* fbmap, uint32_t color) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_bcolor, color, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_ocolor(ombrel_fbmap_t* fbmap, uint32_t color) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_ocolor, color, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_color(ombrel_fbmap_t* fbmap, uint32_t fcolor, uint32_t bcolor, uint32_t ocolor) {
    return change_brush(fbmap, __func__, __LINE__, [&] {
        fbmap->m_brush_fcolor = fcolor;
        fbmap->m_brush_bcolor = bcolor;
        fbmap->m_brush_ocolor = ocolor;
    });
}

int ombrel_fbmap_set_brush_x_scale(ombrel_fbmap_t* fbmap, uint32_t numerator, uint32_t denominator) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x_scale, {numerator, denominator}, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_y_scale(ombrel_fbmap_t* fbmap, uint32_t numerator, uint32_t denominator) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_y_scale, {numerator, denominator}, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_xy_scale(ombrel_fbmap_t* fbmap, uint32_t x_numerator, uint32_t x_denominator,
                                    uint32_t y_numerator, uint32_t y_denominator) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x_scale, {x_numerator, x_denominator},
                     &ombrel_fbmap_t::m_brush_y_scale, {y_numerator, y_denominator}, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_x_interval(ombrel_fbmap_t* fbmap, int32_t interval) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x_interval, interval, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_y_interval(ombrel_fbmap_t* fbmap, int32_t interval) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_y_interval, interval, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_xy_interval(ombrel_fbmap_t* fbmap, int32_t x_interval, int32_t y_interval) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x_interval, x_interval,
                     &ombrel_fbmap_t::m_brush_y_interval, y_interval, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_angle(ombrel_fbmap_t* fbmap, int32_t angle) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_angle, angle, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_x(ombrel_fbmap_t* fbmap, int32_t x) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x, x, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_y(ombrel_fbmap_t* fbmap, int32_t y) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_y, y, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_xy(ombrel_fbmap_t* fbmap, int32_t x, int32_t y) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x, x, &ombrel_fbmap_t::m_brush_y, y, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_x_delta(ombrel_fbmap_t* fbmap, int32_t x_delta) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x_delta, x_delta, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_y_delta(ombrel_fbmap_t* fbmap, int32_t y_delta) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_y_delta, y_delta, __func__, __LINE__);
}

int ombrel_fbmap_set_brush_xy_delta(ombrel_fbmap_t* fbmap, int32_t x_delta, int32_t y_delta) {
    return set_brush(fbmap, &ombrel_fbmap_t::m_brush_x_delta, x_delta, &ombrel_fbmap_t::m_brush_y_delta,
                     y_delta, __func__, __LINE__);
}
