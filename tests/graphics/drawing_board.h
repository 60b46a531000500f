// A map of any depth with guard bytes around its pixels, for tests that draw.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/color.h>
#include <ombrel/fbmap_draw.h>

inline bool operator==(const ombrel_fbmap_rectangle_t& a, const ombrel_fbmap_rectangle_t& b) {
    return a.m_x == b.m_x && a.m_y == b.m_y && a.m_w == b.m_w && a.m_h == b.m_h;
}
inline std::ostream& operator<<(std::ostream& out, const ombrel_fbmap_rectangle_t& area) {
    return out << area.m_x << ',' << area.m_y << ' ' << area.m_w << 'x' << area.m_h;
}

namespace ombrel_test {

using pixel_rows = std::vector<uint32_t>; // pixels row by row

class drawing_board {
public:
    drawing_board(unsigned bits, uint32_t width, uint32_t height)
        : bytes_(guard + size_t{width} * height * bits / 8 + guard, 0xA5) {
        map_.m_bits_per_pixel = bits;
        map_.m_color_interface = ombrel_bits_per_pixel_to_color_interface(bits);
        map_.m_resx = width;
        map_.m_resy = height;
        map_.m_line_length = width * bits / 8;
        map_.m_map_size = map_.m_line_length * height;
        map_.m_map = bytes_.data() + guard;
        map_.m_brush_x_scale = map_.m_brush_y_scale = {1, 1};
        std::fill(bytes_.begin() + guard, bytes_.end() - guard, uint8_t{0});
    }
    ~drawing_board() {
        for (size_t i = 0; i < guard; i++) {
            EXPECT_EQ(0xA5, bytes_[i]);
            EXPECT_EQ(0xA5, bytes_[bytes_.size() - 1 - i]);
        }
    }

    ombrel_fbmap_t* operator->() { return &map_; }
    operator ombrel_fbmap_t*() { return &map_; }

    pixel_rows pixels() const {
        const unsigned size = map_.m_bits_per_pixel / 8;
        pixel_rows result;
        for (size_t at = guard; at < bytes_.size() - guard; at += size) {
            uint32_t pixel = 0;
            for (unsigned i = 0; i < size; i++)
                pixel |= uint32_t{bytes_[at + i]} << 8 * i;
            result.push_back(pixel);
        }
        return result;
    }

    /// Rows of '#' for pixels of the colour and '.' for others.
    std::vector<std::string> rows(uint32_t color) const {
        const pixel_rows all = pixels();
        std::vector<std::string> result(map_.m_resy, std::string(map_.m_resx, '.'));
        for (size_t i = 0; i < all.size(); i++)
            if (all[i] == color)
                result[i / map_.m_resx][i % map_.m_resx] = '#';
        return result;
    }

private:
    static constexpr size_t guard = 4096;
    std::vector<uint8_t> bytes_;
    ombrel_fbmap_t map_{};
};

} // namespace ombrel_test
