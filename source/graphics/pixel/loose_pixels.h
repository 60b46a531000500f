// Rows of bitmaps of any depth, read and written with whole bytes a pixel.
#pragma once

#include <algorithm>
#include <array>

#include <ombrel/bitmap.h>

#include "graphics/pixel/bitmap_box.h"
#include "graphics/pixel/packed_pixels.h"
#include "graphics/pixel/row_writer.h"

namespace ombrel::graphics {

/// How many pixels of less than a byte are taken apart at a time.
inline constexpr size_t packed_chunk = 256;
using packed_room = std::array<unsigned char, packed_chunk>;

/// Reads a bitmap's rows.
class loose_reader {
public:
    explicit loose_reader(const ombrel_bitmap_t& from)
        : from_(from), bits_(depth_of(from)), bytes_(loose_bytes(from.m_color_interface)) {}

    unsigned bytes() const { return bytes_; }
    bool packed() const { return is_packed(bits_); }

    /// Pixels from a place on: where they lie, or in the room. Of packed ones no more than fit there.
    const unsigned char* read(int64_t x, int64_t y, size_t count, unsigned char* room) const {
        const unsigned char* const row = row_at(from_, y);
        if (!packed())
            return row + static_cast<size_t>(x) * bytes_;
        unpack(room, row, bits_, static_cast<size_t>(x), count);
        return room;
    }

    /// The pixels of a row that the columns name, one behind the other.
    void gather(unsigned char* to, int64_t y, const uint32_t* columns, size_t count) const;

private:
    const ombrel_bitmap_t& from_;
    unsigned bits_, bytes_;
};

/// Puts pixels upon a bitmap's rows.
class loose_writer {
public:
    /// `from` says what the pixels are.
    loose_writer(const ombrel_bitmap_t& to, const ombrel_bitmap_t& from, uint32_t mode, color_rule rule)
        : to_(to), bits_(depth_of(to)), writer_(to, from, mode, rule) {}

    /// Whether rows are written where they lie.
    bool is_direct() const { return !is_packed(bits_); }
    /// Whether pixels of a row go over byte by byte, too.
    bool is_copy() const { return writer_.is_copy() && is_direct(); }

    unsigned bytes() const { return writer_.to_bytes(); }

    unsigned char* at(int64_t x, int64_t y) const {
        return row_at(to_, y) + static_cast<size_t>(x) * writer_.to_bytes();
    }

    void write(int64_t x, int64_t y, const unsigned char* pixels, size_t count) const {
        if (is_packed(bits_))
            return write_packed(x, y, pixels, count);
        writer_.write(at(x, y), pixels, count);
    }

private:
    void write_packed(int64_t x, int64_t y, const unsigned char* pixels, size_t count) const;

    const ombrel_bitmap_t& to_;
    unsigned bits_;
    row_writer writer_;
};

} // namespace ombrel::graphics
