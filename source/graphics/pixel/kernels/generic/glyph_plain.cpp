#include <cstring>
#include <type_traits>

#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/pixel.h"

namespace ombrel::graphics {

namespace {

// Paints set bits in one colour and clear ones in another, the most significant bit leftmost; without a
// colour their pixels stay.
template<unsigned Bytes, bool Ink, bool Paper>
class glyph_row {
public:
    glyph_row(uint32_t ink, uint32_t paper) : ink_(as_word(ink)), paper_(as_word(paper)) {}

    void paint(unsigned char* to, unsigned bits) const {
        if constexpr (Bytes == 3)
            paint_each(to, bits);
        else
            paint_words(to, bits);
    }

private:
    using word = std::conditional_t<Bytes == 1, uint8_t, std::conditional_t<Bytes == 2, uint16_t, uint32_t>>;

    // The word whose bytes in memory are those of a pixel, on any processor.
    static word as_word(uint32_t color) {
        if constexpr (Bytes == 3)
            return color;
        uint8_t bytes[4];
        store_pixel<Bytes>(bytes, color);
        word result;
        memcpy(&result, bytes, sizeof result);
        return result;
    }

    // Without branches, so that the compiler makes vectors of it.
    void paint_words(unsigned char* to, unsigned bits) const {
        word pixels[8];
        memcpy(pixels, to, sizeof pixels);
        for (unsigned i = 0; i < 8; i++) {
            const bool set = (bits & (0x80u >> i)) != 0;
            const word ink = Ink ? ink_ : pixels[i];
            const word paper = Paper ? paper_ : pixels[i];
            pixels[i] = set ? ink : paper;
        }
        memcpy(to, pixels, sizeof pixels);
    }

    void paint_each(unsigned char* to, unsigned bits) const {
        for (unsigned i = 0; i < 8; i++, to += Bytes) {
            const bool set = (bits & (0x80u >> i)) != 0;
            if (set ? Ink : Paper)
                store_pixel<Bytes>(to, set ? ink_ : paper_);
        }
    }

    word ink_, paper_;
};

template<unsigned Bytes, bool Ink, bool Paper>
void paint_rows(const glyph_area& area, const glyph_colors& colors) {
    const glyph_row<Bytes, Ink, Paper> row(colors.ink, colors.paper);
    const unsigned char* bits = area.rows;
    for (size_t y = 0; y < area.height; y++)
        for (size_t x = 0; x < area.width; x += 8)
            row.paint(area.to + y * area.line_length + x * Bytes, *bits++);
}

template<unsigned Bytes>
void paint(const glyph_area& area, const glyph_colors& colors) {
    if (colors.ink_used && colors.paper_used)
        paint_rows<Bytes, true, true>(area, colors);
    else if (colors.ink_used)
        paint_rows<Bytes, true, false>(area, colors);
    else
        paint_rows<Bytes, false, true>(area, colors);
}

} // namespace

void glyph8_plain(const glyph_area& area, const glyph_colors& colors) {
    paint<1>(area, colors);
}

void glyph16_plain(const glyph_area& area, const glyph_colors& colors) {
    paint<2>(area, colors);
}

void glyph24_plain(const glyph_area& area, const glyph_colors& colors) {
    paint<3>(area, colors);
}

void glyph32_plain(const glyph_area& area, const glyph_colors& colors) {
    paint<4>(area, colors);
}

} // namespace ombrel::graphics
