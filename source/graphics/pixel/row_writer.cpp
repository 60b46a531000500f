#include "graphics/pixel/row_writer.h"

#include <algorithm>
#include <cstring>

#include <ombrel/color.h>

#include "graphics/pixel/byte_channels.h"
#include "graphics/pixel/mix.h"
#include "graphics/pixel/palette.h"
#include "graphics/pixel/pixel.h"
#include "graphics/pixel/pixel_fields.h"

namespace ombrel::graphics {

row_writer::row_writer(const ombrel_bitmap_t& to, const ombrel_bitmap_t& from, uint32_t mode, color_rule rule)
    : to_interface_(to.m_color_interface), from_interface_(from.m_color_interface),
      to_bytes_(loose_bytes(to_interface_)), from_bytes_(loose_bytes(from_interface_)),
      convert_color_(rule == color_rule::nearest && has_palette(to_interface_) ? nearest_palette_color
                                                                               : ombrel_convert_color) {
    const bool blends = mode == def_ombrel_fbmap_blend && (from.m_flags & def_ombrel_fbmap_transparent) != 0;
    convert_ = choose_plain();
    write_ = blends ? choose_blending(from) : convert_;
}

row_writer::write_function row_writer::choose_plain() {
    if (to_interface_ == from_interface_)
        return &row_writer::copy;
    const bool to_channels = has_byte_channels(to_interface_),
               from_channels = has_byte_channels(from_interface_);
    find_order();
    if (from_interface_ == def_ombrel_color_interface_rgb565 && to_channels)
        return !swapped_ && to_bytes_ == 4 ? &row_writer::widen : &row_writer::widen_reordered;
    if (from_channels && to_interface_ == def_ombrel_color_interface_rgb565)
        return !swapped_ && from_bytes_ == 4 ? &row_writer::narrow : &row_writer::narrow_reordered;
    return from_channels && to_channels ? &row_writer::reorder : &row_writer::convert;
}

row_writer::write_function row_writer::choose_blending(const ombrel_bitmap_t& from) {
    settings_.keyed = (from.m_flags & def_ombrel_fbmap_ccolor) != 0;
    settings_.key_mask = meaningful_bits(from_interface_);
    settings_.key = from.m_ccolor & settings_.key_mask;
    if ((from.m_flags & def_ombrel_fbmap_alpha_window) != 0)
        settings_.window_alpha = std::min(from.m_alpha_window, uint32_t{255});
    alpha_ = alpha_range(from_interface_);
    settings_.pixel_alpha = (from.m_flags & def_ombrel_fbmap_alpha_pixel) != 0 && alpha_.bits != 0;
    const bool only_key =
        (from.m_flags & (def_ombrel_fbmap_alpha_window | def_ombrel_fbmap_alpha_pixel)) == 0;
    if (has_byte_channels(to_interface_) && has_byte_channels(from_interface_))
        return choose_blending_of_bytes(only_key);
    // Opaque blending is the same as copying to this one, and from it to byte channels.
    const bool of_565 =
        to_interface_ == def_ombrel_color_interface_rgb565 ||
        (from_interface_ == def_ombrel_color_interface_rgb565 && has_byte_channels(to_interface_));
    if (only_key && !of_565)
        return &row_writer::convert_but_key;
    if (has_byte_channels(to_interface_)) {
        make_opaque();
        return &row_writer::blend_bytes;
    }
    if (to_interface_ == def_ombrel_color_interface_rgb565)
        return &row_writer::blend_565;
    find_fields();
    return &row_writer::blend_fields;
}

row_writer::write_function row_writer::choose_blending_of_bytes(bool only_key) {
    find_order();
    if (only_key) {
        settings_.keep = kept_;
        settings_.set = set_;
    } else {
        make_opaque();
    }
    if (swapped_) {
        settings_.key = swap_outer_channels(settings_.key);
        settings_.key_mask = swap_outer_channels(settings_.key_mask);
    }
    if (!swapped_ && to_bytes_ == 4 && from_bytes_ == 4)
        return &row_writer::blend_directly;
    if (!swapped_ && to_bytes_ == 3 && from_bytes_ == 3 && !settings_.keyed)
        return &row_writer::blend_packed;
    return &row_writer::blend_reordered;
}

// What is blended is opaque but for its alpha, so that it stays opaque where it is.
void row_writer::make_opaque() {
    settings_.keep = colors_of_bytes;
    settings_.set = has_alpha(to_interface_) ? ~colors_of_bytes : 0;
}

// What lies above the channels is kept or replaced by one value.
void row_writer::find_order() {
    const auto is_bgr = [](uint32_t color_interface) {
        return (color_interface & colors_of_bytes) == def_ombrel_color_interface_bgr888;
    };
    swapped_ = is_bgr(to_interface_) != is_bgr(from_interface_);
    set_ = ombrel_convert_color(to_interface_, from_interface_, 0);
    kept_ = colors_of_bytes | (ombrel_convert_color(to_interface_, from_interface_, ~colors_of_bytes) ^ set_);
}

void row_writer::find_fields() {
    unsigned shift = 0;
    for (size_t i = 0; i < fields_.size(); i++) {
        const uint32_t code = to_interface_ >> (8 * i) & 0xFF, bits = code & 0xF, kind = code >> 4;
        fields_[i] = {(1u << bits) - 1, shift, kind == def_ombrel_color_channel_alpha,
                      kind == def_ombrel_color_channel_packed_palette ||
                          kind == def_ombrel_color_channel_grey || kind == def_ombrel_color_channel_palette};
        shift += bits;
    }
}

void row_writer::copy(unsigned char* to, const unsigned char* from, size_t count) const {
    memmove(to, from, count * to_bytes_);
}

void row_writer::widen(unsigned char* to, const unsigned char* from, size_t count) const {
    kernels().widen(to, from, count, has_alpha(to_interface_) ? ~colors_of_bytes : 0);
}

void row_writer::narrow(unsigned char* to, const unsigned char* from, size_t count) const {
    kernels().narrow(to, from, count);
}

void row_writer::widen_reordered(unsigned char* to, const unsigned char* from, size_t count) const {
    const channel_mover put = mover_for(to_bytes_, 4, swapped_);
    alignas(32) std::array<unsigned char, 4 * chunk> wide;
    for (size_t now; count > 0; count -= now, to += now * to_bytes_, from += now * from_bytes_) {
        now = std::min(count, chunk);
        widen(wide.data(), from, now);
        put(to, wide.data(), now, ~uint32_t{0}, 0);
    }
}

void row_writer::narrow_reordered(unsigned char* to, const unsigned char* from, size_t count) const {
    const channel_mover get = mover_for(4, from_bytes_, swapped_);
    alignas(32) std::array<unsigned char, 4 * chunk> wide;
    for (size_t now; count > 0; count -= now, to += now * to_bytes_, from += now * from_bytes_) {
        now = std::min(count, chunk);
        get(wide.data(), from, now, ~uint32_t{0}, 0);
        narrow(to, wide.data(), now);
    }
}

void row_writer::reorder(unsigned char* to, const unsigned char* from, size_t count) const {
    mover_for(to_bytes_, from_bytes_, swapped_)(to, from, count, kept_, set_);
}

void row_writer::convert(unsigned char* to, const unsigned char* from, size_t count) const {
    for (size_t i = 0; i < count; i++, to += to_bytes_, from += from_bytes_)
        store(to, convert_color_(to_interface_, from_interface_, load(from, from_bytes_)), to_bytes_);
}

void row_writer::convert_but_key(unsigned char* to, const unsigned char* from, size_t count) const {
    for (size_t i = 0; i < count; i++, to += to_bytes_, from += from_bytes_) {
        const uint32_t pixel = load(from, from_bytes_);
        if (!is_key(pixel))
            store(to, convert_color_(to_interface_, from_interface_, pixel), to_bytes_);
    }
}

void row_writer::blend_directly(unsigned char* to, const unsigned char* from, size_t count) const {
    kernels().blend(to, from, count, settings_);
}

void row_writer::find_alphas(uint16_t* alphas, const unsigned char* from, size_t count) const {
    const bool is_top_byte = alpha_.shift == 24 && alpha_.bits == 8;
    if (from_bytes_ != 4 || (settings_.pixel_alpha && !is_top_byte)) {
        for (size_t i = 0; i < count; i++)
            alphas[i] = static_cast<uint16_t>(alpha_of(load(from + i * from_bytes_, from_bytes_)));
        return;
    }
    const uint32_t opaque = settings_.pixel_alpha ? 0 : 255;
    for (size_t i = 0; i < count; i++) {
        const uint32_t pixel = load_pixel<4>(from + 4 * i);
        const uint32_t alpha = divide_by_255((pixel >> 24 | opaque) * settings_.window_alpha);
        alphas[i] = static_cast<uint16_t>(is_key(pixel) ? 0 : alpha);
    }
}

// Three bytes a pixel, all treated alike: as well four of them at once.
void row_writer::blend_packed(unsigned char* to, const unsigned char* from, size_t count) const {
    const size_t bytes = 3 * count, tail = bytes % 4, whole = bytes - tail;
    blend_settings bytewise;
    bytewise.window_alpha = settings_.window_alpha;
    unsigned char upper[4] = {}, lower[4] = {};
    memcpy(upper, from + whole, tail);
    memcpy(lower, to + whole, tail);
    kernels().blend(to, from, whole / 4, bytewise);
    kernels().blend(lower, upper, 1, bytewise);
    memcpy(to + whole, lower, tail);
}

void row_writer::blend_reordered(unsigned char* to, const unsigned char* from, size_t count) const {
    const channel_mover spread = mover_for(4, from_bytes_, swapped_);
    alignas(32) std::array<unsigned char, 4 * chunk> upper;
    for (size_t now; count > 0; count -= now, to += now * to_bytes_, from += now * from_bytes_) {
        now = std::min(count, chunk);
        spread(upper.data(), from, now, ~uint32_t{0}, 0);
        blend_spread(to, upper.data(), now, settings_);
    }
}

// Blends pixels of four bytes.
void row_writer::blend_spread(unsigned char* to, const unsigned char* upper, size_t count,
                              const blend_settings& settings) const {
    if (to_bytes_ == 4)
        return kernels().blend(to, upper, count, settings);
    alignas(32) std::array<unsigned char, 4 * chunk> lower;
    move_channels<4, 3, false>(lower.data(), to, count, ~uint32_t{0}, 0);
    kernels().blend(lower.data(), upper, count, settings);
    move_channels<3, 4, false>(to, lower.data(), count, ~uint32_t{0}, 0);
}

uint32_t row_writer::alpha_of(uint32_t pixel) const {
    if (is_key(pixel))
        return 0;
    if (!settings_.pixel_alpha)
        return settings_.window_alpha;
    const uint32_t own = pixel >> alpha_.shift & ((1u << alpha_.bits) - 1);
    return divide_by_255(to_byte(own, alpha_.bits) * settings_.window_alpha);
}

void row_writer::blend_bytes(unsigned char* to, const unsigned char* from, size_t count) const {
    blend_settings by_pixel = settings_;
    by_pixel.window_alpha = 255;
    by_pixel.pixel_alpha = true;
    by_pixel.keyed = false;
    const bool varies = settings_.keyed || settings_.pixel_alpha;
    std::array<unsigned char, 4 * chunk> converted;
    alignas(32) std::array<unsigned char, 4 * chunk> upper;
    for (size_t now; count > 0; count -= now, to += now * to_bytes_, from += now * from_bytes_) {
        now = std::min(count, chunk);
        (this->*convert_)(converted.data(), from, now);
        mover_for(4, to_bytes_, false)(upper.data(), converted.data(), now, colors_of_bytes, 0);
        for (size_t i = 0; varies && i < now; i++)
            upper[4 * i + 3] =
                static_cast<unsigned char>(alpha_of(load(from + i * from_bytes_, from_bytes_)));
        blend_spread(to, upper.data(), now, varies ? by_pixel : settings_);
    }
}

namespace {

constexpr size_t chunk_565 = 64;
using pixels_565 = std::array<uint16_t, chunk_565>;

template<unsigned shift, unsigned mask>
uint16_t mix_565(uint16_t upper, uint16_t lower, uint16_t alpha) {
    const auto above = static_cast<uint16_t>(upper >> shift & mask);
    const auto below = static_cast<uint16_t>(lower >> shift & mask);
    const auto sum = static_cast<uint16_t>(above * alpha + below * (255 - alpha) + 128);
    return static_cast<uint16_t>(static_cast<uint16_t>(sum + (sum >> 8)) >> 8 << shift);
}

// All of them, used or not, so that the compiler makes vectors of it.
void mix_565(const pixels_565& upper, pixels_565& lower, const pixels_565& alpha) {
    for (size_t i = 0; i < chunk_565; i++)
        lower[i] = static_cast<uint16_t>(mix_565<11, 0x1F>(upper[i], lower[i], alpha[i]) |
                                         mix_565<5, 0x3F>(upper[i], lower[i], alpha[i]) |
                                         mix_565<0, 0x1F>(upper[i], lower[i], alpha[i]));
}

} // namespace

void row_writer::blend_565(unsigned char* to, const unsigned char* from, size_t count) const {
    const bool varies = settings_.keyed || settings_.pixel_alpha;
    std::array<unsigned char, 2 * chunk_565> converted{};
    pixels_565 upper, lower{}, alpha;
    alpha.fill(static_cast<uint16_t>(settings_.window_alpha));
    while (count > 0) {
        const size_t now = std::min(count, chunk_565);
        (this->*convert_)(converted.data(), from, now);
        for (size_t i = 0; i < chunk_565; i++)
            upper[i] = static_cast<uint16_t>(load_pixel<2>(&converted[2 * i]));
        for (size_t i = 0; i < now; i++)
            lower[i] = static_cast<uint16_t>(load_pixel<2>(to + 2 * i));
        if (varies)
            find_alphas(alpha.data(), from, now);
        mix_565(upper, lower, alpha);
        for (size_t i = 0; i < now; i++)
            store_pixel<2>(to + 2 * i, lower[i]);
        to += 2 * now;
        from += now * from_bytes_;
        count -= now;
    }
}

uint32_t row_writer::mix_fields(uint32_t upper, uint32_t lower, uint32_t alpha) const {
    uint32_t result = 0;
    for (const color_field& field : fields_) {
        if (field.mask == 0)
            continue;
        const uint32_t above = field.is_alpha ? field.mask : upper >> field.shift & field.mask;
        const uint32_t below = lower >> field.shift & field.mask;
        const uint32_t mixed = field.is_index ? (alpha >= 128 ? above : below) : mix(above, below, alpha);
        result |= mixed << field.shift;
    }
    return result;
}

void row_writer::blend_fields(unsigned char* to, const unsigned char* from, size_t count) const {
    for (size_t i = 0; i < count; i++, to += to_bytes_, from += from_bytes_) {
        const uint32_t pixel = load(from, from_bytes_);
        const uint32_t color = convert_color_(to_interface_, from_interface_, pixel);
        store(to, mix_fields(color, load(to, to_bytes_), alpha_of(pixel)), to_bytes_);
    }
}

} // namespace ombrel::graphics
