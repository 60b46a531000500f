// Blending of several pixels in a vector. It is compiled once for each width of vector: the including source
// defines OMBREL_TARGET and, in ombrel::graphics, `lanes`.

#include "graphics/pixel/kernels/generic/plain.h"
#include "graphics/pixel/kernels/x86/x86.h"

namespace ombrel::graphics {

namespace {

using vector = lanes::vector;

// value / 255, rounded, of each 16 bits.
OMBREL_TARGET inline vector divide_by_255(vector value) {
    return lanes::multiply_high(lanes::add(value, lanes::all16(128)), lanes::all16(257));
}

// As 255 * lower + alpha * (upper - lower), in which nothing but the sum need fit into 16 bits.
OMBREL_TARGET inline vector mix(vector upper, vector lower, vector alpha) {
    const vector all_lower = lanes::subtract(lanes::shift_left<8>(lower), lower);
    return divide_by_255(lanes::add(all_lower, lanes::multiply(alpha, lanes::subtract(upper, lower))));
}

class blending {
public:
    OMBREL_TARGET explicit blending(const blend_settings& settings)
        : window_(lanes::all16(settings.window_alpha)), key_(lanes::all32(settings.key)),
          key_mask_(lanes::all32(settings.key_mask)), keep_(lanes::all32(settings.keep)),
          set_(lanes::all32(settings.set)) {}

    template<bool by_pixel, bool keyed>
    OMBREL_TARGET vector put(vector pixels, vector lower) const {
        const vector upper = lanes::either(lanes::both(pixels, keep_), set_);
        vector low_alpha = window_, high_alpha = window_;
        if constexpr (by_pixel) {
            low_alpha = alpha_of(lanes::low_bytes(pixels));
            high_alpha = alpha_of(lanes::high_bytes(pixels));
        }
        const vector low = mix(lanes::low_bytes(upper), lanes::low_bytes(lower), low_alpha);
        const vector high = mix(lanes::high_bytes(upper), lanes::high_bytes(lower), high_alpha);
        const vector mixed = lanes::pack(low, high);
        if constexpr (!keyed)
            return mixed;
        return lanes::select(lanes::equal(lanes::both(pixels, key_mask_), key_), lower, mixed);
    }

private:
    // The alpha of each pixel for all its channels.
    OMBREL_TARGET vector alpha_of(vector channels) const {
        return divide_by_255(lanes::multiply(lanes::last_of_four(channels), window_));
    }

    vector window_, key_, key_mask_, keep_, set_;
};

template<bool by_pixel, bool keyed>
OMBREL_TARGET void blend_row(unsigned char* to, const unsigned char* from, size_t count,
                             const blend_settings& settings) {
    constexpr size_t step = sizeof(vector) / 4;
    const blending rules(settings);
    for (; count >= step; count -= step, to += sizeof(vector), from += sizeof(vector))
        lanes::store(to, rules.put<by_pixel, keyed>(lanes::load(from), lanes::load(to)));
    blend_plain(to, from, count, settings);
}

inline void blend_as_asked(unsigned char* to, const unsigned char* from, size_t count,
                           const blend_settings& settings) {
    constexpr blend_kernel kernels[2][2] = {{blend_row<false, false>, blend_row<false, true>},
                                            {blend_row<true, false>, blend_row<true, true>}};
    kernels[settings.pixel_alpha][settings.keyed](to, from, count, settings);
}

} // namespace

} // namespace ombrel::graphics
