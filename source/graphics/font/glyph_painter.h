// Glyphs of the bitmap fonts in the colours of a brush.
#pragma once

#include <ombrel/fbmap.h>

#include "graphics/font/text_frame.h"
#include "graphics/pixel/canvas.h"

namespace ombrel::graphics {

/// How text looks and where it begins.
struct text_style {
    bool ink_used = false, paper_used = false, rim_used = false;
    uint32_t ink = 0, paper = 0, rim = 0;
    int64_t x = 0, y = 0; // the origin
    text_scale x_scale, y_scale;
    text_turn turn;

    /// Whether a glyph's pixels are the map's, one for one.
    bool is_plain() const { return !rim_used && x_scale.is_one() && y_scale.is_one() && turn.is_none(); }
};

/// Rows of pixels, top row first, the most significant bit leftmost.
struct glyph {
    const uint8_t* rows;
    int width, height; // width is 8 or 16, height at most 16

    bool has_ink(int x, int y) const {
        if (x < 0 || x >= width || y < 0 || y >= height)
            return false;
        return (rows[y * (width / 8) + x / 8] & (0x80 >> x % 8)) != 0;
    }
};

template<unsigned Bytes>
class glyph_painter {
public:
    glyph_painter(ombrel_fbmap_t& map, const text_style& style) : map_(map), style_(style), painter_(map) {}

    /// Draws a glyph at a distance from the origin, which is scaled and turned as the glyph is.
    void paint(const glyph& shape, int64_t x, int64_t y);

    bool drew_nothing() const { return painter_.drew_nothing(); }

private:
    class cell_grid;

    void paint_plain(const glyph& shape, const rectangle& box);
    void paint_cut(const glyph& shape, const rectangle& box);
    void paint_scaled(const cell_grid& cells);
    void paint_turned(const cell_grid& cells);

    ombrel_fbmap_t& map_;
    const text_style& style_;
    painter<Bytes> painter_;
};

} // namespace ombrel::graphics
