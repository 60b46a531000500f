// Pixels, lines, boxes and circles.
#include "graphics/pixel/canvas.h"
#include "graphics/window/circle_walk.h"
#include "graphics/window/drawing_operations.h"

namespace ombrel::graphics {
namespace {

// Coordinates are 64 bits wide where sums of 32-bit ones are made.

template<unsigned Bytes>
int paint_one(ombrel_fbmap_t* map, uint32_t color, const rectangle& area) {
    painter<Bytes> paint(*map);
    paint.paint(color, area);
    return paint.result();
}

template<unsigned Bytes>
int paint_outline(ombrel_fbmap_t* map, uint32_t color, const rectangle& box) {
    painter<Bytes> paint(*map);
    if (!is_empty(box)) {
        const int64_t left = box.m_x, top = box.m_y, right = right_of(box), bottom = bottom_of(box);
        paint.paint(color, between(left, top, right, top + 1));
        paint.paint(color, between(left, bottom - 1, right, bottom));
        paint.paint(color, between(left, top, left + 1, bottom));
        paint.paint(color, between(right - 1, top, right, bottom));
    }
    return paint.result();
}

/// A line from one end: after k of `steps` steps it has gone floor(k x distance / steps) pixels on each axis.
/// The accumulators start at 0 and not at half a step, which biases the line to its start: meant so.
class line_course {
public:
    line_course(place from, place to)
        : from_(from), x_(from.x, to.x), y_(from.y, to.y), steps_(std::max(x_.distance, y_.distance)) {}

    /// The first and the last pixel of the line that the map shows.
    bool clip(const ombrel_fbmap_t& map, place& first, place& last) const {
        uint64_t from = 0, to = steps_;
        if (map.m_map == nullptr || !x_.narrow(map.m_resx, steps_, from, to) ||
            !y_.narrow(map.m_resy, steps_, from, to) || from > to)
            return false;
        first = at(from);
        last = at(to);
        return true;
    }

    template<typename Plot>
    void walk(Plot plot) const {
        uint64_t x_sum = 0, y_sum = 0;
        place now = from_;
        for (uint64_t step = 0; step <= steps_; step++) {
            plot(now);
            now.x += x_.advance(x_sum, steps_);
            now.y += y_.advance(y_sum, steps_);
        }
    }

private:
    struct axis {
        axis(int64_t from, int64_t to)
            : start(from), sign(to < from ? -1 : 1), distance(static_cast<uint64_t>((to - from) * sign)) {}

        int64_t at(uint64_t step, uint64_t steps) const {
            return steps == 0 ? start : start + sign * static_cast<int64_t>(step * distance / steps);
        }

        int64_t advance(uint64_t& sum, uint64_t steps) const {
            sum += distance;
            if (sum < steps)
                return 0;
            sum -= steps;
            return sign;
        }

        // Leaves the steps at which the axis is between 0 and the limit; false when there are none. Products
        // are those of two numbers below 2^32.
        bool narrow(int64_t limit, uint64_t steps, uint64_t& from, uint64_t& to) const {
            const int64_t nearest = sign > 0 ? -start : start - (limit - 1);
            const int64_t farthest = sign > 0 ? limit - 1 - start : start;
            if (farthest < 0 || nearest > static_cast<int64_t>(distance))
                return false;
            if (nearest > 0)
                from = std::max(from, first_step(static_cast<uint64_t>(nearest), steps));
            if (farthest < static_cast<int64_t>(distance))
                to = std::min(to, first_step(static_cast<uint64_t>(farthest) + 1, steps) - 1);
            return true;
        }

        uint64_t first_step(uint64_t gone, uint64_t steps) const {
            const uint64_t product = gone * steps;
            return product / distance + (product % distance != 0);
        }

        int64_t start, sign;
        uint64_t distance;
    };

    place at(uint64_t step) const { return {x_.at(step, steps_), y_.at(step, steps_)}; }

    place from_;
    axis x_, y_;
    uint64_t steps_;
};

/// The circle's part in the map, eighth by eighth or row by row.
template<unsigned Bytes>
class circle_painter {
public:
    circle_painter(ombrel_fbmap_t& map, uint32_t color, int32_t cx, int32_t cy, uint32_t radius)
        : map_(map), cx_(cx), cy_(cy), radius_(radius), color_(color), walk_(radius), painter_(map) {}

    int outline() {
        paint_eighths(cy_, map_.m_resy,
                      [&](int64_t x, int64_t y) { painter_.paint_pixel(color_, cx_ + x, cy_ + y); });
        paint_eighths(cx_, map_.m_resx,
                      [&](int64_t y, int64_t x) { painter_.paint_pixel(color_, cx_ + x, cy_ + y); });
        return painter_.result();
    }

    int filled() {
        const int64_t first = std::max<int64_t>(cy_ - radius_, 0);
        const int64_t last = std::min<int64_t>(cy_ + radius_, int64_t{map_.m_resy} - 1);
        for (int64_t y = first; y <= last; y++)
            if (const int64_t reach = half_width(static_cast<uint64_t>(y < cy_ ? cy_ - y : y - cy_));
                reach >= 0)
                painter_.paint(color_, between(cx_ - reach, y, cx_ + reach + 1, y + 1));
        return painter_.result();
    }

private:
    // Plots the eighths whose step y leads away from the centre along an axis of the map, in both directions:
    // at column x and -x of each step that is in the map.
    template<typename Plot>
    void paint_eighths(int64_t centre, int64_t limit, Plot plot) {
        for (const int64_t direction : {1, -1}) {
            const int64_t first = std::max<int64_t>(direction > 0 ? -centre : centre - (limit - 1), 0);
            const int64_t last = direction > 0 ? limit - 1 - centre : centre;
            if (!walk_.reaches(static_cast<uint64_t>(first)))
                continue;
            auto column = walk_.column(static_cast<uint64_t>(first));
            for (int64_t step = first; step <= last;
                 column = walk_.next_column(column, static_cast<uint64_t>(step))) {
                plot(static_cast<int64_t>(column), direction * step);
                plot(-static_cast<int64_t>(column), direction * step);
                if (!walk_.reaches(static_cast<uint64_t>(++step)))
                    break;
            }
        }
    }

    // How far the circle reaches to both sides on the rows at this distance from the centre, or -1. Rows that
    // the walk meets as its column get the span of the first step there, which is narrower than the circle:
    // meant so.
    int64_t half_width(uint64_t distance) const {
        int64_t reach = -1;
        if (walk_.reaches(distance))
            reach = static_cast<int64_t>(walk_.column(distance));
        if (distance > 0) {
            const uint64_t step = walk_.first_step(distance);
            if (step <= distance && walk_.reaches(step))
                reach = std::max(reach, static_cast<int64_t>(step));
        }
        return reach;
    }

    ombrel_fbmap_t& map_;
    int64_t cx_, cy_, radius_;
    uint32_t color_;
    circle_walk walk_;
    painter<Bytes> painter_;
};

} // namespace

template<unsigned Bytes>
int draw_clear(ombrel_fbmap_t* map, uint32_t color) {
    return paint_one<Bytes>(map, color, whole(*map));
}

template<unsigned Bytes>
int draw_pixel(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y) {
    return paint_one<Bytes>(map, color, {x, y, 1, 1});
}

template<unsigned Bytes>
int draw_hline(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y, uint32_t length) {
    return paint_one<Bytes>(map, color, {x, y, length, 1});
}

template<unsigned Bytes>
int draw_vline(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y, uint32_t length) {
    return paint_one<Bytes>(map, color, {x, y, 1, length});
}

template<unsigned Bytes>
int draw_box(ombrel_fbmap_t* map, uint32_t color, int32_t x, int32_t y, uint32_t w, uint32_t h, int fill) {
    return fill != 0 ? paint_one<Bytes>(map, color, {x, y, w, h})
                     : paint_outline<Bytes>(map, color, {x, y, w, h});
}

template<unsigned Bytes>
int draw_line(ombrel_fbmap_t* map, uint32_t color, int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    place first, last;
    if (!line_course({x1, y1}, {x2, y2}).clip(*map, first, last))
        return -1;
    if (first == last)
        return draw_pixel<Bytes>(map, color, static_cast<int32_t>(first.x), static_cast<int32_t>(first.y));
    painter<Bytes> paint(*map);
    line_course(first, last).walk([&](place now) { paint.pixels().set(color, now.x, now.y); });
    paint.touched().add_pixel(first.x, first.y);
    paint.touched().add_pixel(last.x, last.y);
    return paint.result();
}

template<unsigned Bytes>
int draw_circle(ombrel_fbmap_t* map, uint32_t color, int32_t cx, int32_t cy, uint32_t radius, int fill) {
    if (radius == 0)
        return draw_pixel<Bytes>(map, color, cx, cy);
    circle_painter<Bytes> circle(*map, color, cx, cy, radius);
    return fill != 0 ? circle.filled() : circle.outline();
}

#define OMBREL_INSTANTIATE(bytes)                                                                            \
    template int draw_clear<bytes>(ombrel_fbmap_t*, uint32_t);                                               \
    template int draw_pixel<bytes>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t);                             \
    template int draw_hline<bytes>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t, uint32_t);                   \
    template int draw_vline<bytes>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t, uint32_t);                   \
    template int draw_box<bytes>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t, uint32_t, uint32_t, int);      \
    template int draw_line<bytes>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t, int32_t, int32_t);            \
    template int draw_circle<bytes>(ombrel_fbmap_t*, uint32_t, int32_t, int32_t, uint32_t, int);
OMBREL_INSTANTIATE(1)
OMBREL_INSTANTIATE(2)
OMBREL_INSTANTIATE(3)
OMBREL_INSTANTIATE(4)

} // namespace ombrel::graphics
