#include <bit>
#include <cstdint>
#include <cstring>

#include "text/charset/kernels/utf8_kernels.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel::charset {

namespace {

constexpr uint64_t ones = 0x0101010101010101u, highs = 0x80 * ones;

uint64_t load_word(const char* from) {
    uint64_t word;
    memcpy(&word, from, sizeof word);
    return word;
}

} // namespace

size_t ascii_run_plain(const char* text, size_t size) {
    size_t at = 0;
    while (size - at >= sizeof(uint64_t) && (load_word(text + at) & highs) == 0)
        at += sizeof(uint64_t);
    while (at < size && static_cast<uint8_t>(text[at]) < 0x80)
        at++;
    return at;
}

size_t utf8_run_plain(const char* text, size_t size) {
    size_t at = 0;
    while (at < size) {
        if (static_cast<uint8_t>(text[at]) < 0x80) {
            at += ascii_run_plain(text + at, size - at);
            continue;
        }
        const utf8_reading reading = read_utf8(text + at, size - at);
        if (reading.kind != utf8_reading::valid)
            break;
        at += reading.size;
    }
    return at;
}

size_t utf8_count_plain(const char* text, size_t size) {
    size_t continuations = 0, at = 0;
    for (; size - at >= sizeof(uint64_t); at += sizeof(uint64_t)) {
        const uint64_t word = load_word(text + at);
        continuations += static_cast<size_t>(std::popcount(word & ~(word << 1) & highs));
    }
    for (; at < size; at++)
        continuations += is_utf8_continuation(text[at]);
    return size - continuations;
}

} // namespace ombrel::charset
