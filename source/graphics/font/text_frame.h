// Where the cells of text come to lie in a map: scaled from the text's origin on, and turned about it.
#pragma once

#include <algorithm>
#include <array>

#include <ombrel/fbmap.h>

#include "graphics/pixel/rectangle.h"

namespace ombrel::graphics {

/// What lies farther from the origin than this is in no map; nearer values can be multiplied by a
/// fixed_cosine.
inline constexpr int64_t far_away = int64_t{1} << 33;

/// A ratio of a brush; a denominator of 0 counts as 1.
class text_scale {
public:
    constexpr text_scale() = default;
    constexpr explicit text_scale(const ombrel_fbmap_scale_t& scale)
        : numerator_(scale.m_numerator), denominator_(scale.m_denominator != 0 ? scale.m_denominator : 1) {}

    constexpr bool is_one() const { return numerator_ == denominator_; }

    /// length x numerator / denominator, rounded down, so that cells lie side by side on both sides of the
    /// origin.
    constexpr int64_t of(int64_t length) const {
        if (is_one())
            return std::clamp(length, -far_away, far_away);
        int64_t product = 0;
        if (__builtin_mul_overflow(length, numerator_, &product))
            return length < 0 ? -far_away : far_away;
        const int64_t quotient = product / denominator_;
        return std::clamp(quotient - (product % denominator_ < 0), -far_away, far_away);
    }

private:
    int64_t numerator_ = 1, denominator_ = 1;
};

/// A turn by whole degrees, clockwise as the map is seen; its numbers are in units of 2 to the power of -28.
class text_turn {
public:
    constexpr text_turn() = default;
    explicit text_turn(int32_t degrees);

    bool is_none() const { return sine_ == 0 && cosine_ > 0; }

    /// The pixel nearest to the turned place. Coordinates are not farther than far_away.
    place turned(place from) const {
        return {nearest(from.x * cosine_ - from.y * sine_), nearest(from.x * sine_ + from.y * cosine_)};
    }
    place turned_back(place from) const {
        return {nearest(from.x * cosine_ + from.y * sine_), nearest(from.y * cosine_ - from.x * sine_)};
    }

    static constexpr int fraction_bits = 28;

private:
    static int64_t nearest(int64_t fixed) {
        return (fixed + (int64_t{1} << (fraction_bits - 1))) >> fraction_bits;
    }

    int64_t sine_ = 0, cosine_ = int64_t{1} << fraction_bits;
};

} // namespace ombrel::graphics
