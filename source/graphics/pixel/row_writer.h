// Rows of pixels put upon rows of another colour interface.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <ombrel/bitmap.h>

#include "graphics/pixel/kernels/kernels.h"
#include "graphics/pixel/pixel_fields.h"

namespace ombrel::graphics {

/// What becomes of colours that go to a palette or to black and white.
enum class color_rule : uint8_t {
    zero,    ///< 0, as ombrel_convert_color() has it
    nearest, ///< the nearest of the palette's
};

/// The way from one bitmap's pixels to another's, chosen once for any number of rows. Pixels have whole
/// bytes, one to four; those of fewer bits are taken apart before, see packed_pixels.h.
class row_writer {
public:
    /// `mode` is one of ombrel/fbmap.h's modes; flags, key and alpha are those of `from`.
    row_writer(const ombrel_bitmap_t& to, const ombrel_bitmap_t& from, uint32_t mode,
               color_rule rule = color_rule::zero);

    /// Rows may overlap where is_copy() says so.
    void write(unsigned char* to, const unsigned char* from, size_t count) const {
        (this->*write_)(to, from, count);
    }

    /// Whether pixels go over byte by byte.
    bool is_copy() const { return write_ == &row_writer::copy; }

    unsigned to_bytes() const { return to_bytes_; }
    unsigned from_bytes() const { return from_bytes_; }

private:
    static constexpr size_t chunk = 64; // pixels

    using write_function = void (row_writer::*)(unsigned char*, const unsigned char*, size_t) const;

    struct color_field {
        uint32_t mask, shift;
        bool is_alpha, is_index; ///< an index is one colour or the other, never something between
    };

    write_function choose_plain();
    write_function choose_blending(const ombrel_bitmap_t& from);
    write_function choose_blending_of_bytes(bool only_key);
    void make_opaque();
    void find_order();
    void find_fields();

    void copy(unsigned char* to, const unsigned char* from, size_t count) const;
    void widen(unsigned char* to, const unsigned char* from, size_t count) const;
    void narrow(unsigned char* to, const unsigned char* from, size_t count) const;
    void widen_reordered(unsigned char* to, const unsigned char* from, size_t count) const;
    void narrow_reordered(unsigned char* to, const unsigned char* from, size_t count) const;
    void reorder(unsigned char* to, const unsigned char* from, size_t count) const;
    void convert(unsigned char* to, const unsigned char* from, size_t count) const;
    void convert_but_key(unsigned char* to, const unsigned char* from, size_t count) const;
    void blend_directly(unsigned char* to, const unsigned char* from, size_t count) const;
    void blend_packed(unsigned char* to, const unsigned char* from, size_t count) const;
    void blend_reordered(unsigned char* to, const unsigned char* from, size_t count) const;
    void blend_spread(unsigned char* to, const unsigned char* upper, size_t count,
                      const blend_settings& settings) const;
    void blend_bytes(unsigned char* to, const unsigned char* from, size_t count) const;
    void blend_565(unsigned char* to, const unsigned char* from, size_t count) const;
    void blend_fields(unsigned char* to, const unsigned char* from, size_t count) const;

    bool is_key(uint32_t pixel) const {
        return settings_.keyed && (pixel & settings_.key_mask) == settings_.key;
    }
    uint32_t alpha_of(uint32_t pixel) const;
    void find_alphas(uint16_t* alphas, const unsigned char* from, size_t count) const;
    uint32_t mix_fields(uint32_t upper, uint32_t lower, uint32_t alpha) const;

    uint32_t to_interface_, from_interface_;
    unsigned to_bytes_, from_bytes_;
    uint32_t (*convert_color_)(uint32_t to_interface, uint32_t from_interface, uint32_t color);
    blend_settings settings_;
    bool swapped_ = false;        // with byte channels on both sides: whether red and blue change places,
    uint32_t kept_ = 0, set_ = 0; // and what a conversion does with the byte above them
    bit_range alpha_{};           // of the upper bitmap
    std::array<color_field, 4> fields_{}; // of the lower bitmap
    write_function convert_, write_;      // the first one without what `from` skips or lets through
};

} // namespace ombrel::graphics
