// Columns or rows of a rectangle that goes from one bitmap to another.
#pragma once

#include <algorithm>
#include <cstdint>

namespace ombrel::graphics {

/// So many columns from `from` on in one bitmap, to `to` on in another.
struct stretch {
    int64_t to, from, length;

    /// What of it lies inside both bitmaps.
    stretch cut(uint32_t to_limit, uint32_t from_limit) const {
        const int64_t first = std::max({int64_t{0}, -to, -from});
        const int64_t last = std::min({length, to_limit - to, from_limit - from});
        return {to + first, from + first, std::max<int64_t>(last - first, 0)};
    }
};

/// Columns that come from the nearest of another number of columns: column i from the one in which its centre
/// lies, (2i + 1) * from_length / (2 * to_length).
class scaled_stretch {
public:
    scaled_stretch(int64_t to, uint32_t to_length, int64_t from, uint32_t from_length)
        : to_(to), from_(from), to_length_(to_length), from_length_(from_length) {}

    /// What of the target lies inside its bitmap and comes from inside the other one; `from` is where the
    /// first of it comes from. Neither length is 0.
    stretch cut(uint32_t to_limit, uint32_t from_limit) const {
        const int64_t first = std::max({int64_t{0}, -to_, first_from(-from_)});
        const int64_t last = std::min({int64_t{to_length_}, to_limit - to_, first_from(from_limit - from_)});
        // Beyond the target's end a column may come from farther away than can be counted.
        return last <= first ? stretch{}
                             : stretch{to_ + first, from_ + position_of(first).column, last - first};
    }

    /// Goes along the target, knowing where each column comes from.
    class walk {
    public:
        walk(const scaled_stretch& way, int64_t to)
            : step_(way.from_length_ / way.to_length_),
              rest_step_(way.from_length_ % way.to_length_ * uint64_t{2}),
              limit_(way.to_length_ * uint64_t{2}) {
            const position start = way.position_of(to - way.to_);
            from_ = way.from_ + start.column;
            rest_ = start.rest;
        }
        int64_t from() const { return from_; }

        void next() {
            from_ += step_;
            rest_ += rest_step_;
            if (rest_ >= limit_) {
                rest_ -= limit_;
                from_++;
            }
        }

    private:
        int64_t from_, step_;
        uint64_t rest_, rest_step_, limit_;
    };

    /// Goes along the target, knowing between which columns' centres each centre lies; in 128ths of a column,
    /// cut.
    class centre_walk {
    public:
        centre_walk(const scaled_stretch& way, int64_t to)
            : step_(way.from_length_ * int64_t{128} / way.to_length_),
              rest_step_(way.from_length_ * uint64_t{128} % way.to_length_), limit_(way.to_length_) {
            const position start = way.position_of(to - way.to_);
            place_ = (way.from_ + start.column) * 128 + static_cast<int64_t>(start.rest * 64 / limit_) - 64;
            rest_ = start.rest * 64 % limit_;
        }
        /// The last column whose centre does not lie behind this one's.
        int64_t first() const { return place_ >> 7; }
        /// The 128ths of the way from there to the next one's centre.
        unsigned weight() const { return static_cast<unsigned>(place_ & 127); }
        void next() {
            const bool carries = rest_ >= limit_ - rest_step_;
            place_ += step_ + (carries ? 1 : 0);
            rest_ += rest_step_ - (carries ? limit_ : 0);
        }

    private:
        int64_t place_, step_;
        uint64_t rest_, rest_step_, limit_;
    };

private:
    struct position {
        int64_t column;
        uint64_t rest; // of twice the target's length
    };

    // In two steps, as (2i + 1) * from_length may need more than 64 bits.
    position position_of(int64_t index) const {
        const uint64_t product = static_cast<uint64_t>(index) * from_length_;
        const uint64_t limit = uint64_t{2} * to_length_;
        const uint64_t rest = product % to_length_ * 2 + from_length_;
        return {static_cast<int64_t>(product / to_length_ + rest / limit), rest % limit};
    }

    // The first column that comes from `offset` in the source or from behind it; to_length_ when there is
    // none.
    int64_t first_from(int64_t offset) const {
        if (offset <= 0 || offset >= from_length_) // as usual
            return offset <= 0 ? 0 : to_length_;
        int64_t low = 0, high = to_length_;
        while (low < high) {
            const int64_t middle = low + (high - low) / 2;
            if (position_of(middle).column >= offset)
                high = middle;
            else
                low = middle + 1;
        }
        return low;
    }

    int64_t to_, from_;
    uint32_t to_length_, from_length_;
};

} // namespace ombrel::graphics
