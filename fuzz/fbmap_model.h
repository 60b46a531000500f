// A plain painter of window trees.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include <ombrel/fbmap.h>

namespace ombrel_test {

using pixels = std::vector<uint32_t>;

inline uint32_t pixel(const ombrel_fbmap_t& map, size_t x, size_t y) {
    const auto* bytes = static_cast<const unsigned char*>(map.m_map) + y * map.m_line_length;
    uint32_t value = 0;
    for (uint32_t i = 0, size = map.m_bits_per_pixel / 8; i < size; i++)
        value |= uint32_t{bytes[x * size + i]} << 8 * i;
    return value;
}

/// What a root shows when every window that is not hidden is painted from the lowest to the topmost,
/// clipped to all that contain it.
class fbmap_model {
public:
    /// `shown` is what the root shows without windows.
    fbmap_model(const ombrel_fbmap_t& root, const pixels& shown)
        : root_(root), shown_(shown), below_(shown.size()), blended_(shown.size()) {}

    const pixels& shown() {
        // Where no opaque window is, the root shows what it did without the transparent ones.
        for (size_t i = 0; i < shown_.size(); i++)
            if (blended_[i])
                shown_[i] = below_[i];
        below_ = shown_;
        blended_.assign(shown_.size(), false);
        paint_children(root_, 0, 0, {0, 0, int64_t{root_.m_resx}, int64_t{root_.m_resy}});
        return shown_;
    }

private:
    struct edges {
        int64_t left, top, right, bottom;
    };

    void paint_children(const ombrel_fbmap_t& parent, int64_t x, int64_t y, const edges& clip) {
        const ombrel_fbmap_t* child = parent.m_children;
        while (child != nullptr && child->m_next != nullptr)
            child = child->m_next;
        for (; child != nullptr; child = child->m_prev) {
            const int64_t left = x + child->m_x, top = y + child->m_y;
            const edges inside = {std::max(clip.left, left), std::max(clip.top, top),
                                  std::min(clip.right, left + child->m_resx),
                                  std::min(clip.bottom, top + child->m_resy)};
            if ((child->m_flags & def_ombrel_fbmap_hidden) == 0)
                paint(*child, left, top, inside);
            paint_children(*child, left, top, inside);
        }
    }

    void paint(const ombrel_fbmap_t& window, int64_t left, int64_t top, const edges& inside) {
        const bool opaque = (window.m_flags & def_ombrel_fbmap_transparent) == 0;
        for (int64_t y = inside.top; y < inside.bottom; y++)
            for (int64_t x = inside.left; x < inside.right; x++) {
                const size_t i = static_cast<size_t>(y) * root_.m_resx + static_cast<size_t>(x);
                const uint32_t upper =
                    pixel(window, static_cast<size_t>(x - left), static_cast<size_t>(y - top));
                shown_[i] = opaque ? upper : blend(window, upper, shown_[i]);
                if (opaque)
                    below_[i] = upper;
                blended_[i] = !opaque;
            }
    }

    static uint32_t blend(const ombrel_fbmap_t& window, uint32_t upper, uint32_t lower) {
        if ((window.m_flags & def_ombrel_fbmap_ccolor) != 0 && upper == window.m_ccolor)
            return lower;
        uint32_t alpha = 255;
        if ((window.m_flags & def_ombrel_fbmap_alpha_window) != 0)
            alpha = window.m_alpha_window;
        if ((window.m_flags & def_ombrel_fbmap_alpha_pixel) != 0 && window.m_bits_per_pixel == 32)
            alpha = (alpha * (upper >> 24) + 127) / 255;
        if ((window.m_flags & (def_ombrel_fbmap_alpha_window | def_ombrel_fbmap_alpha_pixel)) == 0)
            return upper;
        uint32_t mixed = 0;
        for (uint32_t field = window.m_color_interface, shift = 0; field != 0; field >>= 8) {
            const uint32_t limit = (1u << (field & 15)) - 1;
            const uint32_t over = (field & 0xF0) == 0x10 ? limit : upper >> shift & limit;
            mixed |= (over * alpha + (lower >> shift & limit) * (255 - alpha) + 127) / 255 << shift;
            shift += field & 15;
        }
        return mixed;
    }

    const ombrel_fbmap_t& root_;
    pixels shown_, below_;
    std::vector<bool> blended_;
};

} // namespace ombrel_test
