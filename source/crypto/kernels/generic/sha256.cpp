#include "crypto/kernels/generic/plain.h"
#include "crypto/kernels/sha_rounds.h"

namespace ombrel::crypto {

namespace {

uint32_t next_word(const uint32_t* before) {
    const uint32_t near = before[-2], far = before[-15];
    return before[-16] + (std::rotr(far, 7) ^ std::rotr(far, 18) ^ far >> 3) + before[-7] +
           (std::rotr(near, 17) ^ std::rotr(near, 19) ^ near >> 10);
}

} // namespace

void sha256_plain(uint32_t* state, const unsigned char* blocks, size_t count) {
    uint32_t schedule[64], inputs[64];
    for (; count > 0; count--, blocks += 64) {
        for (size_t i = 0; i < 64; i++) {
            schedule[i] = i < 16 ? load_big(blocks + 4 * i) : next_word(schedule + i);
            inputs[i] = schedule[i] + sha256_constants[i];
        }
        uint32_t words[8];
        for (size_t i = 0; i < 8; i++)
            words[i] = state[i];
        for (size_t i = 0; i < 64; i += 16)
            sha256_rounds(words, inputs + i, std::make_index_sequence<16>());
        add_words(state, words);
    }
}

} // namespace ombrel::crypto
