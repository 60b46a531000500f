// Trees of windows, and drawing into maps.
#include <cstring>

#include <ombrel/bitmap.h>
#include <ombrel/bitmap_transform.h>
#include <ombrel/fault.h>
#include <ombrel/fbmap.h>
#include <ombrel/png.h>

#include "alloc_failure/injection.h"
#include "graphics/drawing_board.h"

namespace ombrel_test {
namespace {

constexpr uint32_t own = def_ombrel_fbmap_own_map, argb8888 = 0x18485868;

/// A desktop of 0x33 bytes below a translucent window of 0xFF bytes.
class desktop : no_copy {
public:
    desktop() : root(ombrel_new_fbmap(nullptr, own, argb8888, 0, 0, 16, 16)) {
        ombrel_fbmap_t* const background = ombrel_new_fbmap(root, own, 0, 0, 0, 0, 0);
        memset(background->m_map, 0x33, background->m_map_size);
        background->m_update_region = {0, 0, 16, 16};
        ombrel_fbmap_update(background);
        glass = ombrel_new_fbmap(root, own | def_ombrel_fbmap_hidden, 0, 4, 4, 4, 4);
        memset(glass->m_map, 0xFF, glass->m_map_size);
        glass->m_alpha_window = 51;
        glass->m_flags |= def_ombrel_fbmap_alpha_window;
    }
    ~desktop() { ombrel_free_fbmap(root); }

    uint32_t at(uint32_t x, uint32_t y) const { return static_cast<uint32_t*>(root->m_map)[y * 16 + x]; }

    ombrel_fbmap_t *root, *glass;
};

OMBREL_FAILURES(Graphics, new_fbmap) {
    opened_or_hit(fail, ombrel_free_fbmap,
                  [] { return ombrel_new_fbmap(nullptr, own, argb8888, 0, 0, 4, 4); });
}

// What could not be painted is left as it was, and painted by the next try.
OMBREL_FAILURES(Graphics, show_transparent_window) {
    desktop screen;
    fail.during([&] { return ombrel_fbmap_show(screen.glass); });
    for (uint32_t y = 0; y < 16; y++)
        for (uint32_t x = 0; x < 16; x++) {
            const bool inside = x >= 4 && x < 8 && y >= 4 && y < 8;
            EXPECT_TRUE(screen.at(x, y) == 0x33333333 || (inside && screen.at(x, y) == 0x5C5C5C5C))
                << x << ' ' << y;
        }
    EXPECT_TRUE(fail.hit() || screen.at(5, 5) == 0x5C5C5C5C);
    EXPECT_EQ(0, ombrel_fbmap_show(screen.glass)) << "if not even the lock could be had";
    screen.glass->m_update_region = {0, 0, 4, 4};
    EXPECT_EQ(0, ombrel_fbmap_update(screen.glass));
    EXPECT_EQ(0x5C5C5C5Cu, screen.at(4, 7));
}

OMBREL_FAILURES(Graphics, resize_window) {
    desktop screen;
    ombrel_fbmap_show(screen.glass);
    const int result = fail.during([&] { return ombrel_fbmap_resize(screen.glass, 6, 6, 8, 8); });
    EXPECT_TRUE(result == 0 || fail.hit());
    EXPECT_TRUE(result != 0 || screen.glass->m_resx == 8);
    EXPECT_EQ(screen.glass->m_resx * screen.glass->m_resy * 4, screen.glass->m_map_size);
    EXPECT_EQ(0xFFu, static_cast<unsigned char*>(screen.glass->m_map)[0]);
    screen.glass->m_update_region = {0, 0, screen.glass->m_resx, screen.glass->m_resy};
    EXPECT_EQ(0, ombrel_fbmap_update(screen.glass));
    EXPECT_EQ(0x5C5C5C5Cu, screen.at(6, 6));
}

// So many that they are sorted by place, and nested so deeply that the way there takes memory.
OMBREL_FAILURES(Graphics, update_below_many_windows) {
    desktop screen;
    ombrel_fbmap_t* innermost = screen.root;
    for (int i = 0; i < 20; i++)
        innermost = ombrel_new_fbmap(innermost, 0, 0, 0, 0, 16, 16);
    for (int32_t i = 0; i < 70; i++) {
        ombrel_fbmap_t* const dot = ombrel_new_fbmap(innermost, own, 0, i % 10, i / 10, 1, 1);
        dot->m_flags |= def_ombrel_fbmap_alpha_window;
        dot->m_alpha_window = 51;
        memset(dot->m_map, 0xFF, 4);
    }
    ombrel_fbmap_t* background = screen.root->m_children;
    while (background->m_next != nullptr)
        background = background->m_next;
    background->m_update_region = {0, 0, 16, 16};
    const int result = done_or_refused(fail, [&] { return ombrel_fbmap_update(background); });
    EXPECT_EQ(result == 0 ? 0u : 16u, background->m_update_region.m_w) << "it can be tried again";
    EXPECT_EQ(0, ombrel_fbmap_update(background));
    for (uint32_t i = 0; i < 256; i++)
        EXPECT_EQ(i % 16 < 10 && i / 16 < 7 ? 0x5C5C5C5Cu : 0x33333333u, screen.at(i % 16, i / 16)) << i;
}

// Only the lock can fail.
OMBREL_FAILURES(Graphics, get_box) {
    desktop screen;
    unsigned char pixels[4 * 4 * 4] = {};
    ombrel_bitmap_t bitmap = {pixels, argb8888, 4, 4, 16, 0, 0, 0};
    const int result = fail.during([&] {
        return ombrel_fbmap_get_box(screen.glass, &bitmap, 0, 0, 0, 0, 4, 4, def_ombrel_fbmap_plain);
    });
    EXPECT_TRUE(result == 0 || fail.hit());
    EXPECT_EQ(result == 0 ? 0xFF : 0, pixels[63]);
}

OMBREL_FAILURES(Drawing, shapes_are_drawn_or_refused) {
    drawing_board board(32, 8, 8);
    const int result = done_or_refused(fail, [&] { return ombrel_fbmap_draw_box(board, 7, 0, 0, 8, 8, 1); });
    EXPECT_EQ(board.pixels(), pixel_rows(64, result == 0 ? 7 : 0));
}

OMBREL_FAILURES(Drawing, a_fill_tells_that_it_is_not_complete) {
    drawing_board board(16, 2000, 3); // a comb with more teeth than a chunk of the stack has room for
    for (int x = 1; x < 2000; x += 2)
        ombrel_fbmap_draw_vline(board, 1, x, 1, 2);
    const int result = done_or_refused(fail, [&] { return ombrel_fbmap_draw_fill(board, 7, 0, 0); });
    const pixel_rows pixels = board.pixels();
    EXPECT_TRUE(result == -1 || std::count(pixels.begin(), pixels.end(), 7) == 4000);
}

OMBREL_FAILURES(Drawing, text_is_drawn_or_refused) {
    drawing_board board(8, 100, 20);
    done_or_refused(
        fail, [&] { return ombrel_fbmap_draw_printf(board, "%d %s", 12, "text"); }, 7);
}

OMBREL_FAILURES(Drawing, pictures_are_whole_or_refused) {
    drawing_board board(16, 60, 40);
    ombrel_buffer_t* const output = ombrel_open_buffer();
    const auto push = [&] { return ombrel_png_push_fbmap(output, def_ombrel_png_rgb, board); };
    const int result = done_or_refused(fail, push);
    EXPECT_TRUE(result == -1 || ombrel_get_buffer_size(output) > 57);
    ombrel_close_buffer(output);
}

OMBREL_FAILURES(Bitmaps, are_made_or_refused) {
    ombrel_bitmap_t* const bitmap = fail.during([] { return ombrel_new_bitmap(argb8888, 5, 5); });
    EXPECT_TRUE(bitmap != nullptr || (fail.hit() && ombrel_last_fault() == def_ombrel_fault_no_memory));
    ombrel_free_bitmap(bitmap);
}

OMBREL_FAILURES(Bitmaps, turn_within_themselves_or_stay) {
    drawing_board board(32, 8, 8);
    ombrel_fbmap_draw_pixel(board, 7, 1, 0);
    ombrel_bitmap_t bitmap;
    ombrel_init_bitmap_of_fbmap(&bitmap, board);
    const int result = done_or_refused(fail, [&] {
        return ombrel_bitmap_put_turned(&bitmap, 0, 0, &bitmap, 0, 0, 8, 8, def_ombrel_bitmap_turn_90, 0);
    });
    EXPECT_EQ(7u, board.pixels()[result == 0 ? 15 : 1]);
}

OMBREL_FAILURES(Bitmaps, are_scaled_without_memory_to_spare) {
    drawing_board from(32, 3, 2), to(32, 1000, 3);
    ombrel_fbmap_draw_clear(from, 7);
    ombrel_bitmap_t source, target;
    ombrel_init_bitmap_of_fbmap(&source, from);
    ombrel_init_bitmap_of_fbmap(&target, to);
    const int result = fail.during([&] {
        return ombrel_bitmap_put_scaled(&target, 0, 0, 1000, 3, &source, 0, 0, 3, 2,
                                        def_ombrel_bitmap_scale_bilinear, 0);
    });
    EXPECT_EQ(0, result);
    EXPECT_EQ(pixel_rows(3000, 7), to.pixels());
}

} // namespace
} // namespace ombrel_test
