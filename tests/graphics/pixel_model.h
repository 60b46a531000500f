// Bitmaps of any interface, and what is to become of their pixels, one by one.
#pragma once

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include <ombrel/bitmap.h>
#include <ombrel/color.h>

namespace ombrel_test {

constexpr uint32_t interfaces[] = {0x000000F8, 0x00425363, 0x00455665, 0x00485868, 0x08485868, 0x18485868,
                                   0x00685848, 0x08685848, 0x18685848, 0x14445464, 0x11455565, 0x0000F3F5,
                                   0x00788898,
                                   // Alpha of 1 to 7 and of 9 bits, at the bottom, in the middle and on top.
                                   0x45556511, 0x124A5A6A, 0x12425262, 0x13445465, 0x44145464, 0x15435464,
                                   0x16465666, 0x68175948, 0x19485768};

constexpr uint32_t palettes[] = {0x31, 0x2121, 0x21212121, 0xF8};

inline std::mt19937 generator{20250301};

inline uint32_t below(uint32_t limit) {
    return static_cast<uint32_t>(generator() % limit);
}

// A bitmap in memory of its exact size, so that a sanitizer sees who leaves it.
struct picture {
    ombrel_bitmap_t record{};
    std::vector<unsigned char> memory;
    uint32_t bits = 0, bytes = 0;

    picture(uint32_t color_interface, uint32_t width, uint32_t height, uint32_t gap) {
        bits = ombrel_color_interface_to_bits_per_pixel(color_interface);
        bytes = bits / 8;
        record = {nullptr, color_interface, width, height, (width * bits + 7) / 8 + gap, 0, 0, 0};
        memory.resize(size_t{record.m_line_length} * height);
        std::generate(memory.begin(), memory.end(), [] { return static_cast<unsigned char>(generator()); });
        record.m_map = memory.data();
    }
    picture(const picture& other)
        : record(other.record), memory(other.memory), bits(other.bits), bytes(other.bytes) {
        record.m_map = memory.data();
    }
    unsigned char* at(int64_t x, int64_t y) { return memory.data() + y * record.m_line_length + x * bytes; }
    // The byte that holds a pixel's bit.
    unsigned char& bit(int64_t x, int64_t y, uint32_t i) {
        return memory[static_cast<size_t>(y * record.m_line_length + (x * bits + i) / 8)];
    }
    bool holds(int64_t x, int64_t y) const {
        return x >= 0 && y >= 0 && x < record.m_resx && y < record.m_resy;
    }
    uint32_t get(int64_t x, int64_t y) {
        uint32_t pixel = 0;
        for (uint32_t i = 0; i < bits && bits < 8; i++)
            pixel = pixel << 1 | (bit(x, y, i) >> (7 - (x * bits + i) % 8) & 1);
        for (uint32_t i = 0; i < bytes; i++)
            pixel |= uint32_t{at(x, y)[i]} << (8 * i);
        return pixel;
    }
    void set(int64_t x, int64_t y, uint32_t pixel) {
        for (uint32_t i = 0; i < bits && bits < 8; i++) {
            const unsigned mask = 0x80u >> (x * bits + i) % 8;
            unsigned char& byte = bit(x, y, i);
            byte =
                static_cast<unsigned char>((pixel >> (bits - 1 - i) & 1) != 0 ? byte | mask : byte & ~mask);
        }
        for (uint32_t i = 0; i < bytes; i++)
            at(x, y)[i] = static_cast<unsigned char>(pixel >> (8 * i));
    }
};

struct rect {
    int32_t x, y;
    uint32_t w, h;
};

// How a colour becomes one of another interface.
using conversion = uint32_t (*)(uint32_t to_interface, uint32_t from_interface, uint32_t color);

// As ombrel_convert_color(), but to the nearest colour of a palette.
inline uint32_t convert_to_nearest(uint32_t to_interface, uint32_t from_interface, uint32_t color) {
    uint32_t entries = 1u << std::min(ombrel_color_interface_to_bits_per_pixel(to_interface), 8u), best = 0;
    if (to_interface == from_interface || std::ranges::find(palettes, to_interface) == std::end(palettes))
        return ombrel_convert_color(to_interface, from_interface, color);
    const uint32_t wanted = ombrel_convert_color(0x485868, from_interface, color);
    for (uint32_t i = 0, least = UINT32_MAX; i < entries; i++) {
        const uint32_t entry = ombrel_convert_color(0x485868, to_interface, i);
        uint32_t sum = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            const int difference =
                static_cast<int>(entry >> shift & 255) - static_cast<int>(wanted >> shift & 255);
            sum += static_cast<uint32_t>(difference * difference);
        }
        if (sum < least)
            best = i, least = sum;
    }
    return best;
}

// One pixel upon another, by the rules in the header.
inline uint32_t laid_upon(const ombrel_bitmap_t& upper, uint32_t pixel, uint32_t to_interface, uint32_t lower,
                          uint32_t mode, conversion convert = ombrel_convert_color) {
    const uint32_t color = convert(to_interface, upper.m_color_interface, pixel);
    if (mode == def_ombrel_fbmap_plain)
        return color;
    uint32_t meaning = 0, alpha = 255, own_alpha = 255;
    for (unsigned i = 0, shift = 0; i < 4; shift += upper.m_color_interface >> (8 * i++) & 0xF) {
        const uint32_t kind = upper.m_color_interface >> (8 * i + 4) & 0xF;
        const uint32_t bits = upper.m_color_interface >> (8 * i) & 0xF;
        if (kind != 0)
            meaning |= ((1u << bits) - 1) << (shift % 32);
        // The bits of the field again and again, from its topmost on.
        for (uint32_t k = 0; kind == 1 && bits > 0 && k < 8; k++)
            own_alpha = (own_alpha << 1 | (pixel >> (shift + bits - 1 - k % bits) & 1)) & 0xFF;
    }
    if ((upper.m_flags & def_ombrel_fbmap_ccolor) != 0 && ((pixel ^ upper.m_ccolor) & meaning) == 0)
        return lower;
    const uint32_t window = std::min(upper.m_alpha_window, 255u);
    if ((upper.m_flags & (def_ombrel_fbmap_alpha_window | def_ombrel_fbmap_alpha_pixel)) == 0)
        return color;
    if ((upper.m_flags & def_ombrel_fbmap_alpha_window) != 0)
        alpha = window;
    if ((upper.m_flags & def_ombrel_fbmap_alpha_pixel) != 0)
        alpha = (alpha * own_alpha * 2 + 255) / 510;
    uint32_t result = 0;
    for (unsigned i = 0, shift = 0; i < 4; shift += to_interface >> (8 * i++) & 0xF) {
        const uint32_t kind = to_interface >> (8 * i + 4) & 0xF,
                       mask = (1u << (to_interface >> (8 * i) & 0xF)) - 1;
        if (mask == 0)
            continue;
        const uint32_t above = kind == 1 ? mask : color >> shift & mask, under = lower >> shift & mask;
        const bool index = kind == 2 || kind == 3 || kind == 15;
        const uint32_t mixed = (above * alpha * 2 + under * (255 - alpha) * 2 + 255) / 510;
        result |= (index ? (alpha >= 128 ? above : under) : mixed) << shift;
    }
    // Bits without a meaning, of which nothing is promised, are compared as 0.
    return result;
}

// The column or row whose part the centre of the i-th of `to` lies in.
inline int64_t nearest(int64_t i, uint32_t to, uint32_t from) {
    const uint64_t product = static_cast<uint64_t>(i) * from;
    return static_cast<int64_t>(product / to + (product % to * 2 + from) / (uint64_t{2} * to));
}

inline bool put_model(picture& to, const rect& target, picture& from, const rect& source, uint32_t mode) {
    bool any = false;
    for (int64_t y = 0; y < to.record.m_resy; y++)
        for (int64_t x = 0; x < to.record.m_resx; x++) {
            const int64_t i = x - target.x, j = y - target.y;
            if (i < 0 || j < 0 || i >= target.w || j >= target.h || source.w == 0 || source.h == 0)
                continue;
            const int64_t from_x = source.x + nearest(i, target.w, source.w);
            const int64_t from_y = source.y + nearest(j, target.h, source.h);
            if (!from.holds(from_x, from_y))
                continue;
            any = true;
            to.set(x, y,
                   laid_upon(from.record, from.get(from_x, from_y), to.record.m_color_interface, to.get(x, y),
                             mode));
        }
    return any;
}

inline void clear_padding(picture& one) {
    if (one.record.m_color_interface >> 24 == 0x08)
        for (uint32_t y = 0; y < one.record.m_resy; y++)
            for (uint32_t x = 0; x < one.record.m_resx; x++)
                one.set(x, y, one.get(x, y) & 0xFFFFFF);
}

inline int32_t random_place() {
    const int32_t ends[] = {INT_MIN, INT_MIN + 1, -40, INT_MAX};
    return below(20) == 0 ? ends[below(4)] : static_cast<int32_t>(below(60)) - 30;
}
inline uint32_t random_length() {
    const uint32_t ends[] = {0, 1, INT_MAX, UINT_MAX};
    return below(10) == 0 ? ends[below(4)] : below(90);
}

inline uint32_t any_interface() {
    return interfaces[below(std::size(interfaces))];
}

inline picture random_picture(uint32_t color_interface) {
    picture one(color_interface, 1 + below(below(5) == 0 ? 300 : 70), 1 + below(20), below(2) * below(9));
    for (const uint32_t flag :
         {def_ombrel_fbmap_ccolor, def_ombrel_fbmap_alpha_window, def_ombrel_fbmap_alpha_pixel})
        one.record.m_flags |= below(2) * flag;
    one.record.m_ccolor = one.get(below(one.record.m_resx), below(one.record.m_resy));
    one.record.m_alpha_window = below(300);
    for (uint32_t i = 0; i < one.record.m_resx * one.record.m_resy / 4; i++) // meets the key more often
        one.set(below(one.record.m_resx), below(one.record.m_resy), one.record.m_ccolor);
    return one;
}

} // namespace ombrel_test
