// The pixels of a map while something is drawn into them, and what was touched.
#pragma once

#include <algorithm>

#include "graphics/pixel/pixel.h"
#include "graphics/pixel/row_fill.h"
#include "graphics/window/fbmap_internal.h"

namespace ombrel::fbmap {

/// What of the rectangle lies in the map; nothing lies in one without pixels.
inline rectangle visible_part(const ombrel_fbmap_t& map, rectangle area) {
    clip(area, map.m_map != nullptr ? map.m_resx : 0, map.m_resy);
    return area;
}

inline bool is_inside(const ombrel_fbmap_t& map, int64_t x, int64_t y) {
    return map.m_map != nullptr && x >= 0 && x < map.m_resx && y >= 0 && y < map.m_resy;
}

/// The bounding box of what is drawn, which goes into the map's update region at the end of the scope.
class touched_area {
public:
    explicit touched_area(ombrel_fbmap_t& map) : map_(map) {}
    touched_area(const touched_area&) = delete;
    touched_area& operator=(const touched_area&) = delete;
    ~touched_area() {
        if (!empty())
            grow_update_region(map_, between(left_, top_, right_, bottom_));
    }

    void add(const rectangle& part) {
        left_ = std::min<int64_t>(left_, part.m_x);
        top_ = std::min<int64_t>(top_, part.m_y);
        right_ = std::max(right_, right_of(part));
        bottom_ = std::max(bottom_, bottom_of(part));
    }
    void add_pixel(int64_t x, int64_t y) {
        left_ = std::min(left_, x);
        top_ = std::min(top_, y);
        right_ = std::max(right_, x + 1);
        bottom_ = std::max(bottom_, y + 1);
    }

    bool empty() const { return right_ <= left_; }

private:
    ombrel_fbmap_t& map_;
    int64_t left_ = INT64_MAX, top_ = INT64_MAX, right_ = INT64_MIN, bottom_ = INT64_MIN;
};

/// A map's pixels of so many bytes. The caller clips.
template<unsigned Bytes>
class canvas {
public:
    explicit canvas(const ombrel_fbmap_t& map)
        : pixels_(static_cast<uint8_t*>(map.m_map)), line_length_(map.m_line_length) {}

    uint8_t* at(int64_t x, int64_t y) const {
        return pixels_ + static_cast<size_t>(y) * line_length_ + static_cast<size_t>(x) * Bytes;
    }

    /// What is read from a pixel that was set to the colour.
    static constexpr uint32_t stored(uint32_t color) { return color & (0xFFFFFFFFu >> (32 - 8 * Bytes)); }

    uint32_t get(int64_t x, int64_t y) const { return graphics::load_pixel<Bytes>(at(x, y)); }
    void set(uint32_t color, int64_t x, int64_t y) const { graphics::store_pixel<Bytes>(at(x, y), color); }

    void fill(uint32_t color, const rectangle& part) const {
        graphics::fill_rows(at(part.m_x, part.m_y), line_length_, color, part.m_w, part.m_h, Bytes);
    }

private:
    uint8_t* pixels_;
    size_t line_length_;
};

/// Draws in one colour what of it lies in the map.
template<unsigned Bytes>
class painter {
public:
    painter(ombrel_fbmap_t& map, uint32_t color) : map_(map), color_(color), pixels_(map), touched_(map) {}

    void paint(const rectangle& area) {
        const rectangle visible = visible_part(map_, area);
        if (is_empty(visible))
            return;
        pixels_.fill(color_, visible);
        touched_.add(visible);
    }

    void paint_pixel(int64_t x, int64_t y) {
        if (!is_inside(map_, x, y))
            return;
        pixels_.set(color_, x, y);
        touched_.add_pixel(x, y);
    }

    /// What a drawing function gives: 0, or -1 when there was nothing to draw.
    int result() const { return touched_.empty() ? -1 : 0; }

private:
    ombrel_fbmap_t& map_;
    uint32_t color_;
    canvas<Bytes> pixels_;
    touched_area touched_;
};

} // namespace ombrel::fbmap
