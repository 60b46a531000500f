// The walk along an eighth of a circle by the midpoint method, at any of its steps.
#pragma once

#include <cstdint>

namespace ombrel::graphics {

/// The least root whose square is not below the value.
constexpr uint64_t ceiling_root(uint64_t value) {
    uint64_t root = 0, rest = value;
    for (uint64_t bit = uint64_t{1} << 62; bit != 0; bit >>= 2) {
        const uint64_t trial = root + bit;
        root >>= 1;
        if (rest >= trial) {
            rest -= trial;
            root += bit;
        }
    }
    return root + (rest != 0);
}

/**
 * Step y of the walk is at column x(y): it begins at x(0) = radius with d = 1 - radius; each step adds 1 to
 * y, and then either 2y + 1 to d if d was below 0, or takes 1 from x and adds 2(y - x) + 2 to d. It ends when
 * y passes x.
 *
 * The 2 in the second case is by design, where the midpoint method has 1. With it d is
 * x² - 2x + radius + (y + 1)² - radius² at every step, so x goes on unchanged exactly if
 * (x - 1)² < radius² - radius + 1 - (y + 1)²: x(y) is the least column whose square is not below
 * radius² - radius + 1 - y². So the walk can be entered at any step, and a circle costs no more than the part
 * of it that is in the map.
 */
class circle_walk {
public:
    /// The radius is not 0.
    explicit constexpr circle_walk(uint32_t radius)
        : radius_(radius), base_(uint64_t{radius} * radius - radius + 1) {}

    /// Whether there is a step y.
    constexpr bool reaches(uint64_t y) const {
        return y == 0 || (y <= radius_ && y * y <= base_ && base_ - y * y > (y - 1) * (y - 1));
    }

    /// Its column; only for a step that is reached.
    constexpr uint64_t column(uint64_t y) const { return ceiling_root(base_ - y * y); }

    /// The column of the step that is reached after the one at this column.
    constexpr uint64_t next_column(uint64_t column, uint64_t next_y) const {
        return (column - 1) * (column - 1) < base_ - next_y * next_y ? column : column - 1;
    }

    /// The first step that is at this column or left of it; for columns from 1 to the radius.
    constexpr uint64_t first_step(uint64_t column) const {
        return column == radius_ ? 0 : ceiling_root(base_ - column * column);
    }

private:
    uint64_t radius_, base_;
};

} // namespace ombrel::graphics
