#include "document/xml/seeded_hash.h"

#include <bit>
#include <cstring>

#include "platform/random.h"

namespace ombrel::document {

namespace {

struct hash_state {
    uint64_t a, b, c, d;

    void mix() {
        a += b;
        c += d;
        b = std::rotl(b, 13) ^ a;
        d = std::rotl(d, 16) ^ c;
        a = std::rotl(a, 32);
        c += b;
        a += d;
        b = std::rotl(b, 17) ^ c;
        d = std::rotl(d, 21) ^ a;
        c = std::rotl(c, 32);
    }
    void take(uint64_t word) {
        d ^= word;
        mix();
        a ^= word;
    }
};

// In the host's order of bytes, as nothing outside sees a hash.
uint64_t word_at(const char* from, size_t size) {
    uint64_t word = 0;
    memcpy(&word, from, size);
    return word;
}

} // namespace

hash_key random_hash_key() {
    hash_key key{};
    platform::fill_random(&key, sizeof(key));
    return key;
}

uint64_t seeded_hash(const hash_key& key, std::string_view text) {
    hash_state state = {key.first ^ 0x736F6D6570736575u, key.second ^ 0x646F72616E646F6Du,
                        key.first ^ 0x6C7967656E657261u, key.second ^ 0x7465646279746573u};
    size_t at = 0;
    for (; text.size() - at >= 8; at += 8)
        state.take(word_at(text.data() + at, 8));
    const uint64_t rest = text.size() > at ? word_at(text.data() + at, text.size() - at) : 0;
    state.take(rest ^ (uint64_t{text.size()} << 56));
    state.c ^= 0xFF;
    for (int round = 0; round < 3; round++)
        state.mix();
    return state.a ^ state.b ^ state.c ^ state.d;
}

} // namespace ombrel::document
