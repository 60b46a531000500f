// A hash that nobody outside can steer, as its key cannot be guessed.
#pragma once

#include <cstdint>
#include <string_view>

#include "container/hash_secret.h"
#include "platform/random.h"

namespace ombrel::document {

struct hash_key {
    uint64_t words[2];
};

inline hash_key random_hash_key() {
    hash_key key{};
    platform::fill_random(&key, sizeof(key));
    return key;
}

inline uint64_t seeded_hash(const hash_key& key, std::string_view text) {
    return sip_hash::of_bytes(key.words, reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

} // namespace ombrel::document
