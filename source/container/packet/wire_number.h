// Numbers as packets and fragments have them: the highest byte first.
#pragma once

#include <cstdint>

namespace ombrel {

inline void put_wire16(unsigned char* to, uint32_t number) {
    to[0] = static_cast<unsigned char>(number >> 8);
    to[1] = static_cast<unsigned char>(number);
}

inline void put_wire32(unsigned char* to, uint32_t number) {
    put_wire16(to, number >> 16);
    put_wire16(to + 2, number);
}

inline uint32_t get_wire16(const unsigned char* from) {
    return uint32_t{from[0]} << 8 | from[1];
}

inline uint32_t get_wire32(const unsigned char* from) {
    return get_wire16(from) << 16 | get_wire16(from + 2);
}

} // namespace ombrel
