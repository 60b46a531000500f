#include "graphics/pixel/bitmap_box.h"

#include <array>

#include <ombrel/color.h>

#include "graphics/pixel/pixel.h"
#include "graphics/pixel/row_writer.h"
#include "graphics/pixel/rows.h"
#include "graphics/pixel/stretch.h"

namespace ombrel::graphics {

namespace {

rectangle touched_by(const stretch& columns, const stretch& rows) {
    return {static_cast<int32_t>(columns.to), static_cast<int32_t>(rows.to),
            static_cast<uint32_t>(columns.length), static_cast<uint32_t>(rows.length)};
}

void put_rows(const ombrel_bitmap_t& to, const ombrel_bitmap_t& from, const stretch& columns,
              const stretch& rows, const row_writer& writer) {
    const auto width = static_cast<size_t>(columns.length), height = static_cast<size_t>(rows.length);
    unsigned char* target = row_at(to, rows.to) + static_cast<size_t>(columns.to) * writer.to_bytes();
    const unsigned char* source =
        row_at(from, rows.from) + static_cast<size_t>(columns.from) * writer.from_bytes();
    if (writer.is_copy())
        return copy_rows(
            {target, to.m_line_length, source, from.m_line_length, width * writer.to_bytes(), height});
    for (size_t row = 0; row < height; row++)
        writer.write(target + row * to.m_line_length, source + row * from.m_line_length, width);
}

template<unsigned bytes>
void gather(unsigned char* to, const unsigned char* row, scaled_stretch::walk& column, size_t count) {
    for (size_t i = 0; i < count; i++, column.next())
        store_pixel<bytes>(to + i * bytes,
                           load_pixel<bytes>(row + static_cast<size_t>(column.from()) * bytes));
}

using gather_function = void (*)(unsigned char*, const unsigned char*, scaled_stretch::walk&, size_t);
constexpr gather_function gathers[] = {gather<1>, gather<2>, gather<3>, gather<4>};

void put_scaled_row(unsigned char* target, const unsigned char* source, scaled_stretch::walk column,
                    int64_t width, const row_writer& writer) {
    constexpr int64_t chunk = 128;
    std::array<unsigned char, 4 * chunk> pixels;
    const gather_function gather_pixels = gathers[writer.from_bytes() - 1];
    while (width > 0) {
        const auto now = static_cast<size_t>(std::min(width, chunk));
        gather_pixels(pixels.data(), source, column, now);
        writer.write(target, pixels.data(), now);
        target += now * writer.to_bytes();
        width -= static_cast<int64_t>(now);
    }
}

rectangle put_scaled(const ombrel_bitmap_t& to, const rectangle& target, const ombrel_bitmap_t& from,
                     const rectangle& source, const row_writer& writer) {
    const scaled_stretch across(target.m_x, target.m_w, source.m_x, source.m_w);
    const scaled_stretch down(target.m_y, target.m_h, source.m_y, source.m_h);
    const stretch columns = across.cut(to.m_resx, from.m_resx), rows = down.cut(to.m_resy, from.m_resy);
    if (columns.length == 0 || rows.length == 0)
        return {};
    const scaled_stretch::walk column(across, columns.to);
    scaled_stretch::walk row(down, rows.to);
    for (int64_t y = rows.to; y < rows.to + rows.length; y++, row.next())
        put_scaled_row(row_at(to, y) + static_cast<size_t>(columns.to) * writer.to_bytes(),
                       row_at(from, row.from()), column, columns.length, writer);
    return touched_by(columns, rows);
}

rectangle put_unscaled(const ombrel_bitmap_t& to, const rectangle& target, const ombrel_bitmap_t& from,
                       const rectangle& source, const row_writer& writer) {
    const stretch columns = stretch{target.m_x, source.m_x, target.m_w}.cut(to.m_resx, from.m_resx);
    const stretch rows = stretch{target.m_y, source.m_y, target.m_h}.cut(to.m_resy, from.m_resy);
    if (columns.length == 0 || rows.length == 0)
        return {};
    put_rows(to, from, columns, rows, writer);
    return touched_by(columns, rows);
}

} // namespace

unsigned depth_of(const ombrel_bitmap_t& bitmap) {
    return ombrel_color_interface_to_bits_per_pixel(bitmap.m_color_interface);
}

unsigned char* row_at(const ombrel_bitmap_t& bitmap, int64_t row) {
    return static_cast<unsigned char*>(bitmap.m_map) + static_cast<size_t>(row) * bitmap.m_line_length;
}

bool is_valid(const ombrel_bitmap_t& bitmap) {
    if (bitmap.m_map == nullptr || bitmap.m_resx == 0 || bitmap.m_resy == 0)
        return false;
    const uint64_t row_bytes = uint64_t{bitmap.m_resx} * depth_of(bitmap) / 8;
    return row_bytes <= bitmap.m_line_length &&
           uint64_t{bitmap.m_line_length} * bitmap.m_resy <= static_cast<uint64_t>(PTRDIFF_MAX);
}

bool is_supported(const ombrel_bitmap_t& bitmap) {
    const unsigned depth = depth_of(bitmap);
    return depth == 8 || depth == 16 || depth == 24 || depth == 32;
}

box_outcome put_box(const ombrel_bitmap_t& to, const rectangle& target, const ombrel_bitmap_t& from,
                    const rectangle& source, uint32_t mode) {
    if (!is_valid(to) || !is_valid(from) || is_empty(target) || is_empty(source))
        return {true, {}};
    if (!is_supported(to) || !is_supported(from))
        return {false, {}};
    const row_writer writer(to, from, mode);
    const bool is_scaled = target.m_w != source.m_w || target.m_h != source.m_h;
    return {true, (is_scaled ? put_scaled : put_unscaled)(to, target, from, source, writer)};
}

int result_of(const box_outcome& outcome, const report_site& site) {
    if (!outcome.supported)
        return fail(site, "not supported");
    return is_empty(outcome.touched) ? -1 : 0;
}

} // namespace ombrel::graphics
