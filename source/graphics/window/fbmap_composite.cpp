#include "graphics/window/fbmap_composite.h"

#include <algorithm>
#include <cstring>

#include <ombrel/bitmap.h>
#include <ombrel/heap.h>
#include <ombrel/memory.h>
#include <ombrel/output.h>

#include "graphics/pixel/pixel_block.h"

namespace ombrel::graphics {

namespace {

constexpr const char source_name[] = "source/fbmap_update";
constexpr const char pass[] = "__ombrel_fbmap_redraw_region_recursive_internal";

// Of areas inside the root.
size_t first_column(const rectangle& area) {
    return static_cast<size_t>(area.m_x);
}
size_t first_row(const rectangle& area) {
    return static_cast<size_t>(area.m_y);
}

/// What a root's m_composite_map points to, followed by the two pixel buffers and the marks.
///
/// The root's own pixels have no other place than its map, in which windows are shown. So what transparent
/// windows are blended onto is kept beside the result. As long as the map still holds that result, the next
/// blend starts from what was kept, not from its own traces; a pixel that was drawn anew since is what lies
/// below from then on.
struct composite_map {
    uint32_t resx;
    uint32_t resy;
    uint32_t line_length;
    uint32_t pixel_size;

    size_t map_size() const { return size_t{line_length} * resy; }
    unsigned char* blended() { return reinterpret_cast<unsigned char*>(this + 1); }
    unsigned char* below() { return blended() + map_size(); }
    /// A byte for each pixel: 1 where both buffers have been written and no opaque window has been shown
    /// since.
    unsigned char* marks() { return below() + map_size(); }

    bool fits(const ombrel_fbmap_t& root) const {
        return resx == root.m_resx && resy == root.m_resy && line_length == root.m_line_length &&
               pixel_size == root.m_bits_per_pixel / 8;
    }
    size_t pixel_offset(size_t x, size_t y) const { return y * line_length + x * pixel_size; }
    ombrel_bitmap_t bitmap(unsigned char* pixels, uint32_t color_interface) const {
        return {pixels, color_interface, resx, resy, line_length, 0, 0, 0};
    }
    void copy(unsigned char* to, const unsigned char* from, const rectangle& area) const {
        const size_t offset = pixel_offset(first_column(area), first_row(area));
        ombrel_memcpy_blit(to + offset, from + offset, size_t{area.m_w} * pixel_size, line_length,
                           line_length, area.m_h);
    }
    void mark(const rectangle& area, int value) {
        for (uint32_t row = 0; row < area.m_h; row++)
            memset(marks() + (first_row(area) + row) * resx + first_column(area), value, area.m_w);
    }
};

composite_map* existing_composite(ombrel_fbmap_t& root) {
    auto* composite = static_cast<composite_map*>(root.m_composite_map);
    if (composite == nullptr || composite->fits(root))
        return composite;
    // A plug-in has given the root another resolution.
    ombrel_free_tag(composite, "ombrel_fbmap_update", __LINE__);
    root.m_composite_map = nullptr;
    return nullptr;
}

composite_map* new_composite(ombrel_fbmap_t& root) {
    const uint64_t size = sizeof(composite_map) + uint64_t{root.m_line_length} * root.m_resy * 2 +
                          uint64_t{root.m_resx} * root.m_resy;
    if (size > PTRDIFF_MAX)
        return nullptr;
    auto* made =
        static_cast<composite_map*>(new_pixels(static_cast<size_t>(size), "ombrel_fbmap_update", __LINE__));
    if (made != nullptr)
        *made = {root.m_resx, root.m_resy, root.m_line_length, root.m_bits_per_pixel / 8};
    return made;
}

composite_map* composite_for(ombrel_fbmap_t& root) {
    if (composite_map* present = existing_composite(root))
        return present;
    if (root.m_color_interface == 0) {
        fail({source_name, {pass, __LINE__}}, "master-fbmap's color-interface not defined !");
        return nullptr;
    }
    if (root.m_map == nullptr)
        return nullptr;
    composite_map* const made = new_composite(root);
    if (made == nullptr)
        fail({source_name, {pass, __LINE__}}, "not enough memory ! (for composite_map)");
    else if ((root.m_flags & def_ombrel_fbmap_debug) != 0)
        ombrel_printf("fbmap: [DEBUG] composite map allocated.\n");
    root.m_composite_map = made;
    return made;
}

/// One recomposition of a root.
class recomposition {
public:
    /// `composite` is null when there is none; nothing is blended then.
    recomposition(ombrel_fbmap_t& root, composite_map* composite)
        : root_(root), pixels_(static_cast<unsigned char*>(root.m_map)), composite_(composite) {}

    /// What shows one window, or none any more.
    void replace(const rectangle_node& node) {
        if (node.m_owner == nullptr)
            uncover(node.m_rectangle);
        else
            show(*node.m_owner, node.m_rectangle);
    }

    /// What shows several windows, of all nodes within `area`, by bands of rows that stay in the cache.
    void blend_all(const rectangle_node* nodes, const rectangle& area) {
        if (composite_ == nullptr || is_empty(area))
            return;
        // A pixel has no whole byte at some depths that are not supported.
        const int64_t row_bytes = int64_t{area.m_w} * std::max(composite_->pixel_size, 1u);
        const int64_t rows = 1 + band_bytes / row_bytes;
        for (int64_t top = area.m_y; top < bottom_of(area); top += rows) {
            const rectangle band =
                between(area.m_x, top, right_of(area), std::min(top + rows, bottom_of(area)));
            for_each_blended(nodes, band, [&](auto& node, auto& part) { blend(node, part); });
            for_each_blended(nodes, band, [&](auto& node, auto& part) { finish(node, part); });
        }
    }

private:
    static constexpr int64_t band_bytes = 65536;

    static bool is_lowest_blended(const rectangle_node& node) {
        return (node.m_flags & (needs_blending | settled)) == needs_blending;
    }

    template<typename Work>
    static void for_each_blended(const rectangle_node* node, const rectangle& band, Work work) {
        rectangle part;
        for (; node != nullptr; node = node->m_next)
            if ((node->m_flags & needs_blending) != 0 && overlap(node->m_rectangle, band, part))
                work(*node, part);
    }

    void finish(const rectangle_node& node, const rectangle& area) {
        if (!is_lowest_blended(node))
            return;
        composite_->copy(pixels_, composite_->blended(), area);
        unite(root_.m_update_region, area);
    }

    static void get_box(ombrel_fbmap_t& owner, ombrel_bitmap_t to, const rectangle& area, uint32_t mode) {
        const placement at = locate(owner, whole(owner));
        const int64_t x = area.m_x - at.origin.x;
        const int64_t y = area.m_y - at.origin.y;
        if (x <= INT32_MAX && y <= INT32_MAX)
            __ombrel_fbmap_get_box_internal(&owner, &to, area.m_x, area.m_y, static_cast<int32_t>(x),
                                            static_cast<int32_t>(y), area.m_w, area.m_h, mode);
    }

    void show(ombrel_fbmap_t& owner, const rectangle& area) {
        get_box(owner,
                {pixels_, root_.m_color_interface, root_.m_resx, root_.m_resy, root_.m_line_length, 0, 0, 0},
                area, def_ombrel_fbmap_plain);
        if (composite_ != nullptr)
            composite_->mark(area, 0);
        unite(root_.m_update_region, area);
    }

    void blend(const rectangle_node& node, const rectangle& area) {
        const bool transparent = is_transparent(*node.m_owner);
        if (is_lowest_blended(node)) {
            if (transparent)
                keep_root_pixels(area);
            else
                get_box(*node.m_owner, bitmap(composite_->below()), area, def_ombrel_fbmap_plain);
            composite_->mark(area, 1);
            composite_->copy(composite_->blended(), composite_->below(), area);
        }
        if (transparent)
            get_box(*node.m_owner, bitmap(composite_->blended()), area, def_ombrel_fbmap_blend);
    }

    ombrel_bitmap_t bitmap(unsigned char* pixels) const {
        return composite_->bitmap(pixels, root_.m_color_interface);
    }

    // Calls work(offset, bytes, shown) for all of an area; `shown` is whether the root shows there what was
    // blended for it last.
    template<typename Work>
    void sort_out(const rectangle& area, Work work) const {
        const size_t left = first_column(area), right = left + area.m_w;
        for (size_t y = first_row(area); y < first_row(area) + area.m_h; y++) {
            const unsigned char* const marks = composite_->marks() + y * composite_->resx;
            for (size_t x = left, end; x < right; x = end) {
                const void* const other = memchr(marks + x, marks[x] ^ 1, right - x);
                end = other != nullptr ? static_cast<size_t>(static_cast<const unsigned char*>(other) - marks)
                                       : right;
                const size_t offset = composite_->pixel_offset(x, y), bytes = (end - x) * pixel_size();
                if (marks[x] == 0)
                    work(offset, bytes, false);
                else if (is_same(offset, bytes))
                    work(offset, bytes, true);
                else
                    for (size_t i = 0; i < bytes; i += pixel_size())
                        work(offset + i, pixel_size(), is_same(offset + i, pixel_size()));
            }
        }
    }
    bool is_same(size_t offset, size_t bytes) const {
        return memcmp(pixels_ + offset, composite_->blended() + offset, bytes) == 0;
    }
    size_t pixel_size() const { return composite_->pixel_size; }

    void keep_root_pixels(const rectangle& area) {
        sort_out(area, [&](size_t offset, size_t bytes, bool shown) {
            if (!shown)
                memcpy(composite_->below() + offset, pixels_ + offset, bytes);
        });
    }

    // Where no window is any more the root keeps what it shows, without what was blended onto it.
    void uncover(const rectangle& area) {
        if (composite_ == nullptr)
            return;
        bool changed = false;
        sort_out(area, [&](size_t offset, size_t bytes, bool shown) {
            if (!shown)
                return;
            memcpy(pixels_ + offset, composite_->below() + offset, bytes);
            changed = true;
        });
        composite_->mark(area, 0);
        if (changed)
            unite(root_.m_update_region, area);
    }

    ombrel_fbmap_t& root_;
    unsigned char* pixels_;
    composite_map* composite_;
};

// The rectangle around all that needs blending.
rectangle blended_area(const rectangle_node* nodes) {
    rectangle area = {};
    for (; nodes != nullptr; nodes = nodes->m_next)
        if ((nodes->m_flags & needs_blending) != 0)
            unite(area, nodes->m_rectangle);
    return area;
}

} // namespace

bool paint_nodes(ombrel_fbmap_t& root, const rectangle_node* nodes) {
    const rectangle area = blended_area(nodes);
    composite_map* const composite = is_empty(area) ? existing_composite(root) : composite_for(root);
    if (root.m_map == nullptr)
        return true;
    recomposition to(root, composite);
    for (const rectangle_node* node = nodes; node != nullptr; node = node->m_next)
        if ((node->m_flags & needs_blending) == 0)
            to.replace(*node);
    to.blend_all(nodes, area);
    return is_empty(area) || composite != nullptr;
}

} // namespace ombrel::graphics
