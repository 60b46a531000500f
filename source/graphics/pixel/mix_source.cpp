#include "graphics/pixel/mix_source.h"

#include <algorithm>

namespace ombrel::graphics {

namespace {

constexpr uint32_t luma_of_bytes = 0x18788898; // alpha, luma, chroma U and V

// Channels of a bitmap that lie a byte each, in any order, can be mixed as they are.
bool has_four_bytes(uint32_t color_interface) {
    return has_byte_channels(color_interface) && loose_bytes(color_interface) == 4;
}

uint32_t mixed_interface(const ombrel_bitmap_t& from, bool direct) {
    if (direct)
        return from.m_color_interface;
    return has_luma(from.m_color_interface) ? luma_of_bytes : def_ombrel_color_interface_argb8888;
}

constexpr uint64_t rounded(uint64_t sum, uint64_t weight) {
    return (sum + weight / 2) / weight;
}

} // namespace

mix_source::mix_source(const ombrel_bitmap_t& from, uint32_t mode)
    : keyed_((from.m_flags & def_ombrel_fbmap_ccolor) != 0),
      by_alpha_((from.m_flags & def_ombrel_fbmap_alpha_pixel) != 0 && has_alpha(from.m_color_interface)),
      blends_(mode == def_ombrel_fbmap_blend),
      direct_(has_four_bytes(from.m_color_interface) && !keyed_ && !by_alpha_),
      key_mask_(meaningful_bits(from.m_color_interface)), key_(from.m_ccolor & key_mask_),
      alpha_(alpha_range(from.m_color_interface)), mixed_{nullptr, mixed_interface(from, direct_),
                                                          0,       0,
                                                          0,       0,
                                                          0,       from.m_alpha_window},
      reader_(from), converter_(mixed_, from, def_ombrel_fbmap_plain) {
    mixed_.m_flags = (from.m_flags & def_ombrel_fbmap_alpha_window) |
                     (keyed_ || by_alpha_ ? def_ombrel_fbmap_alpha_pixel : 0);
}

void mix_source::read(unsigned char* pixels, unsigned char* counts, int64_t x, int64_t y,
                      size_t count) const {
    packed_room room;
    for (size_t done = 0, now; done < count; done += now) {
        now = std::min(count - done, piece);
        const unsigned char* const raw = reader_.read(x + static_cast<int64_t>(done), y, now, room.data());
        convert(pixels + 4 * done, counts + done, raw, now);
    }
}

void mix_source::gather(unsigned char* pixels, unsigned char* counts, const uint32_t* columns, int64_t y,
                        size_t count) const {
    std::array<unsigned char, 4 * piece> raw;
    for (size_t done = 0, now; done < count; done += now) {
        now = std::min(count - done, piece);
        reader_.gather(raw.data(), y, columns + done, now);
        convert(pixels + 4 * done, counts + done, raw.data(), now);
    }
}

void mix_source::convert(unsigned char* pixels, unsigned char* counts, const unsigned char* raw,
                         size_t count) const {
    converter_.write(pixels, raw, count);
    if (by_alpha_ && alpha_.bits < 8)
        widen_alpha(pixels, raw, count);
    if (is_weighted())
        find_key(counts, raw, count);
}

// All ones are to be opaque.
void mix_source::widen_alpha(unsigned char* pixels, const unsigned char* raw, size_t count) const {
    for (size_t i = 0; i < count; i++) {
        const uint32_t pixel = load(raw + i * reader_.bytes(), reader_.bytes());
        const uint32_t own = pixel >> alpha_.shift & ((1u << alpha_.bits) - 1);
        pixels[4 * i + 3] = static_cast<unsigned char>(to_byte(own, alpha_.bits));
    }
}

void mix_source::find_key(unsigned char* counts, const unsigned char* raw, size_t count) const {
    const unsigned bytes = reader_.bytes();
    for (size_t i = 0; i < count; i++)
        counts[i] = !keyed_ || (load(raw + i * bytes, bytes) & key_mask_) != key_;
}

void mix_source::add(mix_sums& sums, const unsigned char* pixel, unsigned counts, uint64_t weight) const {
    const uint64_t seen = counts * weight, alpha = seen * pixel[3], share = by_alpha_ ? alpha : seen;
    sums.weight += weight;
    sums.seen += seen;
    sums.alpha += alpha;
    for (size_t i = 0; i < sums.colors.size(); i++)
        sums.colors[i] += share * pixel[i];
}

bool mix_source::finish(unsigned char* pixel, const mix_sums& sums) const {
    const uint64_t share = by_alpha_ ? sums.alpha : sums.seen;
    for (size_t i = 0; i < sums.colors.size(); i++)
        pixel[i] = static_cast<unsigned char>(share != 0 ? rounded(sums.colors[i], share) : 0);
    const uint64_t opacity = by_alpha_ || !blends_ ? sums.alpha : sums.seen * 255;
    const uint64_t all = blends_ ? sums.weight : sums.seen;
    pixel[3] = static_cast<unsigned char>(all != 0 ? rounded(opacity, all) : 0);
    return blends_ || !keyed_ || 2 * sums.seen > sums.weight;
}

mix_writer::mix_writer(const box_job& job, const mix_source& source)
    : pixels_(job.to, source.mixed(), job.mode, job.rule),
      keys_(job.to, job.from, def_ombrel_fbmap_plain, job.rule) {
    const unsigned bytes = loose_bytes(job.from.m_color_interface);
    for (size_t i = 0; source.is_keyed() && i < packed_chunk; i++)
        store(&key_row_[i * bytes], job.from.m_ccolor, bytes);
}

void mix_writer::write(int64_t x, int64_t y, const unsigned char* mixed, const unsigned char* present,
                       size_t count) const {
    for (size_t done = 0, now; done < count; done += now) {
        const unsigned char* const first = present + done;
        const size_t left = std::min(count - done, packed_chunk);
        now = static_cast<size_t>(
            std::find_if(first, first + left, [&](unsigned char other) { return other != *first; }) - first);
        const int64_t place = x + static_cast<int64_t>(done);
        if (*first != 0)
            pixels_.write(place, y, mixed + 4 * done, now);
        else
            keys_.write(place, y, key_row_.data(), now);
    }
}

} // namespace ombrel::graphics
