#include <algorithm>
#include <array>

#include <ombrel/bitmap_transform.h>

#include "graphics/pixel/bitmap_call.h"
#include "graphics/pixel/loose_pixels.h"
#include "graphics/pixel/stretch.h"
#include "graphics/pixel/turned_tiles.h"

using namespace ombrel;
using namespace ombrel::graphics;

namespace {

constexpr uint32_t last_turn = def_ombrel_bitmap_transpose;

// How a target's columns and rows come from the source.
struct way {
    bool crossed;     ///< columns from rows
    bool x_backwards; ///< what a target's columns come from runs backwards
    bool y_backwards; ///< likewise its rows
};

constexpr way way_of(uint32_t turn) {
    const bool mirrored = (turn & def_ombrel_bitmap_flip_horizontal) != 0;
    switch (turn & 3) {
    case def_ombrel_bitmap_turn_none:
        return {false, mirrored, false};
    case def_ombrel_bitmap_turn_90:
        return {true, true, mirrored};
    case def_ombrel_bitmap_turn_180:
        return {false, !mirrored, true};
    default:
        return {true, false, !mirrored};
    }
}

// Columns or rows of a target that come from as many of a source, forwards or backwards.
struct run {
    int64_t to, from, step, length;

    int64_t at(int64_t i) const { return from + i * step; }
};

run run_of(int64_t to, int64_t from, int64_t length, bool backwards, uint32_t to_limit, uint32_t from_limit) {
    if (!backwards) {
        const stretch cut = stretch{to, from, length}.cut(to_limit, from_limit);
        return {cut.to, cut.from, 1, cut.length};
    }
    // Seen from the far end of the source's bitmap it runs forwards.
    const stretch cut = stretch{to, int64_t{from_limit} - (from + length), length}.cut(to_limit, from_limit);
    return {cut.to, int64_t{from_limit} - 1 - cut.from, -1, cut.length};
}

void turn_loosely(const turn_area& area, unsigned bytes) {
    if (bytes == 4)
        return kernels().turn32(area);
    (bytes == 3 ? turn_in_tiles<3> : bytes == 2 ? turn_in_tiles<2> : turn_in_tiles<1>)(area);
}

rectangle touched_by(const run& columns, const run& rows) {
    return {static_cast<int32_t>(columns.to), static_cast<int32_t>(rows.to),
            static_cast<uint32_t>(columns.length), static_cast<uint32_t>(rows.length)};
}

// Puts rows whose pixels run backwards, or only whose order does.
class row_turner {
public:
    row_turner(const box_job& job, const run& columns, const run& rows)
        : columns_(columns), rows_(rows), writer_(job.to, job.from, job.mode, job.rule), reader_(job.from) {}

    void turn() const {
        for (int64_t y = 0; y < rows_.length; y++)
            for (int64_t x = 0; x < columns_.length; x += chunk)
                put(x, y, static_cast<size_t>(std::min<int64_t>(chunk, columns_.length - x)));
    }

private:
    static constexpr size_t chunk = packed_chunk;

    void put(int64_t x, int64_t y, size_t count) const {
        packed_room room;
        const int64_t first =
            columns_.step > 0 ? columns_.at(x) : columns_.at(x + static_cast<int64_t>(count) - 1);
        const unsigned char* const pixels = reader_.read(first, rows_.at(y), count, room.data());
        if (columns_.step > 0)
            return writer_.write(columns_.to + x, rows_.to + y, pixels, count);
        if (writer_.is_copy())
            return reverse(writer_.at(columns_.to + x, rows_.to + y), pixels, count);
        std::array<unsigned char, 4 * chunk> reversed;
        reverse(reversed.data(), pixels, count);
        writer_.write(columns_.to + x, rows_.to + y, reversed.data(), count);
    }

    void reverse(unsigned char* to, const unsigned char* from, size_t count) const {
        const unsigned bytes = reader_.bytes();
        if (bytes == 4)
            return kernels().reverse32(to, from, count);
        // A single column, read upwards.
        const turn_area area = {to, 0, from + (count - 1) * bytes, -static_cast<ptrdiff_t>(bytes), count, 1};
        turn_loosely(area, bytes);
    }

    run columns_, rows_;
    loose_writer writer_;
    loose_reader reader_;
};

// Puts columns as rows.
class column_turner {
public:
    column_turner(const box_job& job, const run& columns, const run& rows)
        : job_(job), columns_(columns), rows_(rows), writer_(job.to, job.from, job.mode, job.rule),
          reader_(job.from) {}

    void turn() const {
        if (writer_.is_copy() && !reader_.packed())
            return turn_loosely(area_at(0, 0, static_cast<size_t>(columns_.length),
                                        static_cast<size_t>(rows_.length), writer_.at(columns_.to, rows_.to),
                                        job_.to.m_line_length),
                                reader_.bytes());
        for (int64_t y = 0; y < rows_.length; y += tile_height)
            for (int64_t x = 0; x < columns_.length; x += tile_width)
                put_tile(x, y, static_cast<size_t>(std::min<int64_t>(tile_width, columns_.length - x)),
                         static_cast<size_t>(std::min<int64_t>(tile_height, rows_.length - y)));
    }

private:
    static constexpr size_t tile_width = 64, tile_height = 16;

    // A part of the target, at (x, y) of what is written, for rows that begin at `to`.
    turn_area area_at(int64_t x, int64_t y, size_t width, size_t height, unsigned char* to,
                      ptrdiff_t line) const {
        const auto last = static_cast<int64_t>(height) - 1;
        const bool upwards = rows_.step < 0;
        return {upwards ? to + static_cast<ptrdiff_t>(last) * line : to,
                upwards ? -line : line,
                reader_.read(upwards ? rows_.at(y + last) : rows_.at(y), columns_.at(x), 1, nullptr),
                static_cast<ptrdiff_t>(columns_.step) * static_cast<ptrdiff_t>(job_.from.m_line_length),
                width,
                height};
    }

    void put_tile(int64_t x, int64_t y, size_t width, size_t height) const {
        std::array<unsigned char, 4 * tile_width * tile_height> tile;
        std::array<unsigned char, tile_width * tile_height> apart;
        const size_t line = tile_width * reader_.bytes();
        turn_area area = {};
        if (reader_.packed()) {
            const int64_t first = std::min(rows_.at(y), rows_.at(y + static_cast<int64_t>(height) - 1));
            for (size_t i = 0; i < width; i++)
                reader_.read(first, columns_.at(x + static_cast<int64_t>(i)), height,
                             &apart[i * tile_height]);
            area = {tile.data(), static_cast<ptrdiff_t>(line), apart.data(), tile_height, width, height};
            if (rows_.step < 0) {
                area.to += (height - 1) * line;
                area.to_line_length = -area.to_line_length;
            }
        } else {
            area = area_at(x, y, width, height, tile.data(), static_cast<ptrdiff_t>(line));
        }
        turn_loosely(area, reader_.bytes());
        for (size_t row = 0; row < height; row++)
            writer_.write(columns_.to + x, rows_.to + y + static_cast<int64_t>(row), &tile[row * line],
                          width);
    }

    const box_job& job_;
    run columns_, rows_;
    loose_writer writer_;
    loose_reader reader_;
};

rectangle put_turned(const box_job& job, uint32_t turn) {
    const way ways = way_of(turn);
    const stretch columns = {0, job.source.m_x, job.source.m_w}, rows = {0, job.source.m_y, job.source.m_h};
    const auto run_from = [&](int32_t to, uint32_t to_limit, bool from_rows, bool backwards) {
        const stretch& source = from_rows ? rows : columns;
        return run_of(to, source.from, source.length, backwards, to_limit,
                      from_rows ? job.from.m_resy : job.from.m_resx);
    };
    const run across = run_from(job.target.m_x, job.to.m_resx, ways.crossed, ways.x_backwards);
    const run down = run_from(job.target.m_y, job.to.m_resy, !ways.crossed, ways.y_backwards);
    if (across.length == 0 || down.length == 0)
        return {};
    if (ways.crossed)
        column_turner(job, across, down).turn();
    else
        row_turner(job, across, down).turn();
    return touched_by(across, down);
}

} // namespace

int ombrel_bitmap_put_turned(ombrel_bitmap_t* to, int32_t to_x, int32_t to_y, const ombrel_bitmap_t* from,
                             int32_t from_x, int32_t from_y, uint32_t width, uint32_t height, uint32_t turn,
                             uint32_t mode) {
    const bool crossed = way_of(turn).crossed;
    const rectangle target = {to_x, to_y, crossed ? height : width, crossed ? width : height};
    return put_checked({to, target, from, {from_x, from_y, width, height}, mode, turn <= last_turn}, __func__,
                       [&](const box_job& job) {
                           return turn == def_ombrel_bitmap_turn_none ? put_pixels(job)
                                                                      : put_turned(job, turn);
                       });
}
