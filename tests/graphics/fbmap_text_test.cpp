#include "graphics/drawing_board.h"

#include <climits>
#include <string>

#include <ombrel/font.h>

#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

constexpr uint32_t letters = 0x71, paper = 0x52, rim = 0x33;

class Text : public balanced_test {
protected:
    static void use_brush(ombrel_fbmap_t* map, uint32_t flags) {
        map->m_flags |= flags;
        map->m_brush_fcolor = letters;
        map->m_brush_bcolor = paper;
        map->m_brush_ocolor = rim;
    }

    // Rows of '#' for the ink of a glyph as the font has it.
    static std::vector<std::string> glyph(uint32_t code) {
        unsigned glyph_width = 0, glyph_height = 0;
        uint8_t buffer[def_ombrel_bitmap_font_glyph_size] = {};
        ombrel_get_bitmap_font(&glyph_width, &glyph_height, buffer, nullptr, code);
        std::vector<std::string> rows(glyph_height, std::string(glyph_width, '.'));
        for (unsigned i = 0; i < glyph_width * glyph_height; i++)
            if ((buffer[i / 8] & (0x80u >> i % 8)) != 0)
                rows[i / glyph_width][i % glyph_width] = '#';
        return rows;
    }
};

TEST_F(Text, DrawsTheColorsInUseAtAllDepthsAndEdges) {
    const auto shape = glyph(0xD55C); // a syllable, 16 pixels wide
    for (const unsigned bits : {8u, 16u, 24u, 32u})
        for (const auto& [x, y] : {std::pair{9, 4}, {-3, -5}, {20, 11}, {100, 3}, {INT_MIN, INT_MAX}})
            for (const uint32_t use :
                 {0u, def_ombrel_fbmap_brush_fcolor, def_ombrel_fbmap_brush_bcolor, 0x3000u}) {
                drawing_board board(bits, 27, 21);
                use_brush(board, use);
                // The right edge has room for the glyph, so that it stays on its line.
                board->m_brush_x = x, board->m_brush_y = y;
                board->m_brush_x_interval = x > 0 ? -x : 0;
                EXPECT_EQ(1, ombrel_fbmap_draw_puts(board, "\xED\x95\x9C"));
                const auto pixels = board.pixels();
                for (int64_t place = 0; place < 27 * 21; place++) {
                    const int64_t gx = place % 27 - x, gy = place / 27 - y;
                    uint32_t expected = 0;
                    if (gx >= 0 && gx < 16 && gy >= 0 && gy < 16) {
                        const bool set = shape[static_cast<size_t>(gy)][static_cast<size_t>(gx)] == '#';
                        if (use & (set ? def_ombrel_fbmap_brush_fcolor : def_ombrel_fbmap_brush_bcolor))
                            expected = set ? letters : paper;
                    }
                    ASSERT_EQ(expected, pixels[static_cast<size_t>(place)]) << place;
                }
            }
}

// The eighth letter would reach column 64.
TEST_F(Text, MovesTheCursorAsDocumented) {
    const struct {
        const char* text;
        int handled, x_delta, y_delta, interval = 0; // with outlines where there is one
    } cases[] = {{"ab", 2, 16, 0},           {"ab\ncd\r", 6, 0, 16},   {"ab\bc", 4, 16, 0},
                 {"\b", 1, -8, 0},           {"ab\b\n", 4, 0, 21, 3},  {"ab", 2, 26, 0, 3},
                 {"\xEA\xB0\x80", 1, 16, 0}, {"\xC3\xBC\t", 2, 16, 0}, {"abcdefg", 7, 56, 0},
                 {"abcdefgh", 8, 8, 16},     {"a\xC0\x80xx", 1, 8, 0}, {"ab\xE2\x82", 2, 16, 0}};
    for (const auto& c : cases) {
        drawing_board board(16, 64, 48);
        use_brush(board, c.interval != 0 ? def_ombrel_fbmap_brush_ocolor : 0);
        board->m_brush_x_interval = board->m_brush_y_interval = c.interval;
        EXPECT_EQ(ombrel_fbmap_draw_puts(board, c.text), c.handled) << c.text;
        EXPECT_EQ(board->m_brush_x_delta, c.x_delta) << c.text;
        EXPECT_EQ(board->m_brush_y_delta, c.y_delta) << c.text;
    }
}

TEST_F(Text, ScalesTurnsAndOutlines) {
    const auto shape = glyph('R');
    const auto colors_of = [](drawing_board& board) {
        EXPECT_EQ(1, ombrel_fbmap_draw_printf(board, "%c", 'R'));
        return [&board](int x, int y) { return ombrel_fbmap_get_pixel(board, nullptr, 0, 0, x, y); };
    };
    const auto for_each_cell = [&](const auto& check) {
        for (int y = 0; y < 16; y++)
            for (int x = 0; x < 8; x++)
                check(x, y, shape[static_cast<size_t>(y)][static_cast<size_t>(x)] == '#' ? letters : paper);
    };
    for (const uint32_t use : {def_ombrel_fbmap_brush_fcolor, def_ombrel_fbmap_brush_bcolor, 0x3000u}) {
        drawing_board scaled(32, 100, 100);
        use_brush(scaled, use);
        scaled->m_brush_x_scale = {6, 2};
        scaled->m_brush_y_scale = {2, 0};
        const auto scaled_at = colors_of(scaled);
        for_each_cell([&](int x, int y, uint32_t color) {
            const bool used =
                use & (color == letters ? def_ombrel_fbmap_brush_fcolor : def_ombrel_fbmap_brush_bcolor);
            for (int i = 0; i < 6; i++)
                ASSERT_EQ(scaled_at(3 * x + i % 3, 2 * y + i / 3), used ? color : 0) << x << ' ' << y;
        });
        if (use == 0x3000) {
            EXPECT_EQ((ombrel_fbmap_rectangle_t{0, 0, 24, 32}), scaled->m_update_region);
        }
    }

    for (const int quarter : {-3, -2, -1, 1, 2, 3, 5}) {
        drawing_board turned(24, 100, 100);
        use_brush(turned, 0x3000);
        turned->m_brush_x = turned->m_brush_y = 50;
        turned->m_brush_angle = 90 * quarter;
        const auto turned_at = colors_of(turned);
        for_each_cell([&](int x, int y, uint32_t color) {
            for (int i = 0; i < (quarter + 4) % 4; i++)
                x = -std::exchange(y, x);
            ASSERT_EQ(turned_at(50 + x, 50 + y), color) << quarter << ": " << x << ' ' << y;
        });
    }

    drawing_board outlined(8, 60, 60);
    use_brush(outlined, 0x5000);
    outlined->m_brush_x = outlined->m_brush_y = 20;
    const auto outlined_at = colors_of(outlined);
    for (int y = 15; y < 40; y++)
        for (int x = 15; x < 40; x++) {
            bool near_ink = false;
            for (int i = 0; i < 9; i++)
                near_ink |= outlined_at(x + i % 3 - 1, y + i / 3 - 1) == letters;
            ASSERT_EQ(outlined_at(x, y) != 0, near_ink) << x << ' ' << y;
        }
}

TEST_F(Text, EnduresAnyBrush) {
    for (const int angle : {0, 33, 180, INT_MIN, INT_MAX})
        for (const uint32_t numerator : {0u, 3u, UINT_MAX})
            for (const uint32_t denominator : {0u, 7u, UINT_MAX})
                for (const int far : {INT_MIN, 5, INT_MAX}) {
                    drawing_board board(16, 20, 20);
                    use_brush(board, 0x7000);
                    board->m_brush_x_scale = {numerator, denominator};
                    board->m_brush_y_scale = {denominator, numerator};
                    board->m_brush_angle = angle;
                    board->m_brush_x = board->m_brush_y_delta = board->m_brush_x_interval = far;
                    board->m_brush_y = board->m_brush_x_delta = board->m_brush_y_interval = ~far;
                    EXPECT_EQ(6, ombrel_fbmap_draw_puts(board, "a\n\b\rb\xED\x95\x9C"));
                }
    drawing_board board(16, 20, 20);
    EXPECT_EQ(-1, ombrel_fbmap_draw_puts(board, nullptr));
}

} // namespace
} // namespace ombrel_test
