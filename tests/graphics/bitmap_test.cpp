#include <ombrel/bitmap.h>

#include <tuple>

#include <gtest/gtest.h>

#include "graphics/pixel_model.h"
#include "support/capture.h"

namespace {

using namespace ombrel_test;

auto fields_of(const ombrel_bitmap_t& one) {
    const auto [map, color_interface, resx, resy, line_length, flags, ccolor, alpha] = one;
    return std::make_tuple(map, color_interface, resx, resy, line_length, flags, ccolor, alpha);
}

TEST(Boxes, AreThoseOfAPlainModel) {
    for (int round = 0; round < 12000; round++) {
        picture from = random_picture(any_interface()), to = random_picture(any_interface()), wanted = to;
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
