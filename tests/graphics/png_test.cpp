#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <ombrel/color.h>
#include <ombrel/fbmap_draw.h>
#include <ombrel/heap.h>
#include <ombrel/png.h>

#include "support/heap_balance.h"
#include "support/queued.h"
#include "support/scratch_directory.h"

#if defined(OMBREL_TEST_ZLIB)
#include "png_decoder.h"
#endif

namespace ombrel_test {
namespace {

constexpr uint32_t grey = def_ombrel_png_grey, rgb = def_ombrel_png_rgb, rgba = def_ombrel_png_rgba;
constexpr uint32_t formats[] = {grey, rgb, rgba};

using Png = balanced_test;

/// What a call has queued, and its result.
struct queued {
    template<typename Push>
    explicit queued(Push push) {
        ombrel_buffer_t* const output = ombrel_open_buffer();
        result = push(output);
        document = take_queued(output);
        ombrel_close_buffer(output);
    }
    int result;
    std::string document;
};

TEST_F(Png, WhatCannotBeWrittenIsRefused) {
    unsigned char bytes[16] = {};
    ombrel_bitmap_t good = {bytes, def_ombrel_color_interface_rgb565, 2, 2, 4, 0, 0, 0}, bad = good,
                    bits = good;
    bad.m_line_length = 3;
    bits.m_color_interface = 0x21212121;
    ombrel_fbmap_t* const map = ombrel_new_fbmap(nullptr, 0, def_ombrel_color_interface_rgb565, 0, 0, 2, 2);
    const struct {
        uint32_t format;
        const void* rows;
        size_t line;
        uint32_t width, height;
    } no_rows[] = {
        {grey, nullptr, 1, 1, 1},      {grey, bytes, 0, 0, 1},
        {grey, bytes, 1, 1, 0},        {2, bytes, 4, 1, 1},
        {rgb, bytes, 5, 2, 1},         {grey, bytes, SIZE_MAX, 1u << 31, 1},
        {grey, bytes, 1, 1, 1u << 31}, {grey, bytes, SIZE_MAX / 2, 1, 3},
    };
    const auto expect_refusal = [](const char* what, ptrdiff_t row, const queued& got) {
        EXPECT_TRUE(got.result == -1 && got.document.empty()) << what << ' ' << row;
    };
    for (const auto& row : no_rows)
        expect_refusal("rows", &row - no_rows, queued([&](auto* to) {
                           return ombrel_png_push_rows(to, row.format, row.rows, row.line, row.width,
                                                       row.height);
                       }));
    for (const ombrel_bitmap_t* bitmap : {static_cast<ombrel_bitmap_t*>(nullptr), &bad, &bits})
        expect_refusal("bitmap", 0,
                       queued([&](auto* to) { return ombrel_png_push_bitmap(to, rgb, bitmap); }));
    for (ombrel_fbmap_t* one : {static_cast<ombrel_fbmap_t*>(nullptr), map})
        expect_refusal("map", 0, queued([&](auto* to) { return ombrel_png_push_fbmap(to, rgb, one); }));
    expect_refusal("format", 5, queued([&](auto* to) { return ombrel_png_push_bitmap(to, 5, &good); }));
    EXPECT_EQ(-1, ombrel_png_push_rows(nullptr, grey, bytes, 1, 1, 1));
    EXPECT_EQ(-1, ombrel_png_save_rows(nullptr, grey, bytes, 1, 1, 1));
    EXPECT_EQ(-1, ombrel_png_save_rows("/nowhere/at/all.png", grey, bytes, 1, 1, 1));
    EXPECT_EQ(-1, ombrel_png_save_bitmap("/dev/full", rgb, &good)) << "the output refuses";
    ombrel_free_fbmap(map);
}

TEST_F(Png, FilesHoldWhatBuffersDo) {
    const scratch_directory folder;
    const std::string path = folder.file("png", std::string(100000, 'x')); // what is longer is cut
    std::vector<unsigned char> bytes(90 * 80 * 2);
    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = static_cast<unsigned char>(i * i >> 7);
    const ombrel_bitmap_t bitmap = {bytes.data(), def_ombrel_color_interface_rgb565, 90, 80, 180, 0, 0, 0};
    ombrel_fbmap_t* const map =
        ombrel_new_fbmap(nullptr, def_ombrel_fbmap_own_map, bitmap.m_color_interface, 0, 0, 90, 80);
    ombrel_fbmap_set_box(map, &bitmap, 0, 0, 0, 0, 90, 80, def_ombrel_fbmap_plain);
    EXPECT_EQ(0, ombrel_png_save_rows(path.c_str(), rgb, bytes.data(), 180, 60, 80));
    const queued rows([&](auto* to) { return ombrel_png_push_rows(to, rgb, bytes.data(), 180, 60, 80); });
    EXPECT_EQ(rows.document, folder.read("png"));
    const auto [result, pushed] = queued([&](auto* to) { return ombrel_png_push_bitmap(to, rgba, &bitmap); });
    EXPECT_EQ(0, result);
    EXPECT_EQ(0, ombrel_png_save_bitmap(path.c_str(), rgba, &bitmap));
    EXPECT_EQ(pushed, folder.read("png"));
    EXPECT_EQ(0, ombrel_png_save_fbmap(path.c_str(), rgba, map));
    EXPECT_EQ(pushed, folder.read("png"));
    EXPECT_EQ(pushed, queued([&](auto* to) { return ombrel_png_push_fbmap(to, rgba, map); }).document);
    EXPECT_EQ(-1, ombrel_png_save_rows(path.c_str(), 7, bytes.data(), 180, 60, 80));
    EXPECT_EQ(pushed, folder.read("png")) << "refused before the file was touched";
    ombrel_free_fbmap(map);
}

#if defined(OMBREL_TEST_ZLIB)

std::mt19937 random_bits{42};

std::vector<uint8_t> content(const char* kind, size_t width, size_t height, size_t bytes) {
    std::vector<uint8_t> made(width * height * bytes);
    for (size_t i = 0; i < made.size(); i++) {
        const size_t x = i / bytes % width, y = i / bytes / width;
        made[i] = static_cast<uint8_t>(*kind == 'n'   ? random_bits()
                                       : *kind == 'g' ? x + 3 * y + i % bytes * 40
                                       : *kind == 't' ? (x / 7 ^ y / 5) % 3 * 90
                                                      : 77);
    }
    return made;
}

TEST_F(Png, ZlibReadsRowsBack) {
    constexpr struct {
        uint32_t width, height;
    } sizes[] = {{1, 1}, {1, 9}, {9, 1}, {7, 5}, {131, 67}, {255, 300}, {70000, 2}};
    for (const uint32_t format : formats)
        for (const auto& size : sizes)
            for (const char* kind : {"noise", "gradient", "tiles", "flat"}) {
                const std::vector<uint8_t> pixels = content(kind, size.width, size.height, format);
                const size_t row = format * size.width, gap = size.width % 3;
                std::vector<uint8_t> spaced((row + gap) * size.height);
                for (size_t y = 0; y < size.height; y++)
                    std::copy_n(&pixels[y * row], row, &spaced[y * (row + gap)]);
                const queued got([&](auto* to) {
                    return ombrel_png_push_rows(to, format, spaced.data(), row + gap, size.width,
                                                size.height);
                });
                EXPECT_EQ(0, got.result);
                const png_picture picture = png_decoder(got.document).decode();
                EXPECT_TRUE(picture == (png_picture{size.width, size.height, format, pixels, {}, {}}))
                    << kind << ' ' << format << ' ' << size.width << 'x' << size.height;
                const size_t raw = pixels.size() + size.height;
                EXPECT_LE(got.document.size(), raw + raw / 1000 + 90) << kind << ": no longer than stored";
                if (raw > 60000 && *kind != 'n') {
                    EXPECT_LE(got.document.size(), raw / 20) << kind;
                }
            }
}

TEST_F(Png, ColorsAreConverted) {
    constexpr uint32_t interfaces[] = {0xF8,       0x425363, 0x455665,   0x485868,  0x8485868,
                                       0x18485868, 0x685848, 0x18685848, 0x14445464};
    constexpr uint32_t targets[] = {0, 0x78, 0, 0x685848, 0x18685848}; // by format
    for (const uint32_t interface : interfaces)
        for (const uint32_t format : formats) {
            const uint32_t bytes = ombrel_color_interface_to_bits_per_pixel(interface) / 8;
            std::vector<uint8_t> pixels = content("noise", 64, 16, bytes), expected;
            for (size_t i = 0; i < 64 * 16; i++) {
                uint32_t color = 0;
                for (uint32_t b = 0; b < bytes; b++)
                    color |= uint32_t{pixels[i * bytes + b]} << 8 * b;
                color = ombrel_convert_color(targets[format], interface, color);
                for (uint32_t b = 0; b < format; b++)
                    expected.push_back(static_cast<uint8_t>(color >> 8 * b));
            }
            const ombrel_bitmap_t bitmap = {pixels.data(), interface, 64, 16, 64 * bytes, 0, 0, 0};
            const queued got([&](auto* to) { return ombrel_png_push_bitmap(to, format, &bitmap); });
            EXPECT_EQ(expected, png_decoder(got.document).decode().pixels)
                << std::hex << interface << ' ' << format;
        }
}

#endif

} // namespace
} // namespace ombrel_test
