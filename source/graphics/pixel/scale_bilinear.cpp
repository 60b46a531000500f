#include <algorithm>
#include <array>
#include <cstring>

#include "graphics/pixel/scale.h"

namespace ombrel::graphics {

namespace {

constexpr unsigned whole = 128; // parts of the way from a pixel to the next

// So many columns of the target, and the two columns of the source between which each lies.
class column_pairs {
public:
    static constexpr size_t width = 256;
    static constexpr size_t room = 2 * width + 1; // source pixels that are read at once

    column_pairs(const scaled_part& part, int64_t x, size_t count) : count_(count) {
        scaled_stretch::centre_walk column(part.across, x);
        for (size_t i = 0; i < count; i++, column.next()) {
            int64_t first = column.first();
            unsigned weight = column.weight();
            if (first < part.left)
                first = part.left, weight = 0;
            if (first >= part.right - 1) // the second one is inside, too, if there are two
                first = std::max(part.right - 2, part.left), weight = whole;
            columns_[i] = static_cast<uint32_t>(first);
            weights_[i] = static_cast<uint16_t>(weight << 8 | (whole - weight));
        }
        single_ = part.right - part.left == 1;
    }

    size_t count() const { return count_; }
    const uint32_t* columns() const { return columns_.data(); }
    /// Of both columns; the second one's in the high byte.
    const uint16_t* weights() const { return weights_.data(); }
    /// Where the row's pixels cannot be mixed in pairs, as there is only one.
    bool is_single() const { return single_; }

    /// From now on the columns are those of what read() gives.
    void number_anew() {
        const uint32_t first = columns_[0];
        first_ = first;
        span_ = single_ ? 1 : size_t{columns_[count_ - 1]} - first + 2;
        spread_ = span_ >= room;
        if (spread_)
            source_columns_ = columns_;
        for (uint32_t i = 0; i < count_; i++)
            columns_[i] = spread_ ? 2 * i : columns_[i] - first;
    }

    /// Pixels of a row, in room for `room` of them: all between the first and the last, or the pairs.
    void read(const mix_source& source, int64_t y, unsigned char* pixels, unsigned char* counts) const {
        if (spread_)
            return read_pairs(source, y, pixels, counts);
        source.read(pixels, counts, first_, y, span_);
        if (single_) {
            memcpy(pixels + 4, pixels, 4);
            counts[1] = counts[0];
        }
    }

private:
    void read_pairs(const mix_source& source, int64_t y, unsigned char* pixels, unsigned char* counts) const {
        std::array<uint32_t, width> columns = source_columns_;
        std::array<unsigned char, 4 * width> half;
        std::array<unsigned char, width> half_counts;
        for (size_t side = 0; side < 2; side++) {
            source.gather(half.data(), half_counts.data(), columns.data(), y, count_);
            for (size_t i = 0; i < count_; i++) {
                memcpy(pixels + 4 * (2 * i + side), &half[4 * i], 4);
                counts[2 * i + side] = half_counts[i];
                columns[i]++;
            }
        }
    }

    size_t count_, span_ = 0;
    int64_t first_ = 0;
    bool single_, spread_ = false;
    std::array<uint32_t, width> columns_, source_columns_;
    std::array<uint16_t, width> weights_;
};

// The two rows between which a row of the target lies.
struct row_pair {
    int64_t first, second;
    unsigned weight;

    row_pair(const scaling& work, int64_t, const scaled_stretch::centre_walk& row)
        : first(std::max(row.first(), work.part.top)),
          second(std::min(row.first() + 1, work.part.bottom - 1)), weight(row.weight()) {}
};

// Mixes rows whose pixels all count alike; first along the rows, then from row to row, and a row that is
// needed again is kept.
class plain_mixer {
public:
    using rows_of = row_pair;
    static constexpr size_t width = column_pairs::width;

    plain_mixer(const scaling& work, int64_t x, size_t count)
        : source_(work.source), writer_(work.writer), x_(x), last_row_(work.part.bottom - 1),
          ahead_(std::max<int64_t>(2, work.job.source.m_h / work.job.target.m_h)),
          pairs_(work.part, x, count) {
        if (!in_place())
            pairs_.number_anew();
    }

    void put(int64_t y, const row_pair& rows) {
        const int16_t* const upper = mixed_row(rows.first);
        const int16_t* const lower = rows.second != rows.first ? mixed_row(rows.second) : upper;
        if (writer_.is_copy())
            return kernels().mix_rows(writer_.at(x_, y), upper, lower, rows.weight, pairs_.count());
        std::array<unsigned char, 4 * column_pairs::width> pixels;
        kernels().mix_rows(pixels.data(), upper, lower, rows.weight, pairs_.count());
        writer_.write(x_, y, pixels.data(), pairs_.count());
    }

private:
    bool in_place() const { return source_.is_direct() && !pairs_.is_single(); }

    // Rows that follow each other have a place each.
    const int16_t* mixed_row(int64_t y) {
        mixed& line = lines_[static_cast<size_t>(y) % 2];
        if (line.y != y) {
            std::array<unsigned char, 4 * column_pairs::room> pixels;
            std::array<unsigned char, column_pairs::room> counts;
            const unsigned char *row = pixels.data(), *next_row = row;
            if (in_place())
                row = source_.row(y), next_row = source_.row(std::min(y + ahead_, last_row_));
            else
                pairs_.read(source_, y, pixels.data(), counts.data());
            kernels().mix_columns(line.channels.data(), row, next_row, pairs_.columns(), pairs_.weights(),
                                  pairs_.count());
            line.y = y;
        }
        return line.channels.data();
    }

    struct mixed {
        int64_t y = -1;
        std::array<int16_t, 4 * column_pairs::width> channels;
    };

    const mix_source& source_;
    const mix_writer& writer_;
    int64_t x_, last_row_;
    int64_t ahead_; // to the row that will be mixed after one
    column_pairs pairs_;
    std::array<mixed, 2> lines_;
};

// Mixes pixels that count more or less.
class weighted_mixer {
public:
    using rows_of = row_pair;
    static constexpr size_t width = column_pairs::width;

    weighted_mixer(const scaling& work, int64_t x, size_t count)
        : source_(work.source), writer_(work.writer), x_(x), pairs_(work.part, x, count) {
        pairs_.number_anew();
    }

    void put(int64_t y, const row_pair& rows) {
        const line &upper = read_row(rows.first), &lower = read_row(rows.second);
        std::array<unsigned char, 4 * column_pairs::width> pixels;
        std::array<unsigned char, column_pairs::width> present;
        for (size_t i = 0; i < pairs_.count(); i++) {
            mix_sums sums;
            add_pair(sums, upper, i, whole - rows.weight);
            add_pair(sums, lower, i, rows.weight);
            present[i] = source_.finish(&pixels[4 * i], sums);
        }
        writer_.write(x_, y, pixels.data(), present.data(), pairs_.count());
    }

private:
    struct line {
        int64_t y = -1;
        std::array<unsigned char, 4 * column_pairs::room> pixels;
        std::array<unsigned char, column_pairs::room> counts;
    };

    const line& read_row(int64_t y) {
        line& one = lines_[static_cast<size_t>(y) % 2];
        if (one.y != y)
            pairs_.read(source_, y, one.pixels.data(), one.counts.data());
        one.y = y;
        return one;
    }

    void add_pair(mix_sums& sums, const line& row, size_t i, unsigned weight) const {
        const size_t column = pairs_.columns()[i];
        const unsigned second = pairs_.weights()[i] >> 8;
        source_.add(sums, &row.pixels[4 * column], row.counts[column], (whole - second) * weight);
        source_.add(sums, &row.pixels[4 * column + 4], row.counts[column + 1], second * weight);
    }

    const mix_source& source_;
    const mix_writer& writer_;
    int64_t x_;
    column_pairs pairs_;
    std::array<line, 2> lines_;
};

} // namespace

rectangle put_bilinear(const box_job& job) {
    const scaled_part part(job);
    if (part.is_empty())
        return {};
    const scaling work(job, part);
    (work.source.is_weighted() ? put_pieces<weighted_mixer> : put_pieces<plain_mixer>)(work);
    return part.touched();
}

} // namespace ombrel::graphics
