#include <ombrel/color.h>

#include <gtest/gtest.h>

namespace {

TEST(ColorInterface, HasANameAndADepth) {
    const struct {
        uint32_t code;
        const char* name;
        unsigned bits;
    } cases[] = {
        {0x00000031, "dddg0001", 1},  {0x00002121, "ddPP0011", 2},  {0x21212121, "PPPP1111", 4},
        {0x000000F8, "dddp0008", 8},  {0x00425363, "dRGB0233", 8},  {0x00455665, "dRGB0565", 16},
        {0x18685848, "ABGR8888", 32}, {0x00788898, "dYuv0888", 24}, {0xEAFFA9BF, "xpxxKP9P", 49},
        {0, "dddd0000", 0},
    };
    for (const auto& c : cases) {
        char name[9];
        EXPECT_STREQ(ombrel_color_interface_name(name, c.code), c.name);
        EXPECT_EQ(ombrel_color_interface_to_bits_per_pixel(c.code), c.bits) << c.name;
    }
    EXPECT_EQ(nullptr, ombrel_color_interface_name(nullptr, 0x31));
    EXPECT_EQ(0u, ombrel_bits_per_pixel_to_color_interface(12));
    for (const unsigned bits : {1u, 2u, 4u, 8u, 16u, 24u, 32u})
        EXPECT_EQ(ombrel_color_interface_to_bits_per_pixel(ombrel_bits_per_pixel_to_color_interface(bits)),
                  bits);
}

constexpr uint32_t grey1 = 0x31, palette2 = 0x2121, palette4 = 0x21212121, palette8 = 0xF8, rgb233 = 0x425363,
                   rgb565 = 0x455665, rgb888 = 0x485868, xrgb = 0x08485868, argb = 0x18485868,
                   bgr888 = 0x685848, xbgr = 0x08685848, abgr = 0x18685848, yuv = 0x00788898,
                   ayuv = 0x18788898, wide = 0x4C5C, fives = 0x4F5F6F1F;

// Directly; by channels; by fields above 8 bits and beyond the 32nd bit; by luma and chroma.
TEST(ColorConversion, FollowsItsTable) {
    const struct {
        uint32_t to, from, color, result;
    } cases[] = {{rgb565, rgb565, 0xFFFF1234, 0xFFFF1234},   {xrgb, argb, 0x12345678, 0x00345678},
                 {rgb888, argb, 0x12345678, 0x00345678},     {argb, rgb565, 0x0000FFFF, 0xFFF8FCF8},
                 {xrgb, rgb565, 0x0000FFFF, 0x00F8FCF8},     {rgb233, rgb565, 0x000012FF, 0x00C0E0E0},
                 {argb, xrgb, 0x12345678, 0xFF345678},       {argb, rgb888, 0x00345678, 0xFF345678},
                 {argb, xbgr, 0x12345678, 0xFF785634},       {rgb888, bgr888, 0x12345678, 0x00785634},
                 {argb, abgr, 0x12345678, 0x12785634},       {xrgb, abgr, 0x12345678, 0x00785634},
                 {rgb565, argb, 0x80FF8142, 0x0000FC08},     {rgb233, xrgb, 0x00C0FFE0, 0x000000FF},
                 {xbgr, xrgb, 0x12345678, 0x12785634},       {abgr, argb, 0x12345678, 0x12785634},
                 {abgr, rgb565, 0x0000F800, 0xFF0000F8},     {argb, rgb233, 0x000000FF, 0xFFC0E0E0},
                 {rgb565, abgr, 0x80FF8142, 0x0000441F},     {palette8, argb, 0xFFFFFFFF, 0x00000000},
                 {grey1, rgb565, 0x0000FFFF, 0x00000000},    {argb, grey1, 0x00000000, 0xFF000000},
                 {argb, grey1, 0x00000080, 0xFFFFFFFF},      {argb, palette8, 0x00000003, 0xFFDAA520},
                 {rgb888, palette4, 0x000001FF, 0x008B8B00}, {argb, palette2, 0x00000010, 0xFFF0F8FF},
                 {argb, wide, 0x00ABCDEF, 0xFFABDE00},       {wide, argb, 0x00ABCDEF, 0x00AB0CD0},
                 {argb, fives, 0xFFFFFFFF, 0xFF0000FF},      {fives, argb, 0x80FFFFFF, 0x3FC04000},
                 {argb, yuv, 0x00508080, 0xFF5050DD},        {argb, yuv, 0x00FF00FF, 0xFFB1D1C2},
                 {ayuv, xrgb, 0x00FF0000, 0xFF4C55FF},       {yuv, argb, 0x00FFFFFF, 0x00FE8081},
                 {ayuv, yuv, 0x00123456, 0xFF123456}};
    for (const auto& c : cases)
        EXPECT_EQ(ombrel_convert_color(c.to, c.from, c.color), c.result)
            << std::hex << c.color << " from " << c.from << " to " << c.to;
}

} // namespace
