// Frame-buffer contexts in memory.
#include <cstring>
#include <tuple>
#include <utility>

#include <ombrel/color.h>
#include <ombrel/ctx.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/framebuffer.h>

#include "builtin/framebuffer_support.h"
#include "support/capture.h"

namespace ombrel_test {
namespace {

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
    ombrel_ctx_fbinfo_t info;
    capture errors(stderr);
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_info, &info, sizeof info - 1));
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, &record, sizeof record + 1));
    EXPECT_NE(errors.text().find("s_arg_size == sizeof(*s_arg)"), std::string::npos);
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, static_cast<void*>(nullptr),
                                     sizeof record));
    EXPECT_EQ(ctx_error::invalid, ctx.error());
    EXPECT_EQ(-1, ombrel_ctx_control(ctx, def_ombrel_fb_control_pan, &record, sizeof record));
    EXPECT_EQ(ctx_error::not_supported, ctx.error());
    EXPECT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_info, &info, sizeof info));
    EXPECT_EQ(root_of(ctx), info.m_root);
    context window;
    EXPECT_EQ(ctx_error::invalid, window.open("application/tuk_windows_dib", {{"xywh", "a"}}));
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
    EXPECT_EQ(-1, ombrel_ctx_seek(ctx, -16, def_ombrel_ctx_seek_end));
    EXPECT_EQ(-1, ombrel_ctx_seek(ctx, 0, 7));
    EXPECT_EQ(16, ombrel_ctx_seek(ctx, 1, def_ombrel_ctx_seek_current)) << "behind the end";
    EXPECT_EQ(0, ombrel_ctx_read(ctx, bytes, sizeof bytes));
    EXPECT_EQ(0, ombrel_ctx_write(ctx, "x", 0));
    EXPECT_EQ(-1, ombrel_ctx_write(ctx, "x", 1));
}

TEST_F(Framebuffer, WhatIsWrittenAddsWholeRowsToWhatHasChanged) {
    context ctx;
    ASSERT_EQ(0, ctx.open("application/tuk_fb", {{"xywh", "0,0,5,3"}, {"bpp", "8"}}));
    ombrel_fbmap_rectangle_t& region = root_of(ctx)->m_update_region;
    const struct {
        ombrel_fbmap_rectangle_t before;
        int position;
        size_t size;
        int y;
        uint32_t h;
    } cases[] = {{{0, 0, 0, 0}, 0, 5, 0, 1},  {{0, 0, 0, 0}, 4, 2, 0, 2},  {{0, 2, 5, 1}, 0, 1, 0, 3},
                 {{3, 0, 1, 1}, 10, 5, 0, 3}, {{0, 0, 5, 3}, 5, 1, 0, 3},  {{1, 1, 0, 1}, 10, 1, 2, 1},
                 {{1, 1, 1, 0}, 10, 1, 2, 1}, {{0, -1, 5, 2}, 14, 1, 0, 3}};
    for (const auto& each : cases) {
        region = each.before;
        EXPECT_EQ(each.position, ombrel_ctx_seek(ctx, each.position, def_ombrel_ctx_seek_set));
        EXPECT_EQ(static_cast<int>(each.size), ombrel_ctx_write(ctx, "abcde", each.size));
        EXPECT_EQ(std::make_tuple(0, each.y, 5u, each.h),
                  std::make_tuple(region.m_x, region.m_y, region.m_w, region.m_h))
            << &each - cases;
    }
}

} // namespace
} // namespace ombrel_test
