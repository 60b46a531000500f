// Byte order marks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <ombrel/charset.h>

namespace ombrel {

/// A mark, and the set of what follows it.
struct charset_mark {
    int charset;
    uint8_t size;
    uint8_t bytes[def_ombrel_charset_character_limit];

    /// Whether it begins with these bytes.
    bool begins_with(const uint8_t* start, size_t count) const;
};

/// The marks that texts of a set may begin with, the one to write first; none for most sets.
std::span<const charset_mark> charset_marks_of(int charset);

} // namespace ombrel
