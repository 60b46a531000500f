// A hash that nobody outside can steer: SipHash with one round a word and three in the end, under a random
// key.
#pragma once

#include <cstdint>
#include <string_view>

namespace ombrel::document {

struct hash_key {
    uint64_t first, second;
};

/// A key that nobody can guess.
hash_key random_hash_key();

uint64_t seeded_hash(const hash_key& key, std::string_view text);

} // namespace ombrel::document
