// Maps beside pixman and memcpy. Where pixman wants colours multiplied by their alpha it gets them so.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <ombrel/bitmap.h>
#include <ombrel/color.h>
#include <ombrel/fbmap.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/font.h>

namespace {

constexpr uint32_t width = 1920, height = 1080;
constexpr uint32_t rgb565 = def_ombrel_color_interface_rgb565, argb8888 = def_ombrel_color_interface_argb8888;

struct free_map {
    void operator()(ombrel_fbmap_t* map) const { ombrel_free_fbmap(map); }
};
using map_ptr = std::unique_ptr<ombrel_fbmap_t, free_map>;

map_ptr make_map(uint32_t color_interface, uint32_t w = width, uint32_t h = height) {
    return map_ptr(ombrel_new_fbmap(nullptr, def_ombrel_fbmap_own_map, color_interface, 0, 0, w, h));
}

struct free_image {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using image_ptr = std::unique_ptr<pixman_image_t, free_image>;

image_ptr make_image(pixman_format_code_t format, uint32_t w = width, uint32_t h = height) {
    return image_ptr(pixman_image_create_bits(format, static_cast<int>(w), static_cast<int>(h), nullptr, 0));
}

pixman_format_code_t format_of(uint32_t color_interface) {
    return color_interface == rgb565 ? PIXMAN_r5g6b5 : PIXMAN_a8r8g8b8;
}

void fill_with_noise(void* memory, size_t size) {
    auto* bytes = static_cast<unsigned char*>(memory);
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
}

void multiply_by_alpha(uint32_t* pixels, size_t count) {
    for (size_t i = 0; i < count; i++) {
        const uint32_t alpha = pixels[i] >> 24;
        uint32_t result = alpha << 24;
        for (int shift = 0; shift < 24; shift += 8)
            result |= (pixels[i] >> shift & 0xFF) * alpha / 255 << shift;
        pixels[i] = result;
    }
}

template<typename Work>
void measure(benchmark::State& state, double pixels, Work work) {
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    state.counters["pixels/s"] = benchmark::Counter(pixels, benchmark::Counter::kIsIterationInvariantRate);
}

// --- fills ----------------------------------------------------------------------------------------------

template<uint32_t color_interface>
void clear(benchmark::State& state) {
    const map_ptr map = make_map(color_interface);
    measure(state, width * height, [&] { ombrel_fbmap_draw_clear(map.get(), 0x12345678); });
}

template<uint32_t color_interface, uint32_t w, uint32_t h>
void fill_box(benchmark::State& state) {
    const map_ptr map = make_map(color_interface);
    measure(state, w * h, [&] { ombrel_fbmap_draw_box(map.get(), 0x12345678, 11, 7, w, h, 1); });
}

template<uint32_t color_interface, uint32_t w, uint32_t h>
void fill_by_pixman(benchmark::State& state) {
    const image_ptr image = make_image(format_of(color_interface));
    const int stride = pixman_image_get_stride(image.get()) / 4;
    const int x = w == width ? 0 : 11, y = h == height ? 0 : 7;
    measure(state, w * h, [&] {
        pixman_fill(pixman_image_get_data(image.get()), stride, color_interface == rgb565 ? 16 : 32, x, y, w,
                    h, 0x12345678);
    });
}

// --- copies and blending of a window of 1000 x 700 ------------------------------------------------------

constexpr uint32_t window_w = 1000, window_h = 700;

template<uint32_t from_interface, uint32_t to_interface, uint32_t flags>
void put_window(benchmark::State& state) {
    const map_ptr from = make_map(from_interface, window_w, window_h), to = make_map(to_interface);
    fill_with_noise(from->m_map, from->m_map_size);
    from->m_flags |= flags;
    from->m_alpha_window = 160;
    ombrel_bitmap_t screen = {to->m_map, to_interface, width, height, to->m_line_length, 0, 0, 0};
    measure(state, window_w * window_h, [&] {
        ombrel_fbmap_get_box(from.get(), &screen, 101, 55, 0, 0, window_w, window_h, def_ombrel_fbmap_blend);
    });
}

template<pixman_format_code_t from_format, pixman_format_code_t to_format, pixman_op_t operation,
         bool with_mask>
void put_window_by_pixman(benchmark::State& state) {
    const image_ptr from = make_image(from_format, window_w, window_h), to = make_image(to_format);
    const size_t size = static_cast<size_t>(pixman_image_get_stride(from.get())) * window_h;
    fill_with_noise(pixman_image_get_data(from.get()), size);
    if (operation == PIXMAN_OP_OVER && from_format == PIXMAN_a8r8g8b8)
        multiply_by_alpha(pixman_image_get_data(from.get()), size / 4);
    const pixman_color_t alpha = {0, 0, 0, 160 * 257};
    const image_ptr mask(pixman_image_create_solid_fill(&alpha));
    measure(state, window_w * window_h, [&] {
        pixman_image_composite32(operation, from.get(), with_mask ? mask.get() : nullptr, to.get(), 0, 0, 0,
                                 0, 101, 55, window_w, window_h);
    });
}

// --- recomposition --------------------------------------------------------------------------------------

// A desktop and 19 windows that overlap.
constexpr uint32_t window_count = 20;

ombrel_fbmap_rectangle_t place_of(uint32_t i) {
    const auto x = static_cast<int32_t>(i * 397 % 1300), y = static_cast<int32_t>(i * 211 % 600);
    return i == 0 ? ombrel_fbmap_rectangle_t{0, 0, width, height} : ombrel_fbmap_rectangle_t{x, y, 600, 450};
}

// Each in turn is brought up to date, so that every pixel is copied once.
void recompose(benchmark::State& state) {
    const map_ptr root = make_map(argb8888);
    std::vector<ombrel_fbmap_t*> windows;
    for (uint32_t i = 0; i < window_count; i++) {
        const auto [x, y, w, h] = place_of(i);
        windows.push_back(ombrel_new_fbmap(root.get(), def_ombrel_fbmap_own_map, 0, x, y, w, h));
        ombrel_fbmap_draw_clear(windows.back(), 0xFF000000 + i * 0x0A0B0C);
    }
    measure(state, width * height, [&] {
        for (ombrel_fbmap_t* window : windows) {
            window->m_update_region = {0, 0, window->m_resx, window->m_resy};
            ombrel_fbmap_update(window);
        }
    });
}

// The same rows as long as they can be, found beforehand, in the same order and out of as many places.
void recompose_by_rows(benchmark::State& state) {
    struct run {
        size_t to, window, from, size;
    };
    std::vector<uint32_t> topmost(size_t{width} * height), to(topmost.size(), 1);
    std::vector<std::vector<uint32_t>> windows;
    std::vector<run> runs;
    const auto each_row = [](const ombrel_fbmap_rectangle_t& place, auto work) {
        for (size_t y = 0; y < place.m_h; y++)
            work((y + static_cast<size_t>(place.m_y)) * width + static_cast<size_t>(place.m_x),
                 y * place.m_w);
    };
    for (uint32_t i = 0; i < window_count; i++) {
        const ombrel_fbmap_rectangle_t place = place_of(i);
        windows.emplace_back(size_t{place.m_w} * place.m_h, i);
        each_row(place, [&](size_t at, size_t) { std::fill_n(&topmost[at], place.m_w, i); });
    }
    for (uint32_t i = 0; i < window_count; i++)
        each_row(place_of(i), [&](size_t at, size_t from) {
            for (size_t x = 0, end, w = place_of(i).m_w; x < w; x = end) {
                const bool shows = topmost[at + x] == i;
                for (end = x; end < w && (topmost[at + end] == i) == shows;)
                    end++;
                if (shows)
                    runs.push_back({at + x, i, from + x, 4 * (end - x)});
            }
        });
    measure(state, width * height, [&] {
        for (const run& now : runs)
            memcpy(&to[now.to], &windows[now.window][now.from], now.size);
    });
}

void recompose_by_memcpy(benchmark::State& state) {
    std::vector<unsigned char> from(size_t{4} * width * height, 1), to(from.size());
    measure(state, width * height, [&] { memcpy(to.data(), from.data(), from.size()); });
}

// --- text -----------------------------------------------------------------------------------------------

const std::string line = "The quick brown fox jumps over the lazy dog; 0123456789 (sphinx of black quartz).";

void draw_text(benchmark::State& state) {
    const map_ptr map = make_map(argb8888);
    ombrel_fbmap_use_brush_fcolor(map.get(), 1);
    measure(state, static_cast<double>(line.size()), [&] {
        ombrel_fbmap_set_brush_xy_delta(map.get(), 0, 0);
        ombrel_fbmap_draw_puts(map.get(), line.c_str());
    });
}

// The glyphs as masks of a byte a pixel, the kind that pixman is fastest with.
std::vector<image_ptr> make_glyphs() {
    std::vector<image_ptr> glyphs;
    for (unsigned code = 0; code < 128; code++) {
        const auto* rows = static_cast<const unsigned char*>(
            ombrel_get_bitmap_font(nullptr, nullptr, nullptr, nullptr, code));
        glyphs.push_back(make_image(PIXMAN_a8, 8, 16));
        auto* mask = reinterpret_cast<unsigned char*>(pixman_image_get_data(glyphs.back().get()));
        for (size_t y = 0; y < 16; y++)
            for (size_t x = 0; x < 8; x++)
                mask[8 * y + x] = (rows[y] << x & 0x80) != 0 ? 255 : 0;
    }
    return glyphs;
}

void draw_text_by_pixman(benchmark::State& state) {
    const std::vector<image_ptr> glyphs = make_glyphs();
    const image_ptr to = make_image(PIXMAN_a8r8g8b8);
    const pixman_color_t white = {0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
    const image_ptr color(pixman_image_create_solid_fill(&white));
    measure(state, static_cast<double>(line.size()), [&] {
        int x = 0;
        for (const char c : line) {
            pixman_image_composite32(PIXMAN_OP_OVER, color.get(), glyphs[static_cast<size_t>(c)].get(),
                                     to.get(), 0, 0, 0, 0, x, 0, 8, 16);
            x += 8;
        }
    });
}

BENCHMARK(clear<rgb565>)->Name("clear 1920x1080, 16 bits|ombrel");
BENCHMARK(fill_by_pixman<rgb565, width, height>)->Name("clear 1920x1080, 16 bits|pixman_fill");
BENCHMARK(clear<argb8888>)->Name("clear 1920x1080, 32 bits|ombrel");
BENCHMARK(fill_by_pixman<argb8888, width, height>)->Name("clear 1920x1080, 32 bits|pixman_fill");
BENCHMARK(fill_box<rgb565, 300, 200>)->Name("fill box 300x200, 16 bits|ombrel");
BENCHMARK(fill_by_pixman<rgb565, 300, 200>)->Name("fill box 300x200, 16 bits|pixman_fill");
BENCHMARK(fill_box<argb8888, 300, 200>)->Name("fill box 300x200, 32 bits|ombrel");
BENCHMARK(fill_by_pixman<argb8888, 300, 200>)->Name("fill box 300x200, 32 bits|pixman_fill");

BENCHMARK(put_window<argb8888, argb8888, def_ombrel_fbmap_alpha_window>)->Name("translucent window|ombrel");
BENCHMARK(put_window_by_pixman<PIXMAN_x8r8g8b8, PIXMAN_a8r8g8b8, PIXMAN_OP_OVER, true>)
    ->Name("translucent window|pixman OVER");
BENCHMARK(put_window<argb8888, argb8888, def_ombrel_fbmap_alpha_pixel>)->Name("per-pixel alpha|ombrel");
BENCHMARK(put_window_by_pixman<PIXMAN_a8r8g8b8, PIXMAN_a8r8g8b8, PIXMAN_OP_OVER, false>)
    ->Name("per-pixel alpha|pixman OVER");
BENCHMARK(put_window<rgb565, rgb565, def_ombrel_fbmap_alpha_window>)
    ->Name("translucent window, 16 bits|ombrel");
BENCHMARK(put_window_by_pixman<PIXMAN_r5g6b5, PIXMAN_r5g6b5, PIXMAN_OP_OVER, true>)
    ->Name("translucent window, 16 bits|pixman OVER");
BENCHMARK(put_window<rgb565, argb8888, 0>)->Name("box 565 to 8888|ombrel");
BENCHMARK(put_window_by_pixman<PIXMAN_r5g6b5, PIXMAN_a8r8g8b8, PIXMAN_OP_SRC, false>)
    ->Name("box 565 to 8888|pixman SRC");
BENCHMARK(put_window<argb8888, rgb565, 0>)->Name("box 8888 to 565|ombrel");
BENCHMARK(put_window_by_pixman<PIXMAN_a8r8g8b8, PIXMAN_r5g6b5, PIXMAN_OP_SRC, false>)
    ->Name("box 8888 to 565|pixman SRC");

BENCHMARK(recompose)->Name("recompose 20 opaque windows|ombrel");
BENCHMARK(recompose_by_rows)->Name("recompose 20 opaque windows|memcpy of the same rows");
BENCHMARK(recompose_by_memcpy)->Name("recompose 20 opaque windows|memcpy");

BENCHMARK(draw_text)->Name("82 glyphs of text|ombrel");
BENCHMARK(draw_text_by_pixman)->Name("82 glyphs of text|pixman OVER, mask");

} // namespace
