// The key expansion of FIPS 197.
#include <ombrel/aes.h>

#include <cstdint>
#include <cstring>

#include "core/wipe.h"
#include "crypto/aes_kernel.h"
#include "crypto/kernels/byte_order.h"
#include "crypto/kernels/generic/aes_planes.h"

namespace ombrel::crypto {
namespace {

constexpr size_t word_size = 4;

// Keys are secrets too: no table look-ups here either.
uint32_t substitute_word(uint32_t word) {
    bit_planes planes = {word};
    transpose_planes(planes);
    substitute_planes(planes);
    transpose_planes(planes);
    return static_cast<uint32_t>(planes[0]);
}

// Words are little-endian here: the first byte is the lowest.
uint32_t changed_word(uint32_t word, size_t index, size_t key_words, uint32_t& round_constant) {
    if (index % key_words == 0) {
        word = substitute_word(word >> 8 | word << 24) ^ round_constant;
        round_constant = (round_constant << 1 ^ (round_constant >> 7) * 0x11B) & 0xFF;
    } else if (key_words > 6 && index % key_words == 4) {
        word = substitute_word(word);
    }
    return word;
}

void add_words(uint8_t* bytes, size_t key_size, size_t round_key_size) {
    uint32_t round_constant = 1;
    for (size_t at = key_size; at < round_key_size; at += word_size) {
        const uint32_t previous = load_little(bytes + at - word_size);
        const uint32_t word = changed_word(previous, at / word_size, key_size / word_size, round_constant);
        store_little(bytes + at, load_little(bytes + at - key_size) ^ word);
    }
}

void* expand_key(void* round_key, const void* key, size_t key_size, size_t round_key_size) {
    if (round_key == nullptr || key == nullptr)
        return nullptr;
    auto* bytes = static_cast<uint8_t*>(round_key);
    memmove(bytes, key, key_size);
    without_trace([=] { add_words(bytes, key_size, round_key_size); });
    return round_key;
}

} // namespace
} // namespace ombrel::crypto

using ombrel::crypto::expand_key;

void* ombrel_make_round_key_aes128(void* round_key, const void* key) {
    return expand_key(round_key, key, def_ombrel_aes128_key_size, def_ombrel_aes128_round_key_size);
}
void* ombrel_make_round_key_aes192(void* round_key, const void* key) {
    return expand_key(round_key, key, def_ombrel_aes192_key_size, def_ombrel_aes192_round_key_size);
}
void* ombrel_make_round_key_aes256(void* round_key, const void* key) {
    return expand_key(round_key, key, def_ombrel_aes256_key_size, def_ombrel_aes256_round_key_size);
}
