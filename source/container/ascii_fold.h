// Eight characters at once, their ASCII letters made small where a comparison takes either case.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace ombrel {

/// The first byte is the lowest, on every processor.
inline uint64_t load_word(const unsigned char* bytes) {
    uint64_t word;
    memcpy(&word, bytes, sizeof word);
    return std::endian::native == std::endian::big ? __builtin_bswap64(word) : word;
}

template<typename Word>
constexpr Word every_byte(unsigned byte) {
    return static_cast<Word>(static_cast<Word>(~Word{0}) / 0xFF * byte);
}

template<bool folds, typename Word>
constexpr Word folded(Word characters) {
    if constexpr (!folds)
        return characters;
    // Bit 7 of each byte: whether it is at least 'A', and whether it is beyond 'Z'.
    const Word low = characters & every_byte<Word>(0x7F);
    const Word from_a = low + every_byte<Word>(0x80 - 'A');
    const Word beyond_z = low + every_byte<Word>(0x7F - 'Z');
    const Word capitals = (from_a ^ beyond_z) & ~characters & every_byte<Word>(0x80);
    return characters | capitals >> 2;
}

} // namespace ombrel
