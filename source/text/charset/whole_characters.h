// Texts in UTF-8 that end where a character does.
#pragma once

#include <string_view>

#include "text/charset/utf8_step.h"

namespace ombrel {

/// The size without the part of a character at the end, of which the rest is still to come.
inline size_t whole_characters(const char* text, size_t size) {
    if (size == 0)
        return 0;
    const size_t begin = utf8_beginning(text, size, size);
    return utf8_flaw_at(text + begin, size - begin).is_cut ? begin : size;
}

/// The beginning of a text that has so many bytes at most.
inline std::string_view fitting_characters(std::string_view text, size_t most) {
    return {text.data(), utf8_fit(text.data(), text.size(), most)};
}

} // namespace ombrel
