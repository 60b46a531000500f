// Steps over texts in UTF-8 that need not be valid: what one replacement character would stand for is one
// character.
#pragma once

#include <algorithm>
#include <cstddef>

#include "text/charset/utf8_run.h"

namespace ombrel {

/// Where the character begins that ends at `end`, or that `end` lies within.
/// @param end 1 to `size`
inline size_t utf8_beginning(const char* text, size_t size, size_t end) {
    const size_t most = std::min(end, longest_utf8);
    size_t back = 1;
    while (back < most && is_utf8_continuation(text[end - back]))
        back++;
    // A byte that continues none is a character by itself.
    const size_t begin = end - back;
    return begin + read_utf8(text + begin, size - begin).size >= end ? begin : end - 1;
}

/// How much of a text has `size` bytes at most and whole characters.
inline size_t utf8_fit(const char* text, size_t size, size_t limit) {
    if (limit >= size || limit == 0)
        return std::min(limit, size);
    const size_t begin = utf8_beginning(text, size, limit);
    return begin + read_utf8(text + begin, size - begin).size > limit ? begin : limit;
}

/// Calls `take_valid(offset, size)` for what is valid and `take_invalid(offset, size)` for each character
/// that is not, from front to back.
template<typename TakeValid, typename TakeInvalid>
void for_each_part(const char* text, size_t size, TakeValid take_valid, TakeInvalid take_invalid) {
    for (size_t at = 0; at < size;) {
        const size_t valid = utf8_run(text + at, size - at);
        if (valid > 0)
            take_valid(at, valid);
        at += valid;
        if (at == size)
            break;
        const size_t flaw = utf8_flaw_at(text + at, size - at).size;
        take_invalid(at, flaw);
        at += flaw;
    }
}

} // namespace ombrel
