// The loops over texts in UTF-8 with several bytes in a vector. It is compiled once for each kind of vector:
// the including source defines OMBREL_TARGET and, in ombrel::charset, `lanes`.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "text/charset/kernels/utf8_kernels.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel::charset {

namespace {

using vector = lanes::vector;

constexpr size_t width = sizeof(vector), block = std::max<size_t>(64, 2 * width),
                 block_vectors = block / width;

// Two bytes behind one another that cannot stand so in a valid text: each fault of `faults` is a set of first
// bytes, given by their upper and by their lower halves, with a set of upper halves of second bytes. As a
// look-up of half a byte gives all faults that it may have a part in, three look-ups tell them all at once:
// those that they agree upon.
struct halves {
    uint8_t from, to;
};
struct pair_fault {
    uint8_t bit;
    halves first_high, first_low, second_high;
};
constexpr halves any_half = {0x0, 0xF}, continuation = {0x8, 0xB};
constexpr uint8_t two_continuations = 0x80; // no fault where a character of three or four bytes goes on
constexpr pair_fault faults[] = {
    {0x01, {0xC, 0xF}, any_half, {0x0, 0x7}},     // the second byte is missing
    {0x01, {0xC, 0xF}, any_half, {0xC, 0xF}},     // likewise
    {0x02, {0x0, 0x7}, any_half, continuation},   // nothing is continued
    {0x04, {0xC, 0xC}, {0x0, 0x1}, continuation}, // two bytes for what one has room for
    {0x08, {0xE, 0xE}, {0x0, 0x0}, {0x8, 0x9}},   // three for what two have
    {0x10, {0xE, 0xE}, {0xD, 0xD}, {0xA, 0xB}},   // halves of UTF-16
    {0x20, {0xF, 0xF}, {0x4, 0xF}, {0x9, 0xB}},   // above the last code point
    {0x40, {0xF, 0xF}, {0x5, 0xF}, {0x8, 0x8}},   // likewise
    {0x40, {0xF, 0xF}, {0x0, 0x0}, {0x8, 0x8}},   // four bytes for what three have room for
    {two_continuations, continuation, any_half, continuation},
};

using half_table = std::array<uint8_t, 16>;

constexpr half_table faults_by(halves pair_fault::*set) {
    half_table table{};
    for (const pair_fault& fault : faults)
        for (uint8_t half = (fault.*set).from; half <= (fault.*set).to; half++)
            table[half] = static_cast<uint8_t>(table[half] | fault.bit);
    return table;
}

constexpr half_table by_first_high = faults_by(&pair_fault::first_high),
                     by_first_low = faults_by(&pair_fault::first_low),
                     by_second_high = faults_by(&pair_fault::second_high);

// The least values that begin a character whose rest does not lie in the vector any more, less one.
constexpr std::array<uint8_t, width> complete_ends = [] {
    std::array<uint8_t, width> ends{};
    ends.fill(0xFF);
    ends[width - 3] = 0xEF;
    ends[width - 2] = 0xDF;
    ends[width - 1] = 0xBF;
    return ends;
}();

OMBREL_TARGET inline void load_block(vector (&to)[block_vectors], const char* from) {
    for (size_t i = 0; i < block_vectors; i++)
        to[i] = lanes::load(from + i * width);
}

OMBREL_TARGET inline vector all_of(const vector (&vectors)[block_vectors]) {
    vector all = vectors[0];
    for (size_t i = 1; i < block_vectors; i++)
        all = lanes::either(all, vectors[i]);
    return all;
}

class utf8_validation {
public:
    OMBREL_TARGET utf8_validation()
        : first_high_(lanes::repeat(by_first_high)), first_low_(lanes::repeat(by_first_low)),
          second_high_(lanes::repeat(by_second_high)), ends_(lanes::load(complete_ends.data())),
          previous_(lanes::all(0)) {}

    // Whether the next vectors go on validly, as far as it shows in them.
    OMBREL_TARGET bool take(const vector (&next)[block_vectors]) {
        if (!lanes::has_high_bit(all_of(next))) {
            const bool was_complete = !lanes::has_any_bit(lanes::subtract(previous_, ends_));
            previous_ = next[block_vectors - 1];
            return was_complete;
        }
        vector fault = lanes::all(0);
        for (const vector& bytes : next) {
            fault = lanes::either(fault, faults_of(bytes));
            previous_ = bytes;
        }
        return !lanes::has_any_bit(fault);
    }

private:
    OMBREL_TARGET vector faults_of(vector bytes) const {
        const vector before = lanes::before<1>(bytes, previous_);
        const vector pairs = lanes::both(lanes::both(lanes::look_up(first_high_, lanes::high_halves(before)),
                                                     lanes::look_up(first_low_, lanes::low_halves(before))),
                                         lanes::look_up(second_high_, lanes::high_halves(bytes)));
        // Where a third or fourth byte must stand bit 7 is set, as it is where continuations follow one
        // another.
        const vector third = lanes::subtract(lanes::before<2>(bytes, previous_), lanes::all(0xE0 - 0x80));
        const vector fourth = lanes::subtract(lanes::before<3>(bytes, previous_), lanes::all(0xF0 - 0x80));
        const vector wanted = lanes::both(lanes::either(third, fourth), lanes::all(two_continuations));
        return lanes::differing(pairs, wanted);
    }

    vector first_high_, first_low_, second_high_, ends_, previous_;
};

// The last place up to `at` that a character begins at, which is faulty or reaches beyond `at`; else `at`
// itself or the beginning of a character that ends there.
inline size_t resume_at(const char* text, size_t at) {
    size_t back = 0;
    while (back < std::min(at, longest_utf8 - 1) && is_utf8_continuation(text[at - back - 1]))
        back++;
    return back < at && static_cast<uint8_t>(text[at - back - 1]) >= 0xC0 ? at - back - 1 : at;
}

// Whether the end of a text, less than a block, is valid: with zeros behind it, which nothing may go on with.
OMBREL_TARGET inline bool is_valid_end(utf8_validation& validation, const char* text, size_t size) {
    char filled[block] = {};
    vector bytes[block_vectors];
    memcpy(filled, text, size);
    load_block(bytes, filled);
    return validation.take(bytes);
}

OMBREL_TARGET inline size_t utf8_run(const char* text, size_t size) {
    constexpr size_t worth_it = 16;
    size_t at = 0;
    utf8_validation validation;
    vector bytes[block_vectors];
    for (; size - at >= block; at += block) {
        load_block(bytes, text + at);
        if (!validation.take(bytes))
            break;
    }
    if (size - at >= worth_it && size - at < block && is_valid_end(validation, text + at, size - at))
        return size;
    const size_t resume = resume_at(text, at);
    return resume + utf8_run_plain(text + resume, size - resume);
}

} // namespace

} // namespace ombrel::charset
