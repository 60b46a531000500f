#include "container/hash_secret.h"

#include <ombrel/hash.h>

#include "platform/random.h"

namespace ombrel {

static_assert(sizeof(hash_secret::words) == def_ombrel_hash_seed_size);

hash_secret hash_secret::from(const uint8_t* seed) {
    unsigned char drawn[def_ombrel_hash_seed_size];
    if (seed != nullptr)
        memcpy(drawn, seed, sizeof drawn);
    else
        platform::fill_random(drawn, sizeof drawn);
    hash_secret secret;
    secret.words[0] = load_word(drawn);
    secret.words[1] = load_word(drawn + 8);
    uint64_t counter = 0;
    for (auto& key : secret.round_keys)
        for (size_t at = 0; at < sizeof key; at += 8) {
            const uint64_t word = sip_hash::of_number(secret.words, counter++);
            memcpy(key + at, &word, sizeof word);
        }
    return secret;
}

} // namespace ombrel
