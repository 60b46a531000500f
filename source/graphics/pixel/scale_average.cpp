#include <algorithm>
#include <array>
#include <bit>

#include "graphics/pixel/scale.h"

namespace ombrel::graphics {

namespace {

// What a pixel of the target covers in one direction: from `first` to `last`, those between them wholly.
struct coverage {
    int64_t first, last;
    uint32_t first_weight, inner_weight, last_weight; ///< 4096 for a whole pixel; less where many are covered

    uint64_t total() const {
        return first == last
                   ? first_weight
                   : first_weight + static_cast<uint64_t>(last - first - 1) * inner_weight + last_weight;
    }
    uint32_t weight_of(int64_t place) const {
        return place == first ? first_weight : place == last ? last_weight : inner_weight;
    }
};

constexpr int bits_of(uint64_t number) {
    return static_cast<int>(std::bit_width(number));
}

constexpr int finest = 12; // bits of a whole pixel's weight

// The sums of weights stay below so many bits, as long as memory holds what is covered.
constexpr int most_bits = 22;

// part / whole of the unit, rounded.
uint32_t share_of(uint64_t part, uint64_t whole, uint32_t unit) {
    return static_cast<uint32_t>((part * unit + whole / 2) / whole);
}

// In parts of a source's pixel, of which it has `to_length`.
coverage cover(int64_t index, uint32_t to_length, int64_t from, uint32_t from_length, int64_t low,
               int64_t high) {
    const uint64_t start = static_cast<uint64_t>(index) * from_length, end = start + from_length;
    const int64_t first = from + static_cast<int64_t>(start / to_length);
    const int64_t last = from + static_cast<int64_t>((end - 1) / to_length);
    coverage covered = {std::max(first, low), std::min(last, high - 1), 0, 0, 0};
    const auto count = static_cast<uint64_t>(covered.last - covered.first + 1);
    const uint32_t unit = 1u << std::clamp(most_bits - bits_of(count), 0, finest);
    // Where it covers less than a pixel, the parts are those of what it covers.
    const uint64_t whole = std::min<uint64_t>(to_length, from_length);
    const uint64_t before = start % to_length, behind = (end - 1) % to_length + 1;
    covered.inner_weight = unit;
    covered.last_weight = last < high ? share_of(std::min(behind, whole), whole, unit) : unit;
    covered.first_weight = first >= low ? share_of(std::min(to_length - before, whole), whole, unit) : unit;
    if (count == 1)
        covered.first_weight = unit;
    return covered;
}

// So many columns of the target.
class covered_columns {
public:
    static constexpr size_t width = 128;

    covered_columns(const scaling& work, int64_t x, size_t count) : count_(count) {
        const box_job& job = work.job;
        for (size_t i = 0; i < count; i++)
            columns_[i] = cover(x + static_cast<int64_t>(i) - job.target.m_x, job.target.m_w, job.source.m_x,
                                job.source.m_w, work.part.left, work.part.right);
    }

    size_t count() const { return count_; }
    const coverage& operator[](size_t i) const { return columns_[i]; }
    int64_t first() const { return columns_[0].first; }
    int64_t end() const { return columns_[count_ - 1].last + 1; }

    /// Calls `use` with each column's number and what of it lies between two places. `begin` is the first
    /// that may; it moves on.
    template<typename Use>
    void each_between(int64_t low, int64_t high, size_t& begin, Use use) const {
        while (begin < count_ && columns_[begin].last < low)
            begin++;
        for (size_t i = begin; i < count_ && columns_[i].first < high; i++)
            use(i, std::max(columns_[i].first, low), std::min(columns_[i].last + 1, high));
    }

private:
    size_t count_;
    std::array<coverage, width> columns_;
};

// The rows that a row of the target covers.
struct covered_rows : coverage {
    covered_rows(const scaling& work, int64_t y, const scaled_stretch::centre_walk&)
        : coverage(cover(y - work.job.target.m_y, work.job.target.m_h, work.job.source.m_y,
                         work.job.source.m_h, work.part.top, work.part.bottom)) {}
};

constexpr size_t chunk = packed_chunk;
constexpr int64_t columns_at_once{chunk}; // of the source

using pixel_room = std::array<unsigned char, 4 * chunk>;

// One divided by a number, with 32 bits behind its first one: 2 to the power of 31 + bits, divided by it.
struct inverse {
    uint64_t factor;
    int bits;

    inverse() = default;
    explicit inverse(uint64_t number)
        : factor((uint64_t{1} << (31 + bits_of(number))) / number), bits(bits_of(number)) {}
};

// Divides sums of bytes by the weights of columns and rows, without a division for each.
class divider {
public:
    divider(const inverse& columns, const inverse& rows)
        : columns_(columns.factor), rows_(rows.factor), dropped_(std::max(columns.bits + rows.bits - 24, 0)),
          shift_(30 + columns.bits + rows.bits - dropped_) {}

    // 32 bits are kept of a sum, and of what the first factor makes of it.
    unsigned char operator()(uint64_t sum) const {
        const uint64_t part = (sum >> dropped_) * columns_ >> 32;
        return static_cast<unsigned char>((part * rows_ + (uint64_t{1} << (shift_ - 1))) >> shift_);
    }

private:
    uint64_t columns_, rows_;
    int dropped_, shift_;
};

// Pixels that count alike: rows are added to one another first, then columns.
class plain_average {
public:
    using rows_of = covered_rows;
    static constexpr size_t width = covered_columns::width;

    plain_average(const scaling& work, int64_t x, size_t count)
        : source_(work.source), writer_(work.writer), x_(x), columns_(work, x, count) {
        for (size_t i = 0; i < count; i++)
            weights_[i] = inverse(columns_[i].total());
    }

    void put(int64_t y, const covered_rows& rows) {
        sums_ = {};
        size_t begin = 0;
        // So few rows at a time that 32 bits hold their sums.
        const int64_t at_once = (int64_t{1} << 24) / rows.inner_weight;
        for (int64_t low = columns_.first(); low < columns_.end(); low += columns_at_once) {
            const int64_t high = std::min(low + columns_at_once, columns_.end());
            for (int64_t top = rows.first; top <= rows.last; top += at_once)
                add(low, high, rows, top, std::min(top + at_once, rows.last + 1), begin);
        }
        finish(y, rows.total());
    }

private:
    void add(int64_t low, int64_t high, const coverage& rows, int64_t top, int64_t bottom, size_t& begin) {
        std::array<uint32_t, 4 * chunk> lines{};
        pixel_room pixels[2];
        const auto size = static_cast<size_t>(4 * (high - low));
        for (int64_t y = top; y < bottom; y += 2) {
            const bool pair = y + 1 < bottom;
            const unsigned char* const first = read(low, high, y, pixels[0]);
            kernels().weigh_rows(lines.data(), first, rows.weight_of(y),
                                 pair ? read(low, high, y + 1, pixels[1]) : first,
                                 pair ? rows.weight_of(y + 1) : 0, size);
        }
        columns_.each_between(low, high, begin, [&](size_t i, int64_t from, int64_t to) {
            const coverage& covered = columns_[i];
            const uint32_t* line = lines.data() + 4 * static_cast<size_t>(from - low);
            if (from == covered.first)
                add_columns(sums_[i], line, 1, covered.first_weight), line += 4, from++;
            if (from < to && to > covered.last)
                add_columns(sums_[i], line + 4 * (--to - from), 1, covered.last_weight);
            add_columns(sums_[i], line, static_cast<size_t>(to - from), covered.inner_weight);
        });
    }

    static void add_columns(std::array<uint64_t, 4>& sums, const uint32_t* line, size_t count,
                            uint32_t weight) {
        std::array<uint64_t, 4> more{};
        for (size_t i = 0; i < count; i++)
            for (size_t c = 0; c < 4; c++)
                more[c] += line[4 * i + c];
        for (size_t c = 0; c < 4; c++)
            sums[c] += more[c] * weight;
    }

    const unsigned char* read(int64_t low, int64_t high, int64_t y, pixel_room& room) const {
        if (source_.is_direct())
            return source_.row(y) + 4 * static_cast<size_t>(low);
        std::array<unsigned char, chunk> counts;
        source_.read(room.data(), counts.data(), low, y, static_cast<size_t>(high - low));
        return room.data();
    }

    void finish(int64_t y, uint64_t rows) const {
        std::array<unsigned char, 4 * covered_columns::width> pixels;
        const inverse row_weights(rows);
        for (size_t i = 0; i < columns_.count(); i++) {
            const divider divide(weights_[i], row_weights);
            for (size_t c = 0; c < 4; c++)
                pixels[4 * i + c] = divide(sums_[i][c]);
        }
        writer_.write(x_, y, pixels.data(), columns_.count());
    }

    const mix_source& source_;
    const mix_writer& writer_;
    int64_t x_;
    covered_columns columns_;
    std::array<inverse, covered_columns::width> weights_;
    std::array<std::array<uint64_t, 4>, covered_columns::width> sums_;
};

// Pixels that count more or less.
class weighted_average {
public:
    using rows_of = covered_rows;
    static constexpr size_t width = covered_columns::width;

    weighted_average(const scaling& work, int64_t x, size_t count)
        : source_(work.source), writer_(work.writer), x_(x), columns_(work, x, count) {}

    void put(int64_t y, const covered_rows& rows) {
        sums_ = {};
        size_t begin = 0;
        for (int64_t low = columns_.first(); low < columns_.end(); low += columns_at_once)
            for (int64_t row = rows.first; row <= rows.last; row++)
                add(low, std::min(low + columns_at_once, columns_.end()), row, rows.weight_of(row), begin);
        std::array<unsigned char, 4 * covered_columns::width> pixels;
        std::array<unsigned char, covered_columns::width> present;
        for (size_t i = 0; i < columns_.count(); i++)
            present[i] = source_.finish(&pixels[4 * i], sums_[i]);
        writer_.write(x_, y, pixels.data(), present.data(), columns_.count());
    }

private:
    void add(int64_t low, int64_t high, int64_t y, uint64_t weight, size_t& begin) {
        pixel_room pixels;
        std::array<unsigned char, chunk> counts;
        source_.read(pixels.data(), counts.data(), low, y, static_cast<size_t>(high - low));
        columns_.each_between(low, high, begin, [&](size_t i, int64_t from, int64_t to) {
            for (int64_t place = from; place < to; place++) {
                const auto at = static_cast<size_t>(place - low);
                source_.add(sums_[i], &pixels[4 * at], counts[at], weight * columns_[i].weight_of(place));
            }
        });
    }

    const mix_source& source_;
    const mix_writer& writer_;
    int64_t x_;
    covered_columns columns_;
    std::array<mix_sums, covered_columns::width> sums_;
};

} // namespace

rectangle put_averaged(const box_job& job) {
    const scaled_part part(job);
    if (part.is_empty())
        return {};
    const scaling work(job, part);
    (work.source.is_weighted() ? put_pieces<weighted_average> : put_pieces<plain_average>)(work);
    return part.touched();
}

} // namespace ombrel::graphics
