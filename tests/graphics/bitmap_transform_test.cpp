#include <ombrel/bitmap_transform.h>

#include <cmath>

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

// Where a target's column or row lies in the source, and what of each pixel there it takes.
struct axis {
    int64_t from, low, high; // of the source's rectangle, and what may be read
    uint32_t to_length, from_length, method;

    double share(int64_t i, int64_t place) const {
        const double ratio = static_cast<double>(from_length) / to_length;
        const double centre = (static_cast<double>(i) + 0.5) * ratio + static_cast<double>(from);
        const auto at = static_cast<double>(place);
        if (method == def_ombrel_bitmap_scale_box)
            return std::max(0.0, std::min(at + 1, centre + ratio / 2) - std::max(at, centre - ratio / 2));
        // The way from the pixel before to the one behind, in 128ths; beyond the edge the edge goes on.
        const uint64_t twice = (2 * static_cast<uint64_t>(i) + 1) * from_length;
        const int64_t first =
            from + static_cast<int64_t>((twice + to_length) / (2 * uint64_t{to_length})) - 1;
        const uint64_t way = (twice + to_length) % (2 * uint64_t{to_length});
        const double part = static_cast<double>(way * 128 / (2 * uint64_t{to_length})) / 128;
        return (std::clamp(first, low, high - 1) == place ? 1 - part : 0) +
               (std::clamp(first + 1, low, high - 1) == place ? part : 0);
    }
};

// What is mixed: channels of the source as they are converted, by weights that alpha and key have a part in.
struct mixture {
    double all = 0, seen = 0, alpha = 0, colors[3] = {};

    void add(const picture& from, uint32_t pixel, uint32_t color, uint32_t own_alpha, double weight) {
        const bool by_alpha = (from.record.m_flags & def_ombrel_fbmap_alpha_pixel) != 0;
        const bool keyed = (from.record.m_flags & def_ombrel_fbmap_ccolor) != 0;
        all += weight;
        if (keyed && pixel == from.record.m_ccolor)
            return;
        seen += weight;
        alpha += weight * own_alpha;
        for (int c = 0; c < 3; c++)
            colors[c] += weight * (by_alpha ? own_alpha : 255) * (color >> 8 * c & 255);
    }
};

// The mixed pixel, or what is below it, as far as its opacity tells. Weights are rounded to 1/4096.
void check_mixture(const picture& from, const mixture& sums, uint32_t mode, uint32_t lower, uint32_t result) {
    const bool by_alpha = (from.record.m_flags & def_ombrel_fbmap_alpha_pixel) != 0;
    const bool keyed = (from.record.m_flags & def_ombrel_fbmap_ccolor) != 0;
    const bool blends = mode == def_ombrel_fbmap_blend && (by_alpha || keyed);
    const double share = by_alpha ? sums.alpha : sums.seen * 255;
    if (!blends && mode == def_ombrel_fbmap_plain && keyed) {
        const double present = sums.seen / sums.all;
        if (std::abs(present - 0.5) < 0.005)
            return; // either
        if (present < 0.5) {
            EXPECT_EQ(from.record.m_ccolor, result);
            return;
        }
    }
    double opacity = 1, alpha = sums.seen > 0 ? sums.alpha / sums.seen : 0;
    if (blends)
        opacity = (by_alpha ? sums.alpha / 255 : sums.seen) / sums.all, alpha = 255;
    for (int c = 0; c < 4; c++) {
        const double above = c == 3 ? alpha : share > 0 ? sums.colors[c] / share : 0;
        const double wanted = above * opacity + (lower >> 8 * c & 255) * (1 - opacity);
        const double slack = blends ? 1.8 : 0.75; // rounded twice or thrice, or once
        // A colour that hardly counts is known but roughly.
        if (c == 3 || share / sums.all > 200 || (blends && opacity < 1)) {
            EXPECT_NEAR(wanted, static_cast<double>(result >> 8 * c & 255), slack) << c;
        }
    }
}

// Averages of ARGB, without conversion, so that nothing but the mixing is looked at.
TEST(Scaling, MixesAsAPlainModelDoes) {
    constexpr uint32_t argb = 0x18485868;
    for (uint32_t round = 0; round < 1500; round++) {
        picture from = random_picture(argb);
        from.record.m_flags &= ~def_ombrel_fbmap_alpha_window;
        picture to(argb, 1 + below(20), 1 + below(9), 0), before = to;
        const uint32_t method = 1 + below(2), mode = below(2);
        const rect target{static_cast<int32_t>(below(30)) - 20, static_cast<int32_t>(below(20)) - 10,
                          1 + below(60), 1 + below(30)};
        const rect source{static_cast<int32_t>(below(30)) - 10, static_cast<int32_t>(below(10)) - 5,
                          1 + below(below(5) == 0 ? 400 : 60), 1 + below(40)};
        if (target.w == source.w && target.h == source.h)
            continue;
        const auto end = [](int32_t first, uint32_t length, uint32_t limit) {
            return std::min<int64_t>(int64_t{first} + length, limit);
        };
        const axis across{
            source.x, std::max(source.x, 0), end(source.x, source.w, from.record.m_resx), target.w, source.w,
            method};
        const axis down{
            source.y, std::max(source.y, 0), end(source.y, source.h, from.record.m_resy), target.h, source.h,
            method};
        const int result =
            ombrel_bitmap_put_scaled(&to.record, target.x, target.y, target.w, target.h, &from.record,
                                     source.x, source.y, source.w, source.h, method, mode);
        bool any = false;
        for (int64_t y = 0; y < to.record.m_resy; y++)
            for (int64_t x = 0; x < to.record.m_resx; x++) {
                const int64_t i = x - target.x, j = y - target.y;
                const bool written = i >= 0 && j >= 0 && i < target.w && j < target.h &&
                                     from.holds(source.x + nearest(i, target.w, source.w),
                                                source.y + nearest(j, target.h, source.h));
                if (!written) {
                    ASSERT_EQ(before.get(x, y), to.get(x, y)) << round;
                    continue;
                }
                any = true;
                mixture sums;
                for (int64_t py = down.low; py < down.high; py++)
                    for (int64_t px = across.low; px < across.high; px++)
                        if (const double weight = across.share(i, px) * down.share(j, py); weight > 0) {
                            const uint32_t pixel = from.get(px, py);
                            sums.add(from, pixel, pixel, pixel >> 24, weight);
                        }
                check_mixture(from, sums, mode, before.get(x, y), to.get(x, y));
                ASSERT_FALSE(HasFailure())
                    << "round " << round << ", at " << x << " " << y << ", method " << method << ", mode "
                    << mode << ", flags " << std::hex << from.record.m_flags;
            }
        ASSERT_EQ(any ? 0 : -1, result) << round;
    }
}

int scale(picture& to, const rect& target, picture& from, const rect& source, uint32_t method,
          uint32_t mode) {
    return ombrel_bitmap_put_scaled(&to.record, target.x, target.y, target.w, target.h, &from.record,
                                    source.x, source.y, source.w, source.h, method, mode);
}

rect whole(const picture& one) {
    return {0, 0, one.record.m_resx, one.record.m_resy};
}

// Mixed as ARGB, or with luma, and converted from there.
TEST(Scaling, GoesThroughTheInterfaceOfMixing) {
    for (uint32_t round = 0; round < 1500; round++) {
        picture from = any_picture(), to = any_picture(), wanted = to;
        from.record.m_flags &= def_ombrel_fbmap_alpha_window;
        const bool has_luma = from.record.m_color_interface == 0x00788898;
        picture even(has_luma ? 0x18788898 : 0x18485868, from.record.m_resx, from.record.m_resy, 0);
        ombrel_bitmap_put(&even.record, 0, 0, &from.record, 0, 0, from.record.m_resx, from.record.m_resy, 0);
        picture scaled(even.record.m_color_interface, to.record.m_resx, to.record.m_resy, 0);
        scaled.record.m_flags = from.record.m_flags,
        scaled.record.m_alpha_window = from.record.m_alpha_window;
        const rect target = whole(to), source = whole(from);
        if (target.w == source.w && target.h == source.h)
            continue;
        const uint32_t method = 1 + below(2), mode = below(2);
        ASSERT_EQ(0, scale(scaled, target, even, source, method, 0));
        ASSERT_EQ(0, ombrel_bitmap_put(&wanted.record, 0, 0, &scaled.record, 0, 0, target.w, target.h, mode));
        ASSERT_EQ(0, scale(to, target, from, source, method, mode));
        clear_padding(to);
        clear_padding(wanted);
        ASSERT_EQ(wanted.memory, to.memory) << round << std::hex << ' ' << from.record.m_color_interface
                                            << " to " << to.record.m_color_interface;
    }
}

TEST(Scaling, IsTheSameForEachPart) {
    constexpr uint32_t widths[][2] = {{300, 10000}, {9000, 700}, {1, 500}, {65535, 3}, {2, 65535}};
    for (const auto& [from_width, to_width] : widths)
        for (uint32_t method = 0; method < 3; method++)
            for (const uint32_t color_interface : {0x18485868u, 0x00455665u, 0x00000031u}) {
                picture from(color_interface, from_width, 3, 1), to(color_interface, to_width, 5, 0);
                from.record.m_flags = below(2) * def_ombrel_fbmap_ccolor;
                ASSERT_EQ(0, scale(to, whole(to), from, whole(from), method, 0));
                for (int part = 0; part < 4; part++) {
                    const uint32_t x = below(to_width), w = 1 + below(std::min(to_width - x, 2000u)),
                                   y = below(5);
                    picture piece(color_interface, w, 5 - y, 0);
                    const rect target{-static_cast<int32_t>(x), -static_cast<int32_t>(y), to_width, 5};
                    ASSERT_EQ(0, scale(piece, target, from, whole(from), method, 0));
                    for (uint32_t i = 0; i < w * (5 - y); i++)
                        ASSERT_EQ(to.get(x + i % w, y + i / w), piece.get(i % w, i / w))
                            << from_width << ' ' << i;
                }
            }
}

TEST(Scaling, OfOneColorIsThatColorHoweverFar) {
    constexpr uint32_t lengths[] = {1, 2, 3, 65535, 65536, INT_MAX, UINT_MAX};
    picture one(0x18485868, 3, 3, 0), to(0x18485868, 3, 3, 0);
    std::ranges::fill(to.memory, uint8_t{0});
    for (uint32_t y = 0; y < 3; y++)
        for (uint32_t x = 0; x < 3; x++)
            one.set(x, y, 0x80FF01C3);
    for (const uint32_t from_length : lengths)
        for (const uint32_t to_length : lengths)
            for (uint32_t method = 0; method < 3; method++) {
                const rect target{-1, 0, to_length, to_length};
                const int result = scale(to, target, one, {-1, 0, from_length, from_length}, method, 0);
                // Where no centre lies inside nothing is written.
                bool any = false;
                for (uint32_t i = 0; i < 9; i++) {
                    const uint32_t pixel = to.get(i % 3, i / 3);
                    ASSERT_TRUE(pixel == 0 || pixel == 0x80FF01C3) << from_length << ' ' << to_length;
                    any |= pixel != 0;
                }
                ASSERT_EQ(result == 0, any) << from_length << ' ' << to_length;
                std::ranges::fill(to.memory, uint8_t{0});
            }
    ombrel_bitmap_t bitmap = one.record;
    EXPECT_EQ(-1, ombrel_bitmap_put_scaled(&bitmap, 0, 0, 1, 1, &bitmap, 0, 0, 3, 3, 3, 0));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_bitmap_put_scaled(&bitmap, 0, 0, 0, 1, &bitmap, 0, 0, 3, 3, 1, 0));
    EXPECT_EQ(0, ombrel_bitmap_put_scaled(&bitmap, 0, 0, 2, 1, &bitmap, 0, 0, 3, 3, 1, 0));
}

} // namespace
