// The inner loops of graphics: the plain ones, and beside them those for particular processors. Pixels lie at
// any alignment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/kernel_choice.h"

namespace ombrel::graphics {

/// Pixels of one colour that are to be written.
struct fill_area {
    unsigned char* to;
    size_t line_length; ///< bytes from a row to the next
    size_t width, height;
};

/// Writes the same pixel everywhere; the kernel stands for the size of one.
using fill_kernel = void (*)(const fill_area& area, uint32_t color);

/// Rows of bytes, one at least, that are to be copied.
struct copy_area {
    unsigned char* to;
    size_t to_line_length; ///< bytes from a row to the next
    const unsigned char* from;
    size_t from_line_length;
    size_t width, height; ///< bytes, and rows
};

/// Copies rows to where none of them is read.
using copy_kernel = void (*)(const copy_area& area);

/// Makes 32-bit pixels of 5, 6 and 5 bits, with `top` as what stands above red. The rows do not overlap.
using widen_kernel = void (*)(unsigned char* to, const unsigned char* from, size_t count, uint32_t top);

/// Makes pixels of 5, 6 and 5 bits of 32-bit ones. The rows do not overlap.
using narrow_kernel = void (*)(unsigned char* to, const unsigned char* from, size_t count);

/// A glyph of 8 or 16 columns and where all of it goes.
struct glyph_area {
    unsigned char* to;
    size_t line_length;        ///< bytes from a row of pixels to the next
    const unsigned char* rows; ///< of bits, the most significant one leftmost
    size_t width, height;
};

/// Colours for set and for clear bits; what is not used leaves its pixels as they are. One of them is used.
struct glyph_colors {
    bool ink_used, paper_used;
    uint32_t ink, paper;
};

/// Paints a glyph; the kernel stands for the size of a pixel.
using glyph_kernel = void (*)(const glyph_area& area, const glyph_colors& colors);

/// How 32-bit pixels with 8-bit channels are put upon others of the same order.
struct blend_settings {
    uint32_t window_alpha = 255; ///< 0 to 255
    bool pixel_alpha = false;    ///< whether the top byte's value counts as well
    bool keyed = false;          ///< whether pixels are skipped that are `key` in the bits of `key_mask`
    uint32_t key = 0;            ///< 0 in other bits
    uint32_t key_mask = 0;
    uint32_t keep = ~uint32_t{0}; ///< the bits of the upper pixel that are blended
    uint32_t set = 0;             ///< and those set in it before, which are none of `keep`
};

/// Blends `from` upon `to`. The rows are the same or do not overlap.
using blend_kernel = void (*)(unsigned char* to, const unsigned char* from, size_t count,
                              const blend_settings& settings);

/// Puts the 32-bit pixels of a row that the columns name one behind the other. The columns do not fall; any
/// pixel between the first and the last of them may be read.
using gather_kernel = void (*)(unsigned char* to, const unsigned char* row, const uint32_t* columns,
                               size_t count);

/// Puts 32-bit pixels in the opposite order. The rows do not overlap.
using reverse_kernel = void (*)(unsigned char* to, const unsigned char* from, size_t count);

/// Columns of pixels that become rows: pixel (x, y) of the target is (y, x) of the source. Lines may lead
/// upwards. Nothing that is read is written.
struct turn_area {
    unsigned char* to;
    ptrdiff_t to_line_length; ///< bytes from a row to the next
    const unsigned char* from;
    ptrdiff_t from_line_length;
    size_t width, height; ///< pixels of the target
};
using turn_kernel = void (*)(const turn_area& area);

/// Mixes pairs of neighbours of a row of 32-bit pixels, channel by channel: the one that a column names
/// counts the weight's low byte, the one behind it the high byte, which are 128 together. A sum is stored
/// less 16384.
using mix_columns_kernel = void (*)(int16_t* to, const unsigned char* row, const unsigned char* next_row,
                                    const uint32_t* columns, const uint16_t* weights, size_t count);

/// Makes 32-bit pixels of two rows of such sums; the lower one counts `weight` of 128, which is less than
/// 128.
using mix_rows_kernel = void (*)(unsigned char* to, const int16_t* upper, const int16_t* lower,
                                 unsigned weight, size_t count);

/// Adds bytes of two rows, each as often as its weight says, which is at most 4096.
using weigh_rows_kernel = void (*)(uint32_t* sums, const unsigned char* first, unsigned first_weight,
                                   const unsigned char* second, unsigned second_weight, size_t count);

/// All kernels of this build, the fastest of each list first.
struct kernel_candidates {
    std::span<const candidate<fill_kernel>> fill16, fill24, fill32;
    std::span<const candidate<copy_kernel>> copy;
    std::span<const candidate<widen_kernel>> widen;
    std::span<const candidate<narrow_kernel>> narrow;
    std::span<const candidate<glyph_kernel>> glyph8, glyph16, glyph24, glyph32;
    std::span<const candidate<blend_kernel>> blend;
    std::span<const candidate<gather_kernel>> gather32;
    std::span<const candidate<reverse_kernel>> reverse32;
    std::span<const candidate<turn_kernel>> turn32;
    std::span<const candidate<mix_columns_kernel>> mix_columns;
    std::span<const candidate<mix_rows_kernel>> mix_rows;
    std::span<const candidate<weigh_rows_kernel>> weigh_rows;
};
extern const kernel_candidates all_kernels;

/// The kernels in use.
struct kernel_slots {
    fill_kernel fill16, fill24, fill32;
    copy_kernel copy;
    widen_kernel widen;
    narrow_kernel narrow;
    glyph_kernel glyph8, glyph16, glyph24, glyph32;
    blend_kernel blend;
    gather_kernel gather32;
    reverse_kernel reverse32;
    turn_kernel turn32;
    mix_columns_kernel mix_columns;
    mix_rows_kernel mix_rows;
    weigh_rows_kernel weigh_rows;
};

/// Chosen on the first call.
const kernel_slots& kernels();

} // namespace ombrel::graphics
