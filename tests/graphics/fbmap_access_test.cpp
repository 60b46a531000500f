// What reads and sets a map's fields, and what is done under the lock of all maps.
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/fbmap.h>
#include <ombrel/fbmap_box.h>
#include <ombrel/fbmap_draw.h>

#include "support/heap_balance.h"

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
    const std::pair<uint32_t (*)(ombrel_fbmap_t*), uint32_t> words[] = {
        {ombrel_fbmap_get_map_size, 90},
        {ombrel_fbmap_get_color_interface, world::rgb565},
        {ombrel_fbmap_get_bits_per_pixel, 16},
        {ombrel_fbmap_get_line_length, 18},
        {ombrel_fbmap_get_resx, 9},
        {ombrel_fbmap_get_resy, 5}};
    for (const auto& [get, expected] : words)
        EXPECT_EQ(get(&of.window), expected);
    EXPECT_EQ(2, ombrel_fbmap_get_x(&of.window));
    EXPECT_EQ(3, ombrel_fbmap_get_y(&of.window));
    EXPECT_EQ(0, ombrel_fbmap_is_closed(&of.window));
    of.root.m_flags |= def_ombrel_fbmap_closed;
    EXPECT_EQ(1, ombrel_fbmap_is_closed(&of.window)) << "its root is";
}

struct setter {
    const char* name;
    int (*set)(ombrel_fbmap_t* map);
    void (*expect)(ombrel_fbmap_t& map);
};

#define SETTER(name, expectation, ...)                                                                       \
    {                                                                                                        \
#name, [](ombrel_fbmap_t *                                                                           \
                  map) { return ombrel_fbmap_##name(map, __VA_ARGS__); }, [](ombrel_fbmap_t &                \
                                                                             map) { expectation; }           \
    }
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
    int (*locks)(world& of);
    int (*is_inside)(world& of);
};

#define LOCKED(name, ...)                                                                                    \
    {                                                                                                        \
#name, [](world& of) { return static_cast<int>(ombrel_##name(&of.window __VA_OPT__(, ) __VA_ARGS__)); },  \
     [](world& of) {                                                                                         \
         return static_cast<int>(__ombrel_##name##_internal(&of.window __VA_OPT__(, ) __VA_ARGS__));           \
     }  \
    }

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
    std::vector<int> results;
    for (const locked_call& row : locked_calls) {
        const std::string before = locked.state();
        results.push_back(row.is_inside(locked));
        states.push_back(locked.state());
        EXPECT_TRUE(states.back() != before) << row.name << " did nothing";
    }
    EXPECT_EQ(0, ombrel_fbmap_unlock());
    for (size_t i = 0; i < std::size(locked_calls); i++) {
        EXPECT_EQ(locked_calls[i].locks(alone), results[i]) << locked_calls[i].name;
        EXPECT_TRUE(alone.state() == states[i]) << locked_calls[i].name;
    }
}

TEST_F(FbmapAccess, TheLockKeepsOtherThreadsOut) {
    world of;
    EXPECT_EQ(0, ombrel_fbmap_lock());
    std::thread other([&] { EXPECT_EQ(0, ombrel_fbmap_set_brush_angle(&of.window, 90)); });
    for (int i = 0; i < 20; i++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(0, of.window.m_brush_angle);
    }
    EXPECT_EQ(0, ombrel_fbmap_unlock());
    other.join();
    EXPECT_EQ(90, of.window.m_brush_angle);
}

} // namespace
} // namespace ombrel_test
