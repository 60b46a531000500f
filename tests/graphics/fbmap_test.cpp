#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/bitmap.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>

#include "fbmap_model.h"
#include "graphics/drawing_board.h"
#include "support/capture.h"
#include "support/heap_balance.h"
#include "support/threads.h"

namespace ombrel_test {
namespace {

using rectangle = ombrel_fbmap_rectangle_t;

constexpr uint32_t own = def_ombrel_fbmap_own_map, hidden = def_ombrel_fbmap_hidden;
constexpr uint32_t argb8888 = 0x18485868, rgb888 = 0x00485868, rgb565 = 0x00455665, palette8 = 0xF8;

void fill(ombrel_fbmap_t& map, const rectangle& area, uint32_t color) {
    EXPECT_EQ(0, ombrel_fbmap_draw_box(&map, color, area.m_x, area.m_y, area.m_w, area.m_h, 1));
    EXPECT_EQ(0, ombrel_fbmap_update(&map));
}

void fill(ombrel_fbmap_t& map, uint32_t color) {
    fill(map, {0, 0, map.m_resx, map.m_resy}, color);
}

/// A root whose device has received what was transferred and nothing else.
class screen : no_copy {
public:
    screen(uint32_t color_interface, uint32_t resx, uint32_t resy) {
        ombrel_init_fbmap(&root, nullptr, own, color_interface, 0, 0, resx, resy);
        root.m_transfer = receive;
        device.resize(size_t{resx} * resy);
    }
    ~screen() { ombrel_destroy_fbmap(&root); }

    ombrel_fbmap_t* window(ombrel_fbmap_t* parent, int32_t x, int32_t y, uint32_t w, uint32_t h,
                           uint32_t color, uint32_t flags = 0) {
        ombrel_fbmap_t* made = ombrel_new_fbmap(parent, own | flags, 0, x, y, w, h);
        fill(*made, color);
        return made;
    }
    uint32_t at(size_t x, size_t y) const { return device[y * root.m_resx + x]; }

    ombrel_fbmap_t root;
    pixels device;
    size_t transferred = 0;

private:
    static int receive(ombrel_fbmap_t* map) {
        auto& self = *reinterpret_cast<screen*>(map); // the root is its first member
        const rectangle area = map->m_update_region;
        self.transferred += size_t{area.m_w} * area.m_h;
        const auto left = static_cast<size_t>(area.m_x), top = static_cast<size_t>(area.m_y);
        for (size_t y = top; y < top + area.m_h; y++)
            for (size_t x = left; x < left + area.m_w; x++)
                self.device[y * map->m_resx + x] = pixel(*map, x, y);
        return 0;
    }
};

using numbers = std::mt19937;

uint32_t below(numbers& random, uint32_t limit) {
    return static_cast<uint32_t>(random() % limit);
}

// A few colours, so that colour keys meet.
uint32_t random_color(numbers& random) {
    static constexpr uint32_t colors[] = {0, 0xFFFFFFFF, 0x80FF4001, 0x12345678, 0xC00F81F3};
    return colors[below(random, 5)];
}

void collect(ombrel_fbmap_t& map, std::vector<ombrel_fbmap_t*>& windows) {
    for (ombrel_fbmap_t* child = map.m_children; child != nullptr; child = child->m_next) {
        windows.push_back(child);
        collect(*child, windows);
    }
}

void add_window(screen& display, ombrel_fbmap_t* parent, numbers& random) {
    const auto place = [&] { return static_cast<int32_t>(below(random, 40)) - 12; };
    const uint32_t flags = random() % 4 == 0 ? def_ombrel_fbmap_append : 0;
    ombrel_fbmap_t* made = display.window(parent, place(), place(), 1 + below(random, 25),
                                          1 + below(random, 25), random_color(random), flags | hidden);
    fill(*made, {0, 0, 5, 5}, random_color(random));
    ombrel_fbmap_show(made);
}

void change(screen& display, numbers& random) {
    std::vector<ombrel_fbmap_t*> windows;
    collect(display.root, windows);
    const uint32_t kind = windows.size() > 12 ? 0 : below(random, 14);
    ombrel_fbmap_t* window = windows.empty() ? &display.root : windows[random() % windows.size()];
    if (windows.empty() || kind > 11)
        return add_window(display, kind == 13 ? window : &display.root, random);
    const auto within = [&](uint32_t limit) { return static_cast<int32_t>(below(random, limit)); };
    const int32_t x = within(60) - 20, y = within(50) - 20;
    const uint32_t color = random_color(random);
    if (kind == 0) {
        while (window->m_children != nullptr)
            window = window->m_children;
        ombrel_free_fbmap(window);
    } else if (kind <= 3) {
        const auto length = [&](uint32_t now) { return kind < 3 ? now : 1 + below(random, 30); };
        ombrel_fbmap_resize(window, x, y, length(window->m_resx), length(window->m_resy));
    } else if (kind <= 5) {
        (kind == 4 ? ombrel_fbmap_hide : ombrel_fbmap_show)(window);
    } else if (kind <= 8) {
        const int32_t left = within(window->m_resx), top = within(window->m_resy);
        fill(*window, {left, top, 1 + below(random, 9), 1 + below(random, 9)}, color);
    } else if (kind == 9) {
        ombrel_fbmap_set_ccolor(window, pixel(*window, 0, 0));
        ombrel_fbmap_use_ccolor(window, color & 1);
    } else if (kind == 10) {
        ombrel_fbmap_set_alpha_window(window, below(random, 256));
        ombrel_fbmap_use_alpha_window(window, color & 1);
    } else {
        ombrel_fbmap_use_alpha_pixel(window, color & 1);
    }
}

class FbmapTree : public balanced_test, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(FbmapTree, DeviceShowsWhatAPlainModelPaints) {
    for (uint32_t seed = 0; seed < 300; seed++) {
        numbers random(seed);
        screen display(GetParam(), 32, 24);
        fill(display.root, random_color(random));
        fbmap_model expected(display.root, display.device);
        for (int step = 0; step < 40; step++) {
            change(display, random);
            ASSERT_TRUE(expected.shown() == display.device) << "seed " << seed << ", step " << step;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Depths, FbmapTree, ::testing::Values(rgb565, rgb888, argb8888));

// So many windows that they are sorted by their places before they are painted.
TEST_P(FbmapTree, DeviceShowsManyWindowsAsAPlainModelPaintsThem) {
    numbers random(1);
    screen display(GetParam(), 160, 120);
    fill(display.root, random_color(random));
    ombrel_fbmap_t* parent = &display.root;
    fbmap_model expected(display.root, display.device);
    for (uint32_t i = 0; i < 400; i++) {
        const auto place = [&](uint32_t limit) { return static_cast<int32_t>(below(random, limit)) - 20; };
        ombrel_fbmap_t* const made = display.window(parent, place(180), place(140), 1 + below(random, 15),
                                                    1 + below(random, 15), random_color(random), hidden);
        made->m_alpha_window = below(random, 256);
        made->m_flags |= i % 3 != 0 ? def_ombrel_fbmap_alpha_window : 0;
        if (i % 5 != 0)
            ombrel_fbmap_show(made);
        if (i % 100 == 99) // the next ones inside of a large one
            parent = display.window(&display.root, place(40), place(40), 150, 100, random_color(random));
    }
    std::vector<ombrel_fbmap_t*> windows;
    collect(display.root, windows);
    ombrel_fbmap_t* const desktop =
        display.window(&display.root, 0, 0, 0, 0, random_color(random), def_ombrel_fbmap_append);
    ASSERT_TRUE(expected.shown() == display.device);
    for (int i = 0; i < 10; i++)
        fill(*windows[below(random, 400)], random_color(random));
    ombrel_fbmap_move(desktop, 50, 30);
    ASSERT_TRUE(expected.shown() == display.device);
}

// Each of the windows alone, from the topmost on.
void free_one_by_one(ombrel_fbmap_t& top) {
    while (top.m_children != nullptr)
        free_one_by_one(*top.m_children);
    ombrel_free_fbmap(&top);
}

TEST_P(FbmapTree, LeavesAsIfItsWindowsLeftOneByOne) {
    for (uint32_t seed = 0; seed < 200; seed++) {
        numbers random(seed), same(seed);
        screen display(GetParam(), 32, 24), other(GetParam(), 32, 24);
        for (int step = 0; step < 30; step++) {
            change(display, random);
            change(other, same);
        }
        while (display.root.m_children != nullptr && (seed % 2 == 0 || below(random, 3) != 0)) {
            ombrel_free_fbmap(display.root.m_children);
            free_one_by_one(*other.root.m_children);
            ASSERT_TRUE(display.device == other.device) << seed;
        }
        ombrel_destroy_fbmap(&display.root);
        while (other.root.m_children != nullptr)
            free_one_by_one(*other.root.m_children);
        ASSERT_TRUE(display.device == other.device) << seed << ", with its root";
    }
}

class Fbmap : public balanced_test {};

TEST_F(Fbmap, RectanglesOverlapAndLeaveFourPieces) {
    constexpr int32_t low = INT32_MIN, high = INT32_MAX;
    constexpr uint32_t most = UINT32_MAX, half = 0x80000001;
    const struct {
        rectangle a, b, rest[4]; // b lies in a, or beside it when nothing is left
    } table[] = {
        {{0, 0, 4, 4}, {4, 0, 4, 4}, {}},
        {{0, 0, 4, 4}, {0, 4, 4, 4}, {}},
        {{0, 0, 4, 4}, {1, 1, 0, 2}, {}},
        {{0, 0, 9, 9}, {3, 2, 4, 5}, {{0, 0, 7, 2}, {7, 0, 2, 7}, {3, 7, 6, 2}, {0, 2, 3, 7}}},
        {{low, low, most, most},
         {-1, -1, 2, 2},
         {{low, low, half, high},
          {1, low, high - 1, half},
          {-1, 1, 1u << 31, high - 1},
          {low, -1, high, 1u << 31}}},
        {{high, high, most, most},
         {high, high, 1, 1},
         {{high, high, 1, 0}, {high, high, 0, 1}, {high, high, most, 0}, {high, high, 0, most}}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(&row - table);
        const bool meets = !(row.rest[0] == rectangle{});
        rectangle overlap = {}, rest[4] = {};
        EXPECT_EQ(meets, ombrel_sep_overlap_window(&row.a, &row.b, &overlap, rest));
        EXPECT_EQ(meets ? row.b : rectangle{}, overlap);
        for (int i = 0; i < 4; i++)
            EXPECT_EQ(row.rest[i], rest[i]) << i;
    }
    EXPECT_EQ(-1, ombrel_sep_overlap_window(nullptr, &table[0].b, nullptr, nullptr));
}

TEST_F(Fbmap, OnlyARootIsEmptiedByATransfer) {
    screen display(rgb565, 8, 8);
    ombrel_fbmap_t* const window = display.window(&display.root, 0, 0, 4, 4, 1);
    ombrel_fbmap_draw_pixel(window, 2, 3, 3);
    ombrel_fbmap_draw_pixel(&display.root, 3, 7, 7);
    for (ombrel_fbmap_t* map : {window, &display.root})
        EXPECT_EQ(0, ombrel_fbmap_transfer(map));
    EXPECT_EQ(std::make_tuple(1u, 3u), std::make_tuple(display.at(3, 3), display.at(7, 7)));
    EXPECT_EQ(0u, display.root.m_update_region.m_w);
    EXPECT_EQ(0, ombrel_fbmap_update(window));
    EXPECT_EQ(2u, display.at(3, 3));
}

// How many pixels reach the device when a 6 x 4 window does something on a screen of 40 x 30.
TEST_F(Fbmap, OnlyWhatChangedIsTransferred) {
    screen display(rgb565, 40, 30);
    display.window(&display.root, 0, 0, 40, 30, 1);
    ombrel_fbmap_t* const window = display.window(&display.root, 10, 10, 6, 4, 2);
    const auto count = [&](auto work) {
        display.transferred = 0;
        work();
        return display.transferred;
    };
    EXPECT_EQ(6u, count([&] { fill(*window, {1, 1, 3, 2}, 3); }));
    EXPECT_EQ(8u * 4, count([&] { ombrel_fbmap_move(window, 12, 10); }));
    EXPECT_EQ(0u, count([&] { ombrel_fbmap_move(window, 12, 10); }));
    EXPECT_EQ(24u, count([&] { ombrel_fbmap_hide(window); }));
    EXPECT_EQ(0u, count([&] { ombrel_fbmap_hide(window); }));
    EXPECT_EQ(24u, count([&] { ombrel_fbmap_show(window); }));
    display.window(&display.root, 12, 10, 6, 3, 4);
    EXPECT_EQ(6u, count([&] { fill(*window, 5); })) << "the part that is covered does not change";
    EXPECT_EQ(6u, count([&] { ombrel_fbmap_move(window, INT32_MIN, INT32_MAX); }));
    EXPECT_EQ(0u, count([&] { fill(*window, 6); })) << "a window outside is left alone";
}

TEST_F(Fbmap, WhatIsDrawnIntoTheRootLiesBelowTransparentWindows) {
    screen display(rgb888, 8, 8);
    ombrel_fbmap_t* const glass = display.window(&display.root, 2, 2, 4, 4, 0xFFFFFF, hidden);
    ombrel_fbmap_set_alpha_window(glass, 51);
    ombrel_fbmap_use_alpha_window(glass, 1);
    ombrel_fbmap_show(glass);
    EXPECT_EQ(0x333333u, display.at(3, 3));
    fill(*glass, 0xFF0000);
    EXPECT_EQ(0x330000u, display.at(3, 3)) << "not onto its own traces";
    fill(display.root, 0x646464);
    fill(*glass, 0xFF0000);
    EXPECT_EQ(0x835050u, display.at(3, 3));
    ombrel_fbmap_move(glass, 6, 6);
    EXPECT_EQ(0x646464u, display.at(3, 3)) << "it leaves none either";
}

TEST_F(Fbmap, LargeWindowsAreBlendedThroughout) {
    screen display(argb8888, 190, 300);
    display.window(&display.root, 0, 0, 0, 0, 0xFF8899AA);
    fbmap_model expected(display.root, display.device);
    ombrel_fbmap_t* const glass = display.window(&display.root, -5, 0, 190, 290, 0x33445566);
    for (int32_t i = 0; i < 10; i++)
        fill(*glass, {i * 11, i * 27, 90, 45}, 0xFF000000 + static_cast<uint32_t>(i) * 1234567);
    ombrel_fbmap_use_alpha_pixel(glass, 1);
    EXPECT_TRUE(expected.shown() == display.device);
    ombrel_fbmap_move(glass, 20, 7);
    EXPECT_TRUE(expected.shown() == display.device);
}

TEST_F(Fbmap, AWindowWithoutPixelsCoversNothing) {
    screen display(rgb565, 8, 8);
    ombrel_fbmap_t* const desktop = display.window(&display.root, 0, 0, 0, 0, 1);
    ombrel_fbmap_t* const group = ombrel_new_fbmap(&display.root, 0, 0, 0, 0, 6, 6);
    display.window(group, 1, 1, 2, 2, 2);
    ombrel_fbmap_move(group, 1, 0);
    fill(*desktop, 1);
    EXPECT_EQ(nullptr, display.root.m_composite_map) << "nothing needs blending";
    EXPECT_EQ(std::make_tuple(1u, 2u, 2u, 1u),
              std::make_tuple(display.at(1, 1), display.at(2, 1), display.at(3, 1), display.at(4, 1)));
}

TEST_F(Fbmap, ResizingKeepsTheTopLeftPart) {
    screen display(rgb565, 10, 10);
    ombrel_fbmap_t* const window = display.window(&display.root, 0, 0, 4, 4, 7);
    EXPECT_EQ(0, ombrel_fbmap_resize(window, 1, 1, 6, 3));
    for (size_t y = 0; y < 3; y++)
        for (size_t x = 0; x < 6; x++)
            EXPECT_EQ(x < 4 ? 7u : 0u, display.at(x + 1, y + 1)) << x << ' ' << y;
    EXPECT_EQ(std::make_tuple(12u, 36u), std::make_tuple(window->m_line_length, window->m_map_size));
    EXPECT_EQ(-1, ombrel_fbmap_resize(window, 2, 2, UINT32_MAX, UINT32_MAX));
    EXPECT_EQ(6u, window->m_resx);
    EXPECT_EQ(7u, display.at(2, 2)) << "at its new place with the old size";
    EXPECT_EQ(0, ombrel_fbmap_resize(window, 2, 2, 0, 5));
    EXPECT_EQ(nullptr, window->m_map);
    EXPECT_EQ(nullptr, ombrel_new_fbmap(&display.root, own, 0, 0, 0, UINT32_MAX, UINT32_MAX));
    EXPECT_EQ(0, ombrel_fbmap_resize(&display.root, 0, 0, 5, 5)) << "a root keeps its size";
    EXPECT_EQ(10u, display.root.m_resx);
}

TEST_F(Fbmap, ANewWindowIsTopmostAndTakesAfterItsParent) {
    screen display(rgb565, 10, 9);
    ombrel_fbmap_t* const first = display.window(&display.root, 0, 0, 0, 0, 1);
    ombrel_fbmap_t* const second = display.window(&display.root, 0, 0, 5, 0, 2, 0x20 | 0x40);
    ombrel_fbmap_t* const last = display.window(&display.root, 0, 0, 0, 0, 3, def_ombrel_fbmap_append);
    EXPECT_EQ(second, display.root.m_children);
    EXPECT_EQ(last, first->m_next);
    EXPECT_EQ(std::make_tuple(rgb565, 5u, 9u, 16u, 10u, 90u),
              std::make_tuple(second->m_color_interface, second->m_resx, second->m_resy,
                              second->m_bits_per_pixel, second->m_line_length, second->m_map_size));
    EXPECT_EQ(own | def_ombrel_fbmap_new | def_ombrel_fbmap_initialized, second->m_flags);
    EXPECT_EQ(0xFFFFu, second->m_brush_fcolor);
    EXPECT_EQ(2u, display.at(4, 8));
    EXPECT_EQ(nullptr, ombrel_free_fbmap(second));
    EXPECT_EQ(1u, display.at(4, 8)) << "what lay below shows";
}

/// Counts the pixels that windows of one tree are asked for, and the rows in which they are.
struct painted_pixels {
    painted_pixels() { count = rows = 0; }
    static void watch(ombrel_fbmap_t& window) {
        ombrel_bitmap_t nothing = {};
        ombrel_fbmap_get_box(&window, &nothing, 0, 0, 0, 0, 1, 1, 0); // fills the slot
        own_function = window.m_get_box;
        window.m_get_box = [](ombrel_fbmap_t* map, ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, int32_t x,
                              int32_t y, uint32_t w, uint32_t h, uint32_t mode) {
            count += size_t{w} * h;
            rows += h;
            return own_function(map, to, to_x, to_y, x, y, w, h, mode);
        };
    }
    static inline size_t count, rows;
    static inline ombrel_fbmap_get_box_t own_function;
};

// Such a tree once took time by the cube of its depth.
TEST_F(Fbmap, NestedWindowsLeaveAtOnce) {
    constexpr size_t depth = 3000, area = 60 * 40;
    for (const uint32_t transparency : {0u, def_ombrel_fbmap_alpha_window}) {
        screen display(argb8888, 64, 48);
        display.window(&display.root, 0, 0, 0, 0, 1);
        ombrel_fbmap_t* window = &display.root;
        for (size_t i = 0; i < depth; i++) {
            window = ombrel_new_fbmap(window, own | transparency, 0, 0, 0, 60, 40);
            window->m_alpha_window = 100;
            painted_pixels::watch(*window);
        }
        const painted_pixels painted;
        window->m_update_region = {0, 0, 60, 40};
        ombrel_fbmap_update(window);
        EXPECT_EQ(transparency != 0 ? depth * area : area, painted.count);
        display.transferred = painted.count = 0;
        ombrel_free_fbmap(display.root.m_children);
        EXPECT_EQ(area, display.transferred);
        EXPECT_LE(painted.count, area);
        EXPECT_EQ(1u, display.at(5, 5));
    }
}

// What lies below was once cut to pieces that were each looked at for each window: minutes of work.
TEST_F(Fbmap, ManySmallWindowsArePaintedByTheirPlaces) {
    constexpr uint32_t columns = 160, rows = 100;
    screen display(palette8, 8 * columns, 8 * rows);
    ombrel_fbmap_t* const desktop = display.window(&display.root, 0, 0, 0, 0, 3);
    for (uint32_t i = 0; i < columns * rows; i++) {
        const auto x = static_cast<int32_t>(i % columns * 8), y = static_cast<int32_t>(i / columns * 8);
        ombrel_fbmap_t* const window =
            ombrel_new_fbmap(&display.root, own | def_ombrel_fbmap_ccolor, 0, x + 1, y + 1, 5, 5);
        *static_cast<unsigned char*>(window->m_map) = 9;
        painted_pixels::watch(*window);
    }
    const painted_pixels painted;
    fill(*desktop, 4);
    EXPECT_EQ(size_t{25} * columns * rows, painted.count) << "each of them once";
    EXPECT_EQ(std::make_tuple(9u, 4u),
              std::make_tuple(display.at(8 * 80 + 1, 8 * 50 + 1), display.at(700, 400)));
}

// Each row that begins in the middle of a map costs time of its own.
TEST_F(Fbmap, WhatShowsOfAWindowIsCopiedByRowsAsLongAsTheyCanBe) {
    screen display(palette8, 64, 48);
    ombrel_fbmap_t* const desktop = display.window(&display.root, 0, 0, 0, 0, 1);
    for (uint32_t i = 0; i < 12; i++)
        display.window(&display.root, static_cast<int32_t>(i * 37 % 56), static_cast<int32_t>(i * 29 % 40),
                       5 + 7 * (i % 3), 6 + 5 * (i % 4), 2);
    painted_pixels::watch(*desktop);
    const painted_pixels painted;
    fill(*desktop, 1);
    size_t shown = 0, runs = 0;
    for (size_t y = 0; y < 48; y++)
        for (size_t x = 0; x < 64; x++) {
            const bool here = display.at(x, y) == 1;
            shown += here;
            runs += here && (x == 0 || display.at(x - 1, y) != 1);
        }
    EXPECT_EQ(std::make_tuple(shown, runs), std::make_tuple(painted.count, painted.rows));
}

// Neither painting nor freeing may take stack by how deep windows nest.
using rectangle_node = ombrel_fbmap_rectangle_node_t;

rectangle_node* list_of(const rectangle& area) {
    auto* const node = static_cast<rectangle_node*>(ombrel_calloc(1, sizeof(rectangle_node)));
    node->m_rectangle = area;
    return node;
}

TEST_F(Fbmap, ThePassFindsOwnersAndPaintsThem) {
    constexpr uint32_t nested = def_ombrel_fbmap_redraw_nested, reached = def_ombrel_fbmap_redraw_reached,
                       exhausted = def_ombrel_fbmap_redraw_exhausted;
    screen display(rgb888, 40, 30);
    ombrel_fbmap_t* const low = display.window(&display.root, 0, 0, 20, 20, 0xFF0000);
    ombrel_fbmap_t* const high = display.window(&display.root, 10, 10, 20, 20, 0x0000FF);
    ombrel_fbmap_t* const inner = display.window(high, 15, 15, 10, 10, 0x00FF00);
    rectangle seen;
    int32_t x, y;
    EXPECT_EQ(&display.root, __ombrel_fbmap_get_abs_region_internal(inner, &seen, nullptr, &x, &y));
    EXPECT_EQ(std::make_tuple(25, 25, 5u, 5u, 25, 25),
              std::make_tuple(seen.m_x, seen.m_y, seen.m_w, seen.m_h, x, y));

    // Each of four pixels belongs to whom shows there.
    const std::tuple<int32_t, ombrel_fbmap_t*> places[] = {{5, low}, {15, high}, {27, inner}};
    for (const auto& [at, owner] : places) {
        rectangle_node* list = list_of({at, at, 1, 1});
        const uint32_t state = __ombrel_fbmap_redraw_region_recursive_internal(display.root.m_children, low,
                                                                               &list, nested | reached);
        EXPECT_NE(0u, state & exhausted) << at;
        ASSERT_NE(nullptr, list);
        EXPECT_EQ(owner, list->m_owner) << at;
        EXPECT_EQ(nullptr, list->m_next);
        ombrel_free(list);
    }
    rectangle_node* nobody = list_of({35, 5, 1, 1});
    EXPECT_EQ(0u, exhausted & __ombrel_fbmap_redraw_region_recursive_internal(display.root.m_children, low,
                                                                              &nobody, nested | reached));
    EXPECT_EQ(nullptr, nobody->m_owner);
    ombrel_free(nobody);

    std::memset(display.root.m_map, 0, display.root.m_map_size);
    rectangle_node* list = list_of({5, 5, 10, 10});
    __ombrel_fbmap_redraw_region_recursive_internal(display.root.m_children, low, &list, reached);
    EXPECT_EQ(nullptr, list) << "what was painted is gone";
    EXPECT_EQ(pixel(*low, 0, 0), pixel(display.root, 5, 5));
    EXPECT_EQ(pixel(*low, 0, 0), pixel(display.root, 14, 9));
    EXPECT_EQ(pixel(*high, 0, 0), pixel(display.root, 14, 14));
    EXPECT_EQ(0u, pixel(display.root, 4, 5)) << "beside it nothing is painted";
    EXPECT_EQ(0u, pixel(display.root, 15, 15));
}

TEST_F(Fbmap, WindowsNestDeeply) {
    screen display(palette8, 4, 4);
    ombrel_fbmap_t* innermost = &display.root;
    for (int i = 0; i < 50'000; i++)
        innermost = ombrel_new_fbmap(innermost, own | def_ombrel_fbmap_keep_shown, 0, 0, 0, 2, 2);
    fill(*innermost, 9);
    EXPECT_EQ(9u, display.at(1, 1));
}

TEST_F(Fbmap, UnsupportedDepthsAreRefused) {
    ombrel_fbmap_t grey;
    ombrel_init_fbmap(&grey, nullptr, own, 0x31, 0, 0, 16, 4);
    capture errors(stderr);
    EXPECT_EQ(-1, ombrel_fbmap_transfer(&grey));
    ombrel_fbmap_t bare;
    ombrel_init_fbmap(&bare, nullptr, own, 0, 0, 0, 4, 4);
    ombrel_fbmap_use_alpha_window(ombrel_new_fbmap(&bare, own, rgb565, 0, 0, 0, 0), 1);
    ombrel_destroy_fbmap(&bare);
    const std::string report = errors.text();
    EXPECT_NE(std::string::npos, report.find("<not supported>"));
    EXPECT_NE(std::string::npos, report.find("<master-fbmap's color-interface not defined !>"));
    ombrel_destroy_fbmap(&grey);
    EXPECT_EQ(0, ombrel_destroy_fbmap(&grey)) << "once destroyed it is left alone";
}

TEST_F(Fbmap, ThreadsShareOneTreeAndHaveTheirOwn) {
    screen shared(rgb565, 64, 64);
    in_threads(4, [&](int i) {
        screen display(argb8888, 32, 32);
        for (screen* target : {&shared, &display})
            for (int round = 0; round < 50; round++) {
                ombrel_fbmap_t* const window = ombrel_new_fbmap(&target->root, own, 0, round, i * 9, 20, 20);
                ombrel_fbmap_set_alpha_window(window, 99);
                ombrel_fbmap_use_alpha_window(window, round & 1);
                ombrel_fbmap_move(window, i * 9, round);
                ombrel_free_fbmap(window);
            }
    });
    EXPECT_EQ(nullptr, shared.root.m_children);
}

} // namespace
} // namespace ombrel_test
