// Words in and out of byte sequences, whatever the processor's own order; compilers make one instruction of
// each.
#pragma once

#include <cstdint>
#include <cstring>

namespace ombrel::crypto {

inline uint32_t load_little(const unsigned char* bytes) {
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

inline uint32_t load_big(const unsigned char* bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
}

inline void store_little(unsigned char* bytes, uint32_t word) {
    for (int i = 0; i < 4; i++)
        bytes[i] = static_cast<unsigned char>(word >> (8 * i));
}

inline void store_big(unsigned char* bytes, uint32_t word) {
    for (int i = 0; i < 4; i++)
        bytes[i] = static_cast<unsigned char>(word >> (24 - 8 * i));
}

inline uint64_t load_big64(const unsigned char* bytes) {
    return static_cast<uint64_t>(load_big(bytes)) << 32 | load_big(bytes + 4);
}

inline void store_big64(unsigned char* bytes, uint64_t word) {
    store_big(bytes, static_cast<uint32_t>(word >> 32));
    store_big(bytes + 4, static_cast<uint32_t>(word));
}

// In the processor's own order, at any alignment.

inline uint32_t load_native(const unsigned char* bytes) {
    uint32_t word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

inline void store_native(unsigned char* bytes, uint32_t word) {
    memcpy(bytes, &word, sizeof word);
}

} // namespace ombrel::crypto
