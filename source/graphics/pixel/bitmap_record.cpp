#include <algorithm>
#include <new>

#include <ombrel/bitmap.h>
#include <ombrel/heap.h>

#include "graphics/pixel/bitmap_call.h"
#include "graphics/pixel/packed_pixels.h"
#include "graphics/pixel/pixel_block.h"
#include "graphics/pixel/pixel_fields.h"
#include "graphics/pixel/rows.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

constexpr size_t alignment = 16;

constexpr uint64_t round_up(uint64_t size) {
    return (size + alignment - 1) / alignment * alignment;
}

int take(ombrel_bitmap_t* bitmap, const ombrel_bitmap_t& record) {
    const fault_code why = bitmap != nullptr ? fault_of(&record) : fault_code::invalid;
    if (why != fault_code::none)
        return refuse(why);
    *bitmap = record;
    return 0;
}

// A record and the pixels behind it, each row at a multiple of the alignment; no pixels yet.
fault_code describe_block(ombrel_bitmap_t& record, uint64_t& size) {
    const uint64_t line = round_up(row_bytes(record.m_resx, depth_of(record)));
    size = round_up(sizeof record) + alignment + line * record.m_resy;
    if (line > UINT32_MAX || size > PTRDIFF_MAX)
        return fault_code::too_large;
    record.m_line_length = static_cast<uint32_t>(line);
    record.m_map = &record; // checked with something there
    const fault_code why = fault_of(&record);
    record.m_map = nullptr;
    return why;
}

// Whether the place lies in a bitmap whose pixels can be looked at; the fault is left.
bool has_pixel(const ombrel_bitmap_t* bitmap, int64_t x, int64_t y) {
    fault_code why = fault_of(bitmap);
    if (why == fault_code::none && (x < 0 || y < 0 || x >= bitmap->m_resx || y >= bitmap->m_resy))
        why = fault_code::not_found;
    return why == fault_code::none || refuse(why) == 0;
}

void fill_packed(const ombrel_bitmap_t& bitmap, const rectangle& area, uint32_t color) {
    const unsigned depth = depth_of(bitmap);
    for (int64_t y = area.m_y; y < bottom_of(area); y++)
        for (int64_t x = area.m_x; x < right_of(area); x++)
            store_packed(row_at(bitmap, y), depth, static_cast<size_t>(x), color);
}

void fill(const ombrel_bitmap_t& bitmap, const rectangle& area, uint32_t color) {
    const unsigned bytes = loose_bytes(bitmap.m_color_interface);
    fill_rows(row_at(bitmap, area.m_y) + static_cast<size_t>(area.m_x) * bytes, bitmap.m_line_length, color,
              area.m_w, area.m_h, bytes);
}

} // namespace

int ombrel_init_bitmap(ombrel_bitmap_t* bitmap, uint32_t color_interface, uint32_t resx, uint32_t resy,
                       void* map, uint32_t line_length) {
    const uint64_t tight = row_bytes(resx, ombrel_color_interface_to_bits_per_pixel(color_interface));
    if (tight > UINT32_MAX)
        return refuse(fault_code::too_large);
    const uint32_t line = line_length != 0 ? line_length : static_cast<uint32_t>(tight);
    return take(bitmap, {map, color_interface, resx, resy, line, 0, 0, 0});
}

int ombrel_init_bitmap_part(ombrel_bitmap_t* part, const ombrel_bitmap_t* whole, uint32_t x, uint32_t y,
                            uint32_t w, uint32_t h) {
    if (const fault_code why = fault_of(whole); why != fault_code::none)
        return refuse(why);
    if (w == 0 || h == 0)
        return refuse(fault_code::invalid);
    if (uint64_t{x} + w > whole->m_resx || uint64_t{y} + h > whole->m_resy)
        return refuse(fault_code::not_found);
    const uint64_t bits = uint64_t{x} * depth_of(*whole);
    if (bits % 8 != 0)
        return refuse(fault_code::not_supported);
    ombrel_bitmap_t record = *whole;
    record.m_map = row_at(*whole, y) + static_cast<size_t>(bits / 8);
    record.m_resx = w;
    record.m_resy = h;
    return take(part, record);
}

int ombrel_init_bitmap_of_fbmap(ombrel_bitmap_t* bitmap, const ombrel_fbmap_t* fbmap) {
    if (fbmap == nullptr)
        return refuse(fault_code::invalid);
    return take(bitmap, view_of(*fbmap));
}

ombrel_bitmap_t* ombrel_new_bitmap_tag(uint32_t color_interface, uint32_t resx, uint32_t resy,
                                       const char* function, unsigned long line) {
    ombrel_bitmap_t record = {nullptr, color_interface, resx, resy, 0, 0, 0, 0};
    uint64_t size = 0;
    if (const fault_code why = describe_block(record, size); why != fault_code::none)
        return refuse(why), nullptr;
    void* const block = new_pixels(static_cast<size_t>(size), function, line);
    if (block == nullptr)
        return refuse(fault_code::no_memory), nullptr;
    record.m_map = reinterpret_cast<void*>(
        static_cast<uintptr_t>(round_up(reinterpret_cast<uintptr_t>(block) + sizeof record)));
    return new (block) ombrel_bitmap_t(record);
}

ombrel_bitmap_t* ombrel_free_bitmap(ombrel_bitmap_t* bitmap) {
    ombrel_free(bitmap);
    return nullptr;
}

uint32_t ombrel_bitmap_get_pixel(const ombrel_bitmap_t* bitmap, int64_t x, int64_t y) {
    if (!has_pixel(bitmap, x, y))
        return 0;
    const unsigned depth = depth_of(*bitmap);
    const unsigned char* const row = row_at(*bitmap, y);
    const auto column = static_cast<size_t>(x);
    return is_packed(depth) ? load_packed(row, depth, column) : load(row + column * (depth / 8), depth / 8);
}

int ombrel_bitmap_set_pixel(ombrel_bitmap_t* bitmap, int64_t x, int64_t y, uint32_t color) {
    if (!has_pixel(bitmap, x, y))
        return -1;
    const unsigned depth = depth_of(*bitmap);
    unsigned char* const row = row_at(*bitmap, y);
    const auto column = static_cast<size_t>(x);
    if (is_packed(depth))
        store_packed(row, depth, column, color);
    else
        store(row + column * (depth / 8), color, depth / 8);
    return 0;
}

int ombrel_bitmap_fill(ombrel_bitmap_t* bitmap, uint32_t color, int32_t x, int32_t y, uint32_t w,
                       uint32_t h) {
    if (const fault_code why = fault_of(bitmap); why != fault_code::none)
        return refuse(why);
    rectangle area = {x, y, w, h};
    if (is_empty(area))
        return refuse(fault_code::invalid);
    clip(area, bitmap->m_resx, bitmap->m_resy);
    if (is_empty(area))
        return refuse(fault_code::not_found);
    (is_packed(depth_of(*bitmap)) ? fill_packed : fill)(*bitmap, area, color);
    return 0;
}

int ombrel_bitmap_put(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, const ombrel_bitmap_t* from,
                      int32_t from_x, int32_t from_y, uint32_t width, uint32_t height, uint32_t mode) {
    return put_checked({to, {to_x, to_y, width, height}, from, {from_x, from_y, width, height}, mode, true},
                       __func__, put_pixels);
}
