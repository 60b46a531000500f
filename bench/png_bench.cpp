// Pictures written as PNG beside zlib's fastest level, which gets the rows filtered already: the library's
// time has the filtering in it. The counter "bytes" is what each makes of a picture.

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <ombrel/color.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/heap.h>
#include <ombrel/png.h>

#include "../fuzz/png_decoder.h"

namespace {

constexpr uint32_t width = 1280, height = 800, rgb = def_ombrel_png_rgb;

using picture = std::vector<unsigned char>; // of red, green and blue

// Text and boxes, as a screen has them.
picture draw_screen() {
    picture pixels(size_t{rgb} * width * height);
    ombrel_fbmap_t* const map = ombrel_new_fbmap(nullptr, def_ombrel_fbmap_own_map,
                                                 def_ombrel_color_interface_bgr888, 0, 0, width, height);
    ombrel_fbmap_draw_clear(map, 0x402810);
    for (int32_t i = 0; i < 12; i++)
        ombrel_fbmap_draw_box(map, 0x102030u * static_cast<uint32_t>(i), 90 * i, 50 * i, 300, 180, 1);
    ombrel_fbmap_use_brush_fcolor(map, 1);
    for (int i = 0; i < 40; i++)
        ombrel_fbmap_draw_printf(map, "%d of the lines that a screen shows: %d bytes, %d.%d %%\n", i,
                                 i * i * 77, i, i % 10);
    ombrel_bitmap_t to = {
        pixels.data(), def_ombrel_color_interface_bgr888, width, height, rgb * width, 0, 0, 0};
    ombrel_fbmap_get_box(map, &to, 0, 0, 0, 0, width, height, def_ombrel_fbmap_plain);
    ombrel_free_fbmap(map);
    return pixels;
}

// Soft shades with some noise, as a photograph has them.
picture draw_photograph() {
    picture pixels(size_t{rgb} * width * height);
    uint32_t noise = 1;
    for (size_t i = 0; i < pixels.size(); i++) {
        noise = noise * 1664525 + 1013904223;
        const size_t x = i / rgb % width, y = i / rgb / width;
        pixels[i] = static_cast<unsigned char>(60 + x * (i % rgb + 1) / 20 + x * y / 9000 + (noise >> 30));
    }
    return pixels;
}

std::string write(const picture& pixels) {
    ombrel_buffer_t* const output = ombrel_open_buffer();
    ombrel_png_push_rows(output, rgb, pixels.data(), rgb * width, width, height);
    const size_t size = ombrel_get_buffer_size(output);
    auto* const block = static_cast<char*>(ombrel_alloc_pop_buffer_ex(output, size, 1));
    std::string document(block, size);
    ombrel_free(block);
    ombrel_close_buffer(output);
    return document;
}

template<picture (*draw)()>
void write_picture(benchmark::State& state) {
    const picture pixels = draw();
    for (auto _ : state) {
        ombrel_buffer_t* const output = ombrel_open_buffer();
        ombrel_png_push_rows(output, rgb, pixels.data(), rgb * width, width, height);
        state.counters["bytes"] = static_cast<double>(ombrel_get_buffer_size(output));
        ombrel_close_buffer(output);
    }
}

template<picture (*draw)()>
void compress_by_zlib(benchmark::State& state) {
    const std::string document = write(draw()), rows = ombrel_test::png_decoder(document).decode().filtered;
    for (auto _ : state) {
        uLongf size = compressBound(rows.size());
        std::vector<Bytef> compressed(size);
        compress2(compressed.data(), &size, reinterpret_cast<const Bytef*>(rows.data()), rows.size(), 1);
        state.counters["bytes"] = static_cast<double>(size);
    }
}

BENCHMARK(write_picture<draw_screen>)->Name("PNG of a screen|ombrel");
BENCHMARK(compress_by_zlib<draw_screen>)->Name("PNG of a screen|zlib 1, no filtering");
BENCHMARK(write_picture<draw_photograph>)->Name("PNG of a photograph|ombrel");
BENCHMARK(compress_by_zlib<draw_photograph>)->Name("PNG of a photograph|zlib 1, no filtering");

} // namespace
