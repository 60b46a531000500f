#include "graphics/drawing_board.h"

#include <climits>
#include <cstring>
#include <random>

#include "support/capture.h"
#include "support/heap_balance.h"

namespace ombrel_test {
namespace {

constexpr uint32_t ink = 0x5A3C7E91; // every byte another
constexpr int64_t width = 37, height = 23;
constexpr ombrel_fbmap_rectangle_t nothing = {0, 0, 0, 0};

/// What the drawing functions ought to do, pixel by pixel and in no hurry.
class drawing_model {
public:
    explicit drawing_model(unsigned bits) : color_(ink & (0xFFFFFFFFu >> (32 - bits))) {}

    void plot(int64_t x, int64_t y) {
        if (x < 0 || x >= width || y < 0 || y >= height)
            return;
        pixels[static_cast<size_t>(y * width + x)] = color_;
        left_ = std::min(left_, x), right_ = std::max(right_, x);
        top_ = std::min(top_, y), bottom_ = std::max(bottom_, y);
    }
    void box(int64_t x, int64_t y, int64_t w, int64_t h, bool fill) {
        for (int64_t row = y; row < y + h; row++)
            for (int64_t column = x; column < x + w; column++)
                if (fill || row == y || row == y + h - 1 || column == x || column == x + w - 1)
                    plot(column, row);
    }
    void line(int64_t x1, int64_t y1, int64_t x2, int64_t y2) {
        const int64_t ax = abs(x2 - x1), ay = abs(y2 - y1), steps = std::max(ax, ay);
        const int64_t sx = x2 < x1 ? -1 : 1, sy = y2 < y1 ? -1 : 1;
        for (int64_t i = 0, x_sum = 0, y_sum = 0; i <= steps; i++) {
            plot(x1, y1);
            x_sum += ax, y_sum += ay;
            if (x_sum >= steps)
                x_sum -= steps, x1 += sx;
            if (y_sum >= steps)
                y_sum -= steps, y1 += sy;
        }
    }
    void circle(int64_t cx, int64_t cy, int64_t radius, bool fill) {
        int64_t x = radius, y = 0, d = 1 - radius;
        for (bool x_is_new = true; x >= y;) {
            for (const int64_t sign : {1, -1}) {
                for (int64_t i = fill ? -x : x; i <= x; i++)
                    plot(cx + i, cy + sign * y), plot(cx - i, cy + sign * y);
                if (fill ? x_is_new : true)
                    for (int64_t i = fill ? -y : y; i <= y; i++)
                        plot(cx + i, cy + sign * x), plot(cx - i, cy + sign * x);
            }
            y++;
            x_is_new = d >= 0;
            d += x_is_new ? 2 * (y - --x) + 2 : 2 * y + 1;
        }
    }

    ombrel_fbmap_rectangle_t touched() const {
        if (right_ < left_)
            return nothing;
        return {static_cast<int32_t>(left_), static_cast<int32_t>(top_),
                static_cast<uint32_t>(right_ - left_ + 1), static_cast<uint32_t>(bottom_ - top_ + 1)};
    }

    pixel_rows pixels = pixel_rows(static_cast<size_t>(width * height), 0);

private:
    uint32_t color_;
    int64_t left_ = width, top_ = height, right_ = -1, bottom_ = -1;
};

class Drawing : public balanced_test {
protected:
    // Draws at all depths and compares pixels, result and update region with the drawing_model's.
    template<typename Plan, typename Draw>
    static void compare(Plan plan, Draw draw) {
        for (const unsigned bits : {8u, 16u, 24u, 32u}) {
            drawing_board board(bits, width, height);
            drawing_model expected(bits);
            plan(expected);
            const int result = draw(board);
            ASSERT_EQ(board.pixels(), expected.pixels);
            ASSERT_EQ(board->m_update_region, expected.touched());
            ASSERT_EQ(result, expected.touched() == nothing ? -1 : 0);
        }
    }

    int near(int size) { return std::uniform_int_distribution<int>(-size / 2, size + size / 2)(random_); }
    unsigned length() { return static_cast<unsigned>(std::max(near(40), 0)); }

    std::mt19937 random_{1};
};

TEST_F(Drawing, SpansAndBoxesEqualTheModel) {
    for (int round = 0; round < 300; round++) {
        const int x = near(width), y = near(height);
        const unsigned w = length(), h = length();
        compare([&](drawing_model& by) { by.box(x, y, w, 1, true); },
                [&](drawing_board& board) { return ombrel_fbmap_draw_hline(board, ink, x, y, w); });
        compare([&](drawing_model& by) { by.box(x, y, 1, h, true); },
                [&](drawing_board& board) { return ombrel_fbmap_draw_vline(board, ink, x, y, h); });
        for (const bool fill : {false, true})
            compare(
                [&](drawing_model& by) { by.box(x, y, w, h, fill); },
                [&](drawing_board& board) { return ombrel_fbmap_draw_box(board, ink, x, y, w, h, fill); });
    }
}

TEST_F(Drawing, LinesAndCirclesEqualTheModel) {
    const auto inside = [&](int64_t size) {
        return static_cast<int>(random_() % static_cast<uint32_t>(size));
    };
    for (int round = 0; round < 500; round++) {
        const int x1 = inside(width), y1 = inside(height), x2 = inside(width), y2 = inside(height);
        compare([&](drawing_model& by) { by.line(x1, y1, x2, y2); },
                [&](drawing_board& board) { return ombrel_fbmap_draw_line(board, ink, x1, y1, x2, y2); });
        const int x = near(width), y = near(height), radius = round % 2 != 0 ? round : round % 40;
        for (const bool fill : {false, true})
            compare([&](drawing_model& by) { by.circle(x, y, radius, fill); },
                    [&](drawing_board& board) {
                        return ombrel_fbmap_draw_circle(board, ink, x, y, static_cast<unsigned>(radius),
                                                        fill);
                    });
    }
}

TEST_F(Drawing, CutLinesBeginAndEndWithPixelsOfTheWholeLine) {
    for (int round = 0; round < 2000; round++) {
        const int x1 = near(5 * width), y1 = near(5 * height), x2 = near(5 * width), y2 = near(5 * height);
        drawing_model whole(32);
        whole.line(x1, y1, x2, y2);
        drawing_board board(32, width, height);
        EXPECT_EQ(ombrel_fbmap_draw_line(board, ink, x1, y1, x2, y2), whole.touched() == nothing ? -1 : 0);
        EXPECT_EQ(board->m_update_region, whole.touched());
        const auto drawn = board.pixels();
        EXPECT_EQ(std::count(drawn.begin(), drawn.end(), ink),
                  std::max(whole.touched().m_w, whole.touched().m_h));
    }
}

TEST_F(Drawing, FarCoordinatesEndSoon) {
    drawing_board board(32, width, height);
    EXPECT_EQ(0, ombrel_fbmap_draw_line(board, ink, INT_MIN, INT_MIN, INT_MAX, INT_MAX));
    EXPECT_EQ(board->m_update_region, (ombrel_fbmap_rectangle_t{0, 0, height, height}));
    EXPECT_EQ(0, ombrel_fbmap_draw_line(board, ink, INT_MIN, 5, INT_MAX, 5));
    EXPECT_EQ(-1, ombrel_fbmap_draw_line(board, ink, INT_MAX, INT_MIN, INT_MAX, INT_MAX));
    EXPECT_EQ(-1, ombrel_fbmap_draw_box(board, ink, INT_MIN, INT_MIN, UINT_MAX, UINT_MAX, 0));
    EXPECT_EQ(-1, ombrel_fbmap_draw_color_bar(board, 1, 255, INT_MAX, INT_MAX, UINT_MAX, UINT_MAX));
    for (const unsigned radius : {unsigned{INT_MAX}, UINT_MAX}) {
        const int centre = -INT_MAX;
        ombrel_fbmap_draw_clear(board, 0);
        EXPECT_EQ(-1, ombrel_fbmap_draw_circle(board, ink, 18, 11, radius, 0));
        // The circle's rightmost column, for INT_MAX at 0, is straight for more than the map's height.
        EXPECT_EQ(ombrel_fbmap_draw_circle(board, ink, centre, 11, radius, 0), radius == INT_MAX ? 0 : -1);
        EXPECT_EQ(board.rows(ink)[0].find('#'), radius == INT_MAX ? 0 : std::string::npos);
        EXPECT_EQ(0, ombrel_fbmap_draw_circle(board, ink, centre, 11, radius, 1));
        EXPECT_EQ(ombrel_fbmap_draw_circle(board, ink, INT_MIN, INT_MIN, radius, 1),
                  radius == INT_MAX ? -1 : 0);
    }
}

// Left of column 0 is the end of the row above, by design.
TEST_F(Drawing, FillsEqualTheModel) {
    for (int round = 0; round < 400; round++) {
        const unsigned bits = 8 + 8 * static_cast<unsigned>(round % 4);
        drawing_board board(bits, width, height);
        for (int i = 0; i < width * height; i++)
            if (random_() % 100 < 20u + static_cast<unsigned>(round) / 10)
                ombrel_fbmap_draw_pixel(board, 3, static_cast<int32_t>(i % width),
                                        static_cast<int32_t>(i / width));
        drawing_model expected(bits);
        expected.pixels = board.pixels();
        const int64_t start = static_cast<int64_t>(random_() % (width * height));
        const uint32_t old = expected.pixels[static_cast<size_t>(start)];
        std::vector<int64_t> pending = {start};
        while (!pending.empty()) {
            const int64_t place = pending.back();
            pending.pop_back();
            if (place < 0 || place >= width * height || expected.pixels[static_cast<size_t>(place)] != old)
                continue;
            expected.plot(place % width, place / width);
            for (const int64_t step : {int64_t{-1}, -width, width, int64_t{place % width < width - 1}})
                pending.push_back(place + step);
        }
        for (const auto& region : {expected.touched(), nothing}) { // the second time the colour is there
            board->m_update_region = nothing;
            ASSERT_EQ(0, ombrel_fbmap_draw_fill(board, ink, static_cast<int>(start % width),
                                                static_cast<int>(start / width)));
            ASSERT_EQ(expected.pixels, board.pixels());
            ASSERT_EQ(region, board->m_update_region);
        }
        ASSERT_EQ(-1, ombrel_fbmap_draw_fill(board, ink, width, 2));
    }
}

TEST_F(Drawing, WhatIsHiddenOrImpossible) {
    drawing_board board(32, 4, 4);
    board->m_flags = def_ombrel_fbmap_hidden;
    EXPECT_EQ(0, ombrel_fbmap_draw_clear(board, ink));
    EXPECT_EQ(board->m_update_region, nothing);
    capture errors(stderr);
    board->m_bits_per_pixel = 4;
    EXPECT_EQ(-1, ombrel_fbmap_draw_hline(board, ink, 0, 0, 1));
    EXPECT_EQ(-1, ombrel_fbmap_draw_puts(board, "x"));
    EXPECT_NE(std::string::npos, errors.text().find("<not supported>"));
    board->m_bits_per_pixel = 32;
    board->m_map = nullptr;
    EXPECT_EQ(-1, ombrel_fbmap_draw_clear(board, ink));
}

TEST_F(Drawing, AnInstalledFunctionIsCalled) {
    drawing_board board(32, 4, 4);
    board->m_draw_box = [](auto...) { return 42; };
    board->m_draw_clear = ombrel_fbmap_draw_clear;
    EXPECT_EQ(42, ombrel_fbmap_draw_box(board, ink, 0, 0, 1, 1, 1));
    EXPECT_EQ(0, ombrel_fbmap_draw_clear(board, ink));
}

TEST_F(Drawing, PixelsAreReadIntoBitmaps) {
    drawing_board board(16, 4, 4);
    ombrel_fbmap_draw_pixel(board, 0xF81F, 2, 1);
    uint32_t pixel[2] = {1, 1};
    ombrel_bitmap_t bitmap = {pixel, 0x18485868, 2, 1, 8, 0, 0, 0};
    EXPECT_EQ(0xF81Fu, ombrel_fbmap_get_pixel(board, nullptr, 0, 0, 2, 1));
    EXPECT_EQ(0xFFF800F8u, ombrel_fbmap_get_pixel(board, &bitmap, 1, 0, 2, 1));
    EXPECT_EQ(0xFFF800F8u, ombrel_fbmap_get_pixel(board, &bitmap, 2, 0, 2, 1));
    EXPECT_EQ(0u, ombrel_fbmap_get_pixel(board, &bitmap, 0, 0, 4, 1));
    EXPECT_EQ(0xF800u, ombrel_fbmap_convert_color(board, 0, 0x18485868, 0xFFFF0000));
    EXPECT_EQ(1u, pixel[0]);
    EXPECT_EQ(0, memcmp(&pixel[1], "\xF8\x00\xF8\xFF", sizeof pixel[1]))
        << "the lowest channel first on every host";
}

TEST_F(Drawing, ColorBarsLieAsDocumented) {
    const auto at = [](drawing_board& board, int x, int y) {
        return ombrel_fbmap_get_pixel(board, nullptr, 0, 0, x, y);
    };
    drawing_board board(32, 72, 40); // bars of 10 columns, 36 rows: 24, 6 and 6
    EXPECT_EQ(0, ombrel_fbmap_draw_color_bar(board, 1, 0x80, 1, 2, 71, 36));
    const uint32_t bars[] = {0xFFFFFF, 0xFFFF00, 0x00FFFF, 0x00FF00, 0xFF00FF, 0xFF0000, 0x0000FF};
    const uint32_t strips[] = {0x0000FF, 0, 0xFF7F3F, 0, 0x007FFF, 0, 0xFFFFFF};
    const uint32_t levels[] = {0x00007F, 0xFFFFFF, 0x0000FF, 0, 0, 0};
    for (int i = 0; i < 7; i++)
        for (const int x : {1 + 10 * i, i < 6 ? 10 + 10 * i : 71}) {
            EXPECT_EQ(at(board, x, 25), 0x80000000 | bars[i]) << x;
            EXPECT_EQ(at(board, x, 26), 0x80000000 | strips[i]) << x;
        }
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(at(board, 1 + 11 * i, 37), 0x80000000 | levels[i]);
    EXPECT_EQ(board->m_update_region, (ombrel_fbmap_rectangle_t{1, 2, 71, 36}));
    EXPECT_EQ(0, ombrel_fbmap_draw_color_bar(board, 0, 0xFF, 0, 0, 70, 40));
    EXPECT_EQ(0xFF0000FFu, at(board, 69, 39));
    EXPECT_EQ(-1, ombrel_fbmap_draw_color_bar(board, 0, 0xFF, 0, 0, 0, 40));
}

TEST_F(Drawing, TheRulerHasMarksAndLabels) {
    drawing_board board(8, 130, 130);
    board->m_brush_fcolor = 1;
    EXPECT_EQ(0, ombrel_fbmap_draw_ruler(board));
    const auto rows = board.rows(1);
    std::vector<std::string> columns(130);
    for (const std::string& row : rows)
        for (size_t x = 0; x < row.size(); x++)
            columns[x] += row[x];
    for (const auto& [at, length] : {std::pair<size_t, size_t>{20, 5}, {50, 10}, {100, 15}, {120, 5}})
        for (const auto& lines : {rows, columns})
            EXPECT_EQ(std::string(length, '#') + '.', lines[at].substr(0, length + 1)) << at;
    EXPECT_NE(rows[12].find('#', 102), std::string::npos) << "a label right of 100";
    EXPECT_NE(columns[20].find('#', 92), std::string::npos) << "a label beside 100";
}

} // namespace
} // namespace ombrel_test
