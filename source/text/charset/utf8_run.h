// Runs of texts in UTF-8 and ASCII, by the kernels of this processor. Nothing outside of a text is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "text/charset/kernels/kernels.h"
#include "text/charset/utf8_sequence.h"

namespace ombrel {

/// How many bytes at the front are below 0x80.
inline size_t ascii_run(const char* text, size_t size) {
    return charset::kernels().ascii(text, size);
}

/// How many bytes at the front are whole valid characters: `size` when all is valid; else where the first
/// faulty or cut-off character begins, of which utf8_flaw_at() tells more.
inline size_t utf8_run(const char* text, size_t size) {
    return charset::kernels().utf8(text, size);
}

/// What stands where utf8_run() stopped.
struct utf8_flaw {
    size_t size; ///< 1 to 3: the bytes for which one replacement character stands
    bool is_cut; ///< the text ended within a character that may still become valid
};

/// @param size more than 0
inline utf8_flaw utf8_flaw_at(const char* text, size_t size) {
    const utf8_reading reading = read_utf8(text, size);
    return {reading.size, reading.kind == utf8_reading::cut};
}

/// The characters of a valid text.
inline size_t utf8_count(const char* text, size_t size) {
    return charset::kernels().count(text, size);
}

/// Copies units of one size into such of another while they are ASCII, `size` at most; gives how many were.
/// What lies behind them in `to`, up to `size`, may be overwritten. Units are in the order of this processor.
size_t copy_ascii(char* to, const char* text, size_t size);
size_t widen_ascii(uint16_t* to, const char* text, size_t size);
size_t widen_ascii(uint32_t* to, const char* text, size_t size);
size_t narrow_ascii(char* to, const uint16_t* units, size_t size);
size_t narrow_ascii(char* to, const uint32_t* units, size_t size);

} // namespace ombrel
