// The pixels of a map while something is drawn into them, and what was touched.
#pragma once

#include "graphics/pixel/pixel.h"
#include "graphics/pixel/rectangle.h"
#include "graphics/pixel/rows.h"

namespace ombrel::graphics {

constexpr bool is_hidden(const ombrel_fbmap_t& fbmap) {
    return (fbmap.m_flags & def_ombrel_fbmap_hidden) != 0;
}

/// The map's rectangle in its own coordinates.
constexpr rectangle whole(const ombrel_fbmap_t& fbmap) {
    return {0, 0, fbmap.m_resx, fbmap.m_resy};
}

/// Adds what was drawn to the map's update region; a hidden map has none.
inline void grow_update_region(ombrel_fbmap_t& fbmap, const rectangle& touched) {
    if (!is_hidden(fbmap))
        unite(fbmap.m_update_region, touched);
}

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

    uint32_t get(int64_t x, int64_t y) const { return load_pixel<Bytes>(at(x, y)); }
    void set(uint32_t color, int64_t x, int64_t y) const { store_pixel<Bytes>(at(x, y), color); }

    void fill(uint32_t color, const rectangle& part) const {
        fill_rows(at(part.m_x, part.m_y), line_length_, color, part.m_w, part.m_h, Bytes);
    }

private:
    uint8_t* pixels_;
    size_t line_length_;
};

/// Draws what of it lies in the map.
template<unsigned Bytes>
class painter {
public:
    explicit painter(ombrel_fbmap_t& map) : map_(map), pixels_(map), touched_(map) {}

    void paint(uint32_t color, const rectangle& area) {
        const rectangle visible = visible_part(map_, area);
        if (is_empty(visible))
            return;
        pixels_.fill(color, visible);
        touched_.add(visible);
    }

    void paint_pixel(uint32_t color, int64_t x, int64_t y) {
        if (!is_inside(map_, x, y))
            return;
        pixels_.set(color, x, y);
        touched_.add_pixel(x, y);
    }

    /// For what the caller has clipped: it says what it touches.
    const canvas<Bytes>& pixels() const { return pixels_; }
    touched_area& touched() { return touched_; }

    bool drew_nothing() const { return touched_.empty(); }
    /// What a drawing function gives: 0, or -1 when there was nothing to draw.
    int result() const { return drew_nothing() ? -1 : 0; }

private:
    ombrel_fbmap_t& map_;
    canvas<Bytes> pixels_;
    touched_area touched_;
};

} // namespace ombrel::graphics
