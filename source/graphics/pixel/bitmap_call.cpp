#include "graphics/pixel/bitmap_call.h"

#include <algorithm>
#include <cstring>

#include <ombrel/heap.h>

#include "graphics/pixel/packed_pixels.h"

namespace ombrel::graphics {

namespace {

constexpr bool is_known_depth(unsigned depth) {
    return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16 || depth == 24 || depth == 32;
}

// Where pixels of less than a byte begin within theirs.
unsigned pixels_before(const ombrel_bitmap_t& bitmap, uint32_t x) {
    const unsigned depth = depth_of(bitmap);
    return is_packed(depth) ? x % (8 / depth) : 0;
}

unsigned char* first_byte(const ombrel_bitmap_t& bitmap, const rectangle& area) {
    const uint64_t bits = static_cast<uint64_t>(area.m_x) * depth_of(bitmap);
    return row_at(bitmap, area.m_y) + static_cast<size_t>(bits / 8);
}

// From the first byte of a rectangle inside the bitmap to the last.
bool share_memory(const ombrel_bitmap_t& a, const rectangle& a_area, const ombrel_bitmap_t& b,
                  const rectangle& b_area) {
    const auto end = [](const ombrel_bitmap_t& bitmap, const rectangle& area) {
        const uint64_t bytes = row_bytes(static_cast<uint64_t>(right_of(area)), depth_of(bitmap));
        return reinterpret_cast<uintptr_t>(row_at(bitmap, bottom_of(area) - 1)) + static_cast<size_t>(bytes);
    };
    return reinterpret_cast<uintptr_t>(first_byte(a, a_area)) < end(b, b_area) &&
           reinterpret_cast<uintptr_t>(first_byte(b, b_area)) < end(a, a_area);
}

} // namespace

fault_code fault_of(const ombrel_bitmap_t* bitmap) {
    if (bitmap == nullptr)
        return fault_code::invalid;
    const unsigned depth = depth_of(*bitmap);
    if (!is_known_depth(depth))
        return fault_code::not_supported;
    const bool whole = row_bytes(bitmap->m_resx, depth) <= bitmap->m_line_length;
    return whole && is_valid(*bitmap) ? fault_code::none : fault_code::invalid;
}

fault_code fault_of(const box_call& call) {
    for (const ombrel_bitmap_t* bitmap : {static_cast<const ombrel_bitmap_t*>(call.to), call.from})
        if (const fault_code why = fault_of(bitmap); why != fault_code::none)
            return why;
    const bool sensible = call.sensible && call.mode <= def_ombrel_fbmap_blend && !is_empty(call.target) &&
                          !is_empty(call.source);
    return sensible ? fault_code::none : fault_code::invalid;
}

bool separate_source::take(const box_call& call, const char* function) {
    bitmap_ = *call.from;
    area_ = call.source;
    rectangle read = call.source, written = call.target;
    clip(read, call.from->m_resx, call.from->m_resy);
    clip(written, call.to->m_resx, call.to->m_resy);
    const bool shared =
        !is_empty(read) && !is_empty(written) && share_memory(*call.from, read, *call.to, written);
    return !shared || copy_aside(read, function);
}

// What shares a byte with the first pixels comes along.
bool separate_source::copy_aside(const rectangle& part, const char* function) {
    const unsigned before = pixels_before(bitmap_, static_cast<uint32_t>(part.m_x));
    const uint64_t line = row_bytes(uint64_t{before} + part.m_w, depth_of(bitmap_));
    copy_.reset(static_cast<unsigned char*>(
        ombrel_alloc_tag(static_cast<size_t>(line * part.m_h), function, __LINE__)));
    if (!copy_)
        return false;
    const unsigned char* const from = first_byte(bitmap_, part);
    for (size_t row = 0; row < part.m_h; row++)
        memcpy(copy_.get() + row * line, from + row * bitmap_.m_line_length, static_cast<size_t>(line));
    bitmap_.m_map = copy_.get();
    bitmap_.m_resx = before + part.m_w;
    bitmap_.m_resy = part.m_h;
    bitmap_.m_line_length = static_cast<uint32_t>(line);
    area_.m_x = std::min(area_.m_x, 0) + static_cast<int32_t>(before);
    area_.m_y = std::min(area_.m_y, 0);
    return true;
}

} // namespace ombrel::graphics
