// Rectangles scaled by mixing pixels.
#pragma once

#include <new>
#include <span>

#include <ombrel/heap.h>

#include "core/heap_ptr.h"
#include "graphics/pixel/bitmap_box.h"
#include "graphics/pixel/mix_source.h"
#include "graphics/pixel/stretch.h"

namespace ombrel::graphics {

/// What of a scaled rectangle is written, and which pixels may be read.
struct scaled_part {
    scaled_stretch across, down;
    stretch columns, rows; ///< of the target
    int64_t left, right;   ///< columns of the source, the last one not among them
    int64_t top, bottom;

    explicit scaled_part(const box_job& job)
        : across(job.target.m_x, job.target.m_w, job.source.m_x, job.source.m_w),
          down(job.target.m_y, job.target.m_h, job.source.m_y, job.source.m_h),
          columns(across.cut(job.to.m_resx, job.from.m_resx)), rows(down.cut(job.to.m_resy, job.from.m_resy)),
          left(std::max(job.source.m_x, 0)), right(std::min<int64_t>(right_of(job.source), job.from.m_resx)),
          top(std::max(job.source.m_y, 0)),
          bottom(std::min<int64_t>(bottom_of(job.source), job.from.m_resy)) {}

    bool is_empty() const { return columns.length == 0 || rows.length == 0; }
    rectangle touched() const {
        return {static_cast<int32_t>(columns.to), static_cast<int32_t>(rows.to),
                static_cast<uint32_t>(columns.length), static_cast<uint32_t>(rows.length)};
    }
};

/// A rectangle that is scaled, of which something is written.
struct scaling {
    const box_job& job;
    const scaled_part& part;
    mix_source source;
    mix_writer writer;

    scaling(const box_job& from_job, const scaled_part& of)
        : job(from_job), part(of), source(job.from, job.mode), writer(job, source) {}
};

/// What is known of so many pieces of a row. Memory is read and written fastest along whole rows; without
/// memory for more there is one piece at a time.
template<typename Piece>
class row_pieces {
public:
    explicit row_pieces(size_t wanted) : limit_(std::clamp<size_t>(wanted, 1, most)) {
        if (limit_ > 1)
            many_.reset(static_cast<unsigned char*>(
                ombrel_alloc_tag(limit_ * sizeof(Piece), "ombrel_bitmap_put_scaled", __LINE__)));
        if (!many_)
            limit_ = 1;
    }

    /// Describes as many as there is room for, and gives the column behind them.
    int64_t describe(const scaling& work, int64_t x) {
        const int64_t end = work.part.columns.to + work.part.columns.length;
        count_ = 0;
        while (x < end && count_ < limit_) {
            const auto width = static_cast<size_t>(std::min<int64_t>(end - x, Piece::width));
            new (memory() + count_++ * sizeof(Piece)) Piece(work, x, width);
            x += static_cast<int64_t>(width);
        }
        return x;
    }
    std::span<Piece> all() { return {std::launder(reinterpret_cast<Piece*>(memory())), count_}; }

private:
    static constexpr size_t most = std::max<size_t>(131072 / sizeof(Piece), 1);

    unsigned char* memory() { return many_ ? many_.get() : one_; }

    size_t limit_, count_ = 0;
    heap_ptr<unsigned char> many_;
    alignas(Piece) unsigned char one_[sizeof(Piece)];
};

/// Puts all rows, each piece by piece. `Piece::rows_of` is what all pieces of a row share, told by the row
/// that its centre comes from.
template<typename Piece>
void put_pieces(const scaling& work) {
    const stretch &columns = work.part.columns, &rows = work.part.rows;
    row_pieces<Piece> pieces(
        static_cast<size_t>((columns.length - 1) / static_cast<int64_t>(Piece::width) + 1));
    for (int64_t x = columns.to; x < columns.to + columns.length;) {
        x = pieces.describe(work, x);
        scaled_stretch::centre_walk row(work.part.down, rows.to);
        for (int64_t y = rows.to; y < rows.to + rows.length; y++, row.next()) {
            const typename Piece::rows_of covered(work, y, row);
            for (Piece& piece : pieces.all())
                piece.put(y, covered);
        }
    }
}

/// Each pixel from the four around its centre. Gives what was written to.
rectangle put_bilinear(const box_job& job);

/// Each pixel from all that it covers.
rectangle put_averaged(const box_job& job);

} // namespace ombrel::graphics
