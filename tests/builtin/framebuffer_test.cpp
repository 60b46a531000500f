// Frame-buffer contexts; the device is a file whose ioctl calls are answered here.
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ombrel/color.h>
#include <ombrel/ctx.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/framebuffer.h>

#include "plugins/plugin_support.h"
#include "support/capture.h"
#include "support/ctx_error.h"
#include "support/descriptor_balance.h"
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

ombrel_fbmap_t* root_of(int ctx) {
    ombrel_fb_root_t record = {nullptr};
    EXPECT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, &record, sizeof record));
    return record.m_root;
}

class Framebuffer : public balanced_test {
    descriptor_balance descriptors_;
};

TEST_F(Framebuffer, MemoryByOptions) {
    const struct {
        option_texts options;
        uint32_t resx, resy, color_interface;
    } cases[] = {
        {{}, 640, 480, def_ombrel_color_interface_argb8888},
        {{{"resx", "7"}, {"RESY", "5"}, {"bpp", "16"}}, 7, 5, def_ombrel_color_interface_rgb565},
        {{{"xywh", "-3, 4 20,10"}, {"bpp", "8"}}, 20, 10, def_ombrel_color_interface_palette8},
        {{{"xywh", "0,0,20,10"}, {"resx", "9"}, {"color_interface", "0x00685848"}}, 9, 10, 0x00685848}};
    ombrel_ctx_fbinfo_t info;
    for (const auto& test : cases) {
        context ctx;
        ASSERT_EQ(0, ctx.open("application/tuk_fb", test.options));
        EXPECT_EQ(0, ombrel_ctx_get_fbinfo(ctx, &info));
        EXPECT_EQ(root_of(ctx), info.m_root);
        EXPECT_EQ(static_cast<int>(test.resx), info.m_resx);
        EXPECT_EQ(static_cast<int>(test.resy), info.m_resy);
        EXPECT_EQ(test.color_interface, info.m_root->m_color_interface);
        EXPECT_EQ(info.m_line_length * test.resy, info.m_memory_size);
    }
    const std::pair<const char*, const char*> refused[] = {
        {"bpp", "12"}, {"resx", "0"}, {"resy", "4294967296"}, {"xywh", "0,0,20"}, {"xywh", "0,,0,20,10"}};
    for (const auto& [option, text] : refused) {
        context ctx;
        EXPECT_EQ(ctx_error::invalid, ctx.open("application/tuk_fb", {{option, text}})) << text;
        EXPECT_EQ(-1, ombrel_ctx_get_fbinfo(ctx, &info));
    }
}

TEST_F(Framebuffer, ControlsCheckTheirRecords) {
    context ctx;
    ASSERT_EQ(0, ctx.open("application/tuk_fb", {{"xywh", "0,0,4,4"}}));
    ombrel_fb_root_t record;
    capture errors(stderr);
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, &record, sizeof record + 1));
    EXPECT_NE(errors.text().find("s_arg_size == sizeof(*s_arg)"), std::string::npos);
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, static_cast<void*>(nullptr),
                                     sizeof record));
    EXPECT_EQ(ctx_error::invalid, ctx.error());
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_pan, &record, sizeof record));
    EXPECT_EQ(ctx_error::not_supported, ctx.error());
    context window;
    EXPECT_EQ(ctx_error::invalid, window.open("application/tuk_windows_dib", {{"xywh", "a"}}));
    EXPECT_EQ(ctx_error::not_supported, window.open("application/tuk_windows_dib", {{"xywh", "0,0,9,9"}}));
}

TEST_F(Framebuffer, PixelsAsBytes) {
    context ctx;
    ASSERT_EQ(0, ctx.open("application/tuk_fb", {{"xywh", "0,0,5,3"}, {"bpp", "8"}}));
    ombrel_fbmap_t* const window = ombrel_new_fbmap(root_of(ctx), def_ombrel_fbmap_own_map, 0, 1, 1, 2, 1);
    ombrel_fbmap_draw_clear(window, 0x61);
    ombrel_fbmap_update(window);
    char bytes[20] = "";
    EXPECT_EQ(15, ombrel_ctx_read(ctx, bytes, sizeof bytes));
    EXPECT_EQ(0, memcmp(bytes, "\0\0\0\0\0\0aa\0\0\0\0\0\0\0", 15));
    EXPECT_EQ(-1, ombrel_ctx_write(ctx, "x", 1)) << "the end";
    EXPECT_EQ(8, ombrel_ctx_seek(ctx, -7, def_ombrel_ctx_seek_end));
    EXPECT_EQ(7, ombrel_ctx_write(ctx, "bcdefghijk", 10));
    EXPECT_EQ(0x62u, ombrel_fbmap_get_pixel(root_of(ctx), nullptr, 0, 0, 3, 1));
    EXPECT_EQ(1, root_of(ctx)->m_update_region.m_y);
    EXPECT_EQ(2u, root_of(ctx)->m_update_region.m_h);
    EXPECT_EQ(0, ombrel_ctx_sync(ctx));
    EXPECT_EQ(0u, root_of(ctx)->m_update_region.m_h);
    EXPECT_EQ(-1, ombrel_ctx_seek(ctx, INT64_MAX, def_ombrel_ctx_seek_current));
}

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
