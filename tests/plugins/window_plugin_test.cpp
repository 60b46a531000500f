// Frame buffers in windows of the desktop: what the screen shows, and what a user does there.
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include <ombrel/color.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/framebuffer.h>
#include <ombrel/plugin_window.h>

#include "plugins/plugin_support.h"
#include "plugins/x_server.h"
#include "support/capture.h"

namespace ombrel_test {
namespace {

constexpr const char window_class[] = "ombrel_tuk_window";

/// Looks until something is true; false when it never was.
bool comes_true(const std::function<bool()>& what) {
    for (int i = 0; i < 3000; i++) {
        if (what())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

ombrel_fbmap_t* root_of(int ctx) {
    ombrel_ctx_fbinfo_t info;
    EXPECT_EQ(0, ombrel_ctx_get_fbinfo(ctx, &info));
    return info.m_root;
}

/// The next event but moves; waits for it as long as a slow machine may take.
ombrel_window_event_t next_event(int ctx) {
    ombrel_window_wait_t wait = {30'000, {}};
    do
        EXPECT_EQ(0, ombrel_ctx_xcontrol(ctx, "get_window_event", &wait, sizeof wait));
    while (wait.m_event.m_kind == def_ombrel_window_event_move);
    return wait.m_event;
}

class WindowPlugin : public balanced_test {
protected:
    void SetUp() override {
        if (server_.missing() != nullptr)
            GTEST_SKIP() << server_.missing();
    }

    static int open(context& ctx, const option_texts& options) {
        return ctx.open(def_ombrel_plugin_window_mime_type, options);
    }
    int listen(int ctx, ombrel_window_handler_t handler, void* about) const {
        ombrel_window_listener_t listener = {handler, about};
        return ombrel_ctx_xcontrol(ctx, "set_window_handler", &listener, sizeof listener);
    }
    /// What an option's window of the map's size shows of a map pixel after pixel.
    static std::vector<uint32_t> shown(ombrel_fbmap_t* map, int up, int down) {
        std::vector<uint32_t> pixels;
        const int w = static_cast<int>(map->m_resx) / down * up,
                  h = static_cast<int>(map->m_resy) / down * up;
        for (int y = 0; y < h; y++)
            for (int x = 0; x < w; x++)
                pixels.push_back(
                    ombrel_convert_color(def_ombrel_color_interface_rgb888, map->m_color_interface,
                                         ombrel_fbmap_get_pixel(map, nullptr, 0, 0, x / up * down + down / 2,
                                                                y / up * down + down / 2)) &
                    0xFFFFFF);
        return pixels;
    }

    const x_server server_;
    loaded_plugin plugin_{OMBREL_TEST_PLUGIN_WINDOW};
};

void draw_pattern(ombrel_fbmap_t* map) {
    for (int32_t y = 0; y < static_cast<int32_t>(map->m_resy); y++)
        for (int32_t x = 0; x < static_cast<int32_t>(map->m_resx); x++)
            ombrel_fbmap_draw_pixel(map, static_cast<uint32_t>(x * 0x050B11 + y * 0x0D1703) | 0xFF000000, x,
                                    y);
}

TEST_F(WindowPlugin, TheScreenShowsTheMap) {
    const struct {
        const char* scale;
        int up, down;
        option_texts options;
    } cases[] = {{"1", 1, 1, {}},
                 {"3", 3, 1, {{"bpp", "16"}}},
                 {"2", 2, 1, {{"bpp", "8"}, {"resx", "51"}}},
                 {"1/2", 1, 2, {{"bpp", "24"}}},
                 {"1/3", 1, 3, {{"color_interface", "0x00685848"}}}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.scale);
        context ctx;
        option_texts options = test.options;
        options.insert(options.end(), {{"xywh", "40,30 61,47"}, {"scale", test.scale}});
        ASSERT_EQ(0, open(ctx, options));
        ombrel_fbmap_t* const root = root_of(ctx);
        const int w = static_cast<int>(root->m_resx) / test.down * test.up,
                  h = static_cast<int>(root->m_resy) / test.down * test.up;
        const auto is_shown = [&] {
            return server_.picture(40, 30, w, h) == shown(root, test.up, test.down);
        };
        EXPECT_TRUE(comes_true(is_shown)) << "black at first";
        draw_pattern(root);
        EXPECT_EQ(0, ombrel_fbmap_update(root));
        EXPECT_TRUE(comes_true(is_shown));
        // Many small changes at places that no scale divides.
        for (int32_t i = 0; i < 40; i++) {
            ombrel_fbmap_draw_box(root, static_cast<uint32_t>(i) * 0x1F3D5B, i, 41 - i, 5, 3, 1);
            EXPECT_EQ(0, ombrel_ctx_sync(ctx));
        }
        EXPECT_TRUE(comes_true(is_shown));
        EXPECT_EQ(test.scale, ctx.env("scale"));
        EXPECT_EQ("x11", ctx.env("driver"));
    }
}

TEST_F(WindowPlugin, ChangedRegionsAloneAreHandedOn) {
    context ctx;
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,64,64"}, {"scale", "2"}, {"title_name", "A title"}}));
    ombrel_fbmap_t* const root = root_of(ctx);
    EXPECT_EQ("A title", server_.title_of(server_.find(window_class)));
    const auto count = [&](uint32_t color) {
        const std::vector<uint32_t> pixels = server_.picture(0, 0, 128, 128);
        return std::count(pixels.begin(), pixels.end(), color);
    };
    memset(root->m_map, 0xEE, root->m_map_size); // nobody was told
    ombrel_fbmap_t* const window = ombrel_new_fbmap(root, def_ombrel_fbmap_own_map, 0, -5, 50, 15, 40);
    ombrel_fbmap_draw_clear(window, 0xFF123456);
    EXPECT_EQ(0, ombrel_fbmap_update(window));
    EXPECT_TRUE(comes_true([&] { return count(0x123456) == 10 * 14 * 4; }));
    EXPECT_EQ(128 * 128 - 10 * 14 * 4, count(0));
}

TEST_F(WindowPlugin, OperationsAreThoseOfAFrameBufferInMemory) {
    context ctx;
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,4,2"}, {"bpp", "8"}}));
    ombrel_fb_root_t root;
    EXPECT_EQ(0, ombrel_ctx_control(ctx, def_ombrel_fb_control_get_root, &root, sizeof root));
    EXPECT_EQ(root.m_root, root_of(ctx));
    EXPECT_EQ(static_cast<uint32_t>(ctx), root.m_root->m_ctx);
    EXPECT_EQ(1, ombrel_ctx_is_writable(ctx, 0));
    EXPECT_EQ(5, ombrel_ctx_write(ctx, "abcde", 5));
    EXPECT_EQ(1, ombrel_ctx_seek(ctx, 1, def_ombrel_ctx_seek_set));
    char bytes[9] = "";
    EXPECT_EQ(1, ombrel_ctx_is_readable(ctx, 0));
    EXPECT_EQ(7, ombrel_ctx_read(ctx, bytes, sizeof bytes));
    EXPECT_STREQ("bcde", bytes);
    EXPECT_EQ(-1, ombrel_ctx_write(ctx, "x", 1));
    EXPECT_EQ(ctx_error::io, ctx.error());
    EXPECT_EQ(-1, ombrel_ctx_xcontrol(ctx, "pan", &root, sizeof root));
    EXPECT_EQ(ctx_error::not_supported, ctx.error());
    ombrel_window_wait_t wait = {0, {}};
    EXPECT_EQ(static_cast<int>(sizeof wait), ombrel_ctx_bcontrol(ctx, def_ombrel_fb_control_get_window_event,
                                                                 &wait, sizeof wait, &wait, sizeof wait));
    EXPECT_EQ(-1, ombrel_ctx_bcontrol(ctx, def_ombrel_fb_control_get_window_event, &wait, size_t{900}, &wait,
                                      size_t{0}));
    EXPECT_EQ("(none)", ctx.env("title"));
}

TEST_F(WindowPlugin, UsersAreHeard) {
    context ctx;
    ASSERT_EQ(0, open(ctx, {{"xywh", "100,100,80,60"}, {"scale", "4"}, {"class_name", "Other"}}));
    server_.focus(server_.find("Other"));
    server_.move(100 + 4 * 7 + 3, 100 + 4 * 9);
    // What the window is told when it gets the keyboard depends on the keys that are held by then.
    ombrel_window_wait_t moved = {30'000, {}};
    do
        EXPECT_EQ(0, ombrel_ctx_xcontrol(ctx, "get_window_event", &moved, sizeof moved));
    while (moved.m_event.m_kind != def_ombrel_window_event_none && moved.m_event.m_x != 7);
    server_.press(1, true);
    server_.press(3, true);
    server_.move(50, 100);
    server_.press(3, false);
    server_.click(4);
    server_.key(XK_Shift_L, true);
    server_.key(XK_a, true);
    server_.key(XK_a, false);
    server_.key(XK_Shift_L, false);
    server_.key(XK_F5, true);
    server_.key(XK_KP_Enter, true);
    constexpr uint32_t left = 1, both = 5, shift = def_ombrel_window_modifier_shift;
    constexpr uint32_t key_down = def_ombrel_window_event_key_down, key_up = def_ombrel_window_event_key_up;
    const int32_t handle = ctx;
    const ombrel_window_event_t expected[] = {
        {def_ombrel_window_event_button_down, handle, 7, 9, 1, left, 0, 0, 0, 0, 0, 0},
        {def_ombrel_window_event_button_down, handle, 7, 9, 3, both, 0, 0, 0, 0, 0, 0},
        {def_ombrel_window_event_button_up, handle, -13, 0, 3, left, 0, 0, 0, 0, 0, 0},
        {def_ombrel_window_event_wheel, handle, -13, 0, 0, left, 0, 120, 0, 0, 0, 0},
        {key_down, handle, -13, 0, 0, left, 0, 0, def_ombrel_window_key_shift, 0, shift, 0},
        {key_down, handle, -13, 0, 0, left, 0, 0, 'a', 0, shift, 0},
        {def_ombrel_window_event_character, handle, -13, 0, 0, left, 0, 0, 0, 'A', shift, 0},
        {key_up, handle, -13, 0, 0, left, 0, 0, 'a', 0, shift, 0},
        {key_up, handle, -13, 0, 0, left, 0, 0, def_ombrel_window_key_shift, 0, 0, 0},
        {key_down, handle, -13, 0, 0, left, 0, 0, def_ombrel_window_key_f1 + 4, 0, 0, 0},
        {key_down, handle, -13, 0, 0, left, 0, 0, def_ombrel_window_key_enter, 0, 0, 0},
    };
    for (const ombrel_window_event_t& event : expected) {
        const ombrel_window_event_t got = next_event(ctx);
        EXPECT_EQ(0, memcmp(&event, &got, sizeof got))
            << &event - expected << ": kind " << got.m_kind << " at " << got.m_x << ',' << got.m_y
            << " buttons " << got.m_buttons << " key " << got.m_key << " modifiers " << got.m_modifiers
            << " character " << got.m_character;
    }
    server_.press(1, false);
    EXPECT_EQ(def_ombrel_window_event_button_up, next_event(ctx).m_kind)
        << "until then the mouse is the window's";

    context small;
    ASSERT_EQ(0, open(small, {{"xywh", "300,300,90,90"}, {"scale", "1/3"}}));
    server_.move(300 + 11, 300 + 29);
    server_.click(2);
    const ombrel_window_event_t middle = next_event(small);
    EXPECT_EQ(3 * 11 + 1, middle.m_x) << "the pixel that is shown there";
    EXPECT_EQ(3 * 29 + 1, middle.m_y);
    EXPECT_EQ(def_ombrel_window_button_middle, middle.m_button);
}

TEST_F(WindowPlugin, TheUserCloses) {
    capture output(stdout);
    context ctx;
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,50,50"}, {"debug", "1"}}));
    ombrel_fbmap_t* const root = root_of(ctx);
    EXPECT_EQ(0, ombrel_fbmap_is_closed(root));
    server_.ask_to_close(server_.find(window_class));
    EXPECT_EQ(def_ombrel_window_event_close, next_event(ctx).m_kind);
    ombrel_window_wait_t wait = {-1, {}};
    EXPECT_EQ(-1, ombrel_ctx_xcontrol(ctx, "get_window_event", &wait, sizeof wait));
    EXPECT_EQ(ctx_error::disconnected, ctx.error());
    EXPECT_EQ(1, ombrel_fbmap_is_closed(root));
    EXPECT_TRUE(comes_true([&] { return server_.find(window_class) == 0; }));
    draw_pattern(root);
    EXPECT_EQ(0, ombrel_fbmap_update(root)) << "nobody sees it";
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_NE(std::string::npos, output.text().find("window close : ctx=" + std::to_string(ctx) + ", x="));
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,50,50"}})) << "another window in the same context";
}

TEST_F(WindowPlugin, TheHandlerKeepsTheWindowOrClosesItsContext) {
    struct {
        std::atomic<int> asked = 0;
        std::atomic<bool> closes = false;
        std::atomic<int> result = -2;
    } state;
    context ctx;
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,50,50"}}));
    const auto handler = [](const ombrel_window_event_t* event, void* about) {
        auto& at = *static_cast<decltype(state)*>(about);
        if (event->m_kind != def_ombrel_window_event_close)
            return 0;
        at.asked++;
        if (at.closes)
            at.result = ombrel_close_ctx(event->m_ctx);
        return 1;
    };
    ASSERT_EQ(0, listen(ctx, handler, &state));
    server_.ask_to_close(server_.find(window_class));
    EXPECT_TRUE(comes_true([&] { return state.asked == 1; }));
    EXPECT_EQ(0, listen(ctx, handler, &state)) << "after the handler has returned";
    EXPECT_NE(0u, server_.find(window_class));
    EXPECT_EQ(0, ombrel_fbmap_is_closed(root_of(ctx)));
    state.closes = true;
    server_.ask_to_close(server_.find(window_class));
    EXPECT_TRUE(comes_true([&] { return state.result != -2; }));
    EXPECT_EQ(0, state.result);
    EXPECT_TRUE(comes_true([&] { return server_.find(window_class) == 0; }));
    EXPECT_EQ(0, open(ctx, {})) << "the context can be opened again";
}

// What a handler does to windows is done on their own thread.
TEST_F(WindowPlugin, TheHandlerOpensAndClosesOtherWindows) {
    static context* second;
    static std::atomic<int> opened, clicks;
    context ctx, other;
    second = &other;
    opened = -2;
    clicks = 0;
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,50,50"}}));
    const auto handler = [](const ombrel_window_event_t* event, void*) {
        if (event->m_kind != def_ombrel_window_event_button_down)
            return 0;
        if (++clicks == 1)
            opened = open(*second, {{"xywh", "100,0,50,50"}, {"class_name", "second"}});
        else
            ombrel_close_ctx(*second);
        return 0;
    };
    ASSERT_EQ(0, listen(ctx, handler, nullptr));
    server_.move(5, 5);
    server_.click(1);
    ASSERT_TRUE(comes_true([&] { return opened != -2; }));
    EXPECT_EQ(0, opened);
    ombrel_fbmap_draw_clear(root_of(other), 0xFF00FF00);
    ombrel_fbmap_update(root_of(other));
    EXPECT_TRUE(comes_true([&] { return server_.picture(149, 49, 1, 1)[0] == 0x00FF00; }));
    EXPECT_EQ(0u, server_.picture(49, 49, 1, 1)[0]) << "the first window has its own map";
    server_.click(1);
    EXPECT_TRUE(comes_true([&] { return server_.find("second") == 0; }));
    EXPECT_NE(0u, server_.find(window_class));
}

// A storm of events and of changes while windows come and go.
TEST_F(WindowPlugin, WindowsGoWhileEventsArrive) {
    const std::jthread user([this](const std::stop_token& end) {
        for (int i = 0; !end.stop_requested(); i++) {
            server_.move(i % 50, i % 40);
            server_.click(1);
            // SDL reads on as long as there is something to be read, which must come to an end.
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    std::atomic<int> heard = 0;
    const auto handler = [](const ombrel_window_event_t*, void* about) {
        ++*static_cast<std::atomic<int>*>(about);
        return 0;
    };
    for (int i = 0; i < 20 || heard == 0; i++) {
        context first, second;
        ASSERT_EQ(0, open(first, {{"xywh", "0,0,50,40"}}));
        ASSERT_EQ(0, open(second, {{"xywh", "20,0,50,40"}}));
        listen(first, handler, &heard);
        listen(second, handler, &heard);
        for (ombrel_fbmap_t* const root : {root_of(first), root_of(second)}) {
            draw_pattern(root);
            EXPECT_EQ(0, ombrel_fbmap_update(root));
        }
    }
}

TEST_F(WindowPlugin, WhatMakesNoSenseIsRefused) {
    const std::pair<const char*, const char*> refused[] = {{"scale", "0"},
                                                           {"scale", "17"},
                                                           {"scale", "1/1"},
                                                           {"scale", "1/17"},
                                                           {"scale", "1/ 2"},
                                                           {"scale", "2.5"},
                                                           {"scale", ""},
                                                           {"xywh", "0,0,0,9"},
                                                           {"xywh", "0,0,-9,9"},
                                                           {"xywh", "0,0,9"},
                                                           {"xywh", "0,0,16385,9"},
                                                           {"xywh", "0,0,9,2000000"},
                                                           {"resy", "0"},
                                                           {"bpp", "12"},
                                                           {"debug", "x"},
                                                           {"verbose", ""},
                                                           {"color_interface", "0x1"}};
    for (const auto& [option, text] : refused)
        EXPECT_EQ(ctx_error::invalid, open(*std::make_unique<context>(), {{option, text}})) << option << text;
    EXPECT_EQ(ctx_error::invalid,
              open(*std::make_unique<context>(), {{"xywh", "0,0,1025,9"}, {"scale", "16"}}));
    EXPECT_EQ(ctx_error::invalid,
              open(*std::make_unique<context>(), {{"xywh", "0,0,9,1"}, {"scale", "1/2"}}));
    for (const char* const place : {"-2147483648,-5,9,9", "2147483647,100000,9,9"}) {
        context far;
        EXPECT_EQ(0, open(far, {{"xywh", place}})) << "off the screen";
    }
    capture errors(stderr);
    EXPECT_EQ(def_ombrel_ctx_error_no_memory,
              open(*std::make_unique<context>(), {{"xywh", "0,0,70000,70000"}}));
}

// A handler may close the last window and drop the plug-in, whose code it returns to.
TEST_F(WindowPlugin, TheHandlerUnloadsThePlugin) {
    const int plugin = ombrel_load_plugin(OMBREL_TEST_PLUGIN_WINDOW, nullptr);
    struct {
        int plugin;
        std::atomic<bool> is_over;
    } state = {plugin, false};
    context ctx;
    ASSERT_EQ(0, open(ctx, {{"xywh", "0,0,50,50"}}));
    ASSERT_EQ(0, listen(
                     ctx,
                     [](const ombrel_window_event_t* event, void* about) {
                         auto& at = *static_cast<decltype(state)*>(about);
                         if (event->m_kind == def_ombrel_window_event_close) {
                             ombrel_close_ctx(event->m_ctx);
                             ombrel_unload_plugin(at.plugin);
                             at.is_over = true;
                         }
                         return 0;
                     },
                     &state));
    server_.ask_to_close(server_.find(window_class));
    EXPECT_TRUE(comes_true([&] { return state.is_over.load(); }));
}

TEST(WindowPluginAlone, WithoutADesktop) {
    const heap_balance balance;
    const loaded_plugin plugin(OMBREL_TEST_PLUGIN_WINDOW);
    unsetenv("WAYLAND_DISPLAY");
    setenv("DISPLAY", ":94321", 1);
    for (int i = 0; i < 2; i++) {
        context ctx;
        capture errors(stderr);
        EXPECT_EQ(def_ombrel_ctx_error_not_found,
                  ctx.open(def_ombrel_plugin_window_mime_type, {{"verbose", "1"}}));
        EXPECT_NE(std::string::npos, errors.text().find("window: "));
    }
}

} // namespace
} // namespace ombrel_test
