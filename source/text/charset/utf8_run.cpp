#include "text/charset/utf8_run.h"

namespace ombrel {

namespace {

// Units are taken in blocks whose loops have a fixed length, which compilers make vectors of.
constexpr size_t block = 32;

template<typename To, typename From>
size_t copy_below_80(To* to, const From* from, size_t size) {
    constexpr auto not_ascii = static_cast<uint32_t>(static_cast<From>(~From{0x7F}));
    size_t at = 0;
    for (; size - at >= block; at += block) {
        uint32_t all = 0;
        for (size_t i = 0; i < block; i++)
            all |= from[at + i];
        if ((all & not_ascii) != 0)
            break;
        for (size_t i = 0; i < block; i++)
            to[at + i] = static_cast<To>(from[at + i]);
    }
    for (; at < size && (from[at] & not_ascii) == 0; at++)
        to[at] = static_cast<To>(from[at]);
    return at;
}

const uint8_t* bytes_of(const char* text) {
    return reinterpret_cast<const uint8_t*>(text);
}

} // namespace

size_t copy_ascii(char* to, const char* text, size_t size) {
    return copy_below_80(to, bytes_of(text), size);
}

size_t widen_ascii(uint16_t* to, const char* text, size_t size) {
    return copy_below_80(to, bytes_of(text), size);
}

size_t widen_ascii(uint32_t* to, const char* text, size_t size) {
    return copy_below_80(to, bytes_of(text), size);
}

size_t narrow_ascii(char* to, const uint16_t* units, size_t size) {
    return copy_below_80(to, units, size);
}

size_t narrow_ascii(char* to, const uint32_t* units, size_t size) {
    return copy_below_80(to, units, size);
}

} // namespace ombrel
