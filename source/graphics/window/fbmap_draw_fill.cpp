// Filling a connected area of one colour.
#include <algorithm>
#include <utility>

#include <ombrel/stack.h>

#include "graphics/pixel/canvas.h"
#include "graphics/window/drawing_operations.h"

namespace ombrel::graphics {
namespace {

struct pixel {
    int32_t x, y;
};

/// Pixels to go on from. A push for which there is no memory leaves no trace in the stack itself, so both are
/// counted.
class pixel_stack {
public:
    pixel_stack() = default;
    pixel_stack(const pixel_stack&) = delete;
    pixel_stack& operator=(const pixel_stack&) = delete;
    ~pixel_stack() { ombrel_pop_stack(stack_, nullptr, SIZE_MAX); }

    void push(const pixel& aside) {
        stack_ = ombrel_push_stack(stack_, &aside, sizeof aside);
        pushed_++;
    }

    bool pop(pixel& aside) {
        aside.x = -1; // stays when the stack is empty
        stack_ = ombrel_pop_stack(stack_, &aside, sizeof aside);
        if (aside.x < 0)
            return false;
        popped_++;
        return true;
    }

    /// Whether a push has failed; only when everything was popped.
    bool lost_some() const { return popped_ != pushed_; }

private:
    ombrel_stack_t* stack_ = nullptr;
    size_t pushed_ = 0, popped_ = 0;
};

template<unsigned Bytes>
class area_filler {
public:
    area_filler(ombrel_fbmap_t& map, uint32_t old_color, uint32_t color)
        : last_column_(last_of(map.m_resx)), last_row_(last_of(map.m_resy)), old_color_(old_color),
          color_(color), painter_(map) {}

    int fill_from(int32_t x, int32_t y) {
        pending_.push({x, y});
        for (pixel now; pending_.pop(now);)
            if (is_old(now.x, now.y))
                fill_run(now.x, now.y);
        return pending_.lost_some() ? -1 : 0;
    }

private:
    // Columns and rows that no coordinate can name are left out.
    static int32_t last_of(uint32_t size) {
        return static_cast<int32_t>(std::min(size, uint32_t{INT32_MAX}) - 1);
    }

    bool is_old(int32_t x, int32_t y) const { return painter_.pixels().get(x, y) == old_color_; }

    // Fills the whole run of the row around a pixel, and puts aside what it borders on.
    void fill_run(int32_t x, int32_t y) {
        int32_t first = x, last = x;
        while (first > 0 && is_old(first - 1, y))
            first--;
        while (last < last_column_ && is_old(last + 1, y))
            last++;
        painter_.paint(color_, {first, y, static_cast<uint32_t>(last - first) + 1, 1});
        // Left of column 0 is the pixel before it in the map, the last of the row above: meant so.
        if (first == 0 && y > 0)
            put_aside(last_column_, last_column_, y - 1);
        if (y > 0)
            put_aside(first, last, y - 1);
        if (y < last_row_)
            put_aside(first, last, y + 1);
    }

    // One pixel of each run between two columns.
    void put_aside(int32_t first, int32_t last, int32_t y) {
        bool in_run = false;
        for (int32_t x = first; x <= last; x++) {
            const bool was_in_run = std::exchange(in_run, is_old(x, y));
            if (in_run && !was_in_run)
                pending_.push({x, y});
        }
    }

    int32_t last_column_, last_row_;
    uint32_t old_color_, color_;
    painter<Bytes> painter_;
    pixel_stack pending_;
};

} // namespace

template<unsigned Bytes>
int draw_fill(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y) {
    if (!is_inside(*map, x, y))
        return -1;
    const uint32_t old_color = canvas<Bytes>(*map).get(x, y);
    // The pixel's own bytes are compared, so that a word with more bits set ends, too.
    if (old_color == canvas<Bytes>::stored(color))
        return 0;
    return area_filler<Bytes>(*map, old_color, color).fill_from(x, y);
}

template int draw_fill<1>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t);
template int draw_fill<2>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t);
template int draw_fill<3>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t);
template int draw_fill<4>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t);

} // namespace ombrel::graphics
