// Filling a connected area of one colour.
#include <ombrel/stack.h>

#include "graphics/canvas.h"
#include "graphics/drawing_operations.h"

namespace ombrel::fbmap {
namespace {

struct filled_pixel {
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

    void push(const filled_pixel& pixel) {
        stack_ = ombrel_push_stack(stack_, &pixel, sizeof pixel);
        pushed_++;
    }

    bool pop(filled_pixel& pixel) {
        pixel.x = -1; // stays when the stack is empty
        stack_ = ombrel_pop_stack(stack_, &pixel, sizeof pixel);
        if (pixel.x < 0)
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
        : pixels_(map), last_column_(static_cast<int32_t>(map.m_resx - 1)),
          last_row_(static_cast<int32_t>(map.m_resy - 1)), old_color_(old_color), color_(color),
          touched_(map) {}

    int fill_from(int32_t x, int32_t y) {
        take(x, y);
        for (filled_pixel pixel; pending_.pop(pixel);)
            take_neighbours(pixel);
        return pending_.lost_some() ? -1 : 0;
    }

private:
    // A pixel is coloured when it is put aside, and so put aside once only.
    void take(int32_t x, int32_t y) {
        if (pixels_.get(x, y) != old_color_)
            return;
        pixels_.set(color_, x, y);
        touched_.add_pixel(x, y);
        pending_.push({x, y});
    }

    void take_neighbours(const filled_pixel& pixel) {
        if (pixel.x > 0)
            take(pixel.x - 1, pixel.y);
        else if (pixel.y > 0)
            take(last_column_, pixel.y - 1); // the pixel before it in the map, on the row above: meant so
        if (pixel.y > 0)
            take(pixel.x, pixel.y - 1);
        if (pixel.x < last_column_)
            take(pixel.x + 1, pixel.y);
        if (pixel.y < last_row_)
            take(pixel.x, pixel.y + 1);
    }

    canvas<Bytes> pixels_;
    int32_t last_column_, last_row_;
    uint32_t old_color_, color_;
    touched_area touched_;
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

} // namespace ombrel::fbmap
