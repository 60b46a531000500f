#include "graphics/pixel/bitmap_box.h"

#include <array>
#include <cstring>

#include <ombrel/color.h>

#include "graphics/pixel/loose_pixels.h"
#include "graphics/pixel/rows.h"
#include "graphics/pixel/stretch.h"

namespace ombrel::graphics {

namespace {

rectangle touched_by(const stretch& columns, const stretch& rows) {
    return {static_cast<int32_t>(columns.to), static_cast<int32_t>(rows.to),
            static_cast<uint32_t>(columns.length), static_cast<uint32_t>(rows.length)};
}

void put_piecewise(const loose_writer& writer, const loose_reader& reader, const stretch& columns,
                   const stretch& rows) {
    packed_room room;
    for (int64_t row = 0; row < rows.length; row++)
        for (int64_t x = 0; x < columns.length; x += packed_chunk) {
            const auto now = static_cast<size_t>(std::min<int64_t>(columns.length - x, packed_chunk));
            writer.write(columns.to + x, rows.to + row,
                         reader.read(columns.from + x, rows.from + row, now, room.data()), now);
        }
}

rectangle put_unscaled(const box_job& job) {
    const stretch columns =
        stretch{job.target.m_x, job.source.m_x, job.target.m_w}.cut(job.to.m_resx, job.from.m_resx);
    const stretch rows =
        stretch{job.target.m_y, job.source.m_y, job.target.m_h}.cut(job.to.m_resy, job.from.m_resy);
    if (columns.length == 0 || rows.length == 0)
        return {};
    const loose_writer writer(job.to, job.from, job.mode, job.rule);
    const loose_reader reader(job.from);
    const auto width = static_cast<size_t>(columns.length), height = static_cast<size_t>(rows.length);
    if (reader.packed())
        put_piecewise(writer, reader, columns, rows);
    else if (writer.is_copy())
        copy_rows({writer.at(columns.to, rows.to), job.to.m_line_length,
                   reader.read(columns.from, rows.from, width, nullptr), job.from.m_line_length,
                   width * reader.bytes(), height});
    else
        for (size_t row = 0; row < height; row++)
            writer.write(columns.to, rows.to + static_cast<int64_t>(row),
                         reader.read(columns.from, rows.from + static_cast<int64_t>(row), width, nullptr),
                         width);
    return touched_by(columns, rows);
}

// Columns that come each from the nearest one. Memory is read and written fastest along whole rows.
class nearest_strip {
public:
    static constexpr size_t width = 4096;

    void choose(scaled_stretch::walk& column, size_t count) {
        count_ = count;
        for (size_t i = 0; i < count; i++, column.next())
            columns_[i] = static_cast<uint32_t>(column.from());
    }

    // Rows that come from the same one are equal, too, when they replace what was there.
    void put(const box_job& job, const loose_writer& writer, const loose_reader& reader, int64_t x,
             const stretch& rows, scaled_stretch::walk row) const {
        const bool repeats = job.mode == def_ombrel_fbmap_plain && writer.is_direct();
        int64_t last = -1;
        for (int64_t y = rows.to; y < rows.to + rows.length; last = row.from(), row.next(), y++) {
            if (row.from() == last && repeats)
                memcpy(writer.at(x, y), writer.at(x, y - 1), count_ * writer.bytes());
            else if (writer.is_copy())
                reader.gather(writer.at(x, y), row.from(), columns_.data(), count_);
            else
                put_converted(writer, reader, x, y, row.from());
        }
    }

private:
    void put_converted(const loose_writer& writer, const loose_reader& reader, int64_t x, int64_t y,
                       int64_t row) const {
        constexpr size_t piece = 256;
        std::array<unsigned char, 4 * piece> pixels;
        for (size_t done = 0, now; done < count_; done += now) {
            now = std::min(count_ - done, piece);
            reader.gather(pixels.data(), row, &columns_[done], now);
            writer.write(x + static_cast<int64_t>(done), y, pixels.data(), now);
        }
    }

    std::array<uint32_t, width> columns_;
    size_t count_ = 0;
};

rectangle put_scaled(const box_job& job) {
    const scaled_stretch across(job.target.m_x, job.target.m_w, job.source.m_x, job.source.m_w);
    const scaled_stretch down(job.target.m_y, job.target.m_h, job.source.m_y, job.source.m_h);
    const stretch columns = across.cut(job.to.m_resx, job.from.m_resx),
                  rows = down.cut(job.to.m_resy, job.from.m_resy);
    if (columns.length == 0 || rows.length == 0)
        return {};
    const loose_writer writer(job.to, job.from, job.mode, job.rule);
    const loose_reader reader(job.from);
    scaled_stretch::walk column(across, columns.to);
    nearest_strip strip;
    for (int64_t x = 0; x < columns.length; x += nearest_strip::width) {
        strip.choose(column, static_cast<size_t>(std::min<int64_t>(columns.length - x, strip.width)));
        strip.put(job, writer, reader, columns.to + x, rows, scaled_stretch::walk(down, rows.to));
    }
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

rectangle put_pixels(const box_job& job) {
    const bool is_scaled = job.target.m_w != job.source.m_w || job.target.m_h != job.source.m_h;
    return (is_scaled ? put_scaled : put_unscaled)(job);
}

box_outcome put_box(const ombrel_bitmap_t& to, const rectangle& target, const ombrel_bitmap_t& from,
                    const rectangle& source, uint32_t mode) {
    if (!is_valid(to) || !is_valid(from) || is_empty(target) || is_empty(source))
        return {true, {}};
    if (!is_supported(to) || !is_supported(from))
        return {false, {}};
    return {true, put_pixels({to, target, from, source, mode, color_rule::zero})};
}

int result_of(const box_outcome& outcome, const report_site& site) {
    if (!outcome.supported)
        return fail(site, "not supported");
    return is_empty(outcome.touched) ? -1 : 0;
}

} // namespace ombrel::graphics
