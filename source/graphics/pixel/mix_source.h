// Pixels that are mixed with others: four channels of a byte each.
#pragma once

#include <ombrel/bitmap.h>

#include "graphics/pixel/loose_pixels.h"

namespace ombrel::graphics {

/// Sums over pixels, each as often as its weight says.
struct mix_sums {
    uint64_t weight = 0; ///< of all
    uint64_t seen = 0;   ///< of those that are not the key
    uint64_t alpha = 0;  ///< of these, times their alpha
    std::array<uint64_t, 3> colors{};
};

/// The pixels of a bitmap, converted for mixing.
class mix_source {
public:
    mix_source(const ombrel_bitmap_t& from, uint32_t mode);

    /// Says what mixed pixels are, and how they are blended.
    const ombrel_bitmap_t& mixed() const { return mixed_; }

    /// Whether some pixels count more than others, by their alpha or as they are the key.
    bool is_weighted() const { return keyed_ || by_alpha_; }
    bool is_keyed() const { return keyed_; }
    /// Whether the bitmap's own pixels can be mixed.
    bool is_direct() const { return direct_; }

    /// The bitmap's own.
    const unsigned char* row(int64_t y) const { return reader_.read(0, y, 0, nullptr); }

    /// Pixels of a row one after the other, and for weighted ones whether each counts, 0 or 1.
    void read(unsigned char* pixels, unsigned char* counts, int64_t x, int64_t y, size_t count) const;
    /// Those that the columns name, which do not fall.
    void gather(unsigned char* pixels, unsigned char* counts, const uint32_t* columns, int64_t y,
                size_t count) const;

    /// Adds a pixel.
    void add(mix_sums& sums, const unsigned char* pixel, unsigned counts, uint64_t weight) const;
    /// Writes the pixel that comes of them; false when it is the key instead.
    bool finish(unsigned char* pixel, const mix_sums& sums) const;

private:
    static constexpr size_t piece = packed_chunk;

    void convert(unsigned char* pixels, unsigned char* counts, const unsigned char* raw, size_t count) const;
    void widen_alpha(unsigned char* pixels, const unsigned char* raw, size_t count) const;
    void find_key(unsigned char* counts, const unsigned char* raw, size_t count) const;

    bool keyed_, by_alpha_, blends_, direct_;
    uint32_t key_mask_, key_;
    bit_range alpha_;
    ombrel_bitmap_t mixed_;
    loose_reader reader_;
    row_writer converter_;
};

/// Puts pixels that were mixed upon a bitmap, and the key where they are the key.
class mix_writer {
public:
    mix_writer(const box_job& job, const mix_source& source);

    /// Whether mixed pixels go to a row byte by byte.
    bool is_copy() const { return pixels_.is_copy(); }
    unsigned char* at(int64_t x, int64_t y) const { return pixels_.at(x, y); }

    void write(int64_t x, int64_t y, const unsigned char* mixed, size_t count) const {
        pixels_.write(x, y, mixed, count);
    }
    /// With the key where `present` is 0.
    void write(int64_t x, int64_t y, const unsigned char* mixed, const unsigned char* present,
               size_t count) const;

private:
    loose_writer pixels_, keys_;
    std::array<unsigned char, 4 * packed_chunk> key_row_;
};

} // namespace ombrel::graphics
