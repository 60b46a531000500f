// Frame buffers in windows of the host: what the screen shows, and what its user does.
#include <atomic>
#include <cstring>
#include <functional>

#include <windows.h>

#include <ombrel/color.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/framebuffer.h>
#include <ombrel/window_event.h>

#include "plugins/plugin_support.h"
#include "support/capture.h"

namespace ombrel_test {
namespace {

constexpr const char type[] = "application/tuk_windows_dib";

/// Looks until something is true; false when it never was.
bool comes_true(const std::function<bool()>& what) {
    for (int i = 0; i < 3000; i++) {
        if (what())
            return true;
        Sleep(10);
    }
    return false;
}

class WindowsDib : public balanced_test {
protected:
    static HWND find(const wchar_t* class_name = L"ombrel_tuk_windows_dib") {
        return FindWindowW(class_name, nullptr);
    }
    static ombrel_fbmap_t* root_of(int ctx) {
        ombrel_ctx_fbinfo_t info;
        EXPECT_EQ(0, ombrel_ctx_get_fbinfo(ctx, &info));
        return info.m_root;
    }
    static int listen(int ctx, ombrel_window_handler_t handler, void* about) {
        ombrel_window_listener_t listener = {handler, about};
        return ombrel_ctx_xcontrol(ctx, "set_window_handler", &listener, sizeof listener);
    }
    static ombrel_window_event_t next_event(int ctx) {
        ombrel_window_wait_t wait = {30'000, {}};
        EXPECT_EQ(0, ombrel_ctx_xcontrol(ctx, "get_window_event", &wait, sizeof wait));
        return wait.m_event;
    }

    /// The inside of a window as 0xRRGGBB.
    static std::vector<uint32_t> picture(HWND window, int w, int h) {
        const HDC from = GetDC(window), to = CreateCompatibleDC(from);
        BITMAPINFO info = {};
        info.bmiHeader = {sizeof info.bmiHeader, w, -h, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        void* bits = nullptr;
        const HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        const HGDIOBJ before = SelectObject(to, bitmap);
        BitBlt(to, 0, 0, w, h, from, 0, 0, SRCCOPY);
        GdiFlush();
        std::vector<uint32_t> pixels(static_cast<size_t>(w * h));
        memcpy(pixels.data(), bits, pixels.size() * 4);
        for (uint32_t& pixel : pixels)
            pixel &= 0xFFFFFF;
        SelectObject(to, before);
        DeleteDC(to);
        DeleteObject(bitmap);
        ReleaseDC(window, from);
        return pixels;
    }
    /// What it is to show. The system may widen the bits of channels otherwise than the library, so that only
    /// those that the map has are compared.
    static bool shows(HWND window, ombrel_fbmap_t* map, uint32_t mask = 0xFFFFFF) {
        const int w = static_cast<int>(map->m_resx), h = static_cast<int>(map->m_resy);
        const std::vector<uint32_t> shown = picture(window, w, h);
        for (int i = 0; i < w * h; i++) {
            const uint32_t pixel =
                ombrel_convert_color(def_ombrel_color_interface_rgb888, map->m_color_interface,
                                     ombrel_fbmap_get_pixel(map, nullptr, 0, 0, i % w, i / w));
            if (((pixel ^ shown[static_cast<size_t>(i)]) & mask) != 0)
                return false;
        }
        return true;
    }
};

void draw_pattern(ombrel_fbmap_t* map) {
    for (int32_t y = 0; y < static_cast<int32_t>(map->m_resy); y++)
        for (int32_t x = 0; x < static_cast<int32_t>(map->m_resx); x++)
            ombrel_fbmap_draw_pixel(map, static_cast<uint32_t>(x * 0x050B11 + y * 0x0D1703) | 0xFF000000, x,
                                    y);
}

TEST_F(WindowsDib, TheWindowShowsTheMap) {
    const struct {
        option_texts options;
        uint32_t line_length, mask;
    } cases[] = {{{}, 51 * 4, 0xFFFFFF},
                 {{{"bpp", "8"}}, 52, 0xFFFFFF},
                 {{{"bpp", "16"}}, 104, 0xF8FCF8},
                 {{{"bpp", "24"}}, 156, 0xFFFFFF},
                 {{{"color_interface", "0x08685848"}, {"resx", "200"}}, 800, 0xFFFFFF},
                 {{{"color_interface", "0x00425363"}}, 52, 0xFFFFFF}};
    for (const auto& test : cases) {
        context ctx;
        option_texts options = test.options;
        options.insert(options.end(), {{"xywh", "40,30 51,47"}, {"title_name", "Ein W\xC3\xB6rt"}});
        ASSERT_EQ(0, ctx.open(type, options));
        ombrel_fbmap_t* const root = root_of(ctx);
        SCOPED_TRACE(root->m_color_interface);
        EXPECT_EQ(test.line_length, root->m_line_length);
        EXPECT_EQ(test.line_length * 47, root->m_map_size);
        const HWND window = find();
        wchar_t title[20];
        GetWindowTextW(window, title, 20);
        EXPECT_STREQ(L"Ein W\u00F6rt", title);
        EXPECT_TRUE(comes_true([&] { return shows(window, root, test.mask); })) << "black at first";
        draw_pattern(root);
        EXPECT_EQ(0, ombrel_fbmap_update(root));
        EXPECT_TRUE(comes_true([&] { return shows(window, root, test.mask); }));
    }
}

TEST_F(WindowsDib, ChangedRegionsAreCopiedAndTheRestIsPainted) {
    context ctx;
    ASSERT_EQ(0, ctx.open(type, {{"xywh", "0,0,64,64"}}));
    ombrel_fbmap_t* const root = root_of(ctx);
    const auto count = [&](uint32_t color) {
        const std::vector<uint32_t> pixels = picture(find(), 64, 64);
        return std::count(pixels.begin(), pixels.end(), color);
    };
    EXPECT_TRUE(comes_true([&] { return count(0) == 64 * 64; }));
    memset(root->m_map, 0xEE, root->m_map_size); // nobody was told
    ombrel_fbmap_t* const window = ombrel_new_fbmap(root, def_ombrel_fbmap_own_map, 0, -5, 50, 15, 40);
    ombrel_fbmap_draw_clear(window, 0xFF123456);
    EXPECT_EQ(0, ombrel_fbmap_update(window));
    EXPECT_EQ(10 * 14, count(0x123456)) << "at once";
    EXPECT_EQ(64 * 64 - 10 * 14, count(0));
    InvalidateRect(find(), nullptr, TRUE);
    EXPECT_TRUE(comes_true([&] { return count(0xEEEEEE) == 64 * 64 - 10 * 14; })) << "from the map";
    root->m_update_region = {-100, -100, 4000000000u, 4000000000u};
    EXPECT_EQ(0, ombrel_fbmap_update(root));
}

TEST_F(WindowsDib, MessagesAreTold) {
    capture output(stdout);
    {
        context ctx;
        ASSERT_EQ(0, ctx.open(type, {{"xywh", "0,0,64,64"}, {"debug", "1"}, {"class_name", "told"}}));
        PostMessageW(find(L"told"), WM_COMMAND, static_cast<WPARAM>(0x123456789), -2);
        PostMessageW(find(L"told"), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(3, 1));
        PostMessageW(find(L"told"), WM_RBUTTONUP, 0, MAKELPARAM(3, 1));
        PostMessageW(find(L"told"), WM_CLOSE, 0, 0);
        EXPECT_TRUE(comes_true([&] { return ombrel_fbmap_is_closed(root_of(ctx)) == 1; }));
    }
    const std::string text = output.text();
    size_t from = 0;
    for (const char* const line :
         {"create : wParam=0, lParam=", "paint : wParam=0, lParam=0\n",
          "command : wParam=591751049, lParam=4294967294\n", "l-button : wParam=1, lParam=65539\n",
          "r-button : wParam=0, lParam=65539\n", "close : wParam=0, lParam=0\n",
          "destroy : wParam=0, lParam=0\n", "quit : wParam=0, lParam=0\n"}) {
        const size_t at = text.find(line, from);
        EXPECT_NE(std::string::npos, at) << line << "in\n" << text;
        from = at != std::string::npos ? at : from;
    }
}

TEST_F(WindowsDib, UsersAreHeard) {
    context ctx;
    ASSERT_EQ(0, ctx.open(type, {{"xywh", "100,100,80,60"}, {"class_name", "W\xC3\xB6"}}));
    const HWND window = find(L"W\u00F6");
    const auto post = [&](UINT message, WPARAM first, LPARAM second) {
        PostMessageW(window, message, first, second);
    };
    ombrel_window_wait_t wait = {0, {}};
    const LPARAM place = MAKELPARAM(7, 9), outside = MAKELPARAM(-13, 70), up = LPARAM{3} << 30,
                 again = LPARAM{1} << 30, marked = LPARAM{1} << 24;
    post(WM_MOUSEMOVE, 0, place);
    post(WM_LBUTTONDOWN, MK_LBUTTON, place);
    post(WM_RBUTTONDOWN, MK_LBUTTON | MK_RBUTTON, place);
    post(WM_RBUTTONUP, MK_LBUTTON, outside);
    post(WM_XBUTTONDOWN, MAKEWPARAM(MK_LBUTTON | MK_XBUTTON2, XBUTTON2), outside);
    post(WM_MOUSEWHEEL, MAKEWPARAM(MK_LBUTTON, 120), place);
    post(WM_MOUSEHWHEEL, MAKEWPARAM(MK_LBUTTON, -60), place);
    post(WM_KEYDOWN, 'A', 1);
    post(WM_KEYDOWN, VK_F5, 1 | again);
    post(WM_KEYUP, VK_F5, 1 | up);
    post(WM_KEYDOWN, VK_LEFT, 1 | marked);
    post(WM_KEYDOWN, VK_HOME, 1);
    for (const WPARAM unit : {0xD83Du, 0xDE00u, 8u, 0x7Fu, 0xE9u})
        post(WM_CHAR, unit, 1);
    post(WM_KILLFOCUS, 0, 0);
    post(WM_CLOSE, 0, 0);
    constexpr uint32_t down = def_ombrel_window_event_key_down, release = def_ombrel_window_event_key_up,
                       character = def_ombrel_window_event_character,
                       press = def_ombrel_window_event_button_down;
    const struct {
        uint32_t kind;
        int32_t x, y;
        uint32_t button, buttons;
        int32_t wheel_x, wheel_y;
        uint32_t key, character, is_repeat;
    } expected[] = {
        {def_ombrel_window_event_move, 7, 9, 0, 0, 0, 0, 0, 0, 0},
        {press, 7, 9, 1, 1, 0, 0, 0, 0, 0},
        {press, 7, 9, 3, 5, 0, 0, 0, 0, 0},
        {def_ombrel_window_event_button_up, -13, 70, 3, 1, 0, 0, 0, 0, 0},
        {press, -13, 70, 5, 17, 0, 0, 0, 0, 0},
        {def_ombrel_window_event_wheel, -13, 70, 0, 17, 0, 120, 0, 0, 0},
        {def_ombrel_window_event_wheel, -13, 70, 0, 17, -60, 0, 0, 0, 0},
        {down, -13, 70, 0, 17, 0, 0, 'a', 0, 0},
        {down, -13, 70, 0, 17, 0, 0, def_ombrel_window_key_f1 + 4, 0, 1},
        {release, -13, 70, 0, 17, 0, 0, def_ombrel_window_key_f1 + 4, 0, 0},
        {down, -13, 70, 0, 17, 0, 0, def_ombrel_window_key_left, 0, 0},
        {down, -13, 70, 0, 17, 0, 0, def_ombrel_window_key_pad_0 + 7, 0, 0},
        {character, -13, 70, 0, 17, 0, 0, 0, 0x1F600, 0},
        {character, -13, 70, 0, 17, 0, 0, 0, 0xE9, 0},
        {release, -13, 70, 0, 17, 0, 0, def_ombrel_window_key_pad_0 + 7, 0, 0},
        {release, -13, 70, 0, 17, 0, 0, def_ombrel_window_key_left, 0, 0},
        {release, -13, 70, 0, 17, 0, 0, 'a', 0, 0},
        {def_ombrel_window_event_close, -13, 70, 0, 17, 0, 0, 0, 0, 0},
    };
    for (const auto& event : expected) {
        ombrel_window_event_t got;
        do
            got = next_event(ctx);
        while (got.m_character == 'a'); // which depends on a keyboard
        const bool is_same = got.m_kind == event.kind && got.m_x == event.x && got.m_y == event.y &&
                             got.m_button == event.button && got.m_buttons == event.buttons &&
                             got.m_wheel_x == event.wheel_x && got.m_wheel_y == event.wheel_y &&
                             got.m_key == event.key && got.m_character == event.character &&
                             got.m_is_repeat == event.is_repeat;
        EXPECT_TRUE(is_same) << &event - expected << ": kind " << got.m_kind << " at " << got.m_x << ','
                             << got.m_y << " button " << got.m_button << " of " << got.m_buttons << " key "
                             << got.m_key << " character " << got.m_character;
        EXPECT_EQ(static_cast<int>(ctx), got.m_ctx);
    }
    wait.m_timeout_ms = -1;
    EXPECT_EQ(-1, ombrel_ctx_xcontrol(ctx, "get_window_event", &wait, sizeof wait));
    EXPECT_EQ(ctx_error::disconnected, ctx.error());
    EXPECT_EQ(1, ombrel_fbmap_is_closed(root_of(ctx)));
    EXPECT_EQ(nullptr, find(L"W\u00F6"));
    draw_pattern(root_of(ctx));
    EXPECT_EQ(0, ombrel_fbmap_update(root_of(ctx))) << "nobody sees it";
    EXPECT_EQ(0, ombrel_close_ctx(ctx));
    EXPECT_EQ(0, ctx.open(type, {})) << "another window in the same context";
}

TEST_F(WindowsDib, TheHandlerKeepsTheWindowOrClosesItsContext) {
    struct {
        std::atomic<int> asked = 0, result = -2;
        std::atomic<bool> closes = false;
    } state;
    context ctx;
    ASSERT_EQ(0, ctx.open(type, {}));
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
    SendMessageW(find(), WM_CLOSE, 0, 0);
    EXPECT_EQ(1, state.asked);
    EXPECT_NE(nullptr, find());
    EXPECT_EQ(0, ombrel_fbmap_is_closed(root_of(ctx)));
    state.closes = true;
    SendMessageW(find(), WM_CLOSE, 0, 0);
    EXPECT_EQ(0, state.result);
    EXPECT_TRUE(comes_true([] { return find() == nullptr; }));
    EXPECT_EQ(0, ctx.open(type, {})) << "the context can be opened again";
}

// A handler draws, and opens and closes another window, whose thread is its own.
TEST_F(WindowsDib, TheHandlerUsesOtherWindows) {
    struct {
        context other;
        std::atomic<int> clicks = 0, result = -2;
    } state;
    context ctx;
    ASSERT_EQ(0, ctx.open(type, {{"xywh", "0,0,50,50"}}));
    ASSERT_EQ(0, listen(
                     ctx,
                     [](const ombrel_window_event_t* event, void* about) {
                         auto& at = *static_cast<decltype(state)*>(about);
                         if (event->m_kind != def_ombrel_window_event_button_down)
                             return 0;
                         ombrel_fbmap_draw_clear(root_of(event->m_ctx), 0xFF00FF00);
                         ombrel_fbmap_update(root_of(event->m_ctx));
                         at.result = ++at.clicks == 1
                                         ? at.other.open(type, {{"xywh", "99,0,9,9"}, {"class_name", "2"}})
                                         : ombrel_close_ctx(at.other);
                         return 0;
                     },
                     &state));
    for (const bool is_other_open : {true, false}) {
        SendMessageW(find(), WM_LBUTTONDOWN, MK_LBUTTON, 0);
        EXPECT_EQ(0, state.result);
        EXPECT_EQ(is_other_open, find(L"2") != nullptr);
        EXPECT_EQ(0x00FF00u, picture(find(), 50, 50)[1200]);
    }
}

DWORD WINAPI send_messages(void* is_over) {
    for (int i = 0; !*static_cast<std::atomic<bool>*>(is_over); i++) {
        const HWND window = FindWindowW(L"ombrel_tuk_windows_dib", nullptr);
        PostMessageW(window, WM_MOUSEMOVE, 0, i % 50);
        InvalidateRect(window, nullptr, TRUE);
    }
    return 0;
}

TEST_F(WindowsDib, WindowsGoWhileMessagesArrive) {
    std::atomic<bool> is_over = false;
    std::atomic<int> heard = 0;
    const HANDLE user = CreateThread(nullptr, 0, send_messages, &is_over, 0, nullptr);
    for (int i = 0; i < 15 || heard == 0; i++) {
        context first, second;
        EXPECT_EQ(0, first.open(type, {{"xywh", "0,0,50,40"}}));
        EXPECT_EQ(0, second.open(type, {{"xywh", "20,0,50,40"}}));
        for (const int ctx : {static_cast<int>(first), static_cast<int>(second)}) {
            listen(
                ctx,
                [](const ombrel_window_event_t*, void* about) {
                    ++*static_cast<std::atomic<int>*>(about);
                    return 0;
                },
                &heard);
            draw_pattern(root_of(ctx));
            EXPECT_EQ(0, ombrel_fbmap_update(root_of(ctx)));
        }
    }
    is_over = true;
    WaitForSingleObject(user, INFINITE);
    CloseHandle(user);
}

TEST_F(WindowsDib, WhatMakesNoSenseIsRefused) {
    const std::pair<const char*, const char*> refused[] = {{"xywh", "0,0,0,9"},
                                                           {"xywh", "0,0,-9,9"},
                                                           {"xywh", "0,0,9"},
                                                           {"xywh", "0,0,32768,9"},
                                                           {"resy", "0"},
                                                           {"bpp", "12"},
                                                           {"color_interface", "0x1"},
                                                           {"debug", "x"},
                                                           {"class_name", ""},
                                                           {"class_name", "\xFF"},
                                                           {"title_name", "\xC3"},
                                                           {"color_interface", "0x00685848"},
                                                           {"color_interface", "0x08485869"}};
    for (const auto& [option, text] : refused) {
        context ctx;
        EXPECT_EQ(ctx_error::invalid, ctx.open(type, {{option, text}})) << option << ' ' << text;
    }
    for (const char* const place :
         {"-2147483648,-5,9,9", "2147483647,100000,9,9", "0,0,1,1", "0,0,3000,2000"}) {
        context placed;
        EXPECT_EQ(0, placed.open(type, {{"xywh", place}})) << "off the screen";
        RECT inside;
        GetClientRect(find(), &inside);
        EXPECT_EQ(static_cast<LONG>(root_of(placed)->m_resx), inside.right);
        EXPECT_EQ(static_cast<LONG>(root_of(placed)->m_resy), inside.bottom);
    }
}

} // namespace
} // namespace ombrel_test

// For each window that a window manager is to have wine waits some seconds where there is none.
int main(int argc, char** argv) {
    RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\windows_dib_test.exe\\X11 Driver",
                    L"Managed", REG_SZ, L"N", sizeof L"N");
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
