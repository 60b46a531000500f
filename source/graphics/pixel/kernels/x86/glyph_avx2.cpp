#include "graphics/pixel/kernels/x86/x86.h"

#if defined(OMBREL_X86_GRAPHICS)

#include <immintrin.h>

#define OMBREL_TARGET [[gnu::target("avx2")]]

namespace ombrel::graphics {

namespace {

// Eight pixels of 16 bits, and how they are chosen.
struct pixels16 {
    using vector = __m128i;
    static constexpr size_t bytes = 2;

    OMBREL_TARGET static vector all(uint32_t value) { return _mm_set1_epi16(static_cast<short>(value)); }
    OMBREL_TARGET static vector load(const unsigned char* from) {
        return _mm_loadu_si128(reinterpret_cast<const vector*>(from));
    }
    OMBREL_TARGET static void store(unsigned char* to, vector value) {
        _mm_storeu_si128(reinterpret_cast<vector*>(to), value);
    }
    // All ones in each pixel whose bit is set.
    OMBREL_TARGET static vector mask_of(unsigned bits) {
        const vector bit = _mm_setr_epi16(0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01);
        return _mm_cmpeq_epi16(_mm_and_si128(all(bits), bit), bit);
    }
    OMBREL_TARGET static vector select(vector mask, vector yes, vector no) {
        return _mm_blendv_epi8(no, yes, mask);
    }
};

// The same of 32 bits.
struct pixels32 {
    using vector = __m256i;
    static constexpr size_t bytes = 4;

    OMBREL_TARGET static vector all(uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }
    OMBREL_TARGET static vector load(const unsigned char* from) {
        return _mm256_loadu_si256(reinterpret_cast<const vector*>(from));
    }
    OMBREL_TARGET static void store(unsigned char* to, vector value) {
        _mm256_storeu_si256(reinterpret_cast<vector*>(to), value);
    }
    OMBREL_TARGET static vector mask_of(unsigned bits) {
        const vector bit = _mm256_setr_epi32(0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01);
        return _mm256_cmpeq_epi32(_mm256_and_si256(all(bits), bit), bit);
    }
    OMBREL_TARGET static vector select(vector mask, vector yes, vector no) {
        return _mm256_blendv_epi8(no, yes, mask);
    }
};

template<typename Pixels, bool ink_used, bool paper_used>
OMBREL_TARGET void paint_rows(const glyph_area& area, const glyph_colors& colors) {
    const auto ink = Pixels::all(colors.ink), paper = Pixels::all(colors.paper);
    const unsigned char* bits = area.rows;
    for (size_t y = 0; y < area.height; y++)
        for (size_t x = 0; x < area.width; x += 8) {
            unsigned char* to = area.to + y * area.line_length + x * Pixels::bytes;
            const auto present = Pixels::load(to);
            Pixels::store(to, Pixels::select(Pixels::mask_of(*bits++), ink_used ? ink : present,
                                             paper_used ? paper : present));
        }
}

template<typename Pixels>
void paint(const glyph_area& area, const glyph_colors& colors) {
    if (colors.ink_used && colors.paper_used)
        paint_rows<Pixels, true, true>(area, colors);
    else if (colors.ink_used)
        paint_rows<Pixels, true, false>(area, colors);
    else
        paint_rows<Pixels, false, true>(area, colors);
}

} // namespace

void glyph16_avx2(const glyph_area& area, const glyph_colors& colors) {
    paint<pixels16>(area, colors);
}

void glyph32_avx2(const glyph_area& area, const glyph_colors& colors) {
    paint<pixels32>(area, colors);
}

} // namespace ombrel::graphics

#undef OMBREL_TARGET

#endif
