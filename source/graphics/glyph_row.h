// Eight pixels of a glyph's row at once.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "graphics/pixel.h"

namespace ombrel::fbmap {

/// Paints set bits in one colour and clear ones in another, the most significant bit leftmost; without a
/// colour their pixels stay.
template<unsigned Bytes, bool Ink, bool Paper>
class glyph_row {
public:
    glyph_row(uint32_t ink, uint32_t paper) : ink_(as_word(ink)), paper_(as_word(paper)) {}

    void paint(uint8_t* to, unsigned bits) const {
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
        graphics::store_pixel<Bytes>(bytes, color);
        word result;
        memcpy(&result, bytes, sizeof result);
        return result;
    }

    // Without branches, so that the compiler makes vectors of it.
    void paint_words(uint8_t* to, unsigned bits) const {
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

    void paint_each(uint8_t* to, unsigned bits) const {
        for (unsigned i = 0; i < 8; i++, to += Bytes) {
            const bool set = (bits & (0x80u >> i)) != 0;
            if (set ? Ink : Paper)
                graphics::store_pixel<Bytes>(to, set ? ink_ : paper_);
        }
    }

    word ink_, paper_;
};

} // namespace ombrel::fbmap
