// What every function of maps, drawing and boxes does with a null map and other null pointers.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/bitmap.h>
#include <ombrel/color.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>

#include "support/argument_list.h"
#include "support/capture.h"

namespace {

int by_list(ombrel_fbmap_t* map, const char* format) {
    const auto draw = [=](va_list list) { return ombrel_fbmap_draw_vprintf(map, format, list); };
    return ombrel_test::with_list(draw, 1);
}

long long number(long long value) {
    return value;
}
long long number(const void* pointer) {
    return pointer != nullptr;
}

struct call {
    const char* name;
    long long expected;
    std::function<long long()> perform;
};

#define CALL(function, expected, ...)                                                                        \
    {                                                                                                        \
#function, expected, [] { return number(function(__VA_ARGS__)); }                                    \
    }
#define LOCKED_AND_INTERNAL(function, expected, ...)                                                         \
    CALL(ombrel_##function, expected, __VA_ARGS__),                                                          \
        CALL(__ombrel_##function##_internal, expected, __VA_ARGS__)

constexpr auto none = nullptr;
ombrel_fbmap_rectangle_t area = {1, 2, 3, 4};

const call calls_for_a_null_map[] = {
    CALL(ombrel_init_fbmap, 0, none, none, 0, 0x00455665, 0, 0, 4, 4),
    CALL(ombrel_destroy_fbmap, -1, none),
    CALL(ombrel_free_fbmap, 0, none),
    LOCKED_AND_INTERNAL(fbmap_show, -1, none),
    LOCKED_AND_INTERNAL(fbmap_hide, -1, none),
    LOCKED_AND_INTERNAL(fbmap_move, -1, none, 1, 1),
    LOCKED_AND_INTERNAL(fbmap_resize, -1, none, 1, 1, 2, 2),
    LOCKED_AND_INTERNAL(fbmap_update, -1, none),
    LOCKED_AND_INTERNAL(fbmap_transfer, -1, none),
    CALL(__ombrel_fbmap_get_abs_region_internal, 0, none, &area, none, none, none),
    CALL(__ombrel_fbmap_redraw_region_with_transfer_internal, -1, none, &area, 0),
    CALL(__ombrel_fbmap_redraw_region_recursive_internal, UINT32_MAX, none, none, none, 0),
    CALL(ombrel_fbmap_is_closed, -1, none),
    CALL(ombrel_fbmap_is_visible, -1, none),
    CALL(ombrel_fbmap_get_map, 0, none, none),
    CALL(ombrel_fbmap_get_map_size, 0, none),
    CALL(ombrel_fbmap_get_color_interface, 0, none),
    CALL(ombrel_fbmap_get_bits_per_pixel, 0, none),
    CALL(ombrel_fbmap_get_line_length, 0, none),
    CALL(ombrel_fbmap_get_x, 0, none),
    CALL(ombrel_fbmap_get_y, 0, none),
    CALL(ombrel_fbmap_get_resx, 0, none),
    CALL(ombrel_fbmap_get_resy, 0, none),
    CALL(ombrel_fbmap_use_ccolor, -1, none, 1),
    CALL(ombrel_fbmap_set_ccolor, -1, none, 1),
    CALL(ombrel_fbmap_use_alpha_window, -1, none, 1),
    CALL(ombrel_fbmap_set_alpha_window, -1, none, 1),
    CALL(ombrel_fbmap_use_alpha_pixel, -1, none, 1),
    CALL(ombrel_fbmap_use_alpha_transfer, -1, none, 1),
    CALL(ombrel_fbmap_use_brush_fcolor, -1, none, 1),
    CALL(ombrel_fbmap_use_brush_bcolor, -1, none, 1),
    CALL(ombrel_fbmap_use_brush_ocolor, -1, none, 1),
    CALL(ombrel_fbmap_use_brush_color, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_fcolor, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_bcolor, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_ocolor, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_color, -1, none, 1, 2, 3),
    CALL(ombrel_fbmap_set_brush_x_scale, -1, none, 1, 2),
    CALL(ombrel_fbmap_set_brush_y_scale, -1, none, 1, 2),
    CALL(ombrel_fbmap_set_brush_xy_scale, -1, none, 1, 2, 3, 4),
    CALL(ombrel_fbmap_set_brush_x_interval, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_y_interval, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_xy_interval, -1, none, 1, 2),
    CALL(ombrel_fbmap_set_brush_angle, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_x, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_y, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_xy, -1, none, 1, 2),
    CALL(ombrel_fbmap_set_brush_x_delta, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_y_delta, -1, none, 1),
    CALL(ombrel_fbmap_set_brush_xy_delta, -1, none, 1, 2),
    LOCKED_AND_INTERNAL(fbmap_get_box, -1, none, none, 0, 0, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_set_box, -1, none, none, 0, 0, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_get_scale_box, -1, none, none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_set_scale_box, -1, none, none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    CALL(ombrel_fbmap_convert_color, UINT32_MAX, none, 1, 2, 3),
    LOCKED_AND_INTERNAL(fbmap_draw_clear, -1, none, 1),
    LOCKED_AND_INTERNAL(fbmap_draw_pixel, -1, none, 1, 0, 0),
    LOCKED_AND_INTERNAL(fbmap_draw_hline, -1, none, 1, 0, 0, 1),
    LOCKED_AND_INTERNAL(fbmap_draw_vline, -1, none, 1, 0, 0, 1),
    LOCKED_AND_INTERNAL(fbmap_draw_box, -1, none, 1, 0, 0, 1, 1, 1),
    LOCKED_AND_INTERNAL(fbmap_draw_line, -1, none, 1, 0, 0, 1, 1),
    LOCKED_AND_INTERNAL(fbmap_draw_circle, -1, none, 1, 0, 0, 1, 1),
    LOCKED_AND_INTERNAL(fbmap_draw_fill, -1, none, 1, 0, 0),
    LOCKED_AND_INTERNAL(fbmap_draw_puts, -1, none, "x"),
    LOCKED_AND_INTERNAL(fbmap_draw_ruler, -1, none),
    LOCKED_AND_INTERNAL(fbmap_draw_color_bar, -1, none, 1, 255, 0, 0, 7, 7),
    LOCKED_AND_INTERNAL(fbmap_get_pixel, 0, none, none, 0, 0, 0, 0),
    CALL(ombrel_fbmap_draw_printf, -1, none, "%d", 1),
    {"ombrel_fbmap_draw_vprintf", -1, [] { return number(by_list(none, "%d")); }},
};

TEST(Null, ANullMapIsReportedUnderTheFunctionSOwnName) {
    for (const call& row : calls_for_a_null_map) {
        ombrel_test::capture errors(stderr);
        EXPECT_EQ(row.perform(), row.expected) << row.name;
        const std::string text = errors.text(), name = std::string(":") + row.name + ":";
        EXPECT_NE(text.find(name), text.npos) << row.name << ": " << text;
        const size_t report = text.find("<s_fbmap is null !>");
        EXPECT_NE(report, text.npos) << row.name << ": " << text;
        EXPECT_EQ(text.find("<s_fbmap is null !>", report + 1), text.npos) << row.name << ": " << text;
    }
}

ombrel_fbmap_t* map() {
    static uint32_t pixel[4];
    static ombrel_fbmap_t record = [] {
        ombrel_fbmap_t made = {};
        made.m_map = pixel;
        made.m_color_interface = 0x18485868;
        made.m_bits_per_pixel = 32;
        made.m_resx = made.m_resy = 2;
        made.m_line_length = 8;
        return made;
    }();
    return &record;
}

const call calls_with_other_null_pointers[] = {
    CALL(ombrel_color_interface_name, 0, none, 0x31),
    CALL(ombrel_sep_overlap_window, -1, none, &area, none, none),
    CALL(ombrel_sep_overlap_window, -1, &area, none, none, none),
    CALL(ombrel_sep_overlap_window, 1, &area, &area, none, none),
    CALL(ombrel_fbmap_get_map, 1, map(), none),
    CALL(__ombrel_fbmap_get_abs_region_internal, 1, map(), none, none, none, none),
    CALL(__ombrel_fbmap_redraw_region_with_transfer_internal, -1, map(), none, 0),
    CALL(__ombrel_fbmap_redraw_region_recursive_internal, UINT32_MAX, none, map(), none, 0),
    LOCKED_AND_INTERNAL(fbmap_get_box, -1, map(), none, 0, 0, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_set_box, -1, map(), none, 0, 0, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_get_scale_box, -1, map(), none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_set_scale_box, -1, map(), none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    LOCKED_AND_INTERNAL(fbmap_draw_puts, -1, map(), none),
    CALL(ombrel_fbmap_draw_printf, -1, map(), none),
    {"ombrel_fbmap_draw_vprintf", -1, [] { return number(by_list(map(), none)); }},
    LOCKED_AND_INTERNAL(fbmap_get_pixel, 0, map(), none, 0, 0, 0, 0),
    CALL(ombrel_copy_raw_bitmap, -1, none, 0, 0, none, 0, 0, 1, 1),
    CALL(ombrel_copy_raw_bitmap_scale, -1, none, 0, 0, 1, 1, none, 0, 0, 1, 1),
};

TEST(Null, OtherNullPointersAreEndured) {
    for (const call& row : calls_with_other_null_pointers)
        EXPECT_EQ(row.perform(), row.expected) << row.name;
}

} // namespace
