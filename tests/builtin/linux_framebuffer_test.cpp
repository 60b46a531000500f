// Frame-buffer contexts over a device, which is a file whose ioctl calls are answered here.
#include <ombrel/color.h>
#include <ombrel/fbmap_draw.h>

#include "builtin/framebuffer_support.h"

#if defined(__linux__)

#include <cstdarg>
#include <cstring>
#include <string>

#include <linux/fb.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// What the stand-in for a device answers; it exists while a test has one.
struct device_answers {
    ino_t inode = 0;
    fb_fix_screeninfo fixed = {};
    fb_var_screeninfo variable = {};
    uint16_t red_of_last_color = 0;
    bool refuses_pan = false;

    int answer(unsigned long request, void* record) {
        switch (request) {
        case FBIOGET_FSCREENINFO:
            memcpy(record, &fixed, sizeof fixed);
            return 0;
        case FBIOGET_VSCREENINFO:
            memcpy(record, &variable, sizeof variable);
            return 0;
        case FBIOPAN_DISPLAY:
            if (!refuses_pan)
                memcpy(&variable, record, sizeof variable);
            return refuses_pan ? -1 : 0;
        case FBIOPUTCMAP:
            red_of_last_color = static_cast<fb_cmap*>(record)->red[255];
            return 0;
        default:
            return -1;
        }
    }
};

device_answers* stand_in;

} // namespace
} // namespace ombrel_test

/// Takes the C library's place for the library under test.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list args;
    va_start(args, request);
    void* const record = va_arg(args, void*);
    va_end(args);
    struct stat status;
    if (ombrel_test::stand_in != nullptr && fstat(descriptor, &status) == 0 &&
        status.st_ino == ombrel_test::stand_in->inode)
        return ombrel_test::stand_in->answer(request, record);
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, record));
}

/// What a 32-bit library with calendar time of 64 bits calls.
extern "C" [[gnu::alias("ioctl")]] int __ioctl_time64(int descriptor, unsigned long request, ...) noexcept;

namespace ombrel_test {
namespace {

/// A device of 4 x 3 pixels in memory of 6 x 8.
class LinuxFramebuffer : public Framebuffer {
protected:
    static constexpr uint32_t line_length = 32;

    LinuxFramebuffer() {
        directory_.write("fb", std::string(line_length * 8, '.'));
        struct stat status;
        stat(path_.c_str(), &status);
        answers_.inode = status.st_ino;
        answers_.fixed.smem_len = line_length * 8;
        answers_.fixed.line_length = line_length;
        answers_.fixed.visual = FB_VISUAL_TRUECOLOR;
        memcpy(answers_.fixed.id, "sixteen letters!", 16);
        answers_.variable.xres = 4;
        answers_.variable.yres = 3;
        answers_.variable.xres_virtual = 6;
        answers_.variable.yres_virtual = 8;
        set_format(32, {16, 8, 0}, {8, 8, 0}, {0, 8, 0}, {0, 0, 0});
        stand_in = &answers_;
    }
    ~LinuxFramebuffer() override { stand_in = nullptr; }

    void set_format(uint32_t bits, fb_bitfield red, fb_bitfield green, fb_bitfield blue, fb_bitfield alpha) {
        answers_.variable.bits_per_pixel = bits;
        answers_.variable.red = red;
        answers_.variable.green = green;
        answers_.variable.blue = blue;
        answers_.variable.transp = alpha;
    }
    int open(context& ctx) { return ctx.open("application/tuk_linuxfb", {{"source", path_}}); }
    uint32_t pixel(uint32_t x, uint32_t y) const {
        uint32_t value = 0;
        directory_.read("fb").copy(reinterpret_cast<char*>(&value), 4, y * line_length + x * 4);
        return value;
    }

    const scratch_directory directory_;
    const std::string path_ = directory_ / "fb";
    device_answers answers_;
};

constexpr uint32_t untouched = 0x2e2e2e2e;

TEST_F(LinuxFramebuffer, ChangedRegionsReachTheDevice) {
    answers_.variable.yoffset = 1;
    answers_.variable.xoffset = 2;
    context ctx;
    ASSERT_EQ(0, open(ctx));
    ombrel_fbmap_t* const root = root_of(ctx);
    EXPECT_EQ(def_ombrel_color_interface_xrgb8888, root->m_color_interface);
    EXPECT_EQ(ombrel_fbmap_get_pixel(root, nullptr, 0, 0, 3, 2), untouched) << "it begins with what is shown";
    ombrel_fbmap_t* const window = ombrel_new_fbmap(root, def_ombrel_fbmap_own_map, 0, 2, 1, 9, 9);
    ombrel_fbmap_draw_clear(window, 0x112233);
    static_cast<uint32_t*>(root->m_map)[0] = 7; // not in the region that is handed on
    ombrel_fbmap_update(window);
    for (uint32_t y = 0; y < 8; y++)
        for (uint32_t x = 0; x < 8; x++)
            EXPECT_EQ(pixel(x, y), x >= 4 && x < 6 && y >= 2 && y < 4 ? 0x112233 : untouched)
                << x << ',' << y;

    ombrel_fb_display_t display;
    ASSERT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_display, &display, sizeof display));
    EXPECT_STREQ("sixteen letters!", display.m_name);
    EXPECT_EQ(1u, display.m_y_offset);
    EXPECT_EQ(8u, display.m_virtual_resy);
    display.m_y_offset = 5;
    display.m_x_offset = 0;
    ASSERT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_fb_control_pan, &display, sizeof display));
    EXPECT_EQ(5u, answers_.variable.yoffset);
    EXPECT_EQ(7u, pixel(0, 5));
    EXPECT_EQ(0x112233u, pixel(2, 6));
    display.m_y_offset = 6;
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_pan, &display, sizeof display))
        << "beyond the memory";
    display.m_y_offset = 0;
    answers_.refuses_pan = true;
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_pan, &display, sizeof display));
    ombrel_fbmap_draw_clear(root, 9);
    ombrel_fbmap_update(root);
    EXPECT_EQ(9u, pixel(3, 7)) << "the place is the one before";
}

TEST_F(LinuxFramebuffer, PixelFormats) {
    const struct {
        uint32_t bits;
        fb_bitfield red, green, blue, alpha;
        uint32_t color_interface; // 0 for a refusal
    } cases[] = {{16, {11, 5, 0}, {5, 6, 0}, {0, 5, 0}, {0, 0, 0}, def_ombrel_color_interface_rgb565},
                 {24, {0, 8, 0}, {8, 8, 0}, {16, 8, 0}, {0, 0, 0}, def_ombrel_color_interface_bgr888},
                 {32, {24, 8, 0}, {16, 8, 0}, {8, 8, 0}, {0, 0, 0}, 0x48586808},
                 {32, {20, 8, 0}, {8, 8, 0}, {0, 8, 0}, {0, 0, 0}, 0},  // more than four fields
                 {32, {12, 8, 0}, {8, 8, 0}, {0, 8, 0}, {24, 8, 0}, 0}, // fields that overlap
                 {32, {16, 30, 0}, {8, 8, 0}, {0, 8, 0}, {0, 0, 0}, 0}, // a field beyond the pixel
                 {12, {8, 4, 0}, {4, 4, 0}, {0, 4, 0}, {0, 0, 0}, 0}};
    for (const auto& test : cases) {
        context ctx;
        set_format(test.bits, test.red, test.green, test.blue, test.alpha);
        EXPECT_EQ(open(ctx), test.color_interface != 0 ? 0 : ctx_error::invalid) << test.bits;
        if (test.color_interface != 0) {
            EXPECT_EQ(root_of(ctx)->m_color_interface, test.color_interface);
        }
    }
    context ctx;
    answers_.fixed.visual = FB_VISUAL_PSEUDOCOLOR;
    answers_.variable.bits_per_pixel = 8;
    ASSERT_EQ(0, open(ctx));
    const uint32_t last =
        ombrel_convert_color(def_ombrel_color_interface_rgb888, def_ombrel_color_interface_palette8, 255);
    EXPECT_EQ(answers_.red_of_last_color, (last >> 16) * 0x101);
}

TEST_F(Framebuffer, HostWindowsAreNotSupported) {
    context ctx;
    EXPECT_EQ(ctx_error::not_supported, ctx.open("application/tuk_windows_dib", {{"xywh", "0,0,9,9"}}));
}

TEST_F(LinuxFramebuffer, WhatIsNoDeviceIsRefused) {
    context ctx;
    EXPECT_NE(0, ctx.open("application/tuk_linuxfb", {{"source", "/dev/null"}}));
    EXPECT_EQ(ctx_error::not_found, ctx.open("application/tuk_linuxfb", {{"source", "/nowhere/fb0"}}));
    answers_.fixed.smem_len = line_length * 3 - 20;
    EXPECT_NE(0, open(ctx));
    answers_.variable.xres = 0;
    EXPECT_NE(0, open(ctx));
}

} // namespace
} // namespace ombrel_test

#else

namespace ombrel_test {
namespace {

TEST(LinuxFramebuffer, HostWithoutSuchDevices) {
    context ctx;
    EXPECT_EQ(ctx_error::not_supported, ctx.open("application/tuk_linuxfb", {{"source", "fb"}}));
    GTEST_SKIP() << "the devices are Linux's own";
}

} // namespace
} // namespace ombrel_test

#endif
