// The hash of keys by rounds of AES, over a processor's instructions, which are a type with
//   vector, a block; load(), load_key() of a secret, of_words() and low(), the way in and out;
//   add(), the exclusive or; round(), SubBytes, ShiftRows, MixColumns and a key; fold(), of ASCII letters.
//
// A key is taken in blocks of 16 bytes, the last ones overlapping, into a state that begins with its size;
// after each block the state goes through four rounds with secret keys. Why chosen keys cannot be made to
// meet:
// - Two keys that differ are two states that differ before some four rounds, and meet only if these end in a
//   difference that is wanted, or that the next block undoes. Over four rounds with independent secret keys
//   no difference has a probability above 2^-113 (the bound of Keliher and Sui for four rounds of AES),
//   whichever the blocks are.
// - What is known to break four rounds in other ways, integrals and the like, reads whole blocks that came
//   out. A table shows no bit of a hash; what time tells of it is whether two keys share a group, and the
//   secret is of one table alone.
// - The size comes first, so that no key's blocks are the beginning of another's.
// The same construction, a block cipher chained with four rounds to a block, is that of the Pelican MAC.
#pragma once

#include "container/hash_secret.h"

#define OMBREL_PART_OF_AES_HASH OMBREL_HASH_TARGET [[gnu::always_inline]] static inline

namespace ombrel {
namespace {

template<typename Block>
struct aes_hash {
    using vector = typename Block::vector;

    OMBREL_PART_OF_AES_HASH vector mix(const hash_secret& secret, vector state) {
        for (unsigned i = 1; i <= hash_secret::rounds; i++)
            state = Block::round(state, Block::load_key(secret.round_keys[i]));
        return state;
    }
    OMBREL_PART_OF_AES_HASH vector start(const hash_secret& secret, uint64_t word) {
        return Block::add(Block::load_key(secret.round_keys[0]), Block::of_words(word, 0));
    }

    OMBREL_PART_OF_AES_HASH uint64_t of_number(const hash_secret& secret, uint64_t number) {
        return Block::low(mix(secret, start(secret, number)));
    }

    // As the size is known, the bytes of up to 16 may overlap.
    OMBREL_PART_OF_AES_HASH vector load_few(const unsigned char* bytes, size_t size) {
        if (size >= 8)
            return Block::of_words(load_word(bytes), load_word(bytes + size - 8));
        uint64_t word = 0;
        if (size >= 4)
            word = load_half(bytes) | load_half(bytes + size - 4) << 32;
        else if (size != 0)
            word = uint64_t{bytes[0]} | uint64_t{bytes[size / 2]} << 8 | uint64_t{bytes[size - 1]} << 16;
        return Block::of_words(word, 0);
    }
    OMBREL_PART_OF_AES_HASH uint64_t load_half(const unsigned char* bytes) {
        uint32_t half;
        memcpy(&half, bytes, sizeof half);
        return half;
    }

    template<bool folds>
    OMBREL_PART_OF_AES_HASH vector after(const hash_secret& secret, vector state, vector block) {
        if constexpr (folds)
            block = Block::fold(block);
        return mix(secret, Block::add(state, block));
    }

    template<bool folds>
    OMBREL_PART_OF_AES_HASH uint64_t of_bytes(const hash_secret& secret, const unsigned char* bytes,
                                              size_t size) {
        vector state = start(secret, size);
        if (size <= 16)
            return Block::low(after<folds>(secret, state, load_few(bytes, size)));
        const unsigned char* const last = bytes + size - 16;
        for (; bytes < last; bytes += 16)
            state = after<folds>(secret, state, Block::load(bytes));
        return Block::low(after<folds>(secret, state, Block::load(last)));
    }
};

} // namespace
} // namespace ombrel
