// What reads and sets a map's fields, what is done under the lock of all maps, and what null pointers do.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/bitmap.h>
#include <ombrel/color.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_box.h>
#include <ombrel/fbmap_draw.h>

#include "support/argument_list.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/matches.h"
#include "support/waiting_call.h"

namespace ombrel_test {
namespace {

/// A root and a window on it that is not at its corner, with a bitmap beside them.
class world : no_copy {
public:
    world() {
        ombrel_init_fbmap(&root, nullptr, own, argb8888, 0, 0, 12, 10);
        ombrel_init_fbmap(&window, &root, own | def_ombrel_fbmap_hidden, rgb565, 2, 3, 9, 5);
        window.m_flags |= def_ombrel_fbmap_brush_fcolor;
        root.m_transfer = window.m_transfer = count;
        for (uint32_t i = 0; i < std::size(pixel); i++)
            pixel[i] = 0xFF102030 * (i + 1);
    }
    ~world() {
        ombrel_destroy_fbmap(&window);
        ombrel_destroy_fbmap(&root);
    }

    /// Everything that a call may change.
    std::string state() const {
        std::string all(reinterpret_cast<const char*>(pixel), sizeof pixel);
        for (const ombrel_fbmap_t* map : {&root, &window}) {
            all.append(static_cast<const char*>(map->m_map), map->m_map_size);
            all.append(reinterpret_cast<const char*>(&map->m_update_region), sizeof map->m_update_region);
            for (const int64_t field : {int64_t{map->m_flags}, int64_t{map->m_x}, int64_t{map->m_y},
                                        int64_t{map->m_resx}, int64_t{map->m_resy}, int64_t{map->m_ccolor}})
                all += std::to_string(field) + ' ';
        }
        return all;
    }

    static constexpr uint32_t own = def_ombrel_fbmap_own_map, argb8888 = 0x18485868, rgb565 = 0x00455665;
    ombrel_fbmap_t root{}, window{};
    uint32_t pixel[12];
    ombrel_bitmap_t bitmap = {pixel, argb8888, 4, 3, 16, 0, 0, 0};

private:
    static int count(ombrel_fbmap_t* map) {
        map->m_ccolor++; // where it shows
        return 5;
    }
};

using FbmapAccess = balanced_test;

TEST_F(FbmapAccess, GettersReadTheirOwnField) {
    world of;
    uint32_t size = 0;
    EXPECT_EQ(ombrel_fbmap_get_map(&of.window, &size), of.window.m_map);
    EXPECT_EQ(90u, size);
    EXPECT_EQ(90u, ombrel_fbmap_get_map_size(&of.window));
    EXPECT_EQ(world::rgb565, ombrel_fbmap_get_color_interface(&of.window));
    EXPECT_EQ(16u, ombrel_fbmap_get_bits_per_pixel(&of.window));
    EXPECT_EQ(18u, ombrel_fbmap_get_line_length(&of.window));
    EXPECT_EQ(9u, ombrel_fbmap_get_resx(&of.window));
    EXPECT_EQ(5u, ombrel_fbmap_get_resy(&of.window));
    EXPECT_EQ(2, ombrel_fbmap_get_x(&of.window));
    EXPECT_EQ(3, ombrel_fbmap_get_y(&of.window));
    EXPECT_EQ(1, ombrel_fbmap_is_visible(&of.window)) << "the hidden bit, meant so";
    EXPECT_EQ(0, ombrel_fbmap_is_visible(&of.root));
    EXPECT_EQ(0, ombrel_fbmap_is_closed(&of.window));
    of.root.m_flags |= def_ombrel_fbmap_closed;
    EXPECT_EQ(1, ombrel_fbmap_is_closed(&of.window)) << "its root is";
}

struct setter {
    const char* name;
    int (*set)(ombrel_fbmap_t* map);
    void (*expect)(ombrel_fbmap_t& map);
};

// clang-format off
#define SETTER(name, expectation, ...)                                                                       \
    {#name, [](ombrel_fbmap_t* map) { return ombrel_fbmap_##name(map, __VA_ARGS__); },                       \
     [](ombrel_fbmap_t& map) { expectation; }}
// clang-format on
#define SWITCH(name, on, off)                                                                                \
    SETTER(name, change_flags(map, on, off), 7), SETTER(name, change_flags(map, off, on), 0)

void change_flags(ombrel_fbmap_t& map, uint32_t set, uint32_t cleared) {
    map.m_flags = (map.m_flags | set) & ~cleared;
}

constexpr uint32_t front = def_ombrel_fbmap_brush_fcolor, back = def_ombrel_fbmap_brush_bcolor,
                   around = def_ombrel_fbmap_brush_ocolor;

const setter setters[] = {
    SWITCH(use_brush_fcolor, front, 0u),
    SWITCH(use_brush_bcolor, back, 0u),
    SWITCH(use_brush_ocolor, around, 0u),
    SWITCH(use_brush_color, front | back | around, 0u),
    SWITCH(use_ccolor, def_ombrel_fbmap_ccolor, 0u),
    SWITCH(use_alpha_window, def_ombrel_fbmap_alpha_window, 0u),
    SWITCH(use_alpha_pixel, def_ombrel_fbmap_alpha_pixel, 0u),
    SWITCH(use_alpha_transfer, 0u, def_ombrel_fbmap_no_alpha_transfer),
    SETTER(set_ccolor, map.m_ccolor = 0xA1B2, 0xA1B2),
    SETTER(set_alpha_window, map.m_alpha_window = 99, 99),
    SETTER(set_brush_fcolor, map.m_brush_fcolor = 1, 1),
    SETTER(set_brush_bcolor, map.m_brush_bcolor = 2, 2),
    SETTER(set_brush_ocolor, map.m_brush_ocolor = 3, 3),
    SETTER(set_brush_color, (map.m_brush_fcolor = 4, map.m_brush_bcolor = 5, map.m_brush_ocolor = 6), 4, 5,
           6),
    SETTER(set_brush_x_scale, (map.m_brush_x_scale = {7, 8}), 7, 8),
    SETTER(set_brush_y_scale, (map.m_brush_y_scale = {9, 10}), 9, 10),
    SETTER(set_brush_xy_scale, (map.m_brush_x_scale = {1, 2}, map.m_brush_y_scale = {3, 4}), 1, 2, 3, 4),
    SETTER(set_brush_x_interval, map.m_brush_x_interval = -11, -11),
    SETTER(set_brush_y_interval, map.m_brush_y_interval = -12, -12),
    SETTER(set_brush_xy_interval, (map.m_brush_x_interval = 13, map.m_brush_y_interval = 14), 13, 14),
    SETTER(set_brush_angle, map.m_brush_angle = -15, -15),
    SETTER(set_brush_x, map.m_brush_x = -16, -16),
    SETTER(set_brush_y, map.m_brush_y = -17, -17),
    SETTER(set_brush_xy, (map.m_brush_x = 18, map.m_brush_y = 19), 18, 19),
    SETTER(set_brush_x_delta, map.m_brush_x_delta = -20, -20),
    SETTER(set_brush_y_delta, map.m_brush_y_delta = -21, -21),
    SETTER(set_brush_xy_delta, (map.m_brush_x_delta = 22, map.m_brush_y_delta = 23), 22, 23),
};

TEST_F(FbmapAccess, SettersSetTheirOwnFieldsAndNothingElse) {
    for (const bool all_on : {false, true}) {
        world of;
        if (all_on)
            of.window.m_flags |= front | back | around | def_ombrel_fbmap_transparent;
        for (const setter& row : setters) {
            ombrel_fbmap_t expected = of.window;
            row.expect(expected);
            EXPECT_EQ(0, row.set(&of.window)) << row.name;
            EXPECT_EQ(0, memcmp(&of.window, &expected, sizeof expected)) << row.name;
        }
    }
}

struct locked_call {
    const char* name;
    int64_t (*locks)(ombrel_fbmap_t* map, world& of);
    int64_t (*is_inside)(ombrel_fbmap_t* map, world& of);
};

// clang-format off
#define LOCKED(name, ...)                                                                                    \
    {#name, [](ombrel_fbmap_t* map, [[maybe_unused]] world& of) {                                            \
         return int64_t{ombrel_##name(map __VA_OPT__(, ) __VA_ARGS__)};                                      \
     }, [](ombrel_fbmap_t* map, [[maybe_unused]] world& of) {                                                \
         return int64_t{__ombrel_##name##_internal(map __VA_OPT__(, ) __VA_ARGS__)};                         \
     }}
// clang-format on

constexpr uint32_t plain = def_ombrel_fbmap_plain;

const locked_call locked_calls[] = {
    LOCKED(fbmap_show),
    LOCKED(fbmap_draw_clear, 0x1234),
    LOCKED(fbmap_draw_pixel, 0x111, 1, 2),
    LOCKED(fbmap_draw_hline, 0x222, 2, 1, 4),
    LOCKED(fbmap_draw_vline, 0x333, 4, 1, 3),
    LOCKED(fbmap_draw_box, 0x444, 1, 1, 5, 3, 0),
    LOCKED(fbmap_draw_line, 0x555, 0, 0, 6, 4),
    LOCKED(fbmap_draw_circle, 0x666, 3, 2, 2, 0),
    LOCKED(fbmap_draw_fill, 0x777, 0, 4),
    LOCKED(fbmap_update),
    LOCKED(fbmap_transfer),
    LOCKED(fbmap_draw_puts, "M"),
    LOCKED(fbmap_draw_ruler),
    LOCKED(fbmap_draw_color_bar, 1, 255, 0, 0, 7, 5),
    LOCKED(fbmap_get_pixel, &of.bitmap, 1, 1, 3, 2),
    LOCKED(fbmap_get_box, &of.bitmap, 0, 0, 2, 1, 4, 3, plain),
    LOCKED(fbmap_draw_clear, 0x4321),
    LOCKED(fbmap_set_box, &of.bitmap, 1, 0, 2, 1, 3, 3, plain),
    LOCKED(fbmap_get_scale_box, &of.bitmap, 0, 0, 4, 3, 1, 1, 2, 2, plain),
    LOCKED(fbmap_set_scale_box, &of.bitmap, 0, 0, 2, 2, 0, 0, 7, 5, plain),
    LOCKED(fbmap_move, 1, 4),
    LOCKED(fbmap_resize, 2, 1, 9, 6),
    LOCKED(fbmap_hide),
};

TEST_F(FbmapAccess, InternalCallsDoTheSameUnderALockThatIsHeld) {
    world alone, locked;
    EXPECT_EQ(0, ombrel_fbmap_lock());
    std::vector<std::string> states;
    std::vector<int64_t> results;
    for (const locked_call& row : locked_calls) {
        const std::string before = locked.state();
        results.push_back(row.is_inside(&locked.window, locked));
        states.push_back(locked.state());
        EXPECT_TRUE(states.back() != before) << row.name << " did nothing";
    }
    EXPECT_EQ(0, ombrel_fbmap_unlock());
    for (size_t i = 0; i < std::size(locked_calls); i++) {
        EXPECT_EQ(locked_calls[i].locks(&alone.window, alone), results[i]) << locked_calls[i].name;
        EXPECT_TRUE(alone.state() == states[i]) << locked_calls[i].name;
    }
}

TEST_F(FbmapAccess, TheLockKeepsOtherThreadsOut) {
    world of;
    EXPECT_EQ(0, ombrel_fbmap_lock());
    {
        const waiting_call other([&] { EXPECT_EQ(0, ombrel_fbmap_set_brush_angle(&of.window, 90)); });
        EXPECT_TRUE(other.is_waiting());
        EXPECT_EQ(0, of.window.m_brush_angle);
        EXPECT_EQ(0, ombrel_fbmap_unlock());
    }
    EXPECT_EQ(90, of.window.m_brush_angle);
}

int by_list(ombrel_fbmap_t* map, const char* format) {
    const auto draw = [=](va_list list) { return ombrel_fbmap_draw_vprintf(map, format, list); };
    return with_list(draw, 1);
}

long long number(auto value) {
    if constexpr (std::is_pointer_v<decltype(value)>)
        return value != nullptr;
    else
        return value;
}

struct call {
    const char* name;
    long long expected;
    long long (*perform)();
};

// clang-format off
#define CALL(function, expected, ...) {#function, expected, [] { return number(function(__VA_ARGS__)); }}
// clang-format on

constexpr auto none = nullptr;
ombrel_fbmap_rectangle_t area = {1, 2, 3, 4};

const call calls_for_a_null_map[] = {
    CALL(ombrel_init_fbmap, 0, none, none, 0, 0x00455665, 0, 0, 4, 4),
    CALL(ombrel_destroy_fbmap, -1, none),
    CALL(ombrel_free_fbmap, 0, none),
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
    CALL(ombrel_fbmap_convert_color, UINT32_MAX, none, 1, 2, 3),
    CALL(ombrel_fbmap_draw_printf, -1, none, "%d", 1),
    {"ombrel_fbmap_draw_vprintf", -1, [] { return number(by_list(none, "%d")); }}};

template<typename Call>
void expect_a_report(const std::string& name, int64_t expected, Call perform) {
    capture errors(stderr);
    EXPECT_EQ(expected, perform()) << name;
    const std::string text = errors.text();
    EXPECT_NE(text.npos, text.find(":" + name + ":")) << name << ": " << text;
    EXPECT_EQ(1u, occurrences(text, "<s_fbmap is null !>")) << name << ": " << text;
}

TEST(Null, ANullMapIsReportedUnderTheFunctionSOwnName) {
    world of;
    for (const call& row : calls_for_a_null_map)
        expect_a_report(row.name, row.expected, row.perform);
    for (const setter& row : setters)
        expect_a_report(std::string("ombrel_fbmap_") + row.name, -1, [&] { return row.set(nullptr); });
    for (const locked_call& row : locked_calls) {
        const std::string name = std::string("ombrel_") + row.name;
        const int expected = name == "ombrel_fbmap_get_pixel" ? 0 : -1;
        expect_a_report(name, expected, [&] { return row.locks(nullptr, of); });
        expect_a_report("__" + name + "_internal", expected, [&] { return row.is_inside(nullptr, of); });
    }
}

ombrel_fbmap_t* map() {
    static uint32_t pixel[4];
    static ombrel_fbmap_t record = {};
    record.m_map = pixel;
    record.m_color_interface = world::argb8888;
    record.m_bits_per_pixel = 32;
    record.m_resx = record.m_resy = 2, record.m_line_length = 8;
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
    CALL(ombrel_fbmap_get_box, -1, map(), none, 0, 0, 0, 0, 1, 1, 0),
    CALL(__ombrel_fbmap_get_box_internal, -1, map(), none, 0, 0, 0, 0, 1, 1, 0),
    CALL(ombrel_fbmap_set_box, -1, map(), none, 0, 0, 0, 0, 1, 1, 0),
    CALL(__ombrel_fbmap_set_box_internal, -1, map(), none, 0, 0, 0, 0, 1, 1, 0),
    CALL(ombrel_fbmap_get_scale_box, -1, map(), none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    CALL(__ombrel_fbmap_get_scale_box_internal, -1, map(), none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    CALL(ombrel_fbmap_set_scale_box, -1, map(), none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    CALL(__ombrel_fbmap_set_scale_box_internal, -1, map(), none, 0, 0, 1, 1, 0, 0, 1, 1, 0),
    CALL(ombrel_fbmap_draw_puts, -1, map(), none),
    CALL(__ombrel_fbmap_draw_puts_internal, -1, map(), none),
    CALL(ombrel_fbmap_draw_printf, -1, map(), none),
    {"ombrel_fbmap_draw_vprintf", -1, [] { return number(by_list(map(), none)); }},
    CALL(ombrel_fbmap_get_pixel, 0, map(), none, 0, 0, 0, 0),
    CALL(__ombrel_fbmap_get_pixel_internal, 0, map(), none, 0, 0, 0, 0),
    CALL(ombrel_copy_raw_bitmap, -1, none, 0, 0, none, 0, 0, 1, 1),
    CALL(ombrel_copy_raw_bitmap_scale, -1, none, 0, 0, 1, 1, none, 0, 0, 1, 1),
};

TEST(Null, OtherNullPointersAreEndured) {
    for (const call& row : calls_with_other_null_pointers)
        EXPECT_EQ(row.perform(), row.expected) << row.name;
}

} // namespace
} // namespace ombrel_test
