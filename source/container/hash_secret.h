// What of a table nobody outside knows, and the plain hash that takes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "container/ascii_fold.h"

namespace ombrel {

/// Made from a seed of 16 bytes.
struct hash_secret {
    static constexpr unsigned rounds = 4;
    static constexpr size_t alignment = 2 * sizeof(void*);       ///< that of the heap
    alignas(alignment) unsigned char round_keys[rounds + 1][16]; ///< for hashing by rounds of AES
    uint64_t words[2];                                           ///< for SipHash

    /// Of a seed, or of the host's random bytes when it is null.
    static hash_secret from(const uint8_t* seed);
};

/// SipHash-1-3, which keyed tables of many languages use against chosen keys: a pseudo-random function of
/// which nothing better than guessing the key is known.
class sip_hash {
public:
    explicit sip_hash(const uint64_t (&key)[2])
        : v0_(key[0] ^ 0x736F6D6570736575), v1_(key[1] ^ 0x646F72616E646F6D),
          v2_(key[0] ^ 0x6C7967656E657261), v3_(key[1] ^ 0x7465646279746573) {}

    void add(uint64_t word) {
        v3_ ^= word;
        round();
        v0_ ^= word;
    }
    uint64_t finish() {
        v2_ ^= 0xFF;
        for (int i = 0; i < 3; i++)
            round();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

    /// Of a word of which the hash has no need to know the size.
    static uint64_t of_number(const uint64_t (&key)[2], uint64_t number) {
        sip_hash hash(key);
        hash.add(number);
        return hash.finish();
    }
    template<bool folds = false>
    static uint64_t of_bytes(const uint64_t (&key)[2], const unsigned char* bytes, size_t size) {
        sip_hash hash(key);
        size_t at = 0;
        for (; size - at >= 8; at += 8)
            hash.add(folded<folds>(load_word(bytes + at)));
        uint64_t last = 0;
        for (size_t i = at; i < size; i++)
            last |= uint64_t{bytes[i]} << (8 * (i - at));
        hash.add(folded<folds>(last) | uint64_t{size} << 56);
        return hash.finish();
    }

private:
    static uint64_t turn(uint64_t word, unsigned bits) { return word << bits | word >> (64 - bits); }
    void round() {
        v0_ += v1_, v1_ = turn(v1_, 13) ^ v0_, v0_ = turn(v0_, 32);
        v2_ += v3_, v3_ = turn(v3_, 16) ^ v2_;
        v0_ += v3_, v3_ = turn(v3_, 21) ^ v0_;
        v2_ += v1_, v1_ = turn(v1_, 17) ^ v2_, v2_ = turn(v2_, 32);
    }

    uint64_t v0_, v1_, v2_, v3_;
};

} // namespace ombrel
