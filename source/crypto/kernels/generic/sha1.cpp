#include "crypto/kernels/generic/plain.h"
#include "crypto/kernels/sha_rounds.h"

namespace ombrel::crypto {

void sha1_plain(uint32_t* state, const unsigned char* blocks, size_t count) {
    uint32_t schedule[80], inputs[80];
    for (; count > 0; count--, blocks += 64) {
        for (size_t i = 0; i < 80; i++) {
            schedule[i] =
                i < 16
                    ? load_big(blocks + 4 * i)
                    : std::rotl(schedule[i - 3] ^ schedule[i - 8] ^ schedule[i - 14] ^ schedule[i - 16], 1);
            inputs[i] = schedule[i] + sha1_constants[i / 20];
        }
        uint32_t words[5] = {state[0], state[1], state[2], state[3], state[4]};
        sha1_rounds<0>(words, inputs, std::make_index_sequence<80>());
        add_words(state, words);
    }
}

} // namespace ombrel::crypto
