// The colour bars and the ruler.
#include <array>
#include <span>

#include <ombrel/color.h>
#include <ombrel/printf.h>

#include "graphics/font/glyph_painter.h"
#include "graphics/window/fbmap_draw_internal.h"

namespace ombrel::graphics {
namespace {

constexpr std::array<uint32_t, 7> bars = {0xFFFFFF, 0xFFFF00, 0x00FFFF, 0x00FF00,
                                          0xFF00FF, 0xFF0000, 0x0000FF};
constexpr std::array<uint32_t, 7> strips = {0x0000FF, 0x000000, 0xFF7F3F, 0x000000,
                                            0x007FFF, 0x000000, 0xFFFFFF};
constexpr std::array<uint32_t, 6> levels = {0x00007F, 0xFFFFFF, 0x0000FF, 0x000000, 0x000000, 0x000000};

/// Draws bars of equal width side by side; the last takes what remains.
class bar_painter {
public:
    bar_painter(ombrel_fbmap_t& map, uint32_t alpha, int64_t x, uint32_t w)
        : map_(map), alpha_(alpha << 24), x_(x), w_(w) {}

    void paint(std::span<const uint32_t> colors, int64_t y, uint32_t h) {
        const auto count = static_cast<uint32_t>(colors.size());
        const uint32_t width = w_ / count;
        int64_t x = x_;
        for (const uint32_t& color : colors) {
            const bool is_last = &color == &colors.back();
            paint_bar(color, x, y, is_last ? w_ - width * (count - 1) : width, h);
            x += width;
        }
    }

    /// What a drawing function gives.
    int result() const { return drawn_ ? 0 : -1; }

private:
    void paint_bar(uint32_t color, int64_t x, int64_t y, uint32_t w, uint32_t h) {
        // What begins beyond the coordinates is in no map.
        if (x > INT32_MAX || y > INT32_MAX)
            return;
        const uint32_t own =
            ombrel_convert_color(map_.m_color_interface, def_ombrel_color_interface_argb8888, alpha_ | color);
        drawn_ |= __ombrel_fbmap_draw_box_internal(&map_, own, static_cast<int32_t>(x),
                                                   static_cast<int32_t>(y), w, h, 1) == 0;
    }

    ombrel_fbmap_t& map_;
    uint32_t alpha_;
    int64_t x_;
    uint32_t w_;
    bool drawn_ = false;
};

int draw_color_bar(ombrel_fbmap_t& map, int mode, uint32_t alpha, const rectangle& box) {
    bar_painter painter(map, alpha, box.m_x, box.m_w);
    if (mode != def_ombrel_fbmap_color_bar_full) {
        painter.paint(bars, box.m_y, box.m_h);
        return painter.result();
    }
    const uint32_t bar_rows = box.m_h / 3 * 2, strip_rows = box.m_h / 6;
    const int64_t strip_top = int64_t{box.m_y} + bar_rows, level_top = strip_top + strip_rows;
    painter.paint(bars, box.m_y, bar_rows);
    painter.paint(strips, strip_top, strip_rows);
    painter.paint(levels, level_top, box.m_h - bar_rows - strip_rows);
    return painter.result();
}

constexpr uint32_t mark_distance = 10, long_mark_distance = 50, label_distance = 100;
constexpr uint32_t mark_length = 5, long_mark_length = 10, label_mark_length = 15;
constexpr int64_t label_gap = 2, label_height = 16;

uint32_t mark_length_at(uint32_t distance) {
    if (distance % label_distance == 0)
        return label_mark_length;
    return distance % long_mark_distance == 0 ? long_mark_length : mark_length;
}

// Calls with every distance that has a mark; those that no coordinate reaches have none.
template<typename Mark>
void mark_each(uint32_t size, Mark mark) {
    const int64_t end = std::min<int64_t>(size, INT32_MAX);
    for (int64_t distance = 0; distance < end; distance += mark_distance)
        mark(static_cast<uint32_t>(distance));
}

void draw_distance(ombrel_fbmap_t& map, uint32_t distance, int64_t x, int64_t y) {
    if (distance == 0 || distance % label_distance != 0)
        return;
    char text[12];
    ombrel_snprintf(text, sizeof text, "%u", distance);
    text_style style;
    style.ink_used = true;
    style.ink = map.m_brush_fcolor;
    style.x = x;
    style.y = y;
    draw_label(map, style, text);
}

int draw_ruler(ombrel_fbmap_t& map) {
    const uint32_t color = map.m_brush_fcolor;
    bool drawn = false;
    mark_each(map.m_resx, [&](uint32_t distance) {
        const auto x = static_cast<int32_t>(distance);
        drawn |= __ombrel_fbmap_draw_vline_internal(&map, color, x, 0, mark_length_at(distance)) == 0;
        draw_distance(map, distance, int64_t{x} + label_gap, mark_length);
    });
    mark_each(map.m_resy, [&](uint32_t distance) {
        const auto y = static_cast<int32_t>(distance);
        drawn |= __ombrel_fbmap_draw_hline_internal(&map, color, 0, y, mark_length_at(distance)) == 0;
        draw_distance(map, distance, label_mark_length + label_gap, int64_t{y} - label_height / 2);
    });
    return drawn ? 0 : -1;
}

} // namespace
} // namespace ombrel::graphics

using namespace ombrel::graphics;

int __ombrel_fbmap_draw_color_bar_internal(ombrel_fbmap_t* fbmap, int mode, uint32_t alpha, int32_t x,
                                           int32_t y, uint32_t w, uint32_t h) {
    if (!is_drawable(fbmap, OMBREL_DRAW_SITE))
        return -1;
    return w == 0 || h == 0 ? -1 : draw_color_bar(*fbmap, mode, alpha, {x, y, w, h});
}

int __ombrel_fbmap_draw_ruler_internal(ombrel_fbmap_t* fbmap) {
    return is_drawable(fbmap, OMBREL_DRAW_SITE) ? draw_ruler(*fbmap) : -1;
}

int ombrel_fbmap_draw_color_bar(ombrel_fbmap_t* fbmap, int mode, uint32_t alpha, int32_t x, int32_t y,
                                uint32_t w, uint32_t h) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1,
                  [&] { return __ombrel_fbmap_draw_color_bar_internal(fbmap, mode, alpha, x, y, w, h); });
}

int ombrel_fbmap_draw_ruler(ombrel_fbmap_t* fbmap) {
    return locked(fbmap, OMBREL_DRAW_SITE, -1, [&] { return __ombrel_fbmap_draw_ruler_internal(fbmap); });
}
