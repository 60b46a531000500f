#include <ombrel/bitmap.h>

#include <algorithm>
#include <climits>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/color.h>

#include "support/capture.h"

namespace {

constexpr uint32_t interfaces[] = {0x000000F8, 0x00425363, 0x00455665, 0x00485868, 0x08485868, 0x18485868,
                                   0x00685848, 0x08685848, 0x18685848, 0x14445464, 0x11455565, 0x0000F3F5,
                                   0x00788898,
                                   // Alpha of 1 to 7 and of 9 bits, at the bottom, in the middle and on top.
                                   0x45556511, 0x124A5A6A, 0x12425262, 0x13445465, 0x44145464, 0x15435464,
                                   0x16465666, 0x68175948, 0x19485768};

std::mt19937 generator{20250301};

uint32_t below(uint32_t limit) {
    return static_cast<uint32_t>(generator() % limit);
}

// A bitmap in memory of its exact size, so that a sanitizer sees who leaves it.
struct picture {
    ombrel_bitmap_t record{};
    std::vector<unsigned char> memory;
    uint32_t bytes = 0;

    picture(uint32_t color_interface, uint32_t width, uint32_t height, uint32_t gap) {
        bytes = ombrel_color_interface_to_bits_per_pixel(color_interface) / 8;
        record = {nullptr, color_interface, width, height, width * bytes + gap, 0, 0, 0};
        memory.resize(size_t{record.m_line_length} * height);
        std::generate(memory.begin(), memory.end(), [] { return static_cast<unsigned char>(generator()); });
        record.m_map = memory.data();
    }
    picture(const picture& other) : record(other.record), memory(other.memory), bytes(other.bytes) {
        record.m_map = memory.data();
    }
    unsigned char* at(int64_t x, int64_t y) { return memory.data() + y * record.m_line_length + x * bytes; }
    bool holds(int64_t x, int64_t y) const {
        return x >= 0 && y >= 0 && x < record.m_resx && y < record.m_resy;
    }
    uint32_t get(int64_t x, int64_t y) {
        uint32_t pixel = 0;
        for (uint32_t i = 0; i < bytes; i++)
            pixel |= uint32_t{at(x, y)[i]} << (8 * i);
        return pixel;
    }
    void set(int64_t x, int64_t y, uint32_t pixel) {
        for (uint32_t i = 0; i < bytes; i++)
            at(x, y)[i] = static_cast<unsigned char>(pixel >> (8 * i));
    }
};

struct rect {
    int32_t x, y;
    uint32_t w, h;
};

// One pixel upon another, by the rules in the header.
uint32_t laid_upon(const ombrel_bitmap_t& upper, uint32_t pixel, uint32_t to_interface, uint32_t lower,
                   uint32_t mode) {
    const uint32_t color = ombrel_convert_color(to_interface, upper.m_color_interface, pixel);
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
int64_t nearest(int64_t i, uint32_t to, uint32_t from) {
    const uint64_t product = static_cast<uint64_t>(i) * from;
    return static_cast<int64_t>(product / to + (product % to * 2 + from) / (uint64_t{2} * to));
}

bool put_model(picture& to, const rect& target, picture& from, const rect& source, uint32_t mode) {
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

void clear_padding(picture& one) {
    if (one.record.m_color_interface >> 24 == 0x08)
        for (uint32_t y = 0; y < one.record.m_resy; y++)
            for (uint32_t x = 0; x < one.record.m_resx; x++)
                one.set(x, y, one.get(x, y) & 0xFFFFFF);
}

int32_t random_place() {
    const int32_t ends[] = {INT_MIN, INT_MIN + 1, -40, INT_MAX};
    return below(20) == 0 ? ends[below(4)] : static_cast<int32_t>(below(60)) - 30;
}
uint32_t random_length() {
    const uint32_t ends[] = {0, 1, INT_MAX, UINT_MAX};
    return below(10) == 0 ? ends[below(4)] : below(90);
}

picture random_picture() {
    picture one(interfaces[below(std::size(interfaces))], 1 + below(below(5) == 0 ? 300 : 70), 1 + below(20),
                below(2) * below(9));
    for (const uint32_t flag :
         {def_ombrel_fbmap_ccolor, def_ombrel_fbmap_alpha_window, def_ombrel_fbmap_alpha_pixel})
        one.record.m_flags |= below(2) * flag;
    one.record.m_ccolor = one.get(below(one.record.m_resx), below(one.record.m_resy));
    one.record.m_alpha_window = below(300);
    for (uint32_t i = 0; i < one.record.m_resx * one.record.m_resy / 4; i++) // meets the key more often
        one.set(below(one.record.m_resx), below(one.record.m_resy), one.record.m_ccolor);
    return one;
}

auto fields_of(const ombrel_bitmap_t& one) {
    const auto [map, color_interface, resx, resy, line_length, flags, ccolor, alpha] = one;
    return std::make_tuple(map, color_interface, resx, resy, line_length, flags, ccolor, alpha);
}

TEST(Boxes, AreThoseOfAPlainModel) {
    for (int round = 0; round < 12000; round++) {
        picture from = random_picture(), to = random_picture(), wanted = to;
        const bool scaled = below(2) == 0;
        rect target{random_place(), random_place(), random_length(), random_length()};
        rect source{random_place(), random_place(), random_length(), random_length()};
        if (!scaled)
            source.w = target.w, source.h = target.h;
        const uint32_t mode = below(2);
        ombrel_fbmap_t map{};
        picture& pixels = round % 2 == 0 ? from : to;
        map.m_bits_per_pixel = 8 * pixels.bytes;
        std::tie(map.m_map, map.m_color_interface, map.m_resx, map.m_resy, map.m_line_length, map.m_flags,
                 map.m_ccolor, map.m_alpha_window) = fields_of(pixels.record);
        const auto& [x, y, w, h] = target;
        const auto& [from_x, from_y, from_w, from_h] = source;
        ombrel_bitmap_t* const taken = &from.record;
        ombrel_bitmap_t* const filled = &to.record;
        int result;
        if (round % 2 == 0)
            result = scaled ? ombrel_fbmap_get_scale_box(&map, filled, x, y, w, h, from_x, from_y, from_w,
                                                         from_h, mode)
                            : ombrel_fbmap_get_box(&map, filled, x, y, from_x, from_y, w, h, mode);
        else
            result = scaled ? ombrel_fbmap_set_scale_box(&map, taken, from_x, from_y, from_w, from_h, x, y, w,
                                                         h, mode)
                            : ombrel_fbmap_set_box(&map, taken, from_x, from_y, x, y, w, h, mode);
        const bool any = put_model(wanted, target, from, source, mode);
        ASSERT_EQ(result, any ? 0 : -1) << round;
        ASSERT_EQ(map.m_update_region.m_w > 0, any && round % 2 == 1) << round;
        clear_padding(to);
        clear_padding(wanted);
        ASSERT_EQ(to.memory, wanted.memory)
            << "round " << round << std::hex << ": " << from.record.m_color_interface << " upon "
            << to.record.m_color_interface << ", flags " << from.record.m_flags << ", mode " << mode;
    }
}

// Only a sanitizer sees a sum that is too large and not used.
TEST(Boxes, LieAnywhere) {
    constexpr int32_t places[] = {INT_MIN, -1, INT_MAX};
    constexpr uint32_t lengths[] = {1, 3, UINT_MAX};
    picture from(0xF8, 3, 3, 0), to(0xF8, 3, 3, 0);
    for (size_t i = 0; i < 81; i++) {
        const rect target{places[i % 3], -1, lengths[i / 3 % 3], 2},
            source{places[i / 9 % 3], -1, lengths[i / 27], 2};
        picture wanted = to;
        const int result = put_model(wanted, target, from, source, 0) ? 0 : -1;
        EXPECT_EQ(result, ombrel_copy_raw_bitmap_scale(&to.record, target.x, -1, target.w, 2, &from.record,
                                                       source.x, -1, source.w, 2));
        EXPECT_EQ(wanted.memory, to.memory);
    }
}

TEST(Boxes, WithinOneMapMoveAsIfCopiedAside) {
    for (int round = 0; round < 2000; round++) {
        picture one(interfaces[below(6)], 1 + below(40), 1 + below(20), below(3)), wanted = one, aside = one;
        const int32_t x = random_place(), y = random_place(), to_x = random_place(), to_y = random_place();
        const uint32_t w = random_length(), h = random_length();
        put_model(wanted, {to_x, to_y, w, h}, aside, {x, y, w, h}, def_ombrel_fbmap_plain);
        ombrel_copy_raw_bitmap(&one.record, to_x, to_y, &one.record, x, y, w, h);
        ASSERT_EQ(one.memory, wanted.memory) << round;
    }
}

TEST(RawBitmap, CopiesBytesWhateverTheyMean) {
    picture from(0x18485868, 6, 4, 0), to(0x18685848, 3, 8, 0);
    EXPECT_EQ(0, ombrel_copy_raw_bitmap_scale(&to.record, 0, 0, 3, 8, &from.record, 0, 0, 6, 4));
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 3; x++)
            EXPECT_EQ(to.get(x, y), from.get(2 * x + 1, y / 2));
    EXPECT_EQ(0, ombrel_copy_raw_bitmap(&to.record, 1, 0, &from.record, 4, 3, 9, 9));
    EXPECT_EQ(to.get(1, 0), from.get(4, 3));

    // Two pixels a byte: from a whole byte to a whole byte.
    unsigned char packed[4] = {0x12, 0x34, 0x56, 0x78};
    ombrel_bitmap_t nibbles = {packed, 0x21212121, 4, 2, 2, 0, 0, 0};
    EXPECT_EQ(0, ombrel_copy_raw_bitmap(&nibbles, 2, 0, &nibbles, 0, 1, 2, 1));
    EXPECT_EQ(0x56, packed[1]);
}

TEST(Boxes, RefuseWhatTheyCannotCopy) {
    picture good(0x18485868, 4, 4, 0);
    ombrel_bitmap_t short_line = good.record, no_pixels = good.record, huge = good.record, odd = good.record;
    short_line.m_line_length = 15;
    no_pixels.m_map = nullptr;
    huge.m_line_length = UINT_MAX;
    huge.m_resy = UINT_MAX;
    for (ombrel_bitmap_t* bad : {static_cast<ombrel_bitmap_t*>(nullptr), &short_line, &no_pixels, &huge}) {
        EXPECT_EQ(-1, ombrel_copy_raw_bitmap(bad, 0, 0, &good.record, 0, 0, 1, 1));
        EXPECT_EQ(-1, ombrel_copy_raw_bitmap_scale(&good.record, 0, 0, 1, 1, bad, 0, 0, 2, 2));
    }
    odd.m_color_interface = 0x21212121;
    ombrel_fbmap_t map{};
    const auto box = [&](ombrel_fbmap_t* from, ombrel_bitmap_t* to) {
        return ombrel_fbmap_get_box(from, to, 0, 0, 0, 0, 1, 1, def_ombrel_fbmap_plain);
    };
    map.m_bits_per_pixel = 32;
    EXPECT_EQ(-1, box(&map, &good.record)) << "a map without pixels";
    EXPECT_EQ(-1, box(&map, nullptr));

    ombrel_test::capture errors(stderr);
    EXPECT_EQ(-1, ombrel_copy_raw_bitmap(&good.record, 0, 0, &odd, 0, 0, 1, 1));
    map = {};
    map.m_bits_per_pixel = 4;
    EXPECT_EQ(-1, box(&map, &good.record));
    const std::string text = errors.text();
    for (const char* part : {"<not supported>", ":ombrel_copy_raw_bitmap:", "_get_box_internal:"})
        EXPECT_NE(text.find(part), text.npos) << text;
}

} // namespace
