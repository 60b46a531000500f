#include "text/charset/charset_marks.h"

#include <cstring>

namespace ombrel {

namespace {

constexpr charset_mark utf_8_mark = {def_ombrel_charset_utf_8, 3, {0xEF, 0xBB, 0xBF}};
constexpr charset_mark utf_16_marks[] = {{def_ombrel_charset_utf_16le, 2, {0xFF, 0xFE}},
                                         {def_ombrel_charset_utf_16be, 2, {0xFE, 0xFF}}};
constexpr charset_mark utf_32_marks[] = {{def_ombrel_charset_utf_32le, 4, {0xFF, 0xFE, 0x00, 0x00}},
                                         {def_ombrel_charset_utf_32be, 4, {0x00, 0x00, 0xFE, 0xFF}}};

} // namespace

bool charset_mark::begins_with(const uint8_t* start, size_t count) const {
    return count <= size && memcmp(bytes, start, count) == 0;
}

std::span<const charset_mark> charset_marks_of(int charset) {
    switch (charset) {
    case def_ombrel_charset_utf_8:
        return {&utf_8_mark, 1};
    case def_ombrel_charset_utf_16:
        return utf_16_marks;
    case def_ombrel_charset_utf_16le:
        return {&utf_16_marks[0], 1};
    case def_ombrel_charset_utf_16be:
        return {&utf_16_marks[1], 1};
    case def_ombrel_charset_utf_32:
        return utf_32_marks;
    case def_ombrel_charset_utf_32le:
        return {&utf_32_marks[0], 1};
    case def_ombrel_charset_utf_32be:
        return {&utf_32_marks[1], 1};
    default:
        return {};
    }
}

} // namespace ombrel
