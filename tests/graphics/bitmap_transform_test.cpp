#include <ombrel/bitmap_transform.h>

#include <gtest/gtest.h>

#include <ombrel/fault.h>

#include "graphics/pixel_model.h"

namespace {

using namespace ombrel_test;

constexpr uint32_t packed_interfaces[] = {0x31, 0x2121, 0x21212121, 0x3141, 0x11415161};

picture any_picture() {
    return random_picture(below(3) == 0 ? packed_interfaces[below(std::size(packed_interfaces))]
                                        : any_interface());
}

// Column and row of the source that a target's pixel comes from.
struct place {
    int64_t x, y;
};

place turned(const place& at, uint32_t turn, int64_t width, int64_t height) {
    const place ways[] = {
        at, {at.y, height - 1 - at.x}, {width - 1 - at.x, height - 1 - at.y}, {width - 1 - at.y, at.x}};
    const place unturned = ways[turn & 3];
    return (turn & 4) != 0 ? place{width - 1 - unturned.x, unturned.y} : unturned;
}

bool put_turned_model(picture& to, int32_t to_x, int32_t to_y, picture& from, const rect& source,
                      uint32_t turn, uint32_t mode) {
    bool any = false;
    const uint32_t width = (turn & 1) != 0 ? source.h : source.w,
                   height = (turn & 1) != 0 ? source.w : source.h;
    for (int64_t y = 0; y < to.record.m_resy; y++)
        for (int64_t x = 0; x < to.record.m_resx; x++) {
            const int64_t i = x - to_x, j = y - to_y;
            if (i < 0 || j < 0 || i >= width || j >= height)
                continue;
            const place at = turned({i, j}, turn, source.w, source.h);
            if (!from.holds(source.x + at.x, source.y + at.y))
                continue;
            any = true;
            to.set(x, y,
                   laid_upon(from.record, from.get(source.x + at.x, source.y + at.y),
                             to.record.m_color_interface, to.get(x, y), mode, convert_to_nearest));
        }
    return any;
}

TEST(Turns, AreThoseOfAPlainModel) {
    for (uint32_t round = 0; round < 12000; round++) {
        picture from = any_picture();
        picture to = below(3) == 0 ? random_picture(from.record.m_color_interface) : any_picture(),
                wanted = to;
        const rect source{random_place(), random_place(), random_length(), random_length()};
        const int32_t x = random_place(), y = random_place();
        const uint32_t turn = round % 8, mode = below(2);
        const int result = turn == 0 && below(2) == 0
                               ? ombrel_bitmap_put(&to.record, x, y, &from.record, source.x, source.y,
                                                   source.w, source.h, mode)
                               : ombrel_bitmap_put_turned(&to.record, x, y, &from.record, source.x, source.y,
                                                          source.w, source.h, turn, mode);
        const bool any = put_turned_model(wanted, x, y, from, source, turn, mode);
        ASSERT_EQ(any ? 0 : -1, result) << round;
        clear_padding(to);
        clear_padding(wanted);
        ASSERT_EQ(wanted.memory, to.memory)
            << "round " << round << std::hex << ": " << from.record.m_color_interface << " upon "
            << to.record.m_color_interface << ", flags " << from.record.m_flags << ", mode " << mode;
    }
}

TEST(Turns, WithinOneBitmapAreAsIfCopiedAside) {
    for (uint32_t round = 0; round < 4000; round++) {
        picture one = any_picture(), wanted = one, aside = one;
        const rect source{random_place(), random_place(), random_length(), random_length()};
        const int32_t x = random_place(), y = random_place();
        const uint32_t turn = round % 8, mode = below(2);
        put_turned_model(wanted, x, y, aside, source, turn, mode);
        ombrel_bitmap_put_turned(&one.record, x, y, &one.record, source.x, source.y, source.w, source.h, turn,
                                 mode);
        clear_padding(one);
        clear_padding(wanted);
        ASSERT_EQ(wanted.memory, one.memory) << round;
    }
}

TEST(Bitmaps, AreDescribedReadAndFilled) {
    for (int round = 0; round < 1000; round++) {
        picture one = any_picture();
        ombrel_bitmap_t part = {};
        const uint32_t x = below(40), y = below(10), w = below(40), h = below(10);
        const auto color = static_cast<uint32_t>(generator());
        const bool inside = w > 0 && h > 0 && x + w <= one.record.m_resx && y + h <= one.record.m_resy;
        const bool whole_byte = x * one.bits % 8 == 0;
        ASSERT_EQ(inside && whole_byte ? 0 : -1, ombrel_init_bitmap_part(&part, &one.record, x, y, w, h));
        ASSERT_EQ(inside && whole_byte, part.m_map != nullptr);
        picture wanted = one;
        for (int64_t j = y; j < y + h; j++)
            for (int64_t i = x; i < x + w; i++)
                if (one.holds(i, j))
                    wanted.set(i, j, color);
        const bool any = w > 0 && h > 0 && one.holds(x, y);
        ASSERT_EQ(any ? 0 : -1, ombrel_bitmap_fill(&one.record, color, static_cast<int32_t>(x),
                                                   static_cast<int32_t>(y), w, h));
        ASSERT_EQ(wanted.memory, one.memory) << one.bits;
        const int64_t px = random_place(), py = random_place();
        ASSERT_EQ(one.holds(px, py) ? 0 : -1, ombrel_bitmap_set_pixel(&one.record, px, py, color));
        ASSERT_EQ(one.holds(px, py) ? one.get(px, py) : 0, ombrel_bitmap_get_pixel(&one.record, px, py));
        if (one.holds(px, py)) {
            wanted.set(px, py, color);
        }
        ASSERT_EQ(wanted.memory, one.memory) << one.bits;
    }
}

TEST(Bitmaps, OfTheirOwnAreClearAndAligned) {
    static const struct {
        uint32_t color_interface, resx, resy;
        int fault;
    } cases[] = {{0x31, 13, 3, 0},
                 {0x485868, 7, 5, 0},
                 {0x18485868, 0, 5, def_ombrel_fault_invalid},
                 {0x18485868, 5, 0, def_ombrel_fault_invalid},
                 {0x545868, 5, 5, def_ombrel_fault_not_supported},
                 {0, 5, 5, def_ombrel_fault_not_supported},
                 {0x18485868, UINT32_MAX, 1, def_ombrel_fault_too_large}};
    for (const auto& one : cases) {
        ombrel_leave_fault(def_ombrel_fault_none);
        ombrel_bitmap_t* const bitmap = ombrel_new_bitmap(one.color_interface, one.resx, one.resy);
        ASSERT_EQ(one.fault == 0, bitmap != nullptr) << one.resx;
        if (bitmap == nullptr) {
            EXPECT_EQ(one.fault, ombrel_last_fault()) << one.resx;
            continue;
        }
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(bitmap->m_map) % 16 + bitmap->m_line_length % 16);
        for (uint32_t i = 0; i < one.resx * one.resy; i++)
            EXPECT_EQ(0u, ombrel_bitmap_get_pixel(bitmap, i % one.resx, i / one.resx));
        EXPECT_EQ(nullptr, ombrel_free_bitmap(bitmap));
    }
}

TEST(Bitmaps, TellWhyTheyRefuse) {
    picture good(0x18485868, 4, 4, 0), packed(0x31, 9, 4, 0);
    ombrel_bitmap_t none = {}, no_pixels = good.record, odd = good.record, short_row = packed.record;
    no_pixels.m_map = nullptr;
    odd.m_color_interface = 0x545868;
    short_row.m_line_length = 1;
    const auto put = [&](ombrel_bitmap_t* to, const ombrel_bitmap_t* from, int32_t x = 0, uint32_t w = 1,
                         uint32_t turn = 0, uint32_t mode = 0) {
        return ombrel_bitmap_put_turned(to, x, 0, from, 0, 0, w, 1, turn, mode);
    };
    const auto expect = [](int fault, int result) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(fault, ombrel_last_fault());
    };
    expect(def_ombrel_fault_invalid, put(nullptr, &good.record));
    expect(def_ombrel_fault_invalid, put(&good.record, nullptr));
    expect(def_ombrel_fault_invalid, put(&good.record, &no_pixels));
    expect(def_ombrel_fault_invalid, put(&short_row, &good.record));
    expect(def_ombrel_fault_not_supported, put(&none, &good.record));
    expect(def_ombrel_fault_not_supported, put(&good.record, &odd));
    expect(def_ombrel_fault_invalid, put(&good.record, &packed.record, 0, 0));
    expect(def_ombrel_fault_invalid, put(&good.record, &packed.record, 0, 1, 8));
    expect(def_ombrel_fault_invalid, put(&good.record, &packed.record, 0, 1, 0, 2));
    expect(def_ombrel_fault_not_found, put(&good.record, &packed.record, 4));
    expect(def_ombrel_fault_invalid, ombrel_init_bitmap(nullptr, 0x31, 1, 1, good.memory.data(), 0));
    expect(def_ombrel_fault_invalid, ombrel_init_bitmap(&none, 0x31, 9, 1, good.memory.data(), 1));
    expect(def_ombrel_fault_too_large,
           ombrel_init_bitmap(&none, 0x18485868, UINT32_MAX, 1, good.memory.data(), 0));
    expect(def_ombrel_fault_invalid, ombrel_init_bitmap_of_fbmap(&none, nullptr));
    EXPECT_EQ(nullptr, none.m_map);
    EXPECT_EQ(0, ombrel_init_bitmap(&none, 0x485868, 5, 1, good.memory.data(), 0));
    EXPECT_EQ(15u, none.m_line_length);
    ombrel_fbmap_t map = {};
    map.m_map = good.memory.data(), map.m_color_interface = 0x31, map.m_resx = 9, map.m_resy = 2,
    map.m_line_length = 2, map.m_flags = def_ombrel_fbmap_ccolor, map.m_ccolor = 1, map.m_alpha_window = 7;
    EXPECT_EQ(0, ombrel_init_bitmap_of_fbmap(&none, &map));
    EXPECT_TRUE(none.m_map == map.m_map && none.m_flags == map.m_flags && none.m_ccolor == 1 &&
                none.m_alpha_window == 7 && none.m_resx == 9);
}

} // namespace
