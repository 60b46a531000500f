// UTF-8 to code points and back, several at once: the tables of the vector kernels, and all kernels.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "text/charset/kernels/kernels.h"

namespace ombrel::charset {

utf8_progress unpack_utf8_plain(uint32_t* codes, size_t room, const char* text, size_t size);
utf8_progress pack_utf8_plain(char* text, size_t room, const uint32_t* codes, size_t count);
#if defined(__x86_64__) || defined(__i386__)
utf8_progress unpack_utf8_ssse3(uint32_t* codes, size_t room, const char* text, size_t size);
utf8_progress pack_utf8_ssse3(char* text, size_t room, const uint32_t* codes, size_t count);
utf8_progress pack_utf8_avx2(char* text, size_t room, const uint32_t* codes, size_t count);
utf8_progress pack_utf8_avx512(char* text, size_t room, const uint32_t* codes, size_t count);
#elif defined(__aarch64__) && defined(__AARCH64EL__) && defined(__ARM_NEON)
#define OMBREL_NEON_UTF8_CODES 1
utf8_progress unpack_utf8_neon(uint32_t* codes, size_t room, const char* text, size_t size);
utf8_progress pack_utf8_neon(char* text, size_t room, const uint32_t* codes, size_t count);
#endif

/// Which of 64 bytes are above 0x7F, and which begin no character.
struct block_bits {
    uint64_t high, continuing;
};

using byte_shuffle = std::array<uint8_t, 16>;
inline constexpr uint8_t no_byte = 0x80; ///< a shuffle makes it 0

/// For four characters of 1 to 3 bytes: their bytes, the last first, in a lane each.
struct unpack_step {
    uint8_t shuffle; ///< of unpack_shuffles
    uint8_t bytes;   ///< of the four characters; 0 where one is longer
};

constexpr byte_shuffle unpack_shuffle_of(size_t index) {
    byte_shuffle made{};
    uint8_t at = 0;
    for (size_t lane = 0; lane < 4; lane++, index /= 3) {
        const size_t length = index % 3 + 1;
        for (size_t i = 0; i < 4; i++)
            made[lane * 4 + i] = i < length ? static_cast<uint8_t>(at + length - 1 - i) : no_byte;
        at = static_cast<uint8_t>(at + length);
    }
    return made;
}

inline constexpr auto unpack_shuffles = [] {
    std::array<byte_shuffle, 81> made{};
    for (size_t i = 0; i < made.size(); i++)
        made[i] = unpack_shuffle_of(i);
    return made;
}();

/// By the bits of the last bytes of characters among twelve.
constexpr unpack_step unpack_step_of(unsigned ends) {
    unsigned index = 0, at = 0;
    for (unsigned weight = 1; weight < 81; weight *= 3) {
        const auto length = static_cast<unsigned>(std::countr_zero(ends >> at | 0x1000u)) + 1;
        if (length > 3)
            return {0, 0};
        index += (length - 1) * weight;
        at += length;
    }
    return {static_cast<uint8_t>(index), static_cast<uint8_t>(at)};
}

inline constexpr auto unpack_steps = [] {
    std::array<unpack_step, 4096> made{};
    for (unsigned i = 0; i < made.size(); i++)
        made[i] = unpack_step_of(i);
    return made;
}();

/// For four code points, by the bits of those above 0x7F and, four places higher, of those above 0x7FF: how
/// their bytes, which lie in their lanes with the last first, become text. Each bit is a byte beyond the
/// four.
inline constexpr auto pack_shuffles = [] {
    std::array<byte_shuffle, 256> made{};
    for (size_t bits = 0; bits < made.size(); bits++) {
        size_t at = 0;
        made[bits].fill(no_byte);
        for (size_t lane = 0; lane < 4; lane++)
            for (size_t i = 1 + (bits >> lane & 1) + (bits >> (lane + 4) & 1); i > 0; i--)
                made[bits][at++] = static_cast<uint8_t>(lane * 4 + i - 1);
    }
    return made;
}();

inline constexpr auto pack_extra_bytes = [] {
    std::array<uint8_t, 256> made{};
    for (unsigned bits = 0; bits < made.size(); bits++)
        made[bits] = static_cast<uint8_t>(std::popcount(bits));
    return made;
}();

} // namespace ombrel::charset
